// Three formats of animation programs whose layouts their makers published, 8 bits each.
//
// softimage: Softimage PIC, colour and alpha, from the top, plain, in runs, or in runs and series. Source: Softimage,
//   "INFO: PIC file format".
// alias: Alias PIX, colour in runs within a line, from the top; grey in files of 8 bits a pixel, its mattes. Source:
//   Autodesk, Alias reference, "Pix file format" and "Matte file format".
// pixar: tiles of the Pixar Image Computer. Plain bytes only: packed tiles are not read. Source: Pixar Image Computer
//   Users Manual 1.2, 1986.
#include "imgio/pictures.h"

namespace imgio {

namespace {

// ---- Softimage ---------------------------------------------------------------------------------------------------

constexpr std::uint32_t PIC_MAGIC = 0x5380f634;
enum PicType { PLAIN = 0, RUNS = 1, MIXED = 2 };
constexpr int PIC_CHANNELS[] = {0x80, 0x40, 0x20, 0x10};  // red, green, blue, alpha

struct PicPacket {
    int type = 0;
    int bytes = 0;     // of a pixel
    bool has[4] = {};  // red, green, blue, alpha
};

class SoftimageReader final : public DecodedReader {
    bool parse(ImgioFile& file) override;
    bool too_short() const override;
    bool decode() override;
    bool decode_line(ByteReader& bytes, const PicPacket& packet, int y);

    std::vector<PicPacket> m_packets;
    std::size_t m_pixels_at = 0;
};

bool SoftimageReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    if (bytes.be32() != PIC_MAGIC) return error("SOFTIMAGE: Bad magic number.\n");
    bytes.seek(92);
    const int width = bytes.be16(), height = bytes.be16();
    bytes.skip(4);
    const int fields = bytes.be16();
    bytes.skip(2);
    if (fields != 0 && fields != 3) return error("SOFTIMAGE: Single fields are not supported.\n");
    bool alpha = false;
    for (bool chained = true; chained;) {
        chained = bytes.u8() != 0;
        const int bits = bytes.u8(), type = bytes.u8(), mask = bytes.u8();
        PicPacket packet;
        packet.type = type & 0x0f;  // the higher bits tell signed and floating samples
        for (int c = 0; c < 4; ++c) packet.bytes += (packet.has[c] = (mask & PIC_CHANNELS[c]) != 0);
        alpha = alpha || packet.has[3];
        if (!bytes.ok() || bits != 8 || type > MIXED || packet.bytes == 0 || m_packets.size() == 4)
            return error("SOFTIMAGE: Samples of %d bits in type %d are not supported.\n", bits, type);
        m_packets.push_back(packet);
    }
    m_pixels_at = bytes.position();
    return set_layout(file, width, height, alpha ? 4 : 3, 8);
}

// The best run has three bytes and a pixel for 65535.
bool SoftimageReader::too_short() const {
    std::size_t least = 0;
    for (const PicPacket& packet : m_packets)
        least += static_cast<std::size_t>(height()) * (packet.type == PLAIN ? static_cast<std::size_t>(width()) : 1) *
                 static_cast<std::size_t>(packet.bytes);
    return bytes_from(m_pixels_at) < least;
}

bool SoftimageReader::decode_line(ByteReader& bytes, const PicPacket& packet, int y) {
    for (int x = 0; x < width();) {
        int count = 1;
        bool run = false;
        if (packet.type != PLAIN) {
            const int code = bytes.u8();
            run = packet.type == RUNS || code >= 128;
            count = packet.type == RUNS ? code : code < 128 ? code + 1 : code == 128 ? bytes.be16() : code - 127;
        }
        if (!bytes.ok() || count < 1 || count > width() - x) return false;
        std::uint8_t value[4] = {};
        for (const int first = x, end = x + count; x < end; ++x)
            for (int c = 0; c < 4; ++c) {
                if (!packet.has[c]) continue;
                if (!run || x == first) value[c] = bytes.u8();
                pixel(x, y)[c] = value[c];
            }
    }
    return bytes.ok();
}

bool SoftimageReader::decode() {
    ByteReader bytes = reader(m_pixels_at);
    for (int y = 0; y < height(); ++y)
        for (const PicPacket& packet : m_packets)
            if (!decode_line(bytes, packet, y)) return false;
    return true;
}

class SoftimageWriter final : public PictureWriter {
    int stored_channels(int given) const override { return given % 2 == 0 ? 4 : 3; }
    bool encode(ByteWriter& out) override;
    void put_line(ByteWriter& out, const std::uint8_t* line, std::size_t bytes) const;
};

bool SoftimageWriter::encode(ByteWriter& out) {
    out.be32(PIC_MAGIC);
    out.be32(0x40600000);  // 3.5
    out.text("Written with imgio", 80);
    for (const char letter : std::string_view("PICT")) out.u8(letter);
    out.be16(width());
    out.be16(height());
    out.be32(0x3f800000);  // square pixels
    out.be16(3);
    out.be16(0);
    const bool alpha = channels() == 4;
    for (const int word : {static_cast<int>(alpha), 8, static_cast<int>(MIXED), 0xe0}) out.u8(word);
    for (const int word : {0, 8, static_cast<int>(MIXED), 0x10})
        if (alpha) out.u8(word);
    for (int y = 0; y < height(); ++y) {
        put_line(out, line<std::uint8_t>(y), 3);
        if (alpha) put_line(out, line<std::uint8_t>(y) + 3, 1);
    }
    return true;
}

void SoftimageWriter::put_line(ByteWriter& out, const std::uint8_t* line, std::size_t bytes) const {
    const auto at = [&](int x) { return std::span(line + static_cast<std::ptrdiff_t>(x) * channels(), bytes); };
    const auto same = [&](int a, int b) { return std::equal(at(a).begin(), at(a).end(), at(b).begin()); };
    for (int x = 0; x < width();) {
        int end = x + 1;
        while (end < width() && same(x, end)) ++end;
        const int run = end - x;
        if (run > 128) {
            out.u8(128);
            out.be16(run);
            out.append(at(x));
        } else if (run > 1) {
            out.u8(127 + run);
            out.append(at(x));
        } else {
            while (end < width() && end - x < 128 && !(end + 1 < width() && same(end, end + 1))) ++end;
            out.u8(end - x - 1);
            for (int i = x; i < end; ++i) out.append(at(i));
        }
        x = end;
    }
}

// ---- Alias -------------------------------------------------------------------------------------------------------

class AliasReader final : public DecodedReader {
    bool parse(ImgioFile& file) override;
    bool too_short() const override {
        const std::size_t pixels = static_cast<std::size_t>(width()) * static_cast<std::size_t>(height());
        return bytes_from(10) < (pixels + 254) / 255 * static_cast<std::size_t>(1 + channels());
    }
    bool decode() override;
};

bool AliasReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    const int width = bytes.be16(), height = bytes.be16();
    bytes.skip(4);
    const int bits = bytes.be16();
    if (!bytes.ok() || (bits != 8 && bits != 24)) return error("ALIAS: %d bits a pixel are not supported.\n", bits);
    return set_layout(file, width, height, bits / 8, 8);
}

bool AliasReader::decode() {
    ByteReader bytes = reader(10);
    for (int y = 0; y < height(); ++y)
        for (int x = 0; x < width();) {
            const int count = bytes.u8();
            if (!bytes.ok() || count == 0 || count > width() - x) return false;
            std::uint8_t colour[3] = {};
            for (int c = channels() - 1; c >= 0; --c) colour[c] = bytes.u8();
            for (const int end = x + count; x < end; ++x) std::copy_n(colour, channels(), pixel(x, y));
        }
    return bytes.ok();
}

class AliasWriter final : public PictureWriter {
    int stored_channels(int given) const override { return given <= 2 ? 1 : 3; }
    bool encode(ByteWriter& out) override;
};

bool AliasWriter::encode(ByteWriter& out) {
    for (const int word : {width(), height(), 0, 0, 8 * channels()}) out.be16(word);
    for (int y = 0; y < height(); ++y) {
        const std::uint8_t* colours = line<std::uint8_t>(y);
        const auto same = [&](int a, int b) {
            return std::equal(colours + a * channels(), colours + (a + 1) * channels(), colours + b * channels());
        };
        for (int x = 0; x < width();) {
            int end = x + 1;
            while (end < width() && end - x < 255 && same(x, end)) ++end;
            out.u8(end - x);
            for (int c = channels() - 1; c >= 0; --c) out.u8(colours[x * channels() + c]);
            x = end;
        }
    }
    return true;
}

// ---- Pixar -------------------------------------------------------------------------------------------------------

constexpr std::uint8_t PIXAR_MAGIC[] = {0x80, 0xe8, 0, 0};
constexpr std::size_t PIXAR_HEADER = 512;
enum PixarChannels { ONLY_RED = 8, RED_GREEN_BLUE = 14, WITH_ALPHA = 15 };
constexpr int PLAIN_8_BITS = 2;

class PixarReader final : public MemoryReader {
  public:
    bool read(int line, void* samples) override;

  private:
    bool parse(ImgioFile& file) override;
    std::size_t tile_bytes() const {
        return static_cast<std::size_t>(m_tile_width) * static_cast<std::size_t>(m_tile_height) *
               static_cast<std::size_t>(m_channels);
    }

    int m_tile_width = 0, m_tile_height = 0, m_tiles_across = 0, m_channels = 0;
};

bool PixarReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    const auto magic = bytes.take(4);
    if (!std::equal(magic.begin(), magic.end(), std::begin(PIXAR_MAGIC), std::end(PIXAR_MAGIC)))
        return error("PIXAR: Bad magic number.\n");
    bytes.seek(416);
    const int height = bytes.le16(), width = bytes.le16();
    m_tile_height = bytes.le16();
    m_tile_width = bytes.le16();
    const int channels = bytes.le16(), storage = bytes.le16();
    m_channels = channels == ONLY_RED ? 1 : channels == RED_GREEN_BLUE ? 3 : channels == WITH_ALPHA ? 4 : 0;
    if (!bytes.ok() || storage != PLAIN_8_BITS || m_channels == 0)
        return error("PIXAR: Channels %d in storage %d are not supported.\n", channels, storage);
    if (m_tile_width < 1 || m_tile_height < 1) return error("PIXAR: Tiles have no size.\n");
    m_tiles_across = (width + m_tile_width - 1) / m_tile_width;
    const int tiles = m_tiles_across * ((height + m_tile_height - 1) / m_tile_height);
    const std::int64_t needed = std::int64_t{width} * height * m_channels + std::int64_t{tiles} * 8;
    if (static_cast<std::int64_t>(bytes_from(PIXAR_HEADER)) < needed) return error("PIXAR: The file is too short.\n");
    return set_layout(file, width, height, m_channels, 8);
}

// The table has the place and the length of each tile. All tiles are whole, beyond the picture's edges too.
bool PixarReader::read(int line, void* samples) {
    auto* out = static_cast<std::uint8_t*>(samples);
    const int down = line / m_tile_height, within = line % m_tile_height;
    for (int x = 0, across = 0; x < width(); x += m_tile_width, ++across) {
        const auto tile = static_cast<std::size_t>(down * m_tiles_across + across);
        const std::size_t row = static_cast<std::size_t>(m_tile_width * m_channels);
        ByteReader bytes = reader(reader(PIXAR_HEADER + 8 * tile).le32());
        bytes.skip(row * static_cast<std::size_t>(within));
        const auto from = bytes.take(static_cast<std::size_t>(std::min(m_tile_width, width() - x) * m_channels));
        if (!bytes.ok()) return false;
        out = std::copy(from.begin(), from.end(), out);
    }
    return true;
}

class PixarWriter final : public PictureWriter {
    int stored_channels(int given) const override { return given == 2 ? 4 : given; }
    bool encode(ByteWriter& out) override;
};

// One tile.
bool PixarWriter::encode(ByteWriter& out) {
    constexpr std::uint32_t PIXELS_AT = 1024;
    const auto bytes = static_cast<std::size_t>(width() * channels()) * static_cast<std::size_t>(height());
    out.append(PIXAR_MAGIC);
    out.le16(0);
    out.text("Written with imgio", 246);
    out.fill(416 - out.size());
    for (int times = 0; times < 2; ++times) {
        out.le16(height());
        out.le16(width());
    }
    out.le16(channels() == 1 ? ONLY_RED : channels() == 3 ? RED_GREEN_BLUE : WITH_ALPHA);
    out.le16(PLAIN_8_BITS);
    out.le16(1024);  // block of the disk
    out.le16(1);     // alpha is not multiplied in
    out.fill(PIXAR_HEADER - out.size());
    out.le32(PIXELS_AT);
    out.le32(static_cast<std::uint32_t>(bytes));
    out.fill(PIXELS_AT - out.size());
    out.append({line<std::uint8_t>(0), bytes});
    return true;
}

}  // namespace

ImgioFormat softimage_format(ImgioFormat names) { return writes<SoftimageWriter>(reads<SoftimageReader>(names)); }
ImgioFormat alias_format(ImgioFormat names) { return writes<AliasWriter>(reads<AliasReader>(names)); }
ImgioFormat pixar_format(ImgioFormat names) { return writes<PixarWriter>(reads<PixarReader>(names)); }

}  // namespace imgio
