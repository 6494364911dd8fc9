#include "noiselib/krvf_transform.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numbers>

#include "k7pi_baselib/portable_math.h"
#include "simdlib/cpu.h"

namespace {

// Sines and cosines of half a turn, in 512ths of a full one.
const std::array<K7SineCosine, MAX_TRANSFORM / 2>& turns() {
    static const auto table = [] {
        std::array<K7SineCosine, MAX_TRANSFORM / 2> made;
        for (std::size_t k = 0; k < made.size(); ++k)
            made[k] = k7_sine_cosine(2 * std::numbers::pi * static_cast<double>(k) / MAX_TRANSFORM);
        return made;
    }();
    return table;
}

void reverse_bits(double* values, std::size_t size, std::size_t stride) {
    for (std::size_t i = 1, reversed = 0; i < size; ++i) {
        std::size_t bit = size >> 1;
        for (; reversed & bit; bit >>= 1) reversed ^= bit;
        reversed ^= bit;
        if (i < reversed) std::swap_ranges(values + i * stride, values + (i + 1) * stride, values + reversed * stride);
    }
}

}  // namespace

void from_polar(double* amplitude, double* phase, std::size_t count) {
    transform_kernels().from_polar(amplitude, phase, count);
}

bool fft_radix2(double* real, double* imag, std::size_t total, std::size_t size, std::size_t span, int sign) {
    if (!real || !imag || size > MAX_TRANSFORM || !std::has_single_bit(size)) return false;
    if (span == 0 || span % size != 0 || total % span != 0) return false;
    const auto butterflies = transform_kernels().butterflies;
    const std::size_t stride = span / size;
    for (std::size_t block = 0; block < total; block += span) {
        reverse_bits(real + block, size, stride);
        reverse_bits(imag + block, size, stride);
        for (std::size_t half = 1; half < size; half *= 2)
            for (std::size_t k = 0; k < half; ++k) {
                const K7SineCosine& turn = turns()[k * (MAX_TRANSFORM / 2 / half)];
                const double sine = sign < 0 ? -turn.sine : turn.sine;
                for (std::size_t row = k; row < size; row += 2 * half) {
                    const std::size_t a = block + row * stride;
                    const std::size_t b = a + half * stride;
                    butterflies(real + a, imag + a, real + b, imag + b, turn.cosine, sine, stride);
                }
            }
    }
    return true;
}
