// Moving whole pixels about: transposition, flips, and the two fields of interlaced pictures.
#pragma once

#include "imagelib/imagelib.h"

// Destination pixel (y, x) becomes source pixel (x, y). Channels and sample type must match, the sizes crosswise.
bool image_transpose(const K7Image* source, K7Image* destination);
// The attributes of the two axes change places too.
K7Image* image_transposed_copy(const K7Image* source);

bool image_flip_vertical(K7Image* image);
bool image_flip_horizontal(K7Image* image);
// Turns the picture upside down only; image_flip_horizontal completes the half turn.
K7Image* image_rotated_180_copy(const K7Image* image);

// Weaves two full frames of one layout, each with one good field, into one: every other row from a, the rest from
// b. `a_first`: a supplies the even rows. `swap_parity`: in the destination each pair of rows changes places (the last
// row of an odd height stays).
bool image_weave_fields(const K7Image* a, const K7Image* b, K7Image* destination, bool a_first,
                        bool swap_parity = false);
// The source with every row that is not of `field` (0: even rows, else odd ones) replaced by the mean of its
// neighbours; a row that has one neighbour becomes a copy of it. Integer means are truncated. The two flags are those
// of image_weave_fields, so that both take a field's description alike; each of them inverts the choice of rows.
bool image_interpolate_field(const K7Image* source, K7Image* destination, int field, bool a_first = true,
                             bool swap_parity = false);
