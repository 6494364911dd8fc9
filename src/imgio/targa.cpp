// Targa: palette, colour and grey of 8 to 32 bits, plain or in runs, from any of the four corners. Written from the
// top, in runs where IMGIO_TARGA_COMPRESS says "yes". Source: Truevision TGA File Format Specification 2.0, 1991.
#include <strings.h>

#include "imgio/pictures.h"

namespace imgio {

namespace {

enum Kind { PALETTE = 1, COLOUR = 2, GREY = 3, PACKED = 8 };
enum Descriptor { ALPHA_BITS = 0x0f, FROM_RIGHT = 0x10, FROM_TOP = 0x20 };
constexpr std::string_view COMMENT = "Written with imgio";

std::uint8_t from_5_bits(int value) { return static_cast<std::uint8_t>((value & 31) * 255 / 31); }

// A colour of 15 to 32 bits as red, green, blue and, where there is room, alpha.
void take_colour(ByteReader& bytes, int bits, std::uint8_t* out, int channels) {
    if (bits <= 16) {
        const int word = bytes.le16();
        for (int c = 0; c < 3; ++c) out[c] = from_5_bits(word >> (10 - 5 * c));
        return;
    }
    for (int c = 2; c >= 0; --c) out[c] = bytes.u8();
    const std::uint8_t alpha = bits == 32 ? bytes.u8() : 0;
    if (channels == 4) out[3] = alpha;
}

class TargaReader final : public DecodedReader {
    bool parse(ImgioFile& file) override;
    bool too_short() const override;
    bool decode() override;

    bool read_map(ByteReader& bytes);
    bool take_pixel(ByteReader& bytes, std::uint8_t* out) const;

    int m_kind = 0, m_depth = 0, m_descriptor = 0;
    bool m_packed = false;
    int m_map_first = 0, m_map_length = 0, m_map_depth = 0;
    std::size_t m_map_at = 0, m_pixels_at = 0;
    std::vector<std::uint8_t> m_map;
};

bool TargaReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    const int comment = bytes.u8();
    bytes.skip(1);
    const int kind = bytes.u8();
    m_kind = kind & ~PACKED;
    m_packed = (kind & PACKED) != 0;
    m_map_first = bytes.le16();
    m_map_length = bytes.le16();
    m_map_depth = bytes.u8();
    bytes.skip(4);  // where on a screen
    const int width = bytes.le16(), height = bytes.le16();
    m_depth = bytes.u8();
    m_descriptor = bytes.u8();
    m_map_at = 18u + static_cast<std::size_t>(comment);
    const int entry = (m_map_depth + 7) / 8;
    m_pixels_at = m_map_at + static_cast<std::size_t>(m_map_length * entry);
    const bool colour = m_depth == 15 || m_depth == 16 || m_depth == 24 || m_depth == 32;
    const bool map = m_map_length > 0 && entry >= 2 && entry <= 4 && (m_depth == 8 || m_depth == 16);
    if (!bytes.ok() || !(m_kind == COLOUR ? colour : m_kind == GREY ? m_depth == 8 : m_kind == PALETTE && map))
        return error("TARGA: Images of type %d with %d bits are not supported.\n", kind, m_depth);
    const int channels = m_kind == GREY ? 1 : m_kind == COLOUR && m_depth == 32 && (m_descriptor & ALPHA_BITS) ? 4 : 3;
    return set_layout(file, width, height, channels, 8);
}

// A packet of runs has a byte and a pixel for at most 128 pixels.
bool TargaReader::too_short() const {
    const std::size_t pixels = static_cast<std::size_t>(width()) * static_cast<std::size_t>(height());
    const std::size_t pixel = static_cast<std::size_t>(m_depth + 7) / 8;
    return bytes_from(m_pixels_at) < (m_packed ? (pixels + 127) / 128 * (1 + pixel) : pixels * pixel);
}

bool TargaReader::read_map(ByteReader& bytes) {
    m_map.resize(static_cast<std::size_t>(m_map_length) * 3);
    for (std::size_t i = 0; i < m_map.size(); i += 3) take_colour(bytes, m_map_depth, &m_map[i], 3);
    return bytes.ok();
}

bool TargaReader::take_pixel(ByteReader& bytes, std::uint8_t* out) const {
    if (m_kind == COLOUR) {
        take_colour(bytes, m_depth, out, channels());
    } else if (m_kind == GREY) {
        out[0] = bytes.u8();
    } else {
        const int index = (m_depth == 8 ? bytes.u8() : bytes.le16()) - m_map_first;
        if (index < 0 || index >= m_map_length) return false;
        std::copy_n(&m_map[static_cast<std::size_t>(index) * 3], 3, out);
    }
    return bytes.ok();
}

bool TargaReader::decode() {
    ByteReader bytes = reader(m_map_at);
    if (m_kind == PALETTE && !read_map(bytes)) return false;
    bytes.seek(m_pixels_at);
    std::uint8_t colour[4] = {};
    int left = 0;  // pixels of the packet, which may go on in the next line
    bool run = false;
    for (int y = 0; y < height(); ++y)
        for (int x = 0; x < width(); ++x) {
            const bool fresh = m_packed && left == 0;
            if (fresh) {
                const int packet = bytes.u8();
                run = packet >= 128;
                left = packet % 128 + 1;
            }
            if ((fresh || !run) && !take_pixel(bytes, colour)) return false;
            if (left > 0) --left;
            std::uint8_t* out =
                pixel(m_descriptor & FROM_RIGHT ? width() - 1 - x : x, m_descriptor & FROM_TOP ? y : height() - 1 - y);
            std::copy_n(colour, channels(), out);
        }
    return true;
}

class TargaWriter final : public PictureWriter {
    int stored_channels(int given) const override { return given == 2 ? 4 : given; }
    bool prepare() override {
        m_packed = strcasecmp(imgio_variable("IMGIO_TARGA_COMPRESS").c_str(), "yes") == 0;
        return true;
    }
    bool encode(ByteWriter& out) override;

    void put_pixel(ByteWriter& out, const std::uint8_t* colour) const;
    void put_packed(ByteWriter& out, const std::uint8_t* line) const;

    bool m_packed = false;
};

void TargaWriter::put_pixel(ByteWriter& out, const std::uint8_t* colour) const {
    if (channels() == 1) return out.u8(colour[0]);
    for (int c = 2; c >= 0; --c) out.u8(colour[c]);
    if (channels() == 4) out.u8(colour[3]);
}

void TargaWriter::put_packed(ByteWriter& out, const std::uint8_t* line) const {
    const std::ptrdiff_t size = channels();
    const auto same = [&](int a, int b) {
        return std::equal(line + a * size, line + a * size + size, line + b * size);
    };
    for (int x = 0; x < width();) {
        int end = x + 1;
        const int limit = std::min(width(), x + 128);
        while (end < limit && same(x, end)) ++end;
        if (end - x > 1) {
            out.u8(127 + end - x);
            put_pixel(out, line + x * size);
        } else {
            while (end < limit && !(end + 1 < width() && same(end, end + 1))) ++end;
            out.u8(end - x - 1);
            for (int i = x; i < end; ++i) put_pixel(out, line + i * size);
        }
        x = end;
    }
}

bool TargaWriter::encode(ByteWriter& out) {
    out.u8(static_cast<int>(COMMENT.size()));
    out.u8(0);
    out.u8((channels() == 1 ? GREY : COLOUR) | (m_packed ? PACKED : 0));
    out.fill(9);
    out.le16(width());
    out.le16(height());
    out.u8(8 * channels());
    out.u8(FROM_TOP | (channels() == 4 ? 8 : 0));
    for (const char letter : COMMENT) out.u8(letter);
    for (int y = 0; y < height(); ++y) {
        const std::uint8_t* colours = line<std::uint8_t>(y);
        if (m_packed)
            put_packed(out, colours);
        else
            for (int x = 0; x < width(); ++x) put_pixel(out, colours + x * channels());
    }
    return true;
}

}  // namespace

ImgioFormat targa_format(ImgioFormat names) { return writes<TargaWriter>(reads<TargaReader>(names)); }

}  // namespace imgio
