// Gradient noise on a lattice of three dimensions, and its fractal sum.
//
// After K. Perlin, "An Image Synthesizer", SIGGRAPH 1985: 256 unit gradients, hashed by a fixed permutation that all
// objects share; a seed changes the gradients only. The row forms do many points abreast and give the same bits as a
// call for each point: use them for everything that fills a picture. All calls are safe from several threads at once.
#pragma once

#include <cstdint>

struct NoiseTables;

// Points along the x axis, equal steps apart: point i is (x_at(i), y, z). The position is worked out in doubles and
// rounded once, so that a row has the same points however it is cut into pieces.
struct NoiseLine {
    double x, step;
    float y, z;

    float x_at(int i) const { return static_cast<float>(x + i * step); }
};

class SolidNoise {
  public:
    explicit SolidNoise(uint32_t seed);
    virtual ~SolidNoise() = default;

    // About -1 to 1, and 0 at every point whose coordinates are whole numbers. Coordinates that are not finite give 0.
    float noise(float x, float y, float z) const;
    float noise(const float* point) const { return noise(point[0], point[1], point[2]); }

    // The signed sum of noise(f p)/f for f = f_min (at least 1e-7), 2.17 f_min, ... below f_max; 0 when there is none.
    float turbulence(float x, float y, float z, float f_min, float f_max) const;

    // out[i] = noise(x[i], y[i], z[i]), i from 0 to count - 1. The arrays need no alignment; out may be one of them.
    void noise_row(const float* x, const float* y, const float* z, float* out, int count) const;
    void turbulence_row(const float* x, const float* y, const float* z, float f_min, float f_max, float* out,
                        int count) const;

    // out[i] = noise(line.x_at(first + i), line.y, line.z). The fastest form when |line.step| is below 1.
    void noise_row(const NoiseLine& line, int first, float* out, int count) const;
    void turbulence_row(const NoiseLine& line, int first, float f_min, float f_max, float* out, int count) const;

  private:
    struct Gradient {
        float x, y, z, gap;
    };
    // The ends of a cell's edge along x.
    struct Edge {
        Gradient lower, upper;
    };

    NoiseTables tables() const;

    alignas(32) Edge gradients[256];  // in the order of the hash: the permutation is already applied
};
