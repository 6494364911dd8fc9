// Patterns without clumps: a tile of thresholds, and points that keep their distance.
#pragma once

#include <cstdint>
#include <vector>

#include "imagelib/imagelib.h"

// Void and cluster (R. Ulichney, "The void-and-cluster method for dither array generation", 1993), with a Gaussian of
// deviation 1.5. The tile repeats without seams. Of any level, the pixels whose threshold lies below it are spread
// evenly: their spectrum has nothing at low frequencies.
struct BlueNoiseTile {
    static constexpr int SIDE = 128;
    static constexpr int PIXELS = SIDE * SIDE;
    std::uint16_t ranks[PIXELS];  // each of 0 to PIXELS - 1 once, row by row

    // In (0, 1), at any place.
    float threshold(int x, int y) const {
        const int rank = ranks[(y & (SIDE - 1)) * SIDE + (x & (SIDE - 1))];
        return (static_cast<float>(rank) + 0.5f) / static_cast<float>(PIXELS);
    }
};

// Made by the first call of the process, in about a frame's time; any thread.
const BlueNoiseTile& blue_noise_tile();

struct PoissonPoint {
    float x, y;  // in [0, width), [0, height)
};

// Points no two of which are nearer than `apart`, and hardly any gap that another one would fit in (R. Bridson, "Fast
// Poisson disk sampling in arbitrary dimensions", 2007). Near the first ones first; the same for the same seed. False
// for sizes and distances that are not positive, beyond 2^22 cells of apart / sqrt(2), and without memory.
bool poisson_points(float width, float height, float apart, std::uint32_t seed, std::vector<PoissonPoint>& points);
