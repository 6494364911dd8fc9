// Image quilting: a picture, or a hole in one, is made anew from patches of a sample.
//
// A. Efros and W. Freeman, "Image quilting for texture synthesis and transfer", 2001, for patches that match where they
// overlap; V. Kwatra et al., "Graphcut textures", 2003, for the cut between them, which is free to take any shape.
//
// Patches lie on a grid that follows from their size alone. Every second one in both directions comes first, from a
// place that the seed gives; those between match what lies around them, so that a choice depends on few others. Grain
// that changes one choice does not change the rest of the picture, and patches of one kind are laid on all threads.
// From a hole's border inwards, patches match what surrounds it first.
//
// Colours are compared from 0 to 2; samples are copied as they are, alpha too.
#pragma once

#include <cstdint>

#include "imagelib/imagelib.h"

struct QuiltBox {  // pixels [left, right) x [bottom, top)
    int left, bottom, right, top;
    int width() const { return right - left; }
    int height() const { return top - bottom; }
};

// Places that look alike: steps from one to the next. What has `axes` 0 does not repeat, with 1 only `x[0], y[0]`
// holds.
struct QuiltLattice {
    int axes = 0;
    double x[2] = {}, y[2] = {};  // pixels
};

enum QuiltState : std::uint8_t {
    QUILT_FIXED = 0,  // stays as it is
    QUILT_LOOSE = 1,  // patches match it and may replace it
    QUILT_EMPTY = 2,  // has to be made
};

struct QuiltTask {
    const K7Image* sample = nullptr;  // four channels of floats
    QuiltBox from{};                  // the part of it that patches are cut from
    const K7Image* unusable =
        nullptr;                // one channel of bytes, of the sample's size: no patch holds a pixel that is not 0
    K7Image* canvas = nullptr;  // four channels of floats; may not be the sample
    K7Image* state = nullptr;   // one channel of bytes, of the canvas's size: QuiltState; EMPTY becomes LOOSE

    // In pixels of the canvas, from 4 on; limited to the part that patches come from, and the overlap to 45 percent.
    int patch_width = 64, patch_height = 64;
    int overlap_x = 24, overlap_y = 24;
    bool bond = false;      // every second row is shifted by half a patch
    bool straight = false;  // patches meet in straight lines at their cells' borders, without a match and without cuts
    bool flip_x = false, flip_y = false;  // patches may be mirrored
    QuiltLattice lattice;                 // that patches keep to, unless they may be mirrored
    const K7Image* guide = nullptr;       // one float channel, of the canvas's size: luminance that patches follow
    float guide_weight = 0.0F;            // 0 to 1: against the match of their borders
    float tone = 0.0F;  // 0 to 1: how far light that changes slowly is matched to what is there when a patch is laid
    std::uint32_t seed = 1;
};

// Where patch cells lie: patch (i, j) has the cell [left(i, j), left(i, j) + step_x) x [bottom(j), bottom(j) + step_y).
struct QuiltGrid {
    int step_x, step_y;
    bool bond;
    int left(int i, int j) const { return i * step_x - (bond && (j & 1) != 0 ? step_x / 2 : 0); }
    int bottom(int j) const { return j * step_y; }
};
QuiltGrid quilt_grid(const QuiltTask& task);

// Whether there is a place in the sample that a patch can be cut from. Also false for a task that does not hold
// together, and without memory.
bool image_quilt_has_room(const QuiltTask& task);

// False where there is no room, when an end was asked for, and without memory; the canvas is of no use then.
bool image_quilt(const QuiltTask& task, const StopRequested& stop = {});
