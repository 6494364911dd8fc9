// The most frequent value in rectangular windows.
//
// Samples are counted in 128 levels, trunc(v * 127.99) limited to 0 to 127; a NaN counts as 0. Each sample of the
// result is the level that occurs most often in its window, the lowest of several such, times 1/127.
//
// Windows of 3 x 3 are sorted; all others slide a histogram along the row that is the sum of column histograms
// (S. Perreault and P. Hebert, "Median filtering in constant time", IEEE Transactions on Image Processing 16, 2007):
// the cost does not depend on the window.
#pragma once

#include "imagelib/imagelib.h"

inline constexpr int WINDOW_MODE_MOST_HALF = 2047;  // pixels

// A window is 2 half_x + 1 pixels wide and 2 half_y + 1 high; edge pixels repeat beyond the image. Half sizes from 1 to
// WINDOW_MODE_MOST_HALF. Both images float RGBA of one size; they may be the same. False also when there is no memory.
bool image_window_mode(const K7Image* source, K7Image* destination, int half_x, int half_y);
