// The loops of Q_PixFly over millions of pixels. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simdlib/cpu.h"

// How blocks of pixels fly. Places and lengths are in widths of a pixel from the picture's lower left corner, both
// axes; times in frames.
struct PixFlight {
    std::uint32_t seed = 1;
    // Turns: base + ragged * chance + random * another chance, from 0 to most_turn.
    float ragged = 0, random = 0, most_turn = 1, soft_matte = 0.8F;
    float now = 0, duration = 60, flight_time = 60;
    int arrive = 0;           // flights run backwards
    float half_open = 0.25F;  // of the shutter

    float block = 1;              // pixels along either edge of a block
    float width = 1, height = 1;  // pixels
    float aspect = 1;             // width of a pixel over its height
    float grip = 0;               // part of the difference to the air that a velocity loses in a frame
    float gravity[2] = {}, wind[2] = {};
    float spread = 0;                                          // first speed into any direction
    float burst = 0, burst_centre[2] = {}, burst_reach = 1;    // first speed near the centre; where it is half of that
    float vortex_turn = 0, vortex[2] = {}, vortex_radius = 1;  // radians a frame at the centre
    float pull = 0, attractor[2] = {}, attractor_radius = 1;   // a frame and frame, of the distance, at the centre
    // The direction of eddies on a grid, of strength 1 on the mean: whole numbers of 16 bits that count `eddy_unit`,
    // along x in the lower half of a word.
    const std::int32_t* eddies = nullptr;
    int eddies_wide = 0, eddies_high = 0;
    float eddies_left = 0, eddies_low = 0, eddies_per_width = 0;  // nodes for each width of a pixel
    float eddy_unit = 1;
    float swirl_speed = 0, swirl_time = 1;  // frames in which an eddy is passed through
    // How strong the wind has been on the mean over an age, at even steps from 0 to flight_time.
    static constexpr int SWELLS = 64;
    const float* swells = nullptr;

    float vary = 0, end_size = 1, fade = 0;  // of the size; what is left of it; last part of the flight
    float tint_part = 0.25F;                 // in which part of the flight the tint comes
};

// Something that flies, in pixels; small, because there are millions.
struct PixSplat {
    float x, y;            // its middle
    std::uint32_t moved;   // while the shutter is open, along x in the lower half: whole numbers of MOVE
    std::uint32_t shape;   // size along x in the lower half, of SIZE, and weight in the upper, of 1 / 65535
    std::uint32_t look;    // how far it has taken on the tint, and the glow, in a byte each
    std::uint32_t source;  // block

    float dx() const { return static_cast<float>(static_cast<std::int16_t>(moved)) * MOVE; }
    float dy() const { return static_cast<float>(static_cast<std::int16_t>(moved >> 16)) * MOVE; }
    float size() const { return static_cast<float>(shape & 0xFFFFU) * SIZE; }
    float weight() const { return static_cast<float>(shape >> 16) * (1.0F / 65535); }
    static constexpr float MOVE = 1.0F / 16, SIZE = 1.0F / 64;
};

struct PixRow {
    int row, count;       // of blocks
    const float* base;    // the smooth part of turns
    const float* only;    // brightness: those of the dark stay where they are; null: none
    unsigned char* away;  // out: 1 for what is not in its place
    PixSplat* splats;     // out, room for `count` and PIX_ROOM more
};

inline constexpr int PIX_ROOM = 16;

struct PixCanvas {
    float* sums;             // RGBA, multiplied; PIX_MARGIN more pixels at both ends of each row
    int width, first, last;  // rows
    float aspect;
    const float* colours;  // RGBA of all blocks, multiplied
    float tint[3], tinted, glow;
};
inline constexpr int PIX_MARGIN = 2;

struct PixComposed {
    const float* sums;
    const float* source;        // multiplied
    const unsigned char* away;  // of each block
    const float* behind;        // null: nothing
    float* out;
    int count, block;
};

struct PixFlyKernels {
    int (*fly)(const PixFlight& flight, const PixRow& row);  // how many splats
    void (*draw)(const PixCanvas& canvas, const PixSplat* splats, std::size_t count);
    void (*compose)(const PixComposed& row);
};

QUILLON_SIMD_TABLE(PixFlyKernels, pix_fly_kernels);
