// Completion: a hole in a picture goes on as what surrounds it does.
//
// K. He and J. Sun, "Statistics of patch offsets for image completion", 2012: the hole is made of few pieces of the
// picture, each moved by one of the shifts at which the surroundings look like themselves. So edges and rows of things
// go on into the hole, and texture stays as sharp as it is. Seams lie where they are seen least (Y. Pritch et al.,
// "Shift-map image editing", 2009), and light is levelled across them (P. Perez et al., "Poisson image editing", 2003).
//
// Shifts are whole, are searched for in a reduced picture and without any chance: grain and small movements leave most
// of them as they were.
#pragma once

#include <cstdint>

#include "imagelib/imagelib.h"

enum CompletionFlag : std::uint8_t {
    COMPLETE_HOLE = 1,       // is made
    COMPLETE_NO_SOURCE = 2,  // known, but nothing is taken from there
    COMPLETE_LOOSE = 4,      // known, and may be replaced where that hides a seam
};

struct CompletionTask {
    K7Image* picture = nullptr;      // four channels of floats, compared by their first three from 0 to 2
    const K7Image* flags = nullptr;  // one channel of bytes, of the same size: CompletionFlag
    int cell = 8;            // pixels: what is smaller is not looked at when shifts are chosen; limited to 1 to 64
    std::uint32_t seed = 1;  // the direction that pieces rather come from
};

// Cost: about a quarter of a second of processor time for a hole of 300 x 300 pixels, half of it on one thread; beyond,
// in proportion to the hole's area. False for other layouts, where there is nothing to take for a part of the hole,
// when an end was asked for, and without memory; the picture is as it was then.
bool image_complete(const CompletionTask& task, const StopRequested& stop = {});
