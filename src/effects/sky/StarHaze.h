// What glows between the stars of Q_StarField: the band of a galaxy seen from inside, and clouds of gas, both with dark
// clouds before them. Fractal noise over directions, bent by noise as in I. Quilez, "Domain warping" (2002).
#pragma once

#include <cstddef>

#include "effects/sky/StarScatter.h"
#include "noiselib/solidnoise.h"

struct StarHazeLook {
    std::uint32_t seed;
    float milky_way, nebula;  // brightness, 1 is usual; 0 none
    float dust;               // 0 to 1
    float band_width;         // radians
    StarBandAxes band;
    float nebula_scale;  // 1: some tens of degrees
    float nebula_cover;  // 0 to 1
    float nebula_colours[2][3];
};

class StarHaze {
  public:
    explicit StarHaze(const StarHazeLook& look);
    bool empty() const { return !(m_look.milky_way > 0.0F) && !(m_look.nebula > 0.0F); }

    // Floats of scratch for a row.
    static std::size_t scratch(int count) { return 10 * static_cast<std::size_t>(count); }
    // Light in `count` directions of unit length, as RGBA pixels whose alpha is 0. Nothing is finer than `finest`
    // radians.
    void row(const float* const direction[3], int count, float finest, float* scratch, float* out) const;
    // The shares of far stars' light that dark clouds of the band let through.
    void let_through(const float* const direction[3], int count, float* scratch, float* out) const;

  private:
    void band_row(const float* const direction[3], int count, float highest, float* const scratch[10],
                  float* out) const;
    void nebula_row(const float* const direction[3], int count, float highest, float* const scratch[10],
                    float* out) const;
    void clouds_row(const float* const direction[3], int count, float highest, float* out, float* more) const;
    void dark_row(const float* const direction[3], int count, float highest, float* out, float* more) const;
    float hidden(float above, float width, float clouds, float dark) const;
    float widthAt(float ahead) const;

    StarHazeLook m_look;
    SolidNoise m_clouds, m_dark;
};
