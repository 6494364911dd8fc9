# Compiler options that every target of the project shares, through the interface target quillon_options.

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_CXX_FLAGS_RELEASE "-O3")                # asserts stay on: they are few and outside the hot loops
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g")      # the sanitizer presets

# A compiler that nobody has tried yet may warn of more: that must not stop a build.
set(werror OFF)
if(QUILLON_WERROR AND (CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 15
                       OR CMAKE_CXX_COMPILER_ID STREQUAL Clang AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 17))
  set(werror ON)
endif()

add_library(quillon_options INTERFACE)
target_include_directories(quillon_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(quillon_options INTERFACE
  -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2
  $<$<BOOL:${werror}>:-Werror>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # GCC 12 sees overlaps in std::string that are not there (bug 105329)
  # The same bits on every machine and from every compiler: a product and a sum are never fused into one rounding.
  -ffp-contract=off
  # Neither changes a result: errno after sqrt() and the floating-point trap flags are never read.
  -fno-math-errno -fno-trapping-math
  # Unique symbols would keep the bundle mapped after a host has unloaded it.
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
if(QUILLON_SANITIZE)
  target_compile_options(quillon_options INTERFACE -fsanitize=${QUILLON_SANITIZE} -fno-omit-frame-pointer)
  # GCC sees them where code of the sanitizers hides the order.
  target_compile_options(quillon_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(quillon_options INTERFACE -fsanitize=${QUILLON_SANITIZE})
  if(QUILLON_SANITIZE MATCHES undefined)
    target_compile_options(quillon_options INTERFACE -fno-sanitize-recover=undefined)
  endif()
endif()

find_package(Threads REQUIRED)
target_link_libraries(quillon_options INTERFACE Threads::Threads)

# Implicit conversions are errors in code that handles indices, handles and texts rather than pixels.
function(quillon_strict_conversions target)
  target_compile_options(${target} PRIVATE -Wconversion $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
endfunction()
