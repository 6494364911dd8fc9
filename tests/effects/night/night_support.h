// What the tests of the night looks share: pictures, and every way in which a look can be rendered.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

inline float at(const K7Image& image, int x, int y, int c) { return image_row<float>(&image, y)[4 * x + c]; }

inline double luminance(const K7Image& image, int x, int y) {
    return 0.3f * at(image, x, y, 0) + 0.5f * at(image, x, y, 1) + 0.2f * at(image, x, y, 2);
}

inline float limited(float v) { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }

// Largest difference of two float pictures; infinite where only one is not a number.
inline double difference(const K7Image& a, const K7Image& b) {
    double worst = 0;
    for (int y = 0; y < a.height; ++y)
        for (int i = 0; i < a.width * a.channels; ++i) {
            const double d = std::fabs(double(image_row<float>(&a, y)[i]) - double(image_row<float>(&b, y)[i]));
            worst = d <= worst ? worst : (d > worst ? d : INFINITY);
        }
    return worst;
}

// Runs `render`, which leaves its picture in `result`, with several numbers of threads and on every set of vector
// instructions: all must give the same bits. The last picture stays in `result`.
template <class Render>
void expect_same_bits_everywhere(K7Image& result, Render&& render) {
    ImagePtr first;
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        for (const int threads : {1, 2, 7}) {
            const RowThreads rows(threads);
            image_fill(&result, -7.0f);
            render();
            if (!first) first.reset(image_duplicate(&result));
            EXPECT_TRUE(same_pixels(first.get(), &result)) << "level " << int(level) << ", " << threads << " threads";
        }
    }
    set_cpu_level_limit(CpuLevel::avx512);
}
