// Sun raster files: 1 and 8 bits with or without a colour map, 24 and 32 bits, plain or in runs. The fourth byte of a
// pixel, which comes first, holds alpha where we wrote it; reading ignores it, as other programs leave anything there.
// Sources: rasterfile(5) of SunOS; J. D. Murray and W. vanRyper, Encyclopedia of Graphics File Formats, O'Reilly 1996.
#include "imgio/pictures.h"

namespace imgio {

namespace {

constexpr std::uint32_t MAGIC = 0x59a66a95;
constexpr std::size_t HEADER = 32;
constexpr int ESCAPE = 128;
enum Type { OLD = 0, STANDARD = 1, PACKED = 2, RGB = 3 };

// Bytes of pixels, whether they are packed or not. In runs, 128 is an escape: 128 0 stands for one 128, 128 n v for v
// repeated n + 1 times.
class PixelBytes {
  public:
    PixelBytes(ByteReader bytes, bool packed) : m_bytes(bytes), m_packed(packed) {}
    bool ok() const { return m_bytes.ok(); }
    std::uint8_t next() {
        if (!m_packed) return m_bytes.u8();
        if (m_left == 0) {
            m_value = m_bytes.u8();
            m_left = 1;
            if (m_value == ESCAPE) {
                m_left = m_bytes.u8() + 1;
                if (m_left > 1) m_value = m_bytes.u8();
            }
        }
        --m_left;
        return m_value;
    }

  private:
    ByteReader m_bytes;
    bool m_packed;
    int m_left = 0;
    std::uint8_t m_value = 0;
};

class SunReader final : public DecodedReader {
    bool parse(ImgioFile& file) override;
    bool too_short() const override;
    bool decode() override;

    std::size_t stored_row() const {  // padded to 16 bits
        return (static_cast<std::size_t>(width()) * static_cast<std::size_t>(m_depth) + 15) / 16 * 2;
    }
    bool decode_row(PixelBytes& bytes, std::uint8_t* out) const;
    bool put_index(int index, std::uint8_t* out) const;

    int m_depth = 0, m_type = 0, m_map_length = 0;
    std::size_t m_pixel_bytes = 0;  // in the file, packed or not
};

bool SunReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    if (bytes.be32() != MAGIC) return error("SUN: Bad magic number.\n");
    const std::uint32_t width = bytes.be32(), height = bytes.be32(), depth = bytes.be32(), length = bytes.be32();
    const std::uint32_t type = bytes.be32(), map_type = bytes.be32(), map_bytes = bytes.be32();
    if (!bytes.ok() || type > RGB || map_type > 2 || (depth != 1 && depth != 8 && depth != 24 && depth != 32))
        return error("SUN: Type %u with %u bits and a map of type %u is not supported.\n", type, depth, map_type);
    m_depth = static_cast<int>(depth);
    m_type = static_cast<int>(type);
    const bool map = map_type == 1 && map_bytes > 0 && depth <= 8;
    if (map_bytes > bytes.left() || (map && (map_bytes % 3 != 0 || map_bytes > 3 * 256)))
        return error("SUN: Bad colour map.\n");
    m_map_length = map ? static_cast<int>(map_bytes / 3) : 0;
    m_pixel_bytes = bytes.left() - map_bytes;
    if (length != 0) m_pixel_bytes = std::min<std::size_t>(m_pixel_bytes, length);
    return set_layout(file, width, height, depth <= 8 && !map ? 1 : 3, 8);
}

// Three bytes stand for at most 256.
bool SunReader::too_short() const {
    const std::size_t least = stored_row() * static_cast<std::size_t>(height());
    return m_pixel_bytes < (m_type == PACKED ? least / 256 * 3 : least);
}

// The map holds all reds, then all greens, then all blues. Without one, a single bit is black where it is set.
bool SunReader::put_index(int index, std::uint8_t* out) const {
    if (m_map_length == 0) {
        out[0] = static_cast<std::uint8_t>(m_depth == 8 ? index : index ? 0 : 255);
        return true;
    }
    if (index >= m_map_length) return false;
    for (int c = 0; c < 3; ++c) out[c] = reader(HEADER + static_cast<std::size_t>(c * m_map_length + index)).u8();
    return true;
}

bool SunReader::decode_row(PixelBytes& bytes, std::uint8_t* out) const {
    int bits = 0;
    for (int x = 0; x < width(); ++x, out += channels()) {
        if (m_depth <= 8) {
            if (m_depth == 8 || x % 8 == 0) bits = bytes.next();
            if (!put_index(m_depth == 8 ? bits : bits >> (7 - x % 8) & 1, out)) return false;
            continue;
        }
        if (m_depth == 32) bytes.next();
        for (int c = 0; c < 3; ++c) out[m_type == RGB ? c : 2 - c] = bytes.next();
    }
    return bytes.ok();
}

bool SunReader::decode() {
    ByteReader from = reader(HEADER);
    from.skip(reader(28).be32());
    ByteReader limited(from.take(m_pixel_bytes));
    PixelBytes bytes(limited, m_type == PACKED);
    const std::size_t used = (static_cast<std::size_t>(width()) * static_cast<std::size_t>(m_depth) + 7) / 8;
    for (int y = 0; y < height(); ++y) {
        if (!decode_row(bytes, pixel(0, y))) return false;
        // The last line's filling may be missing.
        for (std::size_t i = used; i < stored_row() && y + 1 < height(); ++i) bytes.next();
    }
    return true;
}

class SunWriter final : public PictureWriter {
    int stored_channels(int given) const override { return given == 2 ? 4 : given; }
    bool encode(ByteWriter& out) override;
};

bool SunWriter::encode(ByteWriter& out) {
    const int row = width() * channels(), stored = row + row % 2;
    for (const std::uint32_t word :
         {MAGIC, static_cast<std::uint32_t>(width()), static_cast<std::uint32_t>(height()),
          static_cast<std::uint32_t>(8 * channels()), static_cast<std::uint32_t>(stored * height()),
          static_cast<std::uint32_t>(STANDARD), 0u, 0u})
        out.be32(word);
    for (int y = 0; y < height(); ++y) {
        const std::uint8_t* colour = line<std::uint8_t>(y);
        for (int x = 0; x < width(); ++x, colour += channels()) {
            if (channels() == 4) out.u8(colour[3]);
            for (int c = std::min(channels(), 3) - 1; c >= 0; --c) out.u8(colour[c]);
        }
        out.fill(static_cast<std::size_t>(stored - row));
    }
    return true;
}

}  // namespace

ImgioFormat sun_format(ImgioFormat names) { return writes<SunWriter>(reads<SunReader>(names)); }

}  // namespace imgio
