# quillon_oldest_glibc(<target>)
#
# Links a library so that it loads on systems whose glibc is as old as QUILLON_GLIBC, whatever the building system has:
# against stubs of glibc's libraries that offer the versions of that time (cmake/glibc_stubs.sh), and with our own
# definitions of the few functions that the C++ runtime of a newer system asks for (src/bundle/NewerGlibc.cpp). Nothing
# of an older system is needed. Without glibc, and with sanitizers, nothing changes.

set(QUILLON_GLIBC 2.28 CACHE STRING "The oldest glibc that the bundle loads with; empty for that of this system")

# The paths of glibc's libraries, in <result>; empty without glibc.
function(quillon_find_glibc result)
  set(found "")
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    set(loader ld-linux-aarch64.so.1)
  else()
    set(loader ld-linux-x86-64.so.2)
  endif()
  foreach(name libc.so.6 libm.so.6 libpthread.so.0 libdl.so.2 librt.so.1 ${loader})
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
      OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE "${file}" OR NOT EXISTS "${file}")
      set(${result} "" PARENT_SCOPE)
      return()
    endif()
    list(APPEND found ${file})
  endforeach()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

function(quillon_add_glibc_stubs)
  set(folder ${CMAKE_BINARY_DIR}/glibc-${QUILLON_GLIBC})
  set(script ${CMAKE_SOURCE_DIR}/cmake/glibc_stubs.sh)
  set(commands COMMAND sh ${script} ${CMAKE_READELF} ${QUILLON_GLIBC} ${folder} ${QUILLON_GLIBC_LIBRARIES})
  set(stubs "")
  foreach(library IN LISTS QUILLON_GLIBC_LIBRARIES)
    get_filename_component(name ${library} NAME)
    string(REGEX REPLACE "\\.so.*" ".so" stub ${folder}/${name})  # as -lc looks for it
    list(APPEND stubs ${stub})
    list(APPEND commands COMMAND ${CMAKE_CXX_COMPILER} -shared -nostdlib -x assembler ${folder}/${name}.s -o ${stub}
      -Wl,-soname,${name} -Wl,--version-script,${folder}/${name}.map)
  endforeach()
  add_custom_command(OUTPUT ${stubs} ${commands} DEPENDS ${script} VERBATIM
    COMMENT "Making stubs of glibc ${QUILLON_GLIBC}")
  add_custom_target(glibc_stubs DEPENDS ${stubs})
  set(QUILLON_GLIBC_STUBS ${stubs} PARENT_SCOPE)
  add_library(newer_glibc OBJECT ${CMAKE_SOURCE_DIR}/src/bundle/NewerGlibc.cpp)
  target_link_libraries(newer_glibc PRIVATE quillon_options)
endfunction()

if(CMAKE_SYSTEM_NAME STREQUAL Linux AND QUILLON_GLIBC AND CMAKE_READELF AND NOT QUILLON_SANITIZE)
  quillon_find_glibc(QUILLON_GLIBC_LIBRARIES)
endif()
if(QUILLON_GLIBC_LIBRARIES)
  quillon_add_glibc_stubs()
endif()

function(quillon_oldest_glibc target)
  if(NOT QUILLON_GLIBC_LIBRARIES)
    return()
  endif()
  add_dependencies(${target} glibc_stubs)
  target_link_libraries(${target} PRIVATE newer_glibc)
  list(GET QUILLON_GLIBC_STUBS -1 loader)
  # The compiler's own -lm and -lc at the end of the line find the stubs too: folders named here are searched first.
  # The loader comes last: older ones have an allocator for themselves under the names of libc's.
  target_link_options(${target} PRIVATE -L${CMAKE_BINARY_DIR}/glibc-${QUILLON_GLIBC}
    -Wl,--push-state,--no-as-needed,-lpthread,-ldl,-lm,-lc,${loader},--pop-state)
endfunction()
