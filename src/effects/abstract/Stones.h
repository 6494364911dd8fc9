// Where the stones of a mosaic lie and what shape they have.
//
// Stones begin as a regular pattern around the middle of the picture. Tesserae are then moved by Lloyd's method in a
// metric whose cells are squares turned along the picture's edges (A. Hausner, "Simulating decorative mosaics", 2001);
// irregular ones likewise with round cells. Each stone is a square, or a large one for round cells, from which its
// neighbours cut what is theirs. Two squares are parted across the direction in which they overlap least, as boxes are
// told apart in collision tests (S. Gottschalk and others, "OBBTree", 1996); where several directions are about equal
// they are mixed, so that a small change of the picture never makes a large one of the stones.
//
// Lengths and places are in widths of a pixel from the lower left corner, pixel centres at halves; y counts upwards and
// is rows / pixel aspect.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "effects/abstract/RomanTile_simd.h"
#include "imagelib/imagelib.h"

enum StonePattern { STONES_TESSERAE, STONES_IRREGULAR, STONES_SQUARE, STONES_BRICK, STONES_HEXAGON, STONES_SCALE };

struct StoneShape {
    StonePattern pattern;
    int width, height;  // of the picture, in pixels
    float pixel_aspect;
    float size;      // distance of neighbours
    float angle;     // radians
    float disorder;  // 0 to 1
    float grout;     // width of gaps
    std::uint32_t seed;
};

struct Stone {
    float x, y;                // middle
    float anchor_x, anchor_y;  // where it was in the regular pattern
    std::uint32_t id;          // the same at any size of the picture
    float low_x, high_x, low_y, high_y;
    bool round;  // its sides are arcs
    int count;
    std::array<StoneEdge, STONE_EDGES> edges;
};

// What stones follow: of the picture made smaller by a whole number.
struct EdgeField {
    float scale = 1;    // of its pixels to the picture's
    ImagePtr fourfold;  // two channels: a direction as (cos 4a, sin 4a), so that a stone's sides may lie along it
                        // either way; its length, up to 1, is how clear it is
    ImagePtr weights;   // of places for the middles of stones: low on edges
};

// `small`: the picture, made smaller so that a stone has `stone` of its pixels. `far`: how far around them, in stones,
// edges give directions. `strength`: 0 to 1. False without memory or when an end was asked for.
bool edge_field(const K7Image* small, float scale, float stone, float far, float strength, EdgeField& field,
                const StopRequested& stop);

// An empty field leaves tesserae and irregular stones where they begin; other patterns have no use for it. False
// without memory or when an end was asked for.
bool lay_stones(const StoneShape& shape, const EdgeField& field, std::vector<Stone>& stones, const StopRequested& stop);

// Distance to the nearest side, below 0 within the stone.
float distance_to(const Stone& stone, float x, float y);

// A random number of a stone in [0, 1), another one for each kind.
float stone_chance(std::uint32_t id, std::uint32_t kind);
