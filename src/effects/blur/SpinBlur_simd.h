// The hot loops of SpinBlur. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

// Entries of the filter table: one for each 512th of a pixel, and between two of them one for the fractions inside.
inline constexpr int SPIN_FILTER_STEPS = 512;
inline constexpr int SPIN_FILTER_ENTRIES = 2 * SPIN_FILTER_STEPS + 1;

// The picture around the centre, float RGBA.
struct SpinSource {
    const float* pixels;
    int width, height;
    float cx, cy;          // pixels
    const float* filter;   // SPIN_FILTER_ENTRIES times the weights of the four pixels around a fraction
    const float* cosines;  // of each polar column, in pixels for one unit of radius
    const float* sines;
    // Reads one place near or beyond the border.
    void (*sample_border)(const void* owner, float x, float y, float* out);
    const void* owner;
};

// The polar picture as running sums. Row i holds the circle of radius i; column c covers the positions c to c + 1
// along it, and a turn is `period` positions: `columns` whole ones and a fraction of one more, which repeats column 0.
// Entry c of a row is the sum of the columns before c, less c times the row's mean; entries 0 to columns + 1.
struct SpinTable {
    float* sums;
    float* means;  // four channels for each row
    long pitch;    // floats a row
    int columns, rows;
    double period;
};

// What each output pixel averages.
enum SpinStyle : int { SPIN_OVERALL = 1, SPIN_FADE = 2, SPIN_TWIRL_IN = 3, SPIN_TWIRL_OUT = 4 };
struct SpinArcs {
    float cx, cy, pixel_width, pixel_height;
    float angle;  // radians
    float max_distance;
    int style;
    float inner, outer, soft;  // Fade: where the blur begins and ends, and the width of its ramps
    float twirl;               // exponent
    bool invert_matte;
};

struct SpinBlurKernels {
    // One row of the table. `scratch` holds 4 * (columns + 2) doubles.
    void (*unwrap_row)(const SpinSource& source, const SpinTable& table, int row, double* scratch);
    // Part of an output row, from column x on; the pointers are at its first pixel. No matte (null): 1 everywhere.
    void (*average_pixels)(const SpinTable& table, const SpinArcs& arcs, int x, int y, int count, const float* source,
                           const float* matte, float* out);
};

namespace baseline {
extern const SpinBlurKernels spin_blur_kernels;
}
namespace avx2 {
extern const SpinBlurKernels spin_blur_kernels;
}
namespace avx512 {
extern const SpinBlurKernels spin_blur_kernels;
}
