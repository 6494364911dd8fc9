// Private to the image library: three passes of a box filter along lines of floats, several lines abreast.
//
// Included by code that is compiled for several instruction sets: plain declarations only.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simdlib/cpu.h"

// `kernels.lanes` lines that are blurred in place. Lanes come in groups of four neighbouring floats.
struct BlurLines {
    float* first;               // sample 0 of lane 0
    std::ptrdiff_t step;        // floats from one sample of a line to the next
    std::ptrdiff_t group_step;  // floats from one group of four lanes to the next; 4: all lanes lie side by side
    int length;                 // samples a line
    const std::uint32_t* keep;  // for each lane all bits set where the old sample stays, else 0; null: none stays
};

// The radius of the blur taken apart: (1 - fraction) of the box of `radius` and `fraction` of the next larger one.
struct BoxRadius {
    int radius;
    double fraction;  // 0 when only the one box is wanted
    bool is_blur() const { return radius > 0 || fraction > 0; }
};
BoxRadius box_radius(float radius, int length);  // for lines of this length

// What the sum of three passes is multiplied by: 1 / window^3, times the weight of this box in the mix.
static constexpr double box_scale(int radius, double weight) {
    const double window = 2.0 * radius + 1.0;
    return weight / (window * window * window);
}

struct BlurKernels {
    int lanes;  // lines abreast, a multiple of 4
    // Line ends are repeated in each of the three passes.
    void (*clamped)(const BlurLines& lines, BoxRadius box, double* scratch);
    // The lines carry `margin` = 3 * largest box radius samples of their other end at both ends, counted in `length`;
    // results replace the samples from index 0, length - 2 * margin of them. Lanes lie side by side.
    void (*wrapped)(const BlurLines& lines, BoxRadius box, double* scratch);
    // How much scratch memory (64-byte aligned) lines of `length` samples take.
    std::size_t (*scratch_doubles)(int length, BoxRadius box);
};

QUILLON_SIMD_TABLE(BlurKernels, blur_kernels);
