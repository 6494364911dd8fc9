// Private to imgio: bytes of a file in memory, read with bounds and appended.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace imgio {

// Reads from the front. Past the end everything is 0 and ok() is false from then on.
class ByteReader {
  public:
    ByteReader() = default;
    explicit ByteReader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    bool ok() const { return m_ok; }
    std::size_t size() const { return m_bytes.size(); }
    std::size_t position() const { return m_position; }
    std::size_t left() const { return m_bytes.size() - m_position; }

    void seek(std::size_t position) {
        m_ok = m_ok && position <= m_bytes.size();
        m_position = std::min(position, m_bytes.size());
    }
    void skip(std::size_t count) { take(count); }

    // The next `count` bytes; empty, and the end reached, when there are fewer.
    std::span<const std::uint8_t> take(std::size_t count) {
        if (count > left()) {
            m_ok = false;
            m_position = m_bytes.size();
            return {};
        }
        const auto taken = m_bytes.subspan(m_position, count);
        m_position += count;
        return taken;
    }
    std::uint8_t u8() {
        if (m_position < m_bytes.size()) return m_bytes[m_position++];
        m_ok = false;
        return 0;
    }
    std::uint16_t be16() { return static_cast<std::uint16_t>(big(2)); }
    std::uint32_t be32() { return big(4); }
    std::uint16_t le16() { return static_cast<std::uint16_t>(little(2)); }
    std::uint32_t le32() { return little(4); }

  private:
    std::uint32_t big(int count) {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i) value = value << 8 | u8();
        return value;
    }
    std::uint32_t little(int count) {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i) value |= static_cast<std::uint32_t>(u8()) << 8 * i;
        return value;
    }

    std::span<const std::uint8_t> m_bytes;
    std::size_t m_position = 0;
    bool m_ok = true;
};

class ByteWriter {
  public:
    const std::vector<std::uint8_t>& bytes() const { return m_bytes; }
    std::size_t size() const { return m_bytes.size(); }

    void u8(int value) { m_bytes.push_back(static_cast<std::uint8_t>(value)); }
    void be16(int value) {
        u8(value >> 8);
        u8(value);
    }
    void le16(int value) {
        u8(value);
        u8(value >> 8);
    }
    void be32(std::uint32_t value) {
        be16(static_cast<int>(value >> 16));
        be16(static_cast<int>(value & 0xffff));
    }
    void le32(std::uint32_t value) {
        le16(static_cast<int>(value & 0xffff));
        le16(static_cast<int>(value >> 16));
    }
    void set_be32(std::size_t position, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i) m_bytes[position + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
    void append(std::span<const std::uint8_t> bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    void fill(std::size_t count, int value = 0) {
        m_bytes.insert(m_bytes.end(), count, static_cast<std::uint8_t>(value));
    }
    // A field of a fixed size: cut, or filled with zeroes; the last byte is always 0.
    void text(std::string_view value, std::size_t size) {
        value = value.substr(0, size - 1);
        m_bytes.insert(m_bytes.end(), value.begin(), value.end());
        fill(size - value.size());
    }

  private:
    std::vector<std::uint8_t> m_bytes;
};

}  // namespace imgio
