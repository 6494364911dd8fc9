#include "imgio/gif_lzw.h"

#include <array>

namespace imgio {

namespace {

constexpr int MAX_CODES = 4096, MAX_BITS = 12;

// Codes out of sub-blocks of up to 255 bytes, low bits first.
class CodeReader {
  public:
    explicit CodeReader(ByteReader& bytes) : m_bytes(bytes) {}
    int next(int bits) {  // -1 at the end
        while (m_count < bits) {
            if (m_block == 0 && (m_block = m_bytes.u8()) == 0) return -1;
            --m_block;
            m_held |= static_cast<std::uint32_t>(m_bytes.u8()) << m_count;
            m_count += 8;
        }
        if (!m_bytes.ok()) return -1;
        const int code = static_cast<int>(m_held & ((1u << bits) - 1));
        m_held >>= bits;
        m_count -= bits;
        return code;
    }

  private:
    ByteReader& m_bytes;
    std::uint32_t m_held = 0;
    int m_count = 0, m_block = 0;
};

// Each code's string is that of another code and one more index.
struct Dictionary {
    std::array<std::uint16_t, MAX_CODES> prefix{};
    std::array<std::uint8_t, MAX_CODES> last{}, first{};
    std::array<std::uint16_t, MAX_CODES> length{};
};

class CodeWriter {
  public:
    explicit CodeWriter(ByteWriter& out) : m_out(out) {}
    void put(int code, int bits) {
        m_held |= static_cast<std::uint32_t>(code) << m_count;
        for (m_count += bits; m_count >= 8; m_count -= 8, m_held >>= 8) put_byte(static_cast<std::uint8_t>(m_held));
    }
    void finish() {
        if (m_count > 0) put_byte(static_cast<std::uint8_t>(m_held));
        flush();
        m_out.u8(0);
    }

  private:
    void put_byte(std::uint8_t byte) {
        m_block[m_size++] = byte;
        if (m_size == m_block.size()) flush();
    }
    void flush() {
        if (m_size == 0) return;
        m_out.u8(static_cast<int>(m_size));
        m_out.append(std::span(m_block).first(m_size));
        m_size = 0;
    }

    ByteWriter& m_out;
    std::array<std::uint8_t, 255> m_block{};
    std::size_t m_size = 0;
    std::uint32_t m_held = 0;
    int m_count = 0;
};

}  // namespace

bool gif_decode(ByteReader& bytes, std::span<std::uint8_t> indices) {
    const int index_bits = bytes.u8();
    if (index_bits < 1 || index_bits > 8) return false;
    const int clear = 1 << index_bits, end = clear + 1;
    Dictionary table;
    for (int i = 0; i < clear; ++i) {
        const auto at = static_cast<std::size_t>(i);
        table.first[at] = table.last[at] = static_cast<std::uint8_t>(i);
        table.length[at] = 1;
    }
    CodeReader codes(bytes);
    int used = end + 1, bits = index_bits + 1, previous = -1;
    std::size_t filled = 0;
    while (filled < indices.size()) {
        const int code = codes.next(bits);
        if (code < 0 || code == end) return false;
        if (code == clear) {
            used = end + 1;
            bits = index_bits + 1;
            previous = -1;
            continue;
        }
        if (code > used || (code == used && previous < 0) || (previous < 0 && code > clear)) return false;
        // A code that is only now being made stands for the previous string and its own first index.
        if (previous >= 0 && used < MAX_CODES) {
            const auto at = static_cast<std::size_t>(used), before = static_cast<std::size_t>(previous);
            table.prefix[at] = static_cast<std::uint16_t>(previous);
            table.first[at] = table.first[before];
            table.last[at] = table.first[code == used ? before : static_cast<std::size_t>(code)];
            table.length[at] = static_cast<std::uint16_t>(table.length[before] + 1);
            ++used;
        } else if (code >= used) {
            return false;
        }
        if (used == 1 << bits && bits < MAX_BITS) ++bits;
        // The string comes out from its end. One that is longer than the picture is cut.
        auto at = static_cast<std::size_t>(code);
        const std::size_t length = table.length[at];
        for (std::size_t i = length; i-- > 0; at = table.prefix[at])
            if (filled + i < indices.size()) indices[filled + i] = table.last[at];
        filled += length;
        previous = code;
    }
    return true;
}

void gif_encode(ByteWriter& out, std::span<const std::uint8_t> indices, int index_bits) {
    const int clear = 1 << index_bits, end = clear + 1;
    out.u8(index_bits);
    CodeWriter codes(out);
    // The code of a string and one more index, 0 where there is none.
    std::vector<std::uint16_t> longer(static_cast<std::size_t>(MAX_CODES) * 256);
    int used = end + 1, bits = index_bits + 1, code = -1;
    codes.put(clear, bits);
    for (const std::uint8_t index : indices) {
        if (code < 0) {
            code = index;
            continue;
        }
        std::uint16_t& next = longer[static_cast<std::size_t>(code) * 256 + index];
        if (next != 0) {
            code = next;
            continue;
        }
        codes.put(code, bits);
        if (used < MAX_CODES) {
            next = static_cast<std::uint16_t>(used++);
            // The reader is one string behind: it grows its codes when it has made this one.
            if (used - 1 == 1 << bits && bits < MAX_BITS) ++bits;
        } else {
            codes.put(clear, bits);
            std::fill(longer.begin(), longer.end(), std::uint16_t{0});
            used = end + 1;
            bits = index_bits + 1;
        }
        code = index;
    }
    if (code >= 0) {
        codes.put(code, bits);
        if (used == 1 << bits && bits < MAX_BITS) ++bits;  // as the reader does after this code
    }
    codes.put(end, bits);
    codes.finish();
}

}  // namespace imgio
