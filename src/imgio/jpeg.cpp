// JPEG by libjpeg: grey, colour and CMYK of 8 bits. Written as colour with all its samples, of high quality.
//
// libjpeg ends what it does with longjmp. Nothing between the call that may jump and the place where it lands has a
// destructor.
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <vector>

#include "imgio/files.h"
#include "imgio/format.h"
#include "k7pi_baselib/k7pi_baselib.h"

// After <cstdio>, which it needs without saying so.
#include <jpeglib.h>

#include <jerror.h>

namespace imgio {

namespace {

constexpr int QUALITY = 95;
// A file of a few bytes may claim any number of scans, each as long to decode as the picture is large.
constexpr int MOST_SCANS = 200;

struct ErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf landing;
};

ErrorManager& manager(j_common_ptr info) { return *reinterpret_cast<ErrorManager*>(info->err); }

void end_by_error(j_common_ptr info) {
    char text[JMSG_LENGTH_MAX];
    info->err->format_message(info, text);
    error("JPEG: %s\n", text);
    std::longjmp(manager(info).landing, 1);
}

// Warnings are of broken data. Of those only a missing end is fatal: the rest of the picture would be grey.
void note_warning(j_common_ptr info, int level) {
    if (level >= 0) return;
    ++info->err->num_warnings;
    if (info->err->msg_code == JWRN_JPEG_EOF) end_by_error(info);
}

void count_scans(j_common_ptr info) {
    if (!info->is_decompressor) return;
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > MOST_SCANS) {
        error("JPEG: The file has too many scans.\n");
        std::longjmp(manager(info).landing, 1);
    }
}

jpeg_error_mgr* prepare(ErrorManager& errors) {
    jpeg_std_error(&errors.base);
    errors.base.error_exit = end_by_error;
    errors.base.emit_message = note_warning;
    return &errors.base;
}

// False where libjpeg ended it. What it captures must have no destructor.
template <class Work>
bool guarded(ErrorManager& errors, Work&& work) {
    if (setjmp(errors.landing) != 0) return false;
    work();
    return true;
}

class JpegReader final : public Reader {
  public:
    ~JpegReader() override { jpeg_destroy_decompress(&m_info); }
    bool open(const char* path, ImgioFile& file) override;
    bool read(int line, void* samples) override;

  private:
    bool start();
    void take_cmyk(std::uint8_t* out) const;

    InputFile m_input;
    ErrorManager m_errors{};
    jpeg_progress_mgr m_progress{};
    jpeg_decompress_struct m_info{};  // all zero: destroying it does nothing
    std::vector<std::uint8_t> m_inks;
    bool m_started = false;
};

bool JpegReader::open(const char* path, ImgioFile& file) {
    if (!m_input.open(path)) return error("JPEG: Cannot open input file: %s\n", path);
    m_info.err = prepare(m_errors);
    m_progress.progress_monitor = count_scans;
    const bool header = guarded(m_errors, [this] {
        jpeg_create_decompress(&m_info);
        m_info.progress = &m_progress;
        jpeg_stdio_src(&m_info, m_input.stream());
        jpeg_read_header(&m_info, TRUE);
    });
    if (!header) return false;
    switch (m_info.jpeg_color_space) {
        case JCS_GRAYSCALE:
            m_info.out_color_space = JCS_GRAYSCALE;
            break;
        case JCS_CMYK:
        case JCS_YCCK:
            m_info.out_color_space = JCS_CMYK;
            break;
        case JCS_RGB:
        case JCS_YCbCr:
            m_info.out_color_space = JCS_RGB;
            break;
        default:
            return error("JPEG: %d components are not supported.\n", m_info.num_components);
    }
    return set_layout(file, m_info.image_width, m_info.image_height, m_info.out_color_space == JCS_GRAYSCALE ? 1 : 3,
                      8);
}

// Decoding is slow and may need much memory: it begins with the first line, not with the header.
bool JpegReader::start() {
    m_started = true;
    if (m_info.out_color_space == JCS_CMYK) m_inks.resize(std::size_t{m_info.image_width} * 4);
    return guarded(m_errors, [this] { jpeg_start_decompress(&m_info); });
}

bool JpegReader::read(int line, void* samples) {
    if (!m_started && !start()) return false;
    if (static_cast<int>(m_info.output_scanline) != line) return false;  // an earlier line failed
    JSAMPROW row = m_inks.empty() ? static_cast<JSAMPROW>(samples) : m_inks.data();
    JDIMENSION rows = 0;
    const bool decoded = guarded(m_errors, [&] { rows = jpeg_read_scanlines(&m_info, &row, 1); });
    if (!decoded || rows != 1) return false;
    if (!m_inks.empty()) take_cmyk(static_cast<std::uint8_t*>(samples));
    return true;
}

// Adobe's programs, which say so in a marker, write how much of an ink is missing.
void JpegReader::take_cmyk(std::uint8_t* out) const {
    const bool missing = m_info.saw_Adobe_marker != 0;
    for (std::size_t i = 0; i < m_inks.size(); i += 4, out += 3)
        for (std::size_t c = 0; c < 3; ++c) {
            const int ink = missing ? m_inks[i + c] : 255 - m_inks[i + c];
            const int black = missing ? m_inks[i + 3] : 255 - m_inks[i + 3];
            out[c] = static_cast<std::uint8_t>(ink * black / 255);
        }
}

class JpegWriter final : public Writer {
  public:
    ~JpegWriter() override { jpeg_destroy_compress(&m_info); }
    bool create(const char* path, const ImgioFile& file) override;
    bool write(const void* samples) override;
    bool finish() override;

  private:
    void set_up();

    OutputFile m_output;
    ErrorManager m_errors{};
    jpeg_compress_struct m_info{};
    int m_width = 0, m_height = 0, m_channels = 0;
    std::vector<std::uint8_t> m_line;
};

bool JpegWriter::create(const char* path, const ImgioFile& file) {
    m_width = file.width;
    m_height = file.height;
    m_channels = file.channels;
    if (m_width > JPEG_MAX_DIMENSION || m_height > JPEG_MAX_DIMENSION)
        return error("JPEG: A picture has at most %ld pixels either way.\n", static_cast<long>(JPEG_MAX_DIMENSION));
    m_line.resize(static_cast<std::size_t>(m_width) * 3);
    if (!m_output.open(path)) return false;
    m_info.err = prepare(m_errors);
    return guarded(m_errors, [this] { set_up(); });
}

void JpegWriter::set_up() {
    jpeg_create_compress(&m_info);
    jpeg_stdio_dest(&m_info, m_output.stream());
    m_info.image_width = static_cast<JDIMENSION>(m_width);
    m_info.image_height = static_cast<JDIMENSION>(m_height);
    m_info.input_components = 3;
    m_info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&m_info);
    jpeg_set_quality(&m_info, QUALITY, TRUE);
    m_info.comp_info[0].h_samp_factor = m_info.comp_info[0].v_samp_factor = 1;  // colours as sharp as luminance
    jpeg_start_compress(&m_info, TRUE);
}

bool JpegWriter::write(const void* samples) {
    convert_line<std::uint8_t>(samples, m_channels, m_line.data(), 3, m_width);
    JSAMPROW row = m_line.data();
    return guarded(m_errors, [&] { jpeg_write_scanlines(&m_info, &row, 1); });
}

bool JpegWriter::finish() {
    return guarded(m_errors, [this] { jpeg_finish_compress(&m_info); }) && m_output.commit();
}

}  // namespace

ImgioFormat jpeg_format(ImgioFormat names) {
    return writes<JpegWriter>(reads<JpegReader>(names, Depth::Bits8, Seek::Forward));
}

}  // namespace imgio

// ---- libjpeg's error handling ------------------------------------------------------------------------------------
//
// Its own writes to the standard error stream and ends the process, and refers to that stream in a way that a shared
// library cannot be linked with (Debian's archive is made for programs). This stands in for it, for libtiff too:
// nothing is written, and whoever uses it has to say how an error ends.
namespace {

// In the table that the header makes; the library's version is in a header of its own that is not installed.
#define JMESSAGE(code, text) text,
#define JCOPYRIGHT_SHORT ""
#define JVERSION ""
constexpr const char* messages[] = {
#include <jerror.h>
    nullptr};

void no_output(j_common_ptr) {}
void no_message(j_common_ptr info, int level) {
    if (level < 0) ++info->err->num_warnings;
}

void format_message(j_common_ptr info, char* out) {
    const jpeg_error_mgr& errors = *info->err;
    const bool known = errors.msg_code > 0 && errors.msg_code <= errors.last_jpeg_message;
    const char* text = errors.jpeg_message_table[known ? errors.msg_code : 0];
    const bool named = std::strstr(text, "%s") != nullptr;
    const int* number = errors.msg_parm.i;
    // The texts are libjpeg's, each with as many numbers as it asks for.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (named)
        std::snprintf(out, JMSG_LENGTH_MAX, text, errors.msg_parm.s);
    else
        std::snprintf(out, JMSG_LENGTH_MAX, text, number[0], number[1], number[2], number[3], number[4], number[5],
                      number[6], number[7]);
#pragma GCC diagnostic pop
}

void reset(j_common_ptr info) {
    info->err->num_warnings = 0;
    info->err->msg_code = 0;
}

}  // namespace

extern "C" jpeg_error_mgr* jpeg_std_error(jpeg_error_mgr* errors) {
    *errors = {};
    errors->error_exit = no_output;  // libtiff sets its own, as the formats above do
    errors->emit_message = no_message;
    errors->output_message = no_output;
    errors->format_message = format_message;
    errors->reset_error_mgr = reset;
    errors->jpeg_message_table = messages;
    errors->last_jpeg_message = static_cast<int>(std::size(messages)) - 2;
    return errors;
}
