// Places drawn at random from a picture, the more often the brighter it is there: births on a matte or on what is light
// in a plate.
#pragma once

#include <cstdint>
#include <vector>

#include "imagelib/imagelib.h"
#include "noiselib/mtrandom.h"

namespace particles {

class LightPlaces {
  public:
    void make(const K7Image& picture);
    bool empty() const { return m_rows.empty() || !(m_rows.back() > 0); }
    std::uint64_t fingerprint() const { return m_fingerprint; }
    // In pixels from the lower left corner; three numbers are drawn. False where all is black.
    bool draw(MTRandom& random, float place[2]) const;

  private:
    static constexpr int STEP = 2;  // pixels to a cell, within which places are even
    int m_width = 0, m_height = 0;
    std::vector<float> m_cells;  // sums along each row up to and with each cell
    std::vector<double> m_rows;  // sums of rows up to and with each
    std::uint64_t m_fingerprint = 0;
};

}  // namespace particles
