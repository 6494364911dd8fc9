// The writer of TIFF files, and the row of the table. Grey or colour, 8 or 16 bits, straight alpha, LZW with
// differences of neighbours where it is asked for.
#include <algorithm>
#include <cstring>

#include "imgio/tiff_reader.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace imgio {

namespace {

struct TiffOptions {
    bool lzw = false, bottom_up = false, cmyk = false;
    int channels = 0;  // 0: those of the lines
};

// Of two words: true for the second.
bool choose(const char* variable, const char* first, const char* second, const char* complaint, bool& answer) {
    const std::string word = imgio_variable(variable, first);
    answer = word == second;
    return answer || word == first || error("%s", complaint);
}

bool read_options(TiffOptions& options) {
    const std::string channels = imgio_variable("IMGIO_TIFF_CHAN");
    if (!channels.empty() && channels != "3" && channels != "4") return error("IMGIO_TIFF_CHAN must be 3 or 4.\n");
    options.channels = channels.empty() ? 0 : channels[0] - '0';
    return choose("IMGIO_TIFF_PHOTOMETRIC", "rgb", "cmyk", "IMGIO_TIFF_PHOTOMETRIC must be rgb or cmyk\n",
                  options.cmyk) &&
           choose("IMGIO_TIFF_ORIENT", "topleft", "botleft", "IMGIO_TIFF_ORIENT must be botleft or topleft\n",
                  options.bottom_up) &&
           choose("IMGIO_TIFF_COMPRESS", "none", "lzw", "IMGIO_TIFF_COMPRESS must be lzw or none\n", options.lzw);
}

class TiffWriter final : public Writer {
  public:
    bool create(const char* path, const ImgioFile& file) override;
    bool write(const void* samples) override;
    bool finish() override;

  private:
    bool set_tags();
    bool put_line(const void* line, int row);
    template <class T>
    void convert(const void* samples);

    OutputFile m_output;
    TiffPtr m_tiff;  // before the stream in order of going: it may still write
    TiffOptions m_options;
    int m_width = 0, m_height = 0, m_channels = 0, m_written_channels = 0, m_bits = 0, m_row = 0;
    std::size_t m_line_bytes = 0;
    std::vector<std::uint16_t> m_line;  // at either depth
    std::vector<std::uint8_t> m_kept;   // the lines of a picture that is stored bottom up
};

bool TiffWriter::create(const char* path, const ImgioFile& file) {
    if (!read_options(m_options)) return false;
    m_width = file.width;
    m_height = file.height;
    m_channels = file.channels;
    m_bits = file.bits;
    m_written_channels = m_options.channels ? m_options.channels : m_options.cmyk ? 4 : m_channels;
    if (m_options.cmyk && m_written_channels != 4)
        return error("TIFF: Samples per pixel of %d is incompatible with CMYK photometric.\n", m_written_channels);
    m_line_bytes = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_written_channels * m_bits / 8);
    if (static_cast<std::int64_t>(m_line_bytes) * m_height > MAX_BYTES) return false;
    m_line.resize((m_line_bytes + 1) / 2);
    if (m_options.bottom_up) m_kept.resize(m_line_bytes * static_cast<std::size_t>(m_height));
    if (!m_output.open(path)) return false;
    m_tiff.reset(create_tiff(m_output, path));
    return m_tiff && set_tags();
}

bool TiffWriter::set_tags() {
    TIFF* tiff = m_tiff.get();
    const bool colour = m_written_channels >= 3, alpha = !m_options.cmyk && m_written_channels % 2 == 0;
    const int photometric = m_options.cmyk ? PHOTOMETRIC_SEPARATED : colour ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    bool set =
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, m_width) && TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, m_height) &&
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, m_bits) &&
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, m_written_channels) &&
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric) &&
        TIFFSetField(tiff, TIFFTAG_ORIENTATION, m_options.bottom_up ? ORIENTATION_BOTLEFT : ORIENTATION_TOPLEFT) &&
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, m_options.lzw ? COMPRESSION_LZW : COMPRESSION_NONE);
    if (m_options.lzw) set = set && TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    const std::uint16_t kind = EXTRASAMPLE_UNASSALPHA;
    if (alpha) set = set && TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    return set && TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
}

// CMYK has no black of its own, so that reading it gives the same colours again.
template <class T>
void TiffWriter::convert(const void* samples) {
    T* out = reinterpret_cast<T*>(m_line.data());
    if (!m_options.cmyk) return convert_line<T>(samples, m_channels, out, m_written_channels, m_width);
    convert_line<T>(samples, m_channels, out, 4, m_width);
    for (int x = 0; x < m_width; ++x, out += 4) {
        for (int c = 0; c < 3; ++c) out[c] = static_cast<T>(full<T> - out[c]);
        out[3] = 0;
    }
}

// libtiff may change the bytes that it is given, so it always gets a copy.
bool TiffWriter::put_line(const void* line, int row) {
    if (line != m_line.data()) std::memcpy(m_line.data(), line, m_line_bytes);
    return TIFFWriteScanline(m_tiff.get(), m_line.data(), static_cast<std::uint32_t>(row), 0) == 1;
}

bool TiffWriter::write(const void* samples) {
    m_bits == 8 ? convert<std::uint8_t>(samples) : convert<std::uint16_t>(samples);
    const int row = m_row++;
    if (!m_options.bottom_up) return put_line(m_line.data(), row);
    std::memcpy(m_kept.data() + m_line_bytes * static_cast<std::size_t>(row), m_line.data(), m_line_bytes);
    return true;
}

bool TiffWriter::finish() {
    for (int row = 0; m_options.bottom_up && row < m_height; ++row)
        if (!put_line(m_kept.data() + m_line_bytes * static_cast<std::size_t>(m_height - 1 - row), row)) return false;
    if (TIFFFlush(m_tiff.get()) != 1) return false;
    m_tiff.reset();
    return m_output.commit();
}

}  // namespace

ImgioFormat tiff_format(ImgioFormat names) {
    return writes<TiffWriter>(reads<TiffReader>(names, Depth::Bits8And16), Depth::Bits8And16);
}

}  // namespace imgio
