// Private to smoothed labels: the votes for one label in a tile. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

struct LabelTile {
    static constexpr int SIDE = 64, MOST_MARGIN = 2 * 7, PITCH = SIDE + 2 * MOST_MARGIN + 4;

    int width, height;   // up to SIDE
    int half_x, half_y;  // of the boxes
    // Row 0 and column 0 lie two half boxes outside the tile.
    std::uint8_t labels[PITCH * PITCH];
    // Of the tile's pixels, row by row at PITCH; votes out of (2 half_x + 1)^2 (2 half_y + 1)^2.
    std::uint16_t best[PITCH * SIDE], second[PITCH * SIDE];
    std::uint16_t winner[PITCH * SIDE];
    std::uint16_t scratch[3 * PITCH * PITCH];
};

struct LabelVoteKernels {
    // Counts the votes for the label and keeps the two best; called for each label of the tile in ascending order.
    void (*count)(LabelTile& tile, int label);
};

QUILLON_SIMD_TABLE(LabelVoteKernels, label_vote_kernels);
