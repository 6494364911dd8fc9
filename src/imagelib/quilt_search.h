// Private to quilting: finds the place of the sample whose patch goes best with what is there.
#pragma once

#include <vector>

#include "imagelib/quilt_sample.h"
#include "imagelib/quilt_simd.h"

struct QuiltBlock {
    int i, j;           // in the grid
    int x, y;           // lower left pixel in the canvas; may lie outside
    int ring = 0;       // how many patches from what was there before
    QuiltPlace chance;  // where it comes from when there is nothing to match
};

// Work memory for one thread.
class QuiltSearch {
  public:
    // `places`: how many places of the sample, about, are compared for one patch.
    QuiltSearch(const QuiltTask& task, const QuiltShape& shape, const QuiltSample& sample, int places);
    QuiltPlace find(const QuiltBlock& block);

  private:
    struct Candidate {
        float cost;
        QuiltPlace place;
    };
    struct Point {
        int x, y;
        simd::Pixel colour;
    };
    bool known(int x, int y) const;  // in the canvas, and made
    void gather_points(const QuiltBlock& block);
    void gather_cells(const QuiltBlock& block);
    void gather_guide(const QuiltBlock& block);
    void scan(std::uint32_t hash);
    void scan_row(int variant, int row);
    void list_lattice(const QuiltBlock& block, std::uint32_t hash);
    void guess(const QuiltBlock& block, std::uint32_t hash);
    void keep_best();
    float cost_of(const QuiltPlace& place, float limit) const;
    float guide_cost(const QuiltPlace& place) const;
    void refine(Candidate& best, const QuiltPlace& middle, int reach, int step) const;

    const QuiltTask& m_task;
    const QuiltShape& m_shape;
    const QuiltSample& m_sample;
    const int m_places;
    std::vector<Point> m_points;
    std::vector<QuiltPoint> m_cells, m_guide;
    std::vector<float> m_costs, m_guide_costs;
    std::vector<Candidate> m_candidates;
};

// Places at the lattice's step from the block's own, in the order of the lattice.
void quilt_lattice_places(const QuiltTask& task, const QuiltShape& shape, const QuiltSample& sample,
                          const QuiltBlock& block, std::uint32_t hash, std::vector<QuiltPlace>& places);
