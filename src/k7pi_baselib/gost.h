// The block cipher GOST 28147-89 (RFC 5830) in cipher feedback mode.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

class Gost28147 {
  public:
    using Key = std::array<std::uint8_t, 32>;   // eight words, little endian
    using Block = std::array<std::uint8_t, 8>;  // two words, little endian

    // Eight rows of sixteen numbers below 16; the first row substitutes the lowest four bits of a word.
    using Boxes = std::array<std::array<std::uint8_t, 16>, 8>;

    Gost28147(const Key& key, const Boxes& boxes);

    Block encipher(const Block& block) const;

    // In place. The register begins as `initial`; a last block may be short. Keys are not meshed.
    void feedback_encipher(const Block& initial, void* bytes, std::size_t count) const;
    void feedback_decipher(const Block& initial, void* bytes, std::size_t count) const;

  private:
    std::uint32_t mixed(std::uint32_t word) const;

    std::array<std::uint32_t, 8> m_key;
    std::array<std::array<std::uint32_t, 256>, 4> m_tables;  // what each byte of a word becomes
};
