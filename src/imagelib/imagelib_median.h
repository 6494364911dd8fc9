// Median over rectangular windows, for any window up to 161 x 161 pixels.
//
// The samples of a channel fall into 4096 bins of equal width between its smallest and largest one. The median's bin is
// the one that holds the sample of rank count / 2 (the upper of two middle ones), and the result is the mean of those
// samples of the window that lie in it: an exact sample wherever the bin holds one value. A channel whose bins would be
// 0.00001 or narrower is one bin. A NaN counts as the smallest sample, an infinity as the largest number.
//
// Windows of up to 121 samples go through sorting networks (K. E. Batcher, "Sorting networks and their applications",
// 1968), larger ones through sliding histograms (T. S. Huang and others, "A fast two-dimensional median filtering
// algorithm", IEEE Transactions on Acoustics, Speech and Signal Processing 27, 1979).
#pragma once

#include "imagelib/imagelib.h"

// Half widths of a window in pixels, limited to 1 to 80: it is 2 x + 1 pixels wide and 2 y + 1 high. At the edges of
// the image a window holds the samples that are inside.
struct MedianRadii {
    int x, y;
};

// Both images float RGBA of one size, each channel with a window of its own. They may not share their pixels. False
// also when out of memory or when an abort was requested; parts of the destination are written then.
bool image_window_median(const K7Image* source, K7Image* destination, const MedianRadii per_channel[4],
                         const StopRequested& stop = {});
