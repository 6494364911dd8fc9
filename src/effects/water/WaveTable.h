// One wave of half the height of a sine, in 1024 steps, and the first one once more behind them.
#pragma once

#include <array>
#include <numbers>

#include "k7pi_baselib/portable_math.h"

inline constexpr int WAVE_STEPS = 1024;

struct WaveTable {
    std::array<float, WAVE_STEPS + 1> heights;

    WaveTable() {
        for (int i = 0; i < WAVE_STEPS; ++i)
            heights[std::size_t(i)] = float(0.5 * k7_sin(2 * std::numbers::pi * i / WAVE_STEPS));
        heights[WAVE_STEPS] = heights[0];
    }
};
