// Light that has leaked into film, for the effects that add it: three bands, red at the outside, yellow and white where
// it is strongest. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

// How light goes onto the picture. `thickness` of it is weighted with the picture's own luminance, as exposure that
// adds to what is there; `fog` of it is added whatever is there.
struct FilmLight {
    float thickness, fog;
    bool negative;   // the light darkens, as on a negative
    bool use_alpha;  // only where the picture has alpha
};

// A band begins at `low` of the lit value and is at full strength after 1 / inverse_width of it.
struct LightBand {
    float low, inverse_width;
};

// A round spot; what is lit falls off linearly from its centre to its radius. Lengths are in widths of a pixel.
struct LightSpot {
    float x, y;
    float inverse_radius;
    float least, most;  // the columns that it can reach
};
inline constexpr int MOST_SPOTS = 20;
inline constexpr int LIGHT_BANDS = 3;

// The spots that one row meets.
struct SpotRow {
    const LightSpot* spots;
    const float* distances;  // of the row from each spot, squared
    int count;
    LightBand bands[LIGHT_BANDS];
};

// Three edges in one row. Lit is what lies beside them; over the soft width a band comes to full strength.
struct EdgeRow {
    float positions[LIGHT_BANDS];       // pixels
    float inverse_widths[LIGHT_BANDS];  // 1 / pixels; negative: lit is what lies to the right
};

struct FilmLightKernels {
    // In place; the pixels `first` to `last`, inclusive, of a row whose pixel 0 is at `row`. The bands of spots fall on
    // the picture together; those of edges one after the other, each on the picture as lit so far.
    void (*light_spots)(const FilmLight& light, const SpotRow& spots, int first, int last, float* row);
    void (*light_edges)(const FilmLight& light, const EdgeRow& edges, int first, int last, float* row);
};

QUILLON_SIMD_TABLE(FilmLightKernels, film_light_kernels);
