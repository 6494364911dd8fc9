#include "imgio/tiff_library.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "imgio/format.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace imgio {

namespace {

void report(int level, const char* module, const char* format, std::va_list arguments) {
    char text[400];
    std::vsnprintf(text, sizeof text, format, arguments);
    if (level == TRACE_ERROR)
        error("TIFF: %s: %s\n", module ? module : "", text);
    else
        Trace(level, "TIFF: %s: %s\n", module ? module : "", text);
}

void on_error(const char* module, const char* format, std::va_list arguments) {
    report(TRACE_ERROR, module, format, arguments);
}
void on_warning(const char* module, const char* format, std::va_list arguments) {
    report(TRACE_DEBUG, module, format, arguments);
}

tmsize_t read_stream(thandle_t handle, void* bytes, tmsize_t count) {
    return static_cast<tmsize_t>(
        std::fread(bytes, 1, static_cast<std::size_t>(count), static_cast<std::FILE*>(handle)));
}
tmsize_t write_stream(thandle_t handle, void* bytes, tmsize_t count) {
    return static_cast<tmsize_t>(
        std::fwrite(bytes, 1, static_cast<std::size_t>(count), static_cast<std::FILE*>(handle)));
}
toff_t seek_stream(thandle_t handle, toff_t offset, int whence) {
    std::FILE* stream = static_cast<std::FILE*>(handle);
    if (fseeko(stream, static_cast<off_t>(offset), whence) != 0) return static_cast<toff_t>(-1);
    return static_cast<toff_t>(ftello(stream));
}
toff_t stream_size(thandle_t handle) {
    std::FILE* stream = static_cast<std::FILE*>(handle);
    const off_t place = ftello(stream);
    if (fseeko(stream, 0, SEEK_END) != 0) return 0;
    const off_t size = ftello(stream);
    return fseeko(stream, place, SEEK_SET) == 0 ? static_cast<toff_t>(size) : 0;
}
int leave_open(thandle_t) { return 0; }  // whoever opened the stream closes it

TIFF* on_stream(std::FILE* stream, const char* name, const char* mode) {
    return TIFFClientOpen(name, mode, stream, read_stream, write_stream, seek_stream, leave_open, stream_size, nullptr,
                          nullptr);
}

}  // namespace

TIFF* open_tiff(InputFile& file, const char* name) { return on_stream(file.stream(), name, "rm"); }
TIFF* create_tiff(OutputFile& file, const char* name) { return on_stream(file.stream(), name, "w"); }

}  // namespace imgio

// libtiff is linked from its archive. What follows stands in for members of it, so it must be in an object that is
// linked before it.
//
// The part that knows the system: its memory, and where messages go. libtiff's own opens files by name, maps them and
// writes to the standard error stream, and refers to that stream in a way that a shared library cannot be linked with
// (Debian's archive is made for programs).
extern "C" {
extern TIFFErrorHandler _TIFFerrorHandler, _TIFFwarningHandler;
TIFFErrorHandler _TIFFerrorHandler = imgio::on_error;
TIFFErrorHandler _TIFFwarningHandler = imgio::on_warning;

// Nothing in a file that is read or written here needs a larger block.
static bool in_bounds(tmsize_t size) { return size > 0 && size <= imgio::MAX_BYTES + (1 << 20); }

void* _TIFFmalloc(tmsize_t size) { return in_bounds(size) ? std::malloc(static_cast<std::size_t>(size)) : nullptr; }
void* _TIFFcalloc(tmsize_t count, tmsize_t size) {
    if (count <= 0 || size <= 0 || !in_bounds(size) || count > imgio::MAX_BYTES / size) return nullptr;
    return std::calloc(static_cast<std::size_t>(count), static_cast<std::size_t>(size));
}
void* _TIFFrealloc(void* block, tmsize_t size) {
    return in_bounds(size) ? std::realloc(block, static_cast<std::size_t>(size)) : nullptr;
}
void _TIFFfree(void* block) { std::free(block); }
void _TIFFmemset(void* bytes, int value, tmsize_t count) { std::memset(bytes, value, static_cast<std::size_t>(count)); }
void _TIFFmemcpy(void* to, const void* from, tmsize_t count) { std::memcpy(to, from, static_cast<std::size_t>(count)); }
int _TIFFmemcmp(const void* a, const void* b, tmsize_t count) {
    return std::memcmp(a, b, static_cast<std::size_t>(count));
}
}

// Compressions that are left out: each would bring a library of its own, or belongs to pixels that imgio does not read.
// A file that uses one of them is refused with libtiff's text.
namespace {

int refuse(int scheme) {
    Trace(TRACE_DEBUG, "TIFF: compression %d is left out.\n", scheme);
    return 0;
}

}  // namespace

extern "C" {
int TIFFInitJBIG(TIFF*, int scheme) { return refuse(scheme); }
int TIFFInitLERC(TIFF*, int scheme) { return refuse(scheme); }
int TIFFInitLZMA(TIFF*, int scheme) { return refuse(scheme); }
int TIFFInitOJPEG(TIFF*, int scheme) { return refuse(scheme); }
int TIFFInitSGILog(TIFF*, int scheme) { return refuse(scheme); }
int TIFFInitWebP(TIFF*, int scheme) { return refuse(scheme); }
int TIFFInitZSTD(TIFF*, int scheme) { return refuse(scheme); }
}
