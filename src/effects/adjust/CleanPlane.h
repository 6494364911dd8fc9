// The median of one channel, in bands that any thread may take.
#pragma once

#include <memory>
#include <vector>

#include "effects/adjust/Clean_simd.h"
#include "imagelib/imagelib.h"
#include "k7pi_baselib/k7pi_baselib.h"

// Smallest and largest sample of a channel; no sample at all is min above max.
CleanBins clean_bins(float min, float max);

// A thread's memory, and a quarter of it for each channel.
class CleanScratch {
  public:
    bool allocate(std::size_t bytes);  // false: no memory
    unsigned char* part(std::size_t k) const { return m_block.get() + k * m_part; }

  private:
    struct Deleter {
        void operator()(unsigned char* block) const { k7_aligned_free(block, true); }
    };
    std::unique_ptr<unsigned char[], Deleter> m_block;
    std::size_t m_part = 0;
};

struct RowRing;
struct BandMemory;

class CleanPlane {
  public:
    CleanPlane(const K7Image& source, K7Image& result, int channel, int radius_x, int radius_y, const CleanBins& bins);

    bool isLarge() const { return m_method == Method::Large; }
    std::size_t scratchBytes() const;

    // Bands of rows, of channels with large windows one by one and of all others together: while their pixels are near.
    static int bands(int rows, bool large);
    void runBand(int band, const CleanScratch& scratch) const;
    static void runBand(const std::vector<const CleanPlane*>& planes, int band, const CleanScratch& scratch);

  private:
    enum class Method { Fill, Mean, Small, Large };
    struct Columns {
        int first, count;
    };

    // The medians of a strip of columns, row after row.
    void begin(int first, Columns strip, unsigned char* memory) const;
    void next(int y, bool is_first, Columns strip, unsigned char* memory, float* out) const;

    void beginMean(int first, Columns strip, unsigned char* memory) const;
    void nextMean(int y, bool is_first, Columns strip, unsigned char* memory, float* out) const;
    void addRow(int y, double sign, Columns strip, double* sums) const;
    void beginSmall(int first, Columns strip, unsigned char* memory) const;
    void nextSmall(int y, Columns strip, unsigned char* memory, float* out) const;
    void enterRow(int y, Columns strip, const RowRing& ring) const;
    void large(int first, int last, const CleanScratch& scratch) const;
    void turn(int first_row, const BandMemory& memory) const;

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
    CleanBins m_bins;
    Method m_method;
};
