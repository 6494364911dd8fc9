// What the samplers of this folder share: edge rules, weight indices and stores of single samples.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "imagelib/imagelib_resample.h"
#include "imagelib/sample_formulas.h"

namespace resample {

// The table entry for a distance in pixels of the table's own scale.
inline int weight_index(double distance, int radius) {
    const double entry = std::fabs(distance) * TABLE_SCALE;
    const int last = TABLE_SCALE * radius;
    return entry < last ? static_cast<int>(entry) : last;
}

// A float as a sample: integers limited to their range and truncated, NaN as 0.
template <class T>
T store_sample(float v) {
    if constexpr (std::is_floating_point_v<T>) {
        return v;
    } else {
        constexpr float full = static_cast<float>(std::numeric_limits<T>::max());
        if (!(v > 0)) return 0;
        return v >= full ? std::numeric_limits<T>::max() : static_cast<T>(v);
    }
}

inline bool usable(const ImagelibKernel* kernel) { return kernel && kernel->valid; }
inline bool has_pixels(const K7Image* image) { return image && image->pixels && image->sample_type <= SAMPLE_F32; }

// Calls `work` with a value of the image's sample type.
template <class Work>
auto with_sample_type(int sample_type, Work&& work) {
    switch (sample_type) {
        case SAMPLE_U8:
            return work(std::uint8_t{});
        case SAMPLE_U16:
            return work(std::uint16_t{});
        case SAMPLE_U32:
            return work(std::uint32_t{});
        default:
            return work(float{});
    }
}

}  // namespace resample
