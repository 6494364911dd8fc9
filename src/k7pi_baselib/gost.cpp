#include "k7pi_baselib/gost.h"

#include <algorithm>
#include <bit>

namespace {

std::uint32_t word_at(const std::uint8_t* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
}

void put_word(std::uint8_t* bytes, std::uint32_t word) {
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(word >> (8 * i));
}

}  // namespace

// The tables hold two substitutions and the rotation by 11 bits.
Gost28147::Gost28147(const Key& key, const Boxes& boxes) : m_key(), m_tables() {
    for (std::size_t i = 0; i < m_key.size(); ++i) m_key[i] = word_at(key.data() + 4 * i);
    for (std::size_t byte = 0; byte < m_tables.size(); ++byte)
        for (std::uint32_t value = 0; value < 256; ++value) {
            const std::uint32_t low = boxes[2 * byte][value & 15], high = boxes[2 * byte + 1][value >> 4];
            m_tables[byte][value] = std::rotl((low | high << 4) << (8 * byte), 11);
        }
}

std::uint32_t Gost28147::mixed(std::uint32_t word) const {
    return m_tables[0][word & 255] | m_tables[1][word >> 8 & 255] | m_tables[2][word >> 16 & 255] |
           m_tables[3][word >> 24];
}

// 32 rounds: the key's words three times forwards, then once backwards. Halves are not exchanged after the last one.
Gost28147::Block Gost28147::encipher(const Block& block) const {
    std::uint32_t low = word_at(block.data()), high = word_at(block.data() + 4);
    for (int pass = 0; pass < 3; ++pass)
        for (std::size_t i = 0; i < 8; i += 2) {
            high ^= mixed(low + m_key[i]);
            low ^= mixed(high + m_key[i + 1]);
        }
    for (std::size_t i = 8; i > 0; i -= 2) {
        high ^= mixed(low + m_key[i - 1]);
        low ^= mixed(high + m_key[i - 2]);
    }
    Block out;
    put_word(out.data(), high);
    put_word(out.data() + 4, low);
    return out;
}

void Gost28147::feedback_encipher(const Block& initial, void* bytes, std::size_t count) const {
    auto* text = static_cast<std::uint8_t*>(bytes);
    Block feedback = initial;
    for (std::size_t at = 0; at < count; at += feedback.size()) {
        feedback = encipher(feedback);
        const std::size_t length = std::min(feedback.size(), count - at);
        for (std::size_t i = 0; i < length; ++i) feedback[i] = text[at + i] ^= feedback[i];
    }
}

void Gost28147::feedback_decipher(const Block& initial, void* bytes, std::size_t count) const {
    auto* text = static_cast<std::uint8_t*>(bytes);
    Block feedback = initial;
    for (std::size_t at = 0; at < count; at += feedback.size()) {
        const Block gamma = encipher(feedback);
        const std::size_t length = std::min(gamma.size(), count - at);
        for (std::size_t i = 0; i < length; ++i) {
            feedback[i] = text[at + i];
            text[at + i] ^= gamma[i];
        }
    }
}
