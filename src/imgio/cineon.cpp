// Cineon: grey and colour of 1 to 16 bits in bytes, words or long words, samples of a pixel or of a line side by side,
// in either order of bytes. Samples are code values (printing densities): nothing is made linear. Written with 10 bits
// in long words, which is what film scanners and recorders exchange, or with 8 bits in bytes. Source: Kodak, "4.5 DRAFT
// - Image File Format Proposal for Digital Pictures", 1990.
#include <bit>
#include <cstring>

#include "imgio/pictures.h"

namespace imgio {

namespace {

constexpr std::uint32_t MAGIC = 0x802a5fd7, SWAPPED_MAGIC = 0xd75f2a80;
constexpr std::size_t HEADER = 1024, PICTURE_AT = 192, CHANNEL = 28, WHITE_AT = 420, LABEL_AT = 452, FORMAT_AT = 680;
constexpr std::uint32_t UNDEFINED = 0xffffffff, UNDEFINED_FLOAT = 0x7f800000;
enum Packing { BIT_FIELDS = 0, LONG_WORDS_LEFT = 5, LONG_WORDS_RIGHT = 6, PACKING = 0x7f };
enum Interleave { BY_PIXEL = 0, BY_LINE = 1 };

class CineonReader final : public MemoryReader {
  public:
    bool read(int line, void* samples) override;

  private:
    bool parse(ImgioFile& file) override;
    bool parse_channels(ByteReader bytes, int channels);
    bool measure(int channels);
    std::uint32_t take32(ByteReader& bytes) const;
    std::uint32_t take_cell(ByteReader& bytes) const;
    template <class T>
    bool unpack(std::size_t at, int count, int step, T* out) const;
    template <class T>
    bool read_line(int line, T* out) const;

    bool m_swapped = false;
    std::size_t m_pixels_at = 0;
    std::uint32_t m_width = 0, m_height = 0;
    int m_bits = 0, m_orientation = 0, m_interleave = 0, m_packing = 0, m_cell_bits = 0;
    std::size_t m_group_bytes = 0, m_line_bytes = 0;  // of samples that follow each other; of a line with its filling
};

std::uint32_t CineonReader::take32(ByteReader& bytes) const { return m_swapped ? bytes.le32() : bytes.be32(); }

std::uint32_t CineonReader::take_cell(ByteReader& bytes) const {
    if (m_cell_bits == 8) return bytes.u8();
    if (m_cell_bits == 16) return m_swapped ? bytes.le16() : bytes.be16();
    return take32(bytes);
}

bool CineonReader::parse_channels(ByteReader bytes, int channels) {
    for (int c = 0; c < channels; ++c) {
        bytes.skip(2);
        const int bits = bytes.u8();
        bytes.skip(1);
        const std::uint32_t width = take32(bytes), height = take32(bytes);
        bytes.skip(16);
        if (c == 0) {
            m_bits = bits;
            m_width = width;
            m_height = height;
        } else if (bits != m_bits || width != m_width || height != m_height) {
            return error("Cineon: Channels differ in bits or resolution. This is not supported.\n");
        }
    }
    return bytes.ok();
}

bool CineonReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    const std::uint32_t magic = bytes.be32();
    if (magic != MAGIC && magic != SWAPPED_MAGIC) return error("Cineon: Bad magic. Is this a DPX file?\n");
    m_swapped = magic == SWAPPED_MAGIC;
    m_pixels_at = take32(bytes);
    bytes.seek(PICTURE_AT);
    m_orientation = bytes.u8();
    const int channels = bytes.u8();
    bytes.skip(2);
    if (channels != 1 && channels != 3 && channels != 4)
        return error("Cineon: %d channels are not supported.\n", channels);
    if (!parse_channels(bytes, channels)) return false;
    bytes.seek(FORMAT_AT);
    m_interleave = bytes.u8();
    m_packing = bytes.u8() & PACKING;  // the high bit tells whether a cell may hold more than one pixel: see unpack
    bytes.skip(2);
    const std::uint32_t filling = take32(bytes), channel_filling = take32(bytes);
    if (!bytes.ok() || m_interleave > BY_LINE)
        return error("Cineon: Only pixel or line channel interleave is supported.\n");
    if (m_packing == BIT_FIELDS || m_packing > LONG_WORDS_RIGHT)
        return error("Cineon: Bit field packed data is not supported.\n");
    if (m_orientation > 3 || (channel_filling != 0 && channel_filling != UNDEFINED))
        return error("Cineon: Orientation %d or filled channels are not supported.\n", m_orientation);
    if (!set_layout(file, m_width, m_height, channels, m_bits <= 8 ? 8 : 16) || !measure(channels)) return false;
    if (filling != UNDEFINED) m_line_bytes += filling;
    // The last line needs no filling.
    const std::uint64_t needed = std::uint64_t{m_line_bytes} * (m_height - 1) + m_group_bytes;
    return needed <= bytes_from(m_pixels_at) || error("Cineon: The file is too short.\n");
}

// Samples that follow each other begin at a cell of their own and fill as many of each as fit.
bool CineonReader::measure(int channels) {
    m_cell_bits = m_packing <= 2 ? 8 : m_packing <= 4 ? 16 : 32;
    if (m_bits < 1 || m_bits > 16 || m_bits > m_cell_bits)
        return error("Cineon: %d bits in cells of %d are not supported.\n", m_bits, m_cell_bits);
    const std::int64_t in_cell = m_cell_bits / m_bits;
    const std::int64_t together = std::int64_t{m_width} * (m_interleave == BY_PIXEL ? channels : 1);
    m_group_bytes = static_cast<std::size_t>((together + in_cell - 1) / in_cell * (m_cell_bits / 8));
    m_line_bytes = m_group_bytes * static_cast<std::size_t>(m_interleave == BY_PIXEL ? 1 : channels);
    return true;
}

// The first sample of a cell is the highest. "Left" leaves the lowest bits empty, "right" the highest.
template <class T>
bool CineonReader::unpack(std::size_t at, int count, int step, T* out) const {
    const int in_cell = m_cell_bits / m_bits, empty = m_cell_bits - in_cell * m_bits;
    const std::uint32_t largest = (1u << m_bits) - 1;
    ByteReader bytes = reader(at);
    for (int i = 0; i < count;) {
        const std::uint32_t cell = take_cell(bytes);
        int shift = m_cell_bits - m_bits - (m_packing % 2 == 1 ? 0 : empty);
        for (int k = 0; k < in_cell && i < count; ++k, ++i, shift -= m_bits) {
            const std::uint32_t sample = cell >> shift & largest;
            out[i * step] = static_cast<T>(std::uint64_t{sample} * full<T> / largest);
        }
    }
    return bytes.ok();
}

template <class T>
bool CineonReader::read_line(int line, T* out) const {
    const bool from_bottom = m_orientation % 2 == 1, from_right = m_orientation >= 2;
    const std::size_t row = static_cast<std::size_t>(from_bottom ? height() - 1 - line : line);
    const std::size_t at = m_pixels_at + row * m_line_bytes;
    if (m_interleave == BY_PIXEL) {
        if (!unpack(at, width() * channels(), 1, out)) return false;
    } else {
        for (int c = 0; c < channels(); ++c)
            if (!unpack(at + static_cast<std::size_t>(c) * m_group_bytes, width(), channels(), out + c)) return false;
    }
    for (int a = 0, b = width() - 1; from_right && a < b; ++a, --b)
        std::swap_ranges(out + a * channels(), out + (a + 1) * channels(), out + b * channels());
    return true;
}

bool CineonReader::read(int line, void* samples) {
    return m_bits <= 8 ? read_line(line, static_cast<std::uint8_t*>(samples))
                       : read_line(line, static_cast<std::uint16_t*>(samples));
}

class CineonWriter final : public PictureWriter {
    int stored_channels(int given) const override { return given <= 2 ? 1 : 3; }
    bool encode(ByteWriter& out) override;

    void put_file_header(ByteWriter& out, std::size_t bytes) const;
    void put_picture_header(ByteWriter& out) const;
    void put_film_header(ByteWriter& out) const;
    template <class T>
    void put_lines(ByteWriter& out);
    std::size_t line_bytes() const {
        const std::size_t samples = static_cast<std::size_t>(width()) * static_cast<std::size_t>(channels());
        return (samples + 2) / 3 * 4;
    }
};

void put_undefined(ByteWriter& out, int count, std::uint32_t value) {
    for (int i = 0; i < count; ++i) out.be32(value);
}

void CineonWriter::put_file_header(ByteWriter& out, std::size_t bytes) const {
    out.be32(MAGIC);
    out.be32(2 * HEADER);
    out.be32(HEADER);
    out.be32(HEADER);
    out.be32(0);
    out.be32(static_cast<std::uint32_t>(bytes));
    out.text("V4.5", 8);
    out.fill(PICTURE_AT - out.size());
}

void CineonWriter::put_picture_header(ByteWriter& out) const {
    out.u8(0);  // lines left to right, top to bottom
    out.u8(channels());
    out.fill(2);
    for (int c = 0; c < channels(); ++c) {
        out.u8(0);                            // a universal metric
        out.u8(channels() == 1 ? 0 : 1 + c);  // grey, or red, green, blue as printing densities
        out.u8(10);
        out.u8(0);
        out.be32(static_cast<std::uint32_t>(width()));
        out.be32(static_cast<std::uint32_t>(height()));
        for (const float value : {0.0f, 0.0f, 1023.0f, 2.046f}) out.be32(std::bit_cast<std::uint32_t>(value));
    }
    out.fill(WHITE_AT - out.size());
    put_undefined(out, 8, UNDEFINED_FLOAT);  // white and primaries
    out.fill(FORMAT_AT - LABEL_AT);
    out.u8(BY_PIXEL);
    out.u8(LONG_WORDS_LEFT);
    out.fill(2 + 4 + 4 + 20);                // unsigned, positive, no filling
    put_undefined(out, 2, 0x80000000);       // offsets of the origin
    out.fill(100 + 12 + 12 + 64 + 32 + 32);  // scanned file and device
    put_undefined(out, 3, UNDEFINED_FLOAT);  // pitches and gamma
    out.fill(HEADER - out.size());
}

void CineonWriter::put_film_header(ByteWriter& out) const {
    out.fill(3, 0xff);  // film, type and perforation
    out.fill(1);
    put_undefined(out, 2, UNDEFINED);  // prefix and count
    out.fill(32);
    put_undefined(out, 1, UNDEFINED);        // place in the sequence
    put_undefined(out, 1, UNDEFINED_FLOAT);  // frames per second
    out.fill(2 * HEADER - out.size());
}

// To the nearest of 10 bits from 16, so that what was read from 10 is the same again; up from 8, so that it is the same
// when it is read as 8 bits, rounded down.
std::uint32_t ten_bits(std::uint16_t sample) { return (sample * 1023u + 32767u) / 65535u; }
std::uint32_t ten_bits(std::uint8_t sample) { return (sample * 1023u + 254u) / 255u; }

template <class T>
void CineonWriter::put_lines(ByteWriter& out) {
    const int samples = width() * channels();
    for (int y = 0; y < height(); ++y) {
        const T* in = line<T>(y);
        for (int i = 0; i < samples; i += 3) {
            std::uint32_t word = 0;
            for (int k = 0; k < 3 && i + k < samples; ++k) word |= ten_bits(in[i + k]) << (22 - 10 * k);
            out.be32(word);
        }
    }
}

bool CineonWriter::encode(ByteWriter& out) {
    put_file_header(out, 2 * HEADER + line_bytes() * static_cast<std::size_t>(height()));
    put_picture_header(out);
    put_film_header(out);
    bits() == 8 ? put_lines<std::uint8_t>(out) : put_lines<std::uint16_t>(out);
    return true;
}

}  // namespace

ImgioFormat cineon_format(ImgioFormat names) {
    return writes<CineonWriter>(reads<CineonReader>(names, Depth::Bits8And16), Depth::Bits8And16);
}

}  // namespace imgio
