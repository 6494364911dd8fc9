// The reticles of NightVision: a few bars, rings and strokes, drawn with anti-aliasing row by row.
#pragma once

#include <vector>

struct ReticleShape {
    enum Kind {
        Bar,     // the rectangle from (x0, y0) to (x1, y1)
        Ring,    // around (x0, y0)
        Stroke,  // a line with flat ends from (x0, y0) to (x1, y1)
    } kind;
    double x0, y0, x1, y1;
    double radius;  // of a ring's middle line
    double half;    // half the thickness of a ring or a stroke
};

// Lengths in pixels along a row; y upwards, 0 in the reticle's centre. `type` 1 to 5; others are empty.
std::vector<ReticleShape> reticle_shapes(int type, double size, const double (&thickness)[3]);

// Where a reticle lies in a picture.
struct ReticlePlace {
    double x, y;          // of its centre, in pixels
    double pixel_aspect;  // width of a pixel over its height
};

// How much of each pixel of row `y` is covered, 0 to 1, into `coverage` (zeros before). Returns the columns
// [first, last) that were touched.
struct ReticleSpan {
    int first, last;
};
ReticleSpan reticle_coverage(const std::vector<ReticleShape>& shapes, const ReticlePlace& place, int y, int width,
                             float* coverage);
