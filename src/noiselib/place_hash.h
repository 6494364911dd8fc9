// Random numbers of a place: a word for any two numbers, which needs no generator and no order.
//
// The finaliser of A. Appleby's MurmurHash3 (2008), once for each number. Chained, as place_hash(place_hash(seed, x),
// y), it takes as many numbers as wanted. All is static, for the files that are built once for each instruction set.
#pragma once

#include <cstdint>

[[maybe_unused]] static inline std::uint32_t place_hash(std::uint32_t a, std::uint32_t b) {
    std::uint32_t h = a ^ (b * 0x9E3779B9U + 0x7F4A7C15U);
    h = (h ^ (h >> 16)) * 0x85EBCA6BU;
    h = (h ^ (h >> 13)) * 0xC2B2AE35U;
    return h ^ (h >> 16);
}
// In [0, 1) and in [-1, 1).
[[maybe_unused]] static inline float unit_of(std::uint32_t word) { return static_cast<float>(word >> 8) * 0x1p-24F; }
[[maybe_unused]] static inline float signed_of(std::uint32_t word) {
    return static_cast<float>(word >> 8) * 0x1p-23F - 1.0F;
}
