// Private: the median of one channel, in bands of rows that any thread may take.
#pragma once

#include <vector>

#include "imagelib/aligned_block.h"
#include "imagelib/imagelib_median.h"
#include "imagelib/median_simd.h"

// The memory of one thread. Channels that are filtered together use a quarter each.
class MedianScratch {
  public:
    bool allocate(std::size_t bytes);  // false: no memory
    unsigned char* part(std::size_t k) const { return m_block.get() + k * m_part; }

  private:
    AlignedBlock<unsigned char, true> m_block;
    std::size_t m_part = 0;
};

class MedianChannel {
  public:
    MedianChannel(const K7Image& source, K7Image& result, int channel, MedianRadii radii, const MedianBins& bins);

    bool is_large() const { return m_method == Method::Large; }
    std::size_t scratch_bytes() const;

    // Channels with large windows run one by one, all others of a band together while its pixels are in the cache.
    static int bands(int rows, bool large);
    void run_band(int band, const MedianScratch& scratch) const;
    static void run_band(const std::vector<const MedianChannel*>& channels, int band, const MedianScratch& scratch);

  private:
    enum class Method { Fill, Mean, Small, Large };
    struct RowRing;
    struct BandMemory;
    struct Columns {
        int first, count;
    };

    // The medians of a strip of columns: begin() at a band's first row, then next() for each row.
    void begin(int first, Columns strip, unsigned char* memory) const;
    void next(int y, bool is_first, Columns strip, unsigned char* memory, float* out) const;

    void begin_mean(int first, Columns strip, unsigned char* memory) const;
    void next_mean(int y, bool is_first, Columns strip, unsigned char* memory, float* out) const;
    void add_row(int y, double sign, Columns strip, double* sums) const;
    void begin_small(int first, Columns strip, unsigned char* memory) const;
    void next_small(int y, Columns strip, unsigned char* memory, float* out) const;
    void enter_row(int y, Columns strip, const RowRing& ring) const;
    void large(int first, int last, const MedianScratch& scratch) const;
    void transpose(int first_row, const BandMemory& memory) const;

    // Every fourth sample is this channel's.
    const float* pixels(int x, int y) const {
        return m_source + 4 * (std::size_t(y) * std::size_t(m_width) + std::size_t(x));
    }
    float* result(int x, int y) const {
        return m_result + 4 * (std::size_t(y) * std::size_t(m_width) + std::size_t(x)) + m_channel;
    }

    const float* m_source;
    float* m_result;
    int m_channel, m_width, m_height, m_radius_x, m_radius_y;
    MedianBins m_bins;
    Method m_method;
};
