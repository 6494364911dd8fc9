// Running sums of frames, float RGBA, in double precision: the sum of a hundred frames is exact as far as their samples
// lie within six decades of each other, so that a frame can be taken out again without a residue.
// A sample that is not finite counts as 0: it could never be taken out.
#pragma once

#include <memory>

#include "imagelib/imagelib.h"
#include "k7pi_baselib/k7pi_baselib.h"

enum class TrailKind {
    Together,  // one number of frames for all channels
    Apart,     // one for each of red, green and blue; alpha is summed over each of the three, and the averages add up
};

// How many frames a sum holds, or how often a frame goes in: for red, green and blue. Together: the first counts.
struct TrailLengths {
    int red, green, blue;
    bool operator==(const TrailLengths&) const = default;
};

class TrailSums {
  public:
    void begin(const K7Image& layout, TrailKind kind);  // all sums 0
    void end() { m_sums.reset(); }                      // frees the memory
    void add(const K7Image& frame, const TrailLengths& times);
    // Takes the oldest frames out, of red, green and blue, and puts the newest in; gives the averages.
    void step(const K7Image* const (&oldest)[3], const K7Image& newest, const TrailLengths& lengths, K7Image& average);
    void average(const TrailLengths& lengths, K7Image& average) const;

  private:
    struct Deleter {
        void operator()(double* sums) const { k7_aligned_free(sums, true); }
    };
    double* row(int y) const { return m_sums.get() + std::size_t(y) * m_pitch; }

    TrailKind m_kind = TrailKind::Together;
    int m_width = 0, m_height = 0;
    std::size_t m_pitch = 0;                    // doubles a row
    std::unique_ptr<double[], Deleter> m_sums;  // RGBA, or red, green, blue and the three alphas
};
