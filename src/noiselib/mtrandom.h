// The random numbers of every effect: a seedable Mersenne Twister and its read-outs.
//
// Source: M. Matsumoto, T. Nishimura, "Mersenne Twister: a 623-dimensionally equidistributed uniform pseudo-random
// number generator", ACM TOMACS 8 (1998), with the seeding of 2002. Gaussian numbers: G. Marsaglia's polar method.
//
// A seed gives the same stream on every machine; frames are repeatable because of it. Not for several threads at once.
// A generator is copied byte by byte with the state of a simulation.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

class MTRandom {
  public:
    explicit MTRandom(uint32_t seed);

    // The next word, 0 to 2^32 - 1.
    uint32_t next_uint32() {
        if (index >= SIZE) regenerate();
        uint32_t word = state[static_cast<std::size_t>(index++)];
        word ^= word >> 11;
        word ^= (word << 7) & 0x9D2C5680U;
        word ^= (word << 15) & 0xEFC60000U;
        return word ^ (word >> 18);
    }

    // In [0, 1], both ends included: the largest word gives 1.
    double next_double() { return next_uint32() * 2.3283064370807974e-10; }

    // In [0, 1]. The word is rounded to a float before it is scaled, so that 1 can occur: clamp before indexing.
    float next_float() { return static_cast<float>(next_uint32()) * 0x1p-32F; }

    float next_float_in(float low, float high) {
        return (high - low) * static_cast<float>(next_uint32()) * 0x1p-32F + low;
    }

    // Mean 0, deviation 1. The two forms keep their spare values apart: each draws new words only when its own is used.
    double next_gaussian();
    float next_gaussian_float();

    double next_gaussian_scaled(double mean, double deviation) { return mean + next_gaussian() * deviation; }

  private:
    static constexpr int SIZE = 624;

    void regenerate();

    std::array<uint32_t, SIZE> state;
    int32_t index = SIZE;
    float spare_float = 0;
    bool has_spare_float = false;
    double spare_double = 0;
    bool has_spare_double = false;
};

static_assert(std::is_trivially_copyable_v<MTRandom>);
