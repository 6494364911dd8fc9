// Private to imgio: what a format's source needs to stand in the table.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "imgio/imgio.h"

namespace imgio {

// A picture being read. Lines may be asked for in any order unless the format cannot seek.
class Reader {
  public:
    Reader() = default;
    virtual ~Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    virtual bool open(const char* path, ImgioFile& file) = 0;  // sets width, height, channels and bits
    // `samples` has room for a line of the file's depth: std::uint8_t or std::uint16_t.
    virtual bool read(int line, void* samples) = 0;
};

// A picture being written, top line first.
class Writer {
  public:
    Writer() = default;
    virtual ~Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    virtual bool create(const char* path, const ImgioFile& file) = 0;
    virtual bool write(const void* samples) = 0;  // a line of the depth that the file was created for
    virtual bool finish() = 0;                    // all lines were written: false when the file is not whole
};

// ---- Rows of the table ------------------------------------------------------------------------------------------

// The names of a row; routines follow by reads() and writes().
constexpr ImgioFormat row(const char* name, const char* extension, const char* sequence, const char* extension_variable,
                          const char* sequence_variable) {
    return {name,
            extension,
            sequence,
            extension_variable,
            sequence_variable,
            nullptr,
            nullptr,
            nullptr,
            nullptr,
            nullptr,
            nullptr,
            nullptr,
            nullptr};
}

bool close_file(ImgioFile* file);

enum class Depth { Bits8, Bits8And16 };
enum class Seek { Any, Forward };  // Forward: lines before the one wanted are read and dropped

template <class R>
constexpr ImgioFormat reads(ImgioFormat format, Depth depth = Depth::Bits8, Seek seek = Seek::Any) {
    format.open = [](const char* path, ImgioFile* file) {
        file->reader = new R;
        return file->reader->open(path, *file);
    };
    format.close = close_file;
    format.read_line = [](ImgioFile* file, std::uint8_t* samples) { return file->reader->read(file->line, samples); };
    if (depth == Depth::Bits8And16)
        format.read_line16 = [](ImgioFile* file, std::uint16_t* samples) {
            return file->reader->read(file->line, samples);
        };
    if (seek == Seek::Any)
        format.seek = [](ImgioFile* file, int line) {
            file->line = line;
            return true;
        };
    return format;
}

template <class W>
constexpr ImgioFormat writes(ImgioFormat format, Depth depth = Depth::Bits8) {
    format.create = [](const char* path, ImgioFile* file) {
        file->writer = new W;
        return file->writer->create(path, *file);
    };
    format.close = close_file;
    format.write_line = [](ImgioFile* file, const std::uint8_t* samples) { return file->writer->write(samples); };
    if (depth == Depth::Bits8And16)
        format.write_line16 = [](ImgioFile* file, const std::uint16_t* samples) {
            return file->writer->write(samples);
        };
    return format;
}

// The formats that have sources of their own add their routines to the names.
ImgioFormat alias_format(ImgioFormat names);
ImgioFormat cineon_format(ImgioFormat names);
ImgioFormat gif_format(ImgioFormat names);
ImgioFormat jpeg_format(ImgioFormat names);
ImgioFormat pixar_format(ImgioFormat names);
ImgioFormat rla_format(ImgioFormat names);
ImgioFormat sgi_format(ImgioFormat names);
ImgioFormat softimage_format(ImgioFormat names);
ImgioFormat sun_format(ImgioFormat names);
ImgioFormat targa_format(ImgioFormat names);
ImgioFormat tiff_format(ImgioFormat names);
ImgioFormat yuv_format(ImgioFormat names);

// ---- Errors ----------------------------------------------------------------------------------------------------

void clear_error();
// Into the trace log at level ERROR, and kept for imgio_last_error. Answers false.
[[gnu::format(printf, 1, 2)]] bool error(const char* format, ...);

// ---- Sizes -----------------------------------------------------------------------------------------------------

inline constexpr int MAX_SIDE = 65535;
inline constexpr std::int64_t MAX_BYTES = std::numeric_limits<std::int32_t>::max();

// Sets the four numbers of a file that is being opened; false, with a text, when they are out of bounds.
bool set_layout(ImgioFile& file, std::int64_t width, std::int64_t height, int channels, int bits);

// ---- Samples ---------------------------------------------------------------------------------------------------

template <class T>
inline constexpr int full = std::numeric_limits<T>::max();

inline std::uint8_t narrow(std::uint16_t sample) { return static_cast<std::uint8_t>(sample / 257); }
inline std::uint16_t widen(std::uint8_t sample) { return static_cast<std::uint16_t>(sample * 257); }

// One pixel of `from` channels as one of `to`: grey becomes three equal colours, colour becomes grey by the weights of
// Rec. 601 in integers, a missing alpha is full, one too many is left out.
template <class T>
void convert_pixel(const T* in, int from, T* out, int to) {
    const bool grey_in = from <= 2, grey_out = to <= 2;
    if (grey_out)
        out[0] = grey_in ? in[0] : static_cast<T>((299u * in[0] + 587u * in[1] + 114u * in[2] + 500u) / 1000u);
    else
        for (int c = 0; c < 3; ++c) out[c] = grey_in ? in[0] : in[c];
    if (to % 2 == 0) out[to - 1] = from % 2 == 0 ? in[from - 1] : static_cast<T>(full<T>);
}

template <class T>
void convert_line(const void* in, int from, void* out, int to, int width) {
    const T* source = static_cast<const T*>(in);
    T* target = static_cast<T*>(out);
    for (int x = 0; x < width; ++x, source += from, target += to) convert_pixel(source, from, target, to);
}

}  // namespace imgio
