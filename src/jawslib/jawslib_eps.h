// Encapsulated PostScript files: where they are placed, the small picture that they may bring, and the program that
// draws them into a frame. After Adobe's "Encapsulated PostScript File Format Specification", version 3.0 (1992), and
// "TIFF Revision 6.0" (1992).
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// ---- Lines ------------------------------------------------------------------------------------------------------

// Reads the lines of a file with their ends, in pieces of at most 1024 bytes.
class EpsLines {
  public:
    static constexpr std::size_t LONGEST = 1024;

    // With `macintosh` a carriage return ends a line too, and is given as a line feed. Not open: no regular file, or
    // one that can't be read.
    EpsLines(const char* path, bool macintosh);
    bool isOpen() const { return m_file != nullptr; }
    bool failed() const { return m_file && std::ferror(m_file.get()); }
    // `length` below 0: to the end.
    bool seek(long long offset, long long length = -1);
    // The next piece, until the next call. False at the end.
    bool next(std::string_view* line);
    std::FILE* file() const { return m_file.get(); }

  private:
    bool fill();
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> m_file;
    bool m_macintosh;
    long long m_left = -1;  // bytes that may still be read from the file; below 0: all
    char m_buffer[8192];
    std::size_t m_first = 0, m_last = 0;  // of the buffer: [first, last) has not been given out
    char m_line[LONGEST];
};

// ---- Files ------------------------------------------------------------------------------------------------------

struct EpsBox {
    double llx, lly, urx, ury;  // points; the upper right corner lies above and to the right of the lower left one
};

struct EpsThumbnail {
    int width = 0, height = 0;
    bool noMemory = false;              // why there is none
    std::vector<std::uint32_t> pixels;  // bytes red, green, blue, 255; row 0 is the bottom of the picture
};

struct EpsReading {
    bool viewAnyThumbnail = false;
    bool tryNonEPS = true;
    bool fromMacintosh = false;
};

struct EpsFile {
    std::string path;
    long long offset = 0, length = -1;  // of the PostScript, bytes; to the end
    bool isEps = false;
    EpsBox box{};
    EpsThumbnail thumbnail;  // empty: none was wanted, or the file has none that can be read
    bool fromMacintosh = false;

    bool noMemory = false;  // why the file, or its thumbnail, was not read

    bool hasThumbnail() const { return !thumbnail.pixels.empty(); }
};

// False for a file that can't be used: it can't be read, has no line "%!PS-Adobe", or has no box and may not be taken
// for plain PostScript, whose box is 595 x 842.
bool read_eps(const char* path, const EpsReading& how, EpsFile* eps);

inline constexpr int EPS_MOST_THUMBNAIL = 4096;  // pixels a side

// Hexadecimal digits behind a comment "%%BeginPreview:", the top row first; 0 is white.
bool read_hex_preview(EpsLines& lines, int width, int height, int depth, EpsThumbnail* thumbnail);
// A whole TIFF file: grey, palette or RGB, uncompressed or in PackBits; 1, 2, 4 or 8 bits a sample, RGB 8 or 16.
bool read_tiff_preview(const std::uint8_t* bytes, std::size_t count, EpsThumbnail* thumbnail);

// ---- Into a frame -----------------------------------------------------------------------------------------------

struct EpsRectangle {
    double left, bottom, right, top;  // pixels
};

// The box as large as fits into the frame, in its middle.
EpsRectangle fitted_box(const EpsBox& box, int width, int height);

// What of the fitted box fills the frame.
struct EpsPlacement {
    int width = 0, height = 0;          // of the frame
    double pixel_aspect = 1.0;          // width of a pixel over its height
    bool transform = false;             // off: the frame as it stands, the rest is not used
    double centre_x = 0, centre_y = 0;  // pixels of the fitted box that come to the middle of the frame
    double scale_x = 1, scale_y = 1;    // 2 is twice as large
    double degrees = 0;                 // counter-clockwise, around the middle of the frame
};

enum class EpsScript { Done, NoSource, NoScript, NoMemory };
// Writes a program that draws the file so. One of its units is a pixel. What can't be written whole is removed.
EpsScript write_eps_script(const EpsFile& eps, const EpsPlacement& placement, const char* script);
