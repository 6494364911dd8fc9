// Completion: a hole in a picture is filled so that every small patch of it looks like one from elsewhere.
//
// Y. Wexler, E. Shechtman and M. Irani, "Space-time completion of video", 2007, from coarse to fine; the patches are
// found after C. Barnes et al., "PatchMatch", 2009, here with all pixels at once, so that threads change nothing.
//
// The cost grows with the hole's area. It is meant for small pictures, of a few hundred pixels: details of larger ones
// are better laid over the result by quilting (imagelib_quilt.h, `guessed`).
#pragma once

#include <cstdint>

#include "imagelib/imagelib.h"

// `picture`: four channels of floats, compared by their first three from 0 to 2. `hole`: one channel of bytes, of the
// same size: 0 what is known and patches are taken from, 1 what is filled, 2 what is known and patches are not taken
// from. False for other layouts, where there is nothing to take, when an end was asked for, and without memory.
bool image_complete(K7Image* picture, const K7Image* hole, std::uint32_t seed, const StopRequested& stop = {});
