// The small pictures that EPS files bring.
#include <algorithm>
#include <cstring>

#include "jawslib/jawslib_eps.h"
#include "k7pi_baselib/in_memory.h"

namespace {

std::uint32_t opaque(unsigned red, unsigned green, unsigned blue) {
    return red | green << 8 | blue << 16 | 0xff000000u;
}
std::uint32_t grey(unsigned level) { return opaque(level, level, level); }

bool is_preview_depth(int bits) { return bits == 1 || bits == 2 || bits == 4 || bits == 8; }

bool make_thumbnail(int width, int height, EpsThumbnail* thumbnail) {
    const auto fits = [](int side) { return side >= 1 && side <= EPS_MOST_THUMBNAIL; };
    if (!fits(width) || !fits(height)) return false;
    thumbnail->noMemory = !in_memory([&] { thumbnail->pixels.resize(std::size_t(width) * std::size_t(height)); });
    if (thumbnail->noMemory) return false;
    thumbnail->width = width;
    thumbnail->height = height;
    return true;
}

// Sample `index` of a row of packed ones, the first in the highest bits.
unsigned packed_sample(const std::uint8_t* row, std::size_t index, int bits) {
    const std::size_t at = index * static_cast<std::size_t>(bits);
    const int shift = 8 - bits - static_cast<int>(at % 8);
    return row[at / 8] >> shift & ((1u << bits) - 1u);
}

// ---- Hexadecimal digits -------------------------------------------------------------------------------------------

int digit_of(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Two digits a byte, wherever the lines end. False where there are too few.
bool read_hex(EpsLines& lines, std::vector<std::uint8_t>& bytes) {
    std::size_t digits = 0;
    for (std::string_view line; digits < 2 * bytes.size() && lines.next(&line);) {
        if (line.starts_with("%%End")) break;
        for (const char c : line) {
            const int digit = digit_of(c);
            if (digit < 0 || digits == 2 * bytes.size()) continue;
            std::uint8_t& byte = bytes[digits++ / 2];
            byte = static_cast<std::uint8_t>(byte << 4 | digit);
        }
    }
    return digits == 2 * bytes.size();
}

}  // namespace

bool read_hex_preview(EpsLines& lines, int width, int height, int depth, EpsThumbnail* thumbnail) {
    EpsThumbnail found;
    if (!is_preview_depth(depth) || !make_thumbnail(width, height, &found)) {
        thumbnail->noMemory = found.noMemory;
        return false;
    }
    const auto row_bytes = static_cast<std::size_t>((width * depth - 1) / 8 + 1);
    std::vector<std::uint8_t> bytes;
    thumbnail->noMemory = !in_memory([&] { bytes.resize(row_bytes * static_cast<std::size_t>(height)); });
    if (thumbnail->noMemory || !read_hex(lines, bytes)) return false;
    const unsigned most = (1u << depth) - 1u;
    auto pixel = found.pixels.begin();
    for (auto row = static_cast<std::size_t>(height); row-- > 0;)
        for (std::size_t x = 0; x < static_cast<std::size_t>(width); ++x)
            *pixel++ = grey(255u - packed_sample(bytes.data() + row * row_bytes, x, depth) * 255u / most);
    *thumbnail = std::move(found);
    return true;
}

// ---- TIFF -----------------------------------------------------------------------------------------------------------

namespace {

enum TiffTag : unsigned {
    TAG_WIDTH = 0x100,
    TAG_HEIGHT = 0x101,
    TAG_BITS = 0x102,
    TAG_COMPRESSION = 0x103,
    TAG_PHOTOMETRIC = 0x106,
    TAG_STRIP_OFFSETS = 0x111,
    TAG_SAMPLES = 0x115,
    TAG_ROWS_PER_STRIP = 0x116,
    TAG_STRIP_BYTES = 0x117,
    TAG_COLOUR_MAP = 0x140,
};
enum TiffCompression : unsigned { PLAIN = 1, PACK_BITS = 32773 };
enum TiffPhotometric : unsigned { WHITE_IS_ZERO = 0, BLACK_IS_ZERO = 1, RGB = 2, PALETTE = 3 };

// One field of the directory: numbers of one type somewhere in the file.
struct Field {
    unsigned size = 0;  // bytes of a number
    std::size_t count = 0, offset = 0;
};

class TiffReader {
  public:
    TiffReader(const std::uint8_t* bytes, std::size_t count) : m_bytes(bytes), m_count(count) {}

    bool read(EpsThumbnail* thumbnail) {
        EpsThumbnail found;
        std::vector<std::uint8_t> row;
        if (!readDirectory() || !readLayout()) return false;
        thumbnail->noMemory = !make_thumbnail(m_width, m_height, &found) || !in_memory([&] { row.resize(m_rowBytes); });
        if (thumbnail->noMemory) return false;
        for (int y = 0; y < m_height; ++y) {
            if (!readRow(y, row)) return false;
            std::uint32_t* pixels = found.pixels.data() + std::size_t(m_height - 1 - y) * std::size_t(m_width);
            for (std::size_t x = 0; x < std::size_t(m_width); ++x) pixels[x] = colourAt(row.data(), x);
        }
        *thumbnail = std::move(found);
        return true;
    }

  private:
    bool inside(std::size_t offset, std::size_t count) const { return offset <= m_count && count <= m_count - offset; }
    // A number of 1, 2 or 4 bytes; the caller knows that it is inside.
    unsigned number(std::size_t offset, unsigned size) const {
        unsigned value = 0;
        for (unsigned i = 0; i < size; ++i) value = value << 8 | m_bytes[offset + (m_big ? i : size - 1 - i)];
        return value;
    }

    bool readDirectory() {
        if (!inside(0, 8)) return false;
        m_big = std::memcmp(m_bytes, "MM", 2) == 0;
        if ((!m_big && std::memcmp(m_bytes, "II", 2) != 0) || number(2, 2) != 42) return false;
        const std::size_t directory = number(4, 4);
        if (!inside(directory, 2)) return false;
        m_directory = directory + 2;
        m_entries = number(directory, 2);
        return inside(m_directory, m_entries * 12);
    }
    Field field(TiffTag tag) const {
        for (std::size_t i = 0; i < m_entries; ++i) {
            const std::size_t at = m_directory + 12 * i;
            if (number(at, 2) != tag) continue;
            const unsigned type = number(at + 2, 2);
            Field found{.size = type == 1 ? 1u : type == 3 ? 2u : type == 4 ? 4u : 0u, .count = number(at + 4, 4)};
            if (found.size == 0 || found.count == 0 || found.count > m_count) return {};
            found.offset = found.count * found.size <= 4 ? at + 8 : number(at + 8, 4);
            return inside(found.offset, found.count * found.size) ? found : Field{};
        }
        return {};
    }
    unsigned value(const Field& from, std::size_t index, unsigned fallback) const {
        return index < from.count ? number(from.offset + index * from.size, from.size) : fallback;
    }
    unsigned value(TiffTag tag, unsigned fallback) const { return value(field(tag), 0, fallback); }

    bool readLayout() {
        const unsigned width = value(TAG_WIDTH, 0), height = value(TAG_HEIGHT, 0), bits = value(TAG_BITS, 1);
        if (width > EPS_MOST_THUMBNAIL || height > EPS_MOST_THUMBNAIL || width == 0 || height == 0) return false;
        m_width = static_cast<int>(width);
        m_height = static_cast<int>(height);
        m_photometric = value(TAG_PHOTOMETRIC, BLACK_IS_ZERO);
        m_compression = value(TAG_COMPRESSION, PLAIN);
        m_samples = value(TAG_SAMPLES, 1);
        m_bits = bits <= 16 ? static_cast<int>(bits) : 0;
        m_rowsPerStrip = std::clamp(value(TAG_ROWS_PER_STRIP, height), 1u, height);
        m_offsets = field(TAG_STRIP_OFFSETS);
        m_stripBytes = field(TAG_STRIP_BYTES);
        m_map = field(TAG_COLOUR_MAP);
        if (m_compression != PLAIN && m_compression != PACK_BITS) return false;
        if (m_samples < 1 || m_samples > 8 || m_photometric > PALETTE) return false;
        if (m_photometric == RGB ? m_samples < 3 || (m_bits != 8 && m_bits != 16)
                                 : m_samples != 1 || !is_preview_depth(m_bits))
            return false;
        if (m_photometric == PALETTE && (m_map.size != 2 || m_map.count < std::size_t{3} << m_bits)) return false;
        m_rowBytes = (std::size_t(m_width) * m_samples * std::size_t(m_bits) + 7) / 8;
        return true;
    }

    // Rows come in order; a strip's first row starts it.
    bool readRow(int y, std::vector<std::uint8_t>& row) {
        const unsigned strip = static_cast<unsigned>(y) / m_rowsPerStrip;
        if (static_cast<unsigned>(y) % m_rowsPerStrip == 0) {
            if (strip >= m_offsets.count) return false;
            m_at = value(m_offsets, strip, 0);
            if (!inside(m_at, 0)) return false;
            m_end = m_at + std::min<std::size_t>(value(m_stripBytes, strip, ~0u), m_count - m_at);
        }
        return m_compression == PLAIN ? readPlain(row) : readPacked(row);
    }
    bool readPlain(std::vector<std::uint8_t>& row) {
        if (m_end - m_at < row.size()) return false;
        std::memcpy(row.data(), m_bytes + m_at, row.size());
        m_at += row.size();
        return true;
    }
    // Runs: a count n below 128 has n + 1 bytes behind it, one above 128 a byte that stands 257 - n times.
    bool readPacked(std::vector<std::uint8_t>& row) {
        for (std::size_t filled = 0; filled < row.size();) {
            if (m_at >= m_end) return false;
            const std::size_t code = m_bytes[m_at++];
            if (code == 128) continue;
            const std::size_t count = code < 128 ? code + 1 : 257 - code, used = code < 128 ? count : 1;
            if (used > m_end - m_at || count > row.size() - filled) return false;
            if (code < 128)
                std::memcpy(row.data() + filled, m_bytes + m_at, count);
            else
                std::memset(row.data() + filled, m_bytes[m_at], count);
            m_at += used;
            filled += count;
        }
        return true;
    }

    std::uint32_t colourAt(const std::uint8_t* row, std::size_t x) const {
        if (m_photometric == RGB) {
            const std::size_t bytes = m_bits == 16 ? 2 : 1, high = m_bits == 16 && !m_big ? 1 : 0;
            const std::uint8_t* pixel = row + x * m_samples * bytes + high;
            return opaque(pixel[0], pixel[bytes], pixel[2 * bytes]);
        }
        const unsigned sample = packed_sample(row, x, m_bits);
        if (m_photometric == PALETTE) {
            const std::size_t entries = std::size_t{1} << m_bits;
            const auto part = [&](std::size_t channel) { return value(m_map, channel * entries + sample, 0) >> 8; };
            return opaque(part(0), part(1), part(2));
        }
        const unsigned level = sample * 255u / ((1u << m_bits) - 1u);
        return grey(m_photometric == WHITE_IS_ZERO ? 255u - level : level);
    }

    const std::uint8_t* m_bytes;
    std::size_t m_count;
    bool m_big = false;
    std::size_t m_directory = 0, m_entries = 0;
    int m_width = 0, m_height = 0, m_bits = 1;
    unsigned m_samples = 1, m_photometric = BLACK_IS_ZERO, m_compression = PLAIN, m_rowsPerStrip = 1;
    Field m_offsets, m_stripBytes, m_map;
    std::size_t m_rowBytes = 0;
    std::size_t m_at = 0, m_end = 0;  // of the strip that is being read
};

}  // namespace

bool read_tiff_preview(const std::uint8_t* bytes, std::size_t count, EpsThumbnail* thumbnail) {
    return bytes && TiffReader(bytes, count).read(thumbnail);
}
