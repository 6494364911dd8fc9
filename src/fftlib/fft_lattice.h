// Whether a texture repeats, and at what steps: the peaks of its autocorrelation.
//
// After H.-C. Lin, L.-L. Wang and S.-N. Yang, "Extracting periodicity of a regular texture based on autocorrelation
// functions", 1997. Slow changes of light are taken out first. Noise that differs from pixel to pixel shows at the step
// 0 only, so that grain hardly moves what is found.
#pragma once

#include "imagelib/imagelib.h"

struct TextureLattice {
    int axes = 0;                 // 0: does not repeat; 1: along one direction; 2: along both
    double x[2] = {}, y[2] = {};  // the steps, in pixels, the more evident one first
};

// The part [left, right) x [bottom, top) of a picture of four float channels; of parts wider or higher than 512 pixels
// the middle. `least`: the correlation from which on two places count as alike, 0 to 1. Steps are 4 pixels at least and
// three fifths of the part at most. False for a part that does not lie in the picture, and without memory.
bool fft_texture_lattice(const K7Image* picture, int left, int bottom, int right, int top, double least,
                         TextureLattice& lattice);
