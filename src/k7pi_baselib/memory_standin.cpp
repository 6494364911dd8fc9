// Temporary: just enough of the memory functions for the image library to link while the real ones are written.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "k7pi_baselib/k7pi_baselib.h"

void* k7_malloc(std::size_t size, const char*, int) { return std::malloc(size); }
void k7_free(void* pointer, const char*, int) { std::free(pointer); }

void* k7_aligned_malloc(std::size_t size, int alignment, bool, const char*, int) {
    if (size == 0 || size > 0x7fffffffu) return nullptr;
    const std::size_t unit = alignment < 4 ? 4096 : static_cast<std::size_t>(alignment);
    void* block = nullptr;
    if (posix_memalign(&block, unit < sizeof(void*) ? sizeof(void*) : unit, size) != 0) return nullptr;
    return std::memset(block, 0, size);
}

void k7_aligned_free(void* pointer, bool, const char*, int) { std::free(pointer); }

void Trace(int, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}
