// Private to quilting: what patches are cut from, as it is and reduced for the search.
#pragma once

#include <vector>

#include "imagelib/imagelib_quilt.h"
#include "simdlib/vectors.h"

struct QuiltPlace {
    int variant, x, y;  // lower left pixel of a patch
};

// Sizes that all parts of the method share.
struct QuiltShape {
    int width, height;            // of a patch
    int overlap_x, overlap_y;     // of neighbours
    int factor;                   // pixels to a side of the cells that the search compares
    int cell_width, cell_height;  // of a patch, in such cells
    int box;                      // cells to a side over which luminance is compared with the guide

    explicit QuiltShape(const QuiltTask& task);
};

// The sample, or its mirror image.
struct QuiltVariant {
    ImagePtr picture;
    std::vector<float> planes[3];  // means over the cells
    std::vector<float> luminance;  // mean over a box of cells from each one on
};

struct QuiltSample {
    std::vector<QuiltVariant> variants;
    int width = 0, height = 0;
    int columns = 0, rows = 0;  // of cells; a plane's rows lie `columns` floats apart

    // False without memory.
    bool make(const QuiltTask& task, const QuiltShape& shape);
    bool usable(const QuiltShape& shape, const QuiltPlace& place) const;
    // Places all over the sample for a patch, where not every place is one.
    std::vector<QuiltPlace> known_usable;
    bool has_blocked() const { return !m_blocked.empty(); }
    bool has_room(const QuiltTask& task, const QuiltShape& shape);

  private:
    void count_blocked(const QuiltTask& task);
    std::vector<int> m_blocked;  // pixels that can't be used, summed up from the lower left
};

// Colours as they are compared.
inline simd::Pixel quilt_colour(const float* rgba) {
    using namespace simd;
    const Pixel v = limited(load<Pixel>(rgba), Pixel{}, all<Pixel>(2.0F));
    return v * Pixel{1, 1, 1, 0};
}
inline float quilt_luminance(const simd::Pixel& colour) {
    return 0.3F * colour[0] + 0.5F * colour[1] + 0.2F * colour[2];
}

inline std::uint32_t quilt_hash(std::uint32_t a, std::uint32_t b) {
    std::uint32_t h = a * 0x9e3779b1U ^ (b + 0x7f4a7c15U) * 0x85ebca6bU;
    h ^= h >> 15, h *= 0x2c1b3c6dU;
    h ^= h >> 12, h *= 0x297a2d39U;
    return h ^ h >> 15;
}
// One of [0, count).
inline int quilt_pick(std::uint32_t hash, int count) {
    return static_cast<int>(std::uint64_t{hash} * static_cast<std::uint64_t>(count) >> 32);
}
