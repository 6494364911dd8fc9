// GIF: the first image of a file, on the screen that the file describes or, where that is smaller, by itself.
// Transparency and later images are not looked at. Written with up to 256 colours. Source: Graphics Interchange Format,
// Version 89a, CompuServe 1990.
#include "imgio/gif_lzw.h"
#include "imgio/median_cut.h"
#include "imgio/pictures.h"

namespace imgio {

namespace {

enum Block { EXTENSION = 0x21, IMAGE = 0x2c };
enum Flags { HAS_MAP = 0x80, INTERLACED = 0x40, MAP_BITS = 0x07 };

struct ColourMap {
    std::size_t at = 0;
    int length = 0;
};

class GifReader final : public DecodedReader {
    bool parse(ImgioFile& file) override;
    bool too_short() const override;
    bool decode() override;

    static ColourMap take_map(ByteReader& bytes, int flags);
    bool put_colour(int index, std::uint8_t* out) const;

    ColourMap m_map;  // the image's, else the screen's
    int m_left = 0, m_top = 0, m_image_width = 0, m_image_height = 0;
    int m_background = -1;  // index into the screen's map
    std::size_t m_codes_at = 0;
    std::span<const std::uint8_t> m_colours;  // those of m_map
};

ColourMap GifReader::take_map(ByteReader& bytes, int flags) {
    if (!(flags & HAS_MAP)) return {};
    const ColourMap map{bytes.position(), 2 << (flags & MAP_BITS)};
    bytes.skip(3 * static_cast<std::size_t>(map.length));
    return map;
}

// To the first image: extensions are a label and sub-blocks.
bool skip_extensions(ByteReader& bytes) {
    for (;;) {
        const int block = bytes.u8();
        if (block != EXTENSION || !bytes.ok()) return block == IMAGE;
        bytes.skip(1);
        while (const int size = bytes.u8()) bytes.skip(static_cast<std::size_t>(size));
    }
}

bool GifReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    const auto magic = bytes.take(6);
    const auto is = [&](const char* text) { return !magic.empty() && std::equal(magic.begin(), magic.end(), text); };
    if (!is("GIF87a") && !is("GIF89a")) return error("GIF: bad magic number (version mismatch?)\n");
    const int width = bytes.le16(), height = bytes.le16(), flags = bytes.u8(), background = bytes.u8();
    bytes.skip(1);  // shape of a pixel
    const ColourMap global = take_map(bytes, flags);
    if (!skip_extensions(bytes)) return error("GIF: There is no image.\n");
    m_left = bytes.le16();
    m_top = bytes.le16();
    m_image_width = bytes.le16();
    m_image_height = bytes.le16();
    const int image_flags = bytes.u8();
    if (image_flags & INTERLACED) return error("no support for interlace yet\n");
    const ColourMap local = take_map(bytes, image_flags);
    m_map = local.length ? local : global;
    m_codes_at = bytes.position();
    if (!bytes.ok() || m_map.length == 0 || m_image_width < 1 || m_image_height < 1)
        return error("GIF: The image has no size or no colours.\n");
    const bool fits = m_left + m_image_width <= width && m_top + m_image_height <= height;
    if (!fits) m_left = m_top = 0;
    // The background shows where the image does not reach.
    if (fits && !local.length && background < global.length) m_background = background;
    return fits ? set_layout(file, width, height, 3, 8) : set_layout(file, m_image_width, m_image_height, 3, 8);
}

// A code has three bits at least and stands for at most 4096 indices.
bool GifReader::too_short() const {
    const std::int64_t codes = static_cast<std::int64_t>(bytes_from(m_codes_at)) * 8 / 3;
    return codes * 4096 < std::int64_t{m_image_width} * m_image_height;
}

bool GifReader::put_colour(int index, std::uint8_t* out) const {
    if (index >= m_map.length) return false;
    std::copy_n(m_colours.data() + 3 * index, 3, out);
    return true;
}

bool GifReader::decode() {
    std::vector<std::uint8_t> indices(static_cast<std::size_t>(m_image_width) *
                                      static_cast<std::size_t>(m_image_height));
    m_colours = reader(m_map.at).take(3 * static_cast<std::size_t>(m_map.length));
    ByteReader bytes = reader(m_codes_at);
    if (!gif_decode(bytes, indices)) return false;
    if (m_background >= 0 && (m_image_width < width() || m_image_height < height()))
        for (int y = 0; y < height(); ++y)
            for (int x = 0; x < width(); ++x) put_colour(m_background, pixel(x, y));
    const std::uint8_t* index = indices.data();
    for (int y = 0; y < m_image_height; ++y)
        for (int x = 0; x < m_image_width; ++x)
            if (!put_colour(*index++, pixel(m_left + x, m_top + y))) return false;
    return true;
}

class GifWriter final : public PictureWriter {
    int stored_channels(int) const override { return 3; }
    bool encode(ByteWriter& out) override;
};

bool GifWriter::encode(ByteWriter& out) {
    const std::size_t samples =
        static_cast<std::size_t>(width()) * static_cast<std::size_t>(height()) * static_cast<std::size_t>(channels());
    ColourIndex index;
    if (!median_cut({line<std::uint8_t>(0), samples}, 256, index))
        return error("GIF: Failed to create colour index from median cut.\n");
    int map_bits = 1;
    while ((std::size_t{1} << map_bits) < index.colours.size()) ++map_bits;
    for (const char letter : std::string_view("GIF87a")) out.u8(letter);
    out.le16(width());
    out.le16(height());
    out.u8(HAS_MAP | 7 << 4 | (map_bits - 1));  // eight bits of each primary colour
    out.fill(2);
    for (const auto& colour : index.colours) out.append(colour);
    out.fill(3 * ((std::size_t{1} << map_bits) - index.colours.size()));
    out.u8(IMAGE);
    out.fill(4);
    out.le16(width());
    out.le16(height());
    out.u8(0);
    gif_encode(out, index.indices, std::max(map_bits, 2));
    out.u8(0x3b);
    return true;
}

}  // namespace

ImgioFormat gif_format(ImgioFormat names) { return writes<GifWriter>(reads<GifReader>(names)); }

}  // namespace imgio
