// The loops of LookSprites, one table for each vector unit.
#pragma once

#include <array>
#include <cstdint>

#include "graphicslib/draw_blend.h"
#include "simdlib/cpu.h"

enum class SpriteLook : std::int32_t {
    point,    // a disc with a crisp edge
    streak,   // a line from its head to where it came from, thinner and fainter towards there
    blob,     // soft, as if out of focus
    star,     // four rays and a core
    ring,     // a thin ring, as a bubble's
    flake,    // a snow crystal
    paper,    // a rectangle
    leaf,     // pointed, with a rib
    picture,  // see LookSprites
};
inline constexpr int SPRITE_LOOKS = 8;  // those that are worked out

struct LookSprite {
    float x = 0, y = 0;           // the middle; of a streak, or of what is swept: the head
    float way_x = 0, way_y = 0;   // from there to where it came from: points and blobs are swept, streaks drawn
    float radius = 0;             // pixel widths; 0 draws nothing
    float cosine = 1, sine = 0;   // of its turn, anticlockwise
    float squash = 1;             // of flakes, papers, leaves and pictures: height that is left as it tumbles
    float colour[3] = {1, 1, 1};  // light
    float opacity = 0;            // coverage; with add also more than 1
    std::uint32_t depth = 0;      // higher ones are drawn over lower ones
};

// What sprites are drawn into: rows first_row to last_row of a float RGBA picture.
struct LookTarget {
    float* pixels;  // of row 0
    int width, first_row, last_row;
    float aspect;    // width of a pixel over its height
    float softness;  // see LookSprites::Kind
};

struct LookKernels {
    // For each way to blend and look: the sprites of the list begin..end.
    using Draw = void (*)(const LookTarget& target, const LookSprite* sprites, const std::uint32_t* begin,
                          const std::uint32_t* end);
    std::array<std::array<Draw, SPRITE_LOOKS>, 3> draw;
};

QUILLON_SIMD_TABLE(LookKernels, look_kernels);

// How far a sprite reaches from its middle, in pixel widths, beyond its radius: edges are this soft at least.
inline constexpr float LOOK_EDGE = 1.0f;
