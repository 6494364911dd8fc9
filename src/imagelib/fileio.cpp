#include <strings.h>
#include <algorithm>
#include <cstring>
#include <vector>

#include "imagelib/imagelib_fileio.h"
#include "imagelib/samples.h"
#include "imagelib/tk7_file.h"
#include "imgio/imgio.h"
#include "k7pi_baselib/in_memory.h"

namespace {

struct Extension {
    const char* extension;
    const char* format;
    bool keeps_alpha;  // when written
};

constexpr Extension extensions[] = {
    {".pxr", "pixar", true},   {".rla", "rla", false},     {".als", "alias", true},       {".rgb", "sgirgb", false},
    {".sgi", "sgisgi", false}, {".pic", "vertigo", false}, {".tga", "targa2", false},     {".tif", "tiff", true},
    {".ras", "sun", true},     {".r", "art24", false},     {".dump", "symbolics", false}, {".gif", "gif", false},
    {".jpg", "jpeg", true},    {".tk7", "tk7", false},
};

const Extension* extension_of(const char* path) {
    const char* name = std::strrchr(path, '/');
    const char* dot = std::strrchr(name ? name : path, '.');
    for (const Extension& known : extensions)
        if (dot && strcasecmp(dot, known.extension) == 0) return &known;
    return nullptr;
}

struct CloseImg {
    void operator()(ImgioFile* file) const { closeimg(file); }
};
using ImgioFilePtr = std::unique_ptr<ImgioFile, CloseImg>;

bool is_tk7(const char* format) { return format && std::strcmp(format, "tk7") == 0; }

// At the start of each call, which leaves no text of an earlier one.
const char* chosen_format(const char* path, const char* format) {
    imgio_clear_error();
    return format && *format ? format : image_file_format(path);
}

ImgioFilePtr open_file(const char* path, const char* format) {
    return ImgioFilePtr(format && setformat(format) == 0 ? openimg(path) : nullptr);
}

bool read_lines(ImgioFile* file, K7Image* image) {
    for (int y = 0; y < image->height; ++y) {
        const int failed = image->sample_type == SAMPLE_U8 ? readline(file, image_row<std::uint8_t>(image, y))
                                                           : readline16(file, image_row<std::uint16_t>(image, y));
        if (failed) return false;
    }
    return true;
}

std::uint16_t to_16_bits(std::uint8_t sample) { return static_cast<std::uint16_t>(sample * 257); }
std::uint16_t to_16_bits(std::uint16_t sample) { return sample; }
std::uint16_t to_16_bits(std::uint32_t sample) { return static_cast<std::uint16_t>(sample >> 16); }
std::uint16_t to_16_bits(float sample) { return truncate_sample<std::uint16_t>(sample * 65535.0f); }

// The first `kept` channels of a row, in 8 or 16 bits.
template <class T>
int write_row(ImgioFile* file, const T* in, const K7Image* image, std::uint16_t* out) {
    const int kept = file->channels;
    std::uint8_t* out8 = reinterpret_cast<std::uint8_t*>(out);
    for (int x = 0; x < image->width; ++x, in += image->channels)
        for (int c = 0; c < kept; ++c) {
            const int place = x * kept + c;
            if (file->bits == 16)
                out[place] = to_16_bits(in[c]);
            else if constexpr (sizeof(T) == 1)
                out8[place] = in[c];
            else
                out8[place] = static_cast<std::uint8_t>(to_16_bits(in[c]) / 257);
        }
    return file->bits == 16 ? writeline16(file, out) : writeline(file, out8);
}

bool write_lines(ImgioFile* file, const K7Image* image) {
    std::vector<std::uint16_t> line(std::size_t(file->width) * static_cast<std::size_t>(file->channels));
    bool written = true;
    visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        for (int y = 0; written && y < image->height; ++y)
            written = write_row(file, image_row<T>(image, y), image, line.data()) == 0;
    });
    return written;
}

// How the formats write is told to them by variables.
void set_variables(const char* format, bool compress) {
    if (std::strcmp(format, "tiff") == 0) {
        imgio_set_variable("IMGIO_TIFF_COMPRESS", compress ? "lzw" : "none");
        imgio_set_variable("IMGIO_TIFF_ORIENT", "topleft");
    } else if (std::strcmp(format, "targa2") == 0) {
        imgio_set_variable("IMGIO_TARGA_COMPRESS", compress ? "yes" : "no");
    }
}

bool format_keeps_alpha(const char* format) {
    for (const Extension& known : extensions)
        if (std::strcmp(format, known.format) == 0) return known.keeps_alpha;
    return true;  // the writer leaves out what it cannot keep
}

}  // namespace

const char* image_file_format(const char* path, bool* keeps_alpha) {
    const Extension* known = path ? extension_of(path) : nullptr;
    if (known && keeps_alpha) *keeps_alpha = known->keeps_alpha;
    return known ? known->format : nullptr;
}

bool image_file_info(const char* path, int* width, int* height, int* channels, int* depth, const char* format) {
    if (!path || !width || !height || !channels || !depth) return false;
    const char* const chosen = chosen_format(path, format);
    if (is_tk7(chosen)) return tk7_info(path, width, height, channels, depth);
    const ImgioFilePtr file = open_file(path, chosen);
    if (!file) return false;
    *width = file->width;
    *height = file->height;
    *channels = file->channels;
    *depth = file->bits;
    return true;
}

K7Image* image_read(const char* path, const char* format) {
    if (!path) return nullptr;
    const char* const chosen = chosen_format(path, format);
    if (is_tk7(chosen)) return tk7_read(path);
    const ImgioFilePtr file = open_file(path, chosen);
    if (!file) return nullptr;
    ImagePtr image =
        make_image_uncleared(file->width, file->height, file->channels, file->bits == 8 ? SAMPLE_U8 : SAMPLE_U16);
    return image && read_lines(file.get(), image.get()) ? image.release() : nullptr;
}

bool image_write(const char* path, const K7Image* image, bool compress, const char* format) {
    if (!path || !is_valid(image)) return false;
    const char* const chosen = chosen_format(path, format);
    if (is_tk7(chosen)) return tk7_write(path, image);
    const ImgioFormat* row = chosen ? imgio_find_format(chosen) : nullptr;
    if (!row || image->channels > 4 || setformat(chosen) != 0) return false;
    set_variables(chosen, compress);
    const int channels =
        image->channels % 2 == 0 && !format_keeps_alpha(chosen) ? image->channels - 1 : image->channels;
    const int bits = image->sample_type == SAMPLE_U8 || !row->write_line16 ? 8 : 16;
    ImgioFilePtr file(createimg(path, image->width, image->height, bits, channels));
    return file && in_memory([&] { return write_lines(file.get(), image); }) && closeimg(file.release()) == 0;
}
