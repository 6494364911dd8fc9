# quillon_simd_sources(<target> <file>...)
#
# Compiles each file once for every instruction set the library dispatches between at run time, with
# QUILLON_SIMD naming the set (baseline, avx2, avx512; elsewhere than on x86-64 baseline alone). The file puts its
# kernels into `namespace QUILLON_SIMD` and defines one table of function pointers there, which its header declares
# with QUILLON_SIMD_TABLE (simdlib/cpu.h). simdlib/vectors.h has what such files share.
#
# Such a file must not instantiate inline functions or templates of other headers with external linkage (the
# linker would keep one copy for all, perhaps one that older processors cannot run): it includes plain
# declarations and simdlib only, and marks its own helpers static.
#
# No set enables FMA contraction (-ffp-contract=off is global), so all sets give the same bits.
set(QUILLON_SIMD_LEVELS baseline)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  list(APPEND QUILLON_SIMD_LEVELS avx2 avx512)
endif()

function(quillon_simd_sources target)
  set(flags_baseline "")
  set(flags_avx2 -mavx2 -mf16c)
  set(flags_avx512 -mavx2 -mf16c -mavx512f -mavx512bw -mavx512dq -mavx512vl -mprefer-vector-width=512
                   # GCC 12 sees its own intrinsics read undefined vectors (bug 105593)
                   $<$<CXX_COMPILER_ID:GNU>:-Wno-uninitialized -Wno-maybe-uninitialized>)
  foreach(file IN LISTS ARGN)
    string(REGEX REPLACE "\\.cpp$" "" stem ${file})
    string(MAKE_C_IDENTIFIER ${stem} stem)  # the folder too: stems may be equal
    foreach(level IN LISTS QUILLON_SIMD_LEVELS)
      set(object ${target}_${stem}_${level})
      add_library(${object} OBJECT ${file})
      target_link_libraries(${object} PRIVATE quillon_options)
      target_compile_definitions(${object} PRIVATE QUILLON_SIMD=${level})
      target_compile_options(${object} PRIVATE ${flags_${level}})
      target_sources(${target} PRIVATE $<TARGET_OBJECTS:${object}>)
    endforeach()
  endforeach()
endfunction()
