// The median of one channel, in tasks that any thread may take.
#pragma once

#include <memory>

#include "effects/CleanKernels.h"
#include "k7pi_baselib/k7pi_baselib.h"

// Smallest and largest sample of a channel; no sample at all is min above max.
CleanBins clean_bins(float min, float max);

// A thread's memory.
class CleanScratch {
  public:
    bool allocate(std::size_t bytes);  // false: no memory
    unsigned char* block() const { return m_block.get(); }

  private:
    struct Deleter {
        void operator()(unsigned char* block) const { k7_aligned_free(block, true); }
    };
    std::unique_ptr<unsigned char[], Deleter> m_block;
};

struct BandMemory;

class CleanPlane {
  public:
    CleanPlane(const float* source, float* result, int width, int height, int radius_x, int radius_y,
               const CleanBins& bins);

    int tasks() const { return m_tasks; }
    std::size_t scratchBytes() const;
    void run(int task, const CleanScratch& scratch) const;

  private:
    enum class Method { Fill, Mean, Small, Large };

    void fill(int first, int last) const;
    void mean(int first, int last, const CleanScratch& scratch) const;
    void small(int first, int last, const CleanScratch& scratch) const;
    void smallStrip(int first, int last, int first_column, int columns, const CleanScratch& scratch) const;
    void large(int first, int last, const CleanScratch& scratch) const;
    void turn(int first_row, const BandMemory& memory) const;
    int bandRows() const;
    const float* row(int y) const { return m_source + std::size_t(y) * std::size_t(m_width); }
    float* resultRow(int y) const { return m_result + std::size_t(y) * std::size_t(m_width); }

    const float* m_source;
    float* m_result;
    int m_width, m_height, m_radius_x, m_radius_y;
    CleanBins m_bins;
    Method m_method;
    int m_tasks;
};
