// Where within a pixel the samples of a picture lie.
//
// Cells on a grid with one random place in each (jittered), or with places that also keep a distance from all others
// (Poisson): R. Cook, "Stochastic sampling in computer graphics", ACM TOG 5 (1986).
#pragma once

#include <cstdint>
#include <vector>

#include "noiselib/mtrandom.h"

class StochasticSamplingPattern {
  public:
    enum Mode { JITTERED = 1, POISSON = 2 };

    StochasticSamplingPattern() : m_random(0) { init(1, 8, 4, JITTERED); }
    virtual ~StochasticSamplingPattern() = default;

    // cells x cells places in each of `sets` sets. The same arguments give the same pattern. False for fewer than one
    // cell or set, more than 1024 cells a side, 2^26 places, or another mode.
    bool init(std::uint32_t seed, int cells_per_side, int sets, int mode);

    int total_samples() const { return m_total; }
    int cells_per_side() const { return m_cells; }
    void set_cursor(int index);  // negatives are ignored, others wrap at the total

    // Each takes the place at the cursor and moves on, back to the first after the last.
    void next_sample(float place[3]);                   // 0 to 1 in x and y; z is 0
    void centred_sample(float scale, float offset[3]);  // -scale / 2 to scale / 2
    // An offset in pixels and its weight under a Gaussian that is half as high at `radius`. Radii up to 0.01 give no
    // offset and the weight 1, and take no place.
    float gaussian_sample(float radius, float offset[3]);

  private:
    struct Place {
        float x, y;
    };
    void add_set();
    bool keeps_distance(const Place& candidate) const;

    MTRandom m_random;
    std::vector<Place> m_places;  // of the sets that were asked for until now
    std::uint32_t m_seed = 0;
    int m_cells = 0, m_sets = 0, m_mode = 0;
    int m_total = 0, m_cells_per_set = 0;
    int m_cursor = 0;
};
