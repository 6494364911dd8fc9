// imgio: picture files, line by line, through one table of formats.
//
// - Lines. Line 0 is the top line of the picture in every format; files that are stored bottom up are turned here. A
//   line is `width` pixels of `channels` interleaved samples: grey, grey and alpha, red green blue, red green blue
//   alpha. Samples are 8 bits (255 is white) or 16 bits (65535), never linearised. Alpha stands as it does in the file:
//   nothing is multiplied or divided by it.
// - Answers. Functions answer 0 or a record when all went well, else a non-zero code or null. The texts go to the trace
//   log, and those of the thread's latest call are kept for imgio_last_error. Nothing throws.
// - Limits. 65535 pixels either way, 2^31 - 1 bytes a picture. Sizes, counts, offsets and indices of a file are checked
//   before anything is allocated by them.
// - Threads. The format that setformat chooses and the variables that imgio_set_variable sets are the calling thread's.
//   A file belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct ImgioFile;

namespace imgio {
class Reader;
class Writer;
}  // namespace imgio

// A row of the table. A routine that is null is one that the format lacks; routines answer false when they fail.
struct ImgioFormat {
    const char* name;
    const char* extension;           // without a dot
    const char* sequence;            // printf pattern for numbered frames: base name (%s), then frame number
    const char* extension_variable;  // override the two above where they are set; null for the format "unknown"
    const char* sequence_variable;

    bool (*open)(const char* path, ImgioFile* file);
    bool (*create)(const char* path, ImgioFile* file);
    bool (*close)(ImgioFile* file);
    bool (*read_line)(ImgioFile* file, std::uint8_t* samples);
    bool (*write_line)(ImgioFile* file, const std::uint8_t* samples);
    bool (*seek)(ImgioFile* file, int line);
    bool (*read_line16)(ImgioFile* file, std::uint16_t* samples);
    bool (*write_line16)(ImgioFile* file, const std::uint16_t* samples);
};

struct ImgioFile {
    int width, height;  // pixels
    int channels;       // 1 to 4
    int bits;           // 8 or 16, of each sample
    int line;           // the next one that is read or written
    bool writing;
    bool failed;  // a line could not be written: closing fails and takes the file away
    const ImgioFormat* format;
    std::string path;
    imgio::Reader* reader;
    imgio::Writer* writer;
};

// ---- Formats --------------------------------------------------------------------------------------------------

const ImgioFormat* imgio_formats(std::size_t* count);         // the table, "unknown" first
const ImgioFormat* imgio_find_format(std::string_view name);  // null for a name that is not in the table
std::string imgio_extension(const ImgioFormat* format);       // the variable's, else the table's
std::string imgio_frame_name(const ImgioFormat* format, std::string_view base, int frame);  // without extension; empty
                                                                                            // for a bad pattern
int setformat(const char* name);  // for the next openimg and createimg of this thread; 1: no such format

// ---- Variables ------------------------------------------------------------------------------------------------
//
//   IMGIO_TIFF_COMPRESS     "lzw" or "none" (default)
//   IMGIO_TIFF_ORIENT       "topleft" (default) or "botleft": the order of lines in the file
//   IMGIO_TIFF_CHAN         "3" or "4": samples a pixel that are written; default: those of the lines
//   IMGIO_TIFF_PHOTOMETRIC  "rgb" (default; grey for one or two channels) or "cmyk"
//   IMGIO_TARGA_COMPRESS    "yes" or not
//   IMGIO_YUV_LINESIZE, IMGIO_YUV_LINES, IMGIO_YUV_FILTER, IMGIO_USER
// and the two of each format. A value set for the thread comes first, then the store's, then the environment's. One
// that is set to "" is no longer set.

bool imgio_set_variable(const char* name, const char* value);  // false: no such variable, or 64 bytes and more
std::string imgio_variable(const char* name, std::string_view fallback = {});

// ---- Files ----------------------------------------------------------------------------------------------------

ImgioFile* openimg(const char* path);  // reads the header
// nbits: 8 or 16. Lines that are written have `channels` samples a pixel (1 to 4); what the format cannot keep of them
// is left out.
ImgioFile* createimg(const char* path, int width, int height, int nbits, int channels = 4);
// Closes and frees the record. A file that was not written whole is removed, and the answer is not 0.
int closeimg(ImgioFile* file);

// The next line. Reading converts to the depth asked for: 8 to 16 bits by 257, 16 to 8 bits rounded down.
int readline(ImgioFile* file, std::uint8_t* samples);
int readline16(ImgioFile* file, std::uint16_t* samples);
int writeline(ImgioFile* file, const std::uint8_t* samples);
int writeline16(ImgioFile* file, const std::uint16_t* samples);
int seekline(ImgioFile* file, int line);  // of a file opened for reading; the next line read is `line`

// Texts of this thread's latest call that failed, on one line; "" when it went well. Closing a file adds to them.
void imgio_clear_error();
const char* imgio_last_error();
