// Private to the library: what a transform of one length needs, made once.
#pragma once

#include <vector>

#include "fftlib/fft_simd.h"

// Transforms blocks of 16 lines (fft_simd.h) of any length. Tables are worked out in double precision.
class FFTPlan {
  public:
    // Kept until the library is unloaded. 1 to 16384; null for other lengths, or without memory.
    static const FFTPlan* of(int length);

    int length() const { return m_length; }
    int block_points() const { return m_block; }  // that a block must have, the first `length` of them the lines
    const int* positions() const { return m_positions.data(); }  // of the frequencies 0, 1, ... in a transformed block
    const FFTRoot* quarter_turns() const { return m_quarter_turns.data(); }  // exp(-pi i k / 2 length)

    // From natural order to `positions`, and from there to natural order; in place, unnormalised. What stands behind
    // the first `length` points is lost.
    void to_frequencies(float* block, bool inverse) const;
    void from_frequencies(float* block, bool inverse) const;

  private:
    explicit FFTPlan(int length);
    static void release_all();
    void add_stage(int radix, int length);
    FFTStages stages() const { return {m_stages.data(), static_cast<int>(m_stages.size())}; }
    void prepare_convolution();
    void transform_by_convolution(float* real, float* imaginary) const;

    int m_length, m_block;
    std::vector<FFTStage> m_stages;
    std::vector<std::vector<FFTRoot>> m_tables;
    std::vector<int> m_positions;
    std::vector<FFTRoot> m_quarter_turns;
    // Lengths with a large prime factor: a convolution with a chirp (Bluestein 1970).
    const FFTPlan* m_convolution = nullptr;
    std::vector<FFTRoot> m_chirp, m_chirp_frequencies;
    const FFTPlan* m_next = nullptr;  // in the list of all plans
};

// The length not below n that is fastest among the products of 2, 3, 5 and 7 close above it.
int fft_fast_length(int n);
