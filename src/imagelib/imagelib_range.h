// Samples brought into a range, in place and for all channels. A limit that is not a number is refused.
#pragma once

#include "imagelib/imagelib.h"

// Level 0 to 1 (clamped) of the full value. Samples at or above it become the full value and the others 0; with
// `invert` the other way round.
bool image_threshold(K7Image* image, float level, bool invert);
// In sample units. Reversed limits are swapped; both are first limited to 0 and the full value.
bool image_clamp_range(K7Image* image, float low, float high);
// Stretches the samples to 0 and the full value; `keep_zero`: 0 stays 0 and only the largest moves. An image of one
// value is left alone.
bool image_normalize_full(K7Image* image, bool keep_zero);
