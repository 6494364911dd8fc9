// Gradient noise on a lattice of three dimensions, and its fractal sum.
//
// After K. Perlin, "An Image Synthesizer", SIGGRAPH 1985: 256 unit gradients, hashed by a fixed permutation that all
// objects share; a seed changes the gradients only.
#pragma once

#include <array>
#include <cstdint>

class SolidNoise {
  public:
    explicit SolidNoise(uint32_t seed);
    virtual ~SolidNoise() = default;

    // About -1 to 1, and 0 at every point whose coordinates are whole numbers. Coordinates that are not finite give 0.
    float noise(float x, float y, float z) const;
    float noise(const float* point) const { return noise(point[0], point[1], point[2]); }

    // The signed sum of noise(f p)/f for f = f_min (at least 1e-7), 2.17 f_min, ... below f_max; 0 when there is none.
    float turbulence(float x, float y, float z, float f_min, float f_max) const;

  private:
    struct Gradient {
        float x, y, z;
    };
    std::array<Gradient, 256> gradients;
};
