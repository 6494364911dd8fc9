// The table's functions: what is the same for all formats.
#include "imgio/imgio.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "imgio/format.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace imgio {

namespace {

// Plain storage, so that nothing is left to destroy when a thread ends after the bundle was unloaded.
thread_local char last_error[1024];

}  // namespace

void clear_error() { last_error[0] = 0; }

bool error(const char* format, ...) {
    char text[512];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Trace(TRACE_ERROR, "%s", text);
    strip_line_end(text);
    const std::size_t used = std::strlen(last_error);
    std::snprintf(last_error + used, sizeof last_error - used, "%s%s", used ? " " : "", text);
    return false;
}

bool set_layout(ImgioFile& file, std::int64_t width, std::int64_t height, int channels, int bits) {
    if (width < 1 || height < 1 || width > MAX_SIDE || height > MAX_SIDE || channels < 1 || channels > 4 ||
        width * height * channels * (bits / 8) > MAX_BYTES)
        return error("ERROR: A picture of %lld x %lld pixels with %d channels cannot be held.\n",
                     static_cast<long long>(width), static_cast<long long>(height), channels);
    file.width = static_cast<int>(width);
    file.height = static_cast<int>(height);
    file.channels = channels;
    file.bits = bits;
    return true;
}

bool close_file(ImgioFile* file) {
    bool whole = true;
    if (file->writer) whole = !file->failed && file->line == file->height && file->writer->finish();
    delete file->reader;
    delete file->writer;
    file->reader = nullptr;
    file->writer = nullptr;
    return whole;
}

}  // namespace imgio

namespace {

using namespace imgio;

thread_local const ImgioFormat* chosen_format = nullptr;

// A writer that has not finished takes its file away with it.
void discard(ImgioFile* file) {
    delete file->reader;
    delete file->writer;
    delete file;
}

ImgioFile* start(const char* path, bool writing) {
    return new ImgioFile{0, 0, 0, 0, 0, writing, false, chosen_format, path, nullptr, nullptr};
}

bool can_read(const ImgioFile* file, const void* samples) {
    clear_error();
    if (!file || !samples) return false;
    if (file->writing) return error("ERROR: Attempt to read from file opened for write.\n");
    return file->line < file->height;
}

bool can_write(const ImgioFile* file, const void* samples, int bits) {
    clear_error();
    if (!file || !samples) return false;
    if (!file->writing) return error("ERROR: Attempt to write to file opened for read.\n");
    if (file->bits == bits) return file->line < file->height;
    return bits == 8 ? error("ERROR: writeline(): File was created for 16 bit data.\n")
                     : error("ERROR: writeline16(): File was created for 8 bit data.\n");
}

std::size_t line_samples(const ImgioFile* file) {
    return static_cast<std::size_t>(file->width) * static_cast<std::size_t>(file->channels);
}

bool read_line8(ImgioFile* file, std::uint8_t* samples) {
    return in_memory([&] {
        if (file->bits == 8) return file->format->read_line(file, samples);
        std::vector<std::uint16_t> line(line_samples(file));
        if (!file->format->read_line16(file, line.data())) return false;
        for (std::size_t i = 0; i < line.size(); ++i) samples[i] = narrow(line[i]);
        return true;
    });
}

bool read_line16(ImgioFile* file, std::uint16_t* samples) {
    return in_memory([&] {
        if (file->bits == 16) return file->format->read_line16(file, samples);
        std::vector<std::uint8_t> line(line_samples(file));
        if (!file->format->read_line(file, line.data())) return false;
        for (std::size_t i = 0; i < line.size(); ++i) samples[i] = widen(line[i]);
        return true;
    });
}

int stepped(ImgioFile* file, bool done) {
    if (done) {
        ++file->line;
        return 0;
    }
    file->failed = true;
    error("ERROR: Failed to %s line [%d] of file [%s] format [%s]\n", file->writing ? "write" : "read", file->line,
          file->path.c_str(), file->format->name);
    return 1;
}

}  // namespace

void imgio_clear_error() { clear_error(); }

const char* imgio_last_error() { return last_error; }

std::string imgio_extension(const ImgioFormat* format) {
    if (!format || !format->extension_variable) return {};
    return imgio_variable(format->extension_variable, format->extension);
}

std::string imgio_frame_name(const ImgioFormat* format, std::string_view base, int frame) {
    if (!format) return {};
    const std::string pattern =
        format->sequence_variable ? imgio_variable(format->sequence_variable, format->sequence) : format->sequence;
    return frame_file_name({}, pattern.c_str(), frame, base);
}

int setformat(const char* name) {
    clear_error();
    const ImgioFormat* format = name ? imgio_find_format(name) : nullptr;
    if (!format) return 1;
    chosen_format = format;
    return 0;
}

ImgioFile* openimg(const char* path) {
    clear_error();
    if (!path) return nullptr;
    if (!chosen_format) {
        error("ERROR: Image format not set at [openimg()]\n");
        return nullptr;
    }
    if (!chosen_format->open) {
        error("UGH: No open file routine defined for format [%s]!\n", chosen_format->name);
        return nullptr;
    }
    ImgioFile* file = in_memory([&] { return start(path, false); });
    if (!file) return nullptr;
    if (in_memory([&] { return file->format->open(path, file); })) return file;
    error("ERROR: Failed to open file [%s] format [%s]\n", path, file->format->name);
    discard(file);
    return nullptr;
}

ImgioFile* createimg(const char* path, int width, int height, int nbits, int channels) {
    clear_error();
    if (!path) return nullptr;
    if (!chosen_format) {
        error("ERROR: Image format not set at [createimg()]\n");
        return nullptr;
    }
    if (nbits != 8 && nbits != 16) {
        error("ERROR: nbits must be 8 or 16 in [createimg()].\n");
        return nullptr;
    }
    if (!chosen_format->create || (nbits == 16 && !chosen_format->write_line16)) {
        error("UGH: No create file routine defined for format [%s]!\n", chosen_format->name);
        return nullptr;
    }
    ImgioFile* file = in_memory([&] { return start(path, true); });
    if (!file) return nullptr;
    if (set_layout(*file, width, height, channels, nbits) &&
        in_memory([&] { return file->format->create(path, file); }))
        return file;
    error("ERROR: Failed to open file [%s] format [%s]\n", path, file->format->name);
    discard(file);
    return nullptr;
}

int closeimg(ImgioFile* file) {
    if (!file) return 1;
    bool whole = false;
    if (!file->format->close)
        error("UGH: No close file routine defined for format [%s]!\n", file->format->name);
    else if (whole = in_memory([&] { return file->format->close(file); }); !whole)
        error("ERROR: Failed to close file [%s] format [%s]\n", file->path.c_str(), file->format->name);
    discard(file);
    return whole ? 0 : 1;
}

int readline(ImgioFile* file, std::uint8_t* samples) {
    return can_read(file, samples) ? stepped(file, read_line8(file, samples)) : 1;
}

int readline16(ImgioFile* file, std::uint16_t* samples) {
    return can_read(file, samples) ? stepped(file, read_line16(file, samples)) : 1;
}

int writeline(ImgioFile* file, const std::uint8_t* samples) {
    if (!can_write(file, samples, 8)) return 1;
    return stepped(file, in_memory([&] { return file->format->write_line(file, samples); }));
}

int writeline16(ImgioFile* file, const std::uint16_t* samples) {
    if (!can_write(file, samples, 16)) return 1;
    return stepped(file, in_memory([&] { return file->format->write_line16(file, samples); }));
}

int seekline(ImgioFile* file, int line) {
    clear_error();
    if (!file || file->writing) return 1;
    bool there = line >= 0 && line < file->height;
    if (there && file->format->seek) {
        there = file->format->seek(file, line);
    } else if (there) {
        there = line >= file->line && in_memory([&] {
                    std::vector<std::uint16_t> dropped(line_samples(file));
                    while (file->line < line)
                        if (readline16(file, dropped.data()) != 0) return false;
                    return true;
                });
    }
    if (!there)
        error("ERROR: Failed to seek to line [%d] in file [%s] format [%s]\n", line, file->path.c_str(),
              file->format->name);
    return there ? 0 : 1;
}
