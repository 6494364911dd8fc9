// Minimum and maximum over rectangular windows.
#pragma once

#include "imagelib/imagelib.h"

// The window of pixel (x, y) covers the rows y - half to y - half + rows - 1 and the columns x - half to
// x - half + columns - 1. The one offset for both axes means that it is centred only for equal, odd counts.
struct WindowSize {
    int rows, columns, half;
};

// Pixels whose luminance 0.3 R + 0.5 G + 0.2 B lies on this side of the threshold keep their source value.
struct ExtremeGate {
    float threshold;
    bool keep_above;  // else those below
};

// Into each of the four channels the smallest (or largest) sample of the pixel itself and of all places of the
// channel's window that lie inside the image. A channel with fewer than 2 rows is copied. Both images float RGBA of one
// size; they may be the same image. NaN samples take no part as long as there is another one.
// The cost hardly depends on the window: log2(columns) + 2 operations a sample along the rows, 3 down the columns.
bool image_window_extreme(const K7Image* source, K7Image* destination, bool maximum, const WindowSize per_channel[4],
                          const ExtremeGate* gate = nullptr);
