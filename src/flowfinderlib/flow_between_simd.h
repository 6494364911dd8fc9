// Private to the in-betweens: rows of pixels read through flow. Plain data.
#pragma once

#include "simdlib/cpu.h"

// A flow field as two planes of one stride; places outside count as at the edge, which the planes repeat around them.
struct FlowPair {
    const float *u, *v;
    long stride;
    int width, height;
};

// A picture of RGBA floats with BETWEEN_EDGE pixels around it that repeat its edge; `pixels` is its first one.
constexpr int BETWEEN_EDGE = 3;
struct BetweenPicture {
    const float* pixels;
    long stride;
};

struct BetweenRow {
    FlowPair forward, backward;
    BetweenPicture first, second;
    const float *u, *v;  // motion from the first picture to the second of what is at each pixel at the time
    int y;
    float scale, mix;
    float threshold;  // squared, of flows that agree
    bool both_ways, cubic;
    float* weights;  // scratch: 5 rows of the width and 16 more
    float* out;      // RGBA
};

struct FlowBetweenTable {
    // How well the flow of row y agrees with the flow back: 1 fully, 0 not at all or outside.
    void (*agreement)(const FlowPair& flow, const FlowPair& back, int y, float threshold, float* out);
    void (*mix_row)(const BetweenRow& row);
};

QUILLON_SIMD_TABLE(FlowBetweenTable, flow_between);
