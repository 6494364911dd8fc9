// The table of formats and the variables that steer them.
#include <cstdio>
#include <cstring>

#include "imgio/format.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

using namespace imgio;

// Those without routines (vertigo, art24, symbolics) are formats of which no published layout was found.
const ImgioFormat formats[] = {
    row("unknown", "", "%s%d", nullptr, nullptr),
    pixar_format(row("pixar", "pxr", "%s_%4.4d", "IMGIO_PIXAR_EXT", "IMGIO_PIXAR_SEQ")),
    rla_format(row("rla", "rla", "%s.%4.4d", "IMGIO_RLA_EXT", "IMGIO_RLA_SEQ")),
    softimage_format(row("softimage", "pic", "%s.%d", "IMGIO_SOFTIMAGE_EXT", "IMGIO_SOFTIMAGE_SEQ")),
    alias_format(row("alias", "als", "%s.%d", "IMGIO_ALIAS_EXT", "IMGIO_ALIAS_SEQ")),
    sgi_format(row("sgirgb", "rgb", "%s_%4.4d", "IMGIO_SGIRGB_EXT", "IMGIO_SGIRGB_SEQ")),
    sgi_format(row("sgisgi", "sgi", "%s.%4.4d", "IMGIO_SGISGI_EXT", "IMGIO_SGISGI_SEQ")),
    row("vertigo", "pic", "%s@%d", "IMGIO_VERTIGO_EXT", "IMGIO_VERTIGO_SEQ"),
    targa_format(row("targa2", "tga", "%s.%d", "IMGIO_TARGA2_EXT", "IMGIO_TARGA2_SEQ")),
    yuv_format(row("yuv", "yuv", "%s.%d", "IMGIO_YUV_EXT", "IMGIO_YUV_SEQ")),
    tiff_format(row("tiff", "tif", "%s.%4.4d", "IMGIO_TIFF_EXT", "IMGIO_TIFF_SEQ")),
    sun_format(row("sun", "ras", "%s.%4.4d", "IMGIO_SUN_EXT", "IMGIO_SUN_SEQ")),
    row("art24", "r", "%s%d", "IMGIO_ART24_EXT", "IMGIO_ART24_SEQ"),
    row("symbolics", "dump", "%s-%4.4d", "IMGIO_SYMBOLICS_EXT", "IMGIO_SYMBOLICS_SEQ"),
    gif_format(row("gif", "gif", "%s.%4.4d", "IMGIO_GIF_EXT", "IMGIO_GIF_SEQ")),
    cineon_format(row("cin", "cin", "%s%4.4d", "IMGIO_CIN_EXT", "IMGIO_CIN_SEQ")),
    jpeg_format(row("jpeg", "jpg", "%s.%4.4d", "IMGIO_JPEG_EXT", "IMGIO_JPEG_SEQ")),
};

// Those that are no format's extension or pattern.
constexpr const char* format_variables[] = {
    "IMGIO_TIFF_COMPRESS",    "IMGIO_TIFF_ORIENT",    "IMGIO_TIFF_CHAN",
    "IMGIO_TIFF_PHOTOMETRIC", "IMGIO_TARGA_COMPRESS", "IMGIO_YUV_LINESIZE",
    "IMGIO_YUV_LINES",        "IMGIO_YUV_FILTER",     "IMGIO_USER",
};
constexpr std::size_t variable_count = std::size(format_variables) + 2 * std::size(formats);
constexpr std::size_t VALUE_SIZE = 64;

// What imgio_set_variable has set: plain storage, nothing to destroy when the thread ends.
thread_local char values[variable_count][VALUE_SIZE];

// Place of a variable in the arrays above, or variable_count.
std::size_t variable_place(std::string_view name) {
    std::size_t place = 0;
    for (const char* known : format_variables) {
        if (name == known) return place;
        ++place;
    }
    for (const ImgioFormat& format : formats)
        for (const char* known : {format.extension_variable, format.sequence_variable}) {
            if (known && name == known) return place;
            ++place;
        }
    return variable_count;
}

}  // namespace

const ImgioFormat* imgio_formats(std::size_t* count) {
    if (count) *count = std::size(formats);
    return formats;
}

const ImgioFormat* imgio_find_format(std::string_view name) {
    for (const ImgioFormat& format : formats)
        if (name == format.name) return &format;
    return nullptr;
}

bool imgio_set_variable(const char* name, const char* value) {
    if (!name || !value || std::strlen(value) >= VALUE_SIZE) return false;
    const std::size_t place = variable_place(name);
    if (place == variable_count) return false;
    std::snprintf(values[place], VALUE_SIZE, "%s", value);
    return true;
}

std::string imgio_variable(const char* name, std::string_view fallback) {
    if (!name) return std::string(fallback);
    const std::size_t place = variable_place(name);
    if (place < variable_count && *values[place]) return values[place];
    return read_variable(name, fallback);
}
