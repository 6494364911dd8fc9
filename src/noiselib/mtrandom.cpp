#include "noiselib/mtrandom.h"

#include <cmath>

#include "k7pi_baselib/portable_math.h"

namespace {

constexpr int MIDDLE = 397;
constexpr uint32_t UPPER_BIT = 0x80000000U;

uint32_t twist(uint32_t high, uint32_t low) {
    const uint32_t mixed = (high & UPPER_BIT) | (low & ~UPPER_BIT);
    return (mixed >> 1) ^ (0x9908B0DFU & -(mixed & 1));  // without a look-up the loops below run in vectors
}

}  // namespace

MTRandom::MTRandom(uint32_t seed) {
    state[0] = seed;
    for (uint32_t i = 1; i < SIZE; ++i) state[i] = 1812433253U * (state[i - 1] ^ (state[i - 1] >> 30)) + i;
}

void MTRandom::regenerate() {
    std::size_t i = 0;
    for (; i < SIZE - MIDDLE; ++i) state[i] = state[i + MIDDLE] ^ twist(state[i], state[i + 1]);
    for (; i < SIZE - 1; ++i) state[i] = state[i + MIDDLE - SIZE] ^ twist(state[i], state[i + 1]);
    state[SIZE - 1] = state[MIDDLE - 1] ^ twist(state[SIZE - 1], state[0]);
    index = 0;
}

double MTRandom::next_gaussian() {
    if (has_spare_double) {
        has_spare_double = false;
        return spare_double;
    }
    double v1 = 0;
    double v2 = 0;
    double r = 0;
    do {
        v1 = 2.0 * (next_uint32() * 0x1p-32) - 1.0;
        v2 = 2.0 * (next_uint32() * 0x1p-32) - 1.0;
        r = v1 * v1 + v2 * v2;
    } while (r >= 1.0 || r == 0.0);
    const double f = std::sqrt(-2.0 * k7_log(r) / r);
    spare_double = v1 * f;
    has_spare_double = true;
    return v2 * f;
}

float MTRandom::next_gaussian_float() {
    if (has_spare_float) {
        has_spare_float = false;
        return spare_float;
    }
    float v1 = 0;
    float v2 = 0;
    float r = 0;
    do {
        v1 = 2.0F * next_float() - 1.0F;
        v2 = 2.0F * next_float() - 1.0F;
        r = v1 * v1 + v2 * v2;
    } while (r >= 1.0F || r == 0.0F);
    const auto f = static_cast<float>(std::sqrt(-2.0 * k7_log(r) / r));
    spare_float = v1 * f;
    has_spare_float = true;
    return v2 * f;
}
