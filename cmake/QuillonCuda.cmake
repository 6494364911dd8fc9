# quillon_cuda_sources(<target> <file.cu>...)
#
# Compiles CUDA sources with nvcc and adds them to a target. QUILLON_CUDA says whether there is CUDA at all: it is on
# where an nvcc is found that can use this compiler. Without it the same files are compiled as C++: their kernels can
# then run on the processor only. quillon_cuda_runtime(<target>) links the runtime library from its archive. The driver
# is opened by it at its first call, so that nothing of CUDA is needed where a library made so is loaded.
#
# nvcc is called directly. CMake's own support of the language would try it out at every first configuring, and the
# older versions that we build with know neither C++20 in it nor today's devices.

# Machine code for the three kinds of device, and PTX, from which a driver makes code for later ones.
set(QUILLON_CUDA_TARGETS
  -gencode=arch=compute_75,code=sm_75
  -gencode=arch=compute_80,code=sm_80
  -gencode=arch=compute_90,code=sm_90
  -gencode=arch=compute_90,code=compute_90)

# The same rounding as on the processor: a product and a sum are never fused, and tiny numbers stay.
set(QUILLON_CUDA_FLAGS -std=c++20 -O3 --fmad=false --ftz=false --prec-div=true --prec-sqrt=true --expt-relaxed-constexpr
  -I${CMAKE_SOURCE_DIR}/src -ccbin ${CMAKE_CXX_COMPILER} -Xcompiler=-fPIC,-fvisibility=hidden,-ffp-contract=off
  ${QUILLON_CUDA_TARGETS})

if(NOT CMAKE_CROSSCOMPILING)
  find_program(QUILLON_NVCC nvcc HINTS ENV CUDA_PATH ENV CUDA_HOME PATHS /usr/local/cuda PATH_SUFFIXES bin)
endif()

# Whether nvcc and its library serve, in QUILLON_CUDA_WORKS. Tried once for a build folder.
function(quillon_try_cuda)
  set(probe ${CMAKE_BINARY_DIR}/CMakeFiles/cuda_probe)
  file(WRITE ${probe}.cu "#include <cstddef>\n__global__ void probe(float* a) { *a = 1; }\n")
  # nvcc may be a script that calls one elsewhere. It tells where it would have the linker look.
  execute_process(COMMAND ${QUILLON_NVCC} -dryrun -c ${probe}.cu -o ${probe}.o OUTPUT_QUIET ERROR_VARIABLE steps)
  string(REGEX MATCHALL "-L[^\" ]+" folders "${steps}")
  string(REPLACE "-L" "" folders "${folders}")
  find_library(QUILLON_CUDART cudart_static HINTS ${folders})
  execute_process(COMMAND ${QUILLON_NVCC} ${QUILLON_CUDA_FLAGS} -c ${probe}.cu -o ${probe}.o
    RESULT_VARIABLE failed OUTPUT_VARIABLE said ERROR_VARIABLE said)
  if(failed)
    message(STATUS "${QUILLON_NVCC} does not serve:\n${said}")
  elseif(NOT QUILLON_CUDART)
    message(STATUS "${QUILLON_NVCC} does not serve: there is no libcudart_static.a")
  endif()
  if(failed OR NOT QUILLON_CUDART)
    set(QUILLON_CUDA_WORKS FALSE CACHE INTERNAL "nvcc compiles what we need")
  else()
    set(QUILLON_CUDA_WORKS TRUE CACHE INTERNAL "nvcc compiles what we need")
  endif()
endfunction()

if(QUILLON_NVCC AND NOT DEFINED QUILLON_CUDA_WORKS AND (QUILLON_CUDA OR NOT DEFINED QUILLON_CUDA))
  quillon_try_cuda()
endif()
if(QUILLON_NVCC AND QUILLON_CUDA_WORKS)
  option(QUILLON_CUDA "Build what runs on CUDA devices, too" ON)
else()
  option(QUILLON_CUDA "Build what runs on CUDA devices, too" OFF)
endif()
if(QUILLON_CUDA AND NOT QUILLON_CUDA_WORKS)
  message(FATAL_ERROR "QUILLON_CUDA is ON, but there is no nvcc of CUDA 12 or newer with libcudart_static.a that takes "
    "this compiler. -DQUILLON_CUDA=OFF builds everything else.")
endif()

function(quillon_cuda_sources target)
  if(NOT QUILLON_CUDA)
    target_sources(${target} PRIVATE ${ARGN})
    set_source_files_properties(${ARGN} PROPERTIES LANGUAGE CXX COMPILE_OPTIONS "-x;c++")
    return()
  endif()
  set(flags ${QUILLON_CUDA_FLAGS})
  if(QUILLON_WERROR)
    list(APPEND flags --Werror=all-warnings)
  endif()
  foreach(file IN LISTS ARGN)
    set(object ${CMAKE_CURRENT_BINARY_DIR}/${file}.o)
    add_custom_command(OUTPUT ${object}
      COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} ${QUILLON_NVCC} ${flags} -MD -MF ${object}.d
        -c ${CMAKE_CURRENT_SOURCE_DIR}/${file} -o ${object}
      DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${file} DEPFILE ${object}.d VERBATIM
      COMMENT "Building CUDA object ${file}.o")
    target_sources(${target} PRIVATE ${object})
    set_source_files_properties(${object} PROPERTIES EXTERNAL_OBJECT TRUE GENERATED TRUE)
  endforeach()
endfunction()

function(quillon_cuda_runtime target)
  target_link_libraries(${target} PUBLIC ${QUILLON_CUDART} ${CMAKE_DL_LIBS} rt)
  # Nobody who looks into a library that we are part of sees the runtime's names.
  target_link_options(${target} INTERFACE LINKER:--exclude-libs,libcudart_static.a)
endfunction()
