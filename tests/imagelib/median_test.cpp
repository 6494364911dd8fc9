// The median against a slow reference that sorts every window, and its edge cases.
#include "imagelib/imagelib_median.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float ENDLESS = std::numeric_limits<float>::infinity();

float at(const K7Image* image, int x, int y, int c) { return image_row<float>(image, y)[4 * x + c]; }

ImagePtr picture(int width, int height, const std::function<float(int x, int y, int c)>& sample) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) image_row<float>(image.get(), y)[4 * x + c] = sample(x, y, c);
    return image;
}

// A soft picture under grain, in levels of 12 bits: many bins hold one value, some hold none.
ImagePtr grainy(int width, int height, unsigned seed = 1) {
    const ImagePtr noise = noise_image(width, height, 4, SAMPLE_F32, seed);
    return picture(width, height, [&](int x, int y, int c) {
        const float soft = 0.5f + 0.3f * float(std::sin(0.11 * x + c) * std::cos(0.07 * y));
        return std::floor((soft + 0.3f * (at(noise.get(), x, y, c) - 0.5f)) * 4096) / 4096;
    });
}

using Radii = std::vector<MedianRadii>;  // of each channel

ImagePtr medians(const K7Image* source, const Radii& radii) {
    ImagePtr result(image_clone_layout(source));
    image_fill(result.get(), -7);
    EXPECT_TRUE(image_window_median(source, result.get(), radii.data()));
    return result;
}
ImagePtr medians(const K7Image* source, int x, int y) { return medians(source, Radii(4, {x, y})); }

// ---- The reference --------------------------------------------------------------------------------------------

struct Expected {
    double mean;
    bool single;  // the bin holds one value
};

class Reference {
  public:
    Reference(const K7Image* source, int channel) : m_source(source), m_channel(channel) {
        m_min = m_max = at(source, 0, 0, channel);
        for (int y = 0; y < source->height; ++y)
            for (int x = 0; x < source->width; ++x) {
                m_min = std::min(m_min, at(source, x, y, channel));
                m_max = std::max(m_max, at(source, x, y, channel));
            }
        const float step = (m_max - m_min) / 4095.0f;
        m_scale = step <= 0.00001f ? 0.0f : 1.0f / step;
    }
    Expected operator()(int x, int y, int rx, int ry) const {
        std::vector<float> window;
        for (int j = std::max(y - ry, 0); j <= std::min(y + ry, m_source->height - 1); ++j)
            for (int i = std::max(x - rx, 0); i <= std::min(x + rx, m_source->width - 1); ++i)
                window.push_back(at(m_source, i, j, m_channel));
        const auto middle = window.begin() + long(window.size() / 2);  // bins never fall as samples rise
        std::nth_element(window.begin(), middle, window.end());
        const int median = bin(*middle);
        long double sum = 0;
        int count = 0;
        float low = *middle, high = *middle;
        for (const float sample : window) {
            if (bin(sample) != median) continue;
            sum += sample, ++count;
            low = std::min(low, sample), high = std::max(high, sample);
        }
        return {double(sum / count), low == high};
    }

  private:
    int bin(float sample) const { return std::min(int((sample - m_min) * m_scale), 4095); }
    const K7Image* m_source;
    int m_channel;
    float m_min, m_max, m_scale;
};

// Exactly where the bin holds one value, within a rounding of the exact mean elsewhere; every `stride`th pixel.
void expectMedians(const K7Image* source, const K7Image* result, int c, int rx, int ry, int stride = 1) {
    const Reference reference(source, c);
    int wrong = 0;
    for (int i = 0; i < source->width * source->height; i += stride) {
        const int x = i % source->width, y = i / source->width;
        const Expected expected = reference(x, y, rx, ry);
        const float rounded = float(expected.mean), found = at(result, x, y, c);
        const bool right =
            expected.single ? found == rounded
                            : found >= std::nextafter(rounded, -ENDLESS) && found <= std::nextafter(rounded, ENDLESS);
        if (!right && ++wrong < 4)
            ADD_FAILURE() << "channel " << c << " at " << x << ", " << y << ", radii " << rx << ", " << ry << ": "
                          << found << " for " << expected.mean;
    }
    EXPECT_EQ(wrong, 0);
}

struct LevelLimit {
    explicit LevelLimit(CpuLevel level) { set_cpu_level_limit(level); }
    ~LevelLimit() { set_cpu_level_limit(CpuLevel::avx512); }
};

// ---- Medians --------------------------------------------------------------------------------------------------

// Few columns of many rows, many of few, windows that the picture cuts: no method may take a shape that is not its own.
TEST(Median, WindowsOfEveryShape) {
    const RowThreads threads(2);
    Radii shapes;
    for (int rx = 1; rx <= 80; ++rx)
        for (int ry = 1; ry <= 80; ++ry)
            if (rx == ry || (2 * rx + 1) * (2 * ry + 1) < 140 || (rx * 31 + ry * 17) % 97 == 0)
                shapes.push_back({rx, ry});
    while (shapes.size() % 4) shapes.push_back({1, 19});
    const ImagePtr source = grainy(71, 74);
    for (std::size_t i = 0; i < shapes.size(); i += 4) {
        const Radii radii(shapes.begin() + long(i), shapes.begin() + long(i) + 4);
        const ImagePtr result = medians(source.get(), radii);
        for (std::size_t c = 0; c < 4; ++c)
            expectMedians(source.get(), result.get(), int(c), radii[c].x, radii[c].y, 23);
    }
    for (int r = 1; r < 6; ++r) {
        const ImagePtr result = medians(source.get(), r, r);
        for (int c = 0; c < 4; ++c) expectMedians(source.get(), result.get(), c, r, r);
    }
}

// Each channel its own way: by histograms, as a mean, filled, and by sorted columns.
TEST(Median, ChannelsThatNeedDifferentMethods) {
    const ImagePtr noise = grainy(300, 80);
    const ImagePtr source = picture(300, 80, [&](int x, int y, int c) {
        const float sample = at(noise.get(), x, y, c);
        return c == 1 ? 0.5f + 0.03f * sample : c == 2 ? 0.25f : sample;
    });
    const Radii radii = {{12, 9}, {7, 4}, {3, 3}, {2, 2}};
    ImagePtr first;
    for (const int count : {1, 5}) {
        const RowThreads threads(count);
        const ImagePtr result = medians(source.get(), radii);
        if (first) {
            EXPECT_TRUE(same_pixels(first.get(), result.get()));
        }
        first.reset(image_duplicate(result.get()));
        for (std::size_t c = 0; c < 4; ++c)
            expectMedians(source.get(), result.get(), int(c), radii[c].x, radii[c].y, 31);
    }
}

TEST(Median, PicturesOfEverySizeAndAcrossStrips) {
    for (const auto& [width, height] :
         {std::pair{1, 1}, {1, 40}, {40, 1}, {2, 3}, {15, 4}, {31, 5}, {33, 7}, {65, 2}}) {
        const ImagePtr source = grainy(width, height);
        for (const int r : {1, 2, 3, 5, 17, 80}) {
            const ImagePtr result = medians(source.get(), r, r);
            for (int c = 0; c < 4; ++c) expectMedians(source.get(), result.get(), c, r, r);
        }
    }
    const ImagePtr wide = grainy(700, 90);
    for (const auto& [rx, ry] : {std::pair{2, 2}, {6, 5}, {80, 9}}) {
        const ImagePtr result = medians(wide.get(), rx, ry);
        for (int c = 0; c < 4; ++c) expectMedians(wide.get(), result.get(), c, rx, ry, 53);
    }
}

TEST(Median, AllThreadsAndProcessorsGiveTheSameBits) {
    // Full-precision noise: a sum in another order would round differently.
    const ImagePtr source = noise_image(533, 70, 4, SAMPLE_F32, 5, 0.0f, 3.0f);
    image_row<float>(source.get(), 9)[44] = 65504.0f;  // and bins that hold many samples
    for (const auto& [rx, ry] : {std::pair{1, 1}, {2, 2}, {4, 3}, {9, 9}, {50, 20}}) {
        ImagePtr first;
        for (const CpuLevel level : {CpuLevel::avx512, CpuLevel::avx2, CpuLevel::baseline})
            for (const int count : {1, 2, 7}) {
                const LevelLimit limit(level);
                const RowThreads threads(count);
                ImagePtr result = medians(source.get(), rx, ry);
                if (first) {
                    EXPECT_TRUE(same_pixels(first.get(), result.get()))
                        << rx << " level " << int(level) << ", " << count;
                } else {
                    first = std::move(result);
                }
            }
        expectMedians(source.get(), first.get(), 0, rx, ry, 211);
    }
}

// ---- Pictures with an answer ----------------------------------------------------------------------------------

TEST(Median, FlatPicturesAndEdgesStayAndDotsVanish) {
    const ImagePtr flat = picture(60, 30, [](int, int, int c) { return 0.1f + 0.2f * float(c); });
    const ImagePtr edge = picture(60, 30, [](int x, int, int) { return x < 23 ? 0.3f : 0.7f; });
    const ImagePtr dot = picture(60, 30, [](int x, int y, int) { return x == 20 && y == 11 ? 9.0f : 0.1f; });
    const ImagePtr gone = picture(60, 30, [](int, int, int) { return 0.1f; });
    for (const int r : {1, 2, 5, 9, 40}) {
        EXPECT_TRUE(same_pixels(flat.get(), medians(flat.get(), r, r).get())) << r;
        EXPECT_TRUE(same_pixels(gone.get(), medians(dot.get(), r, r).get())) << r;
        if (r < 20) {
            EXPECT_TRUE(same_pixels(edge.get(), medians(edge.get(), r, r).get())) << r;
        }
    }
}

TEST(Median, EvenCountsTakeTheUpperMedian) {
    const ImagePtr pair = picture(2, 1, [](int x, int, int) { return x ? 1.0f : 0.0f; });
    for (const int r : {1, 40}) {
        const ImagePtr result = medians(pair.get(), r, r);
        EXPECT_EQ(at(result.get(), 0, 0, 0), 1.0f);
        EXPECT_EQ(at(result.get(), 1, 0, 3), 1.0f);
    }
}

// A channel whose contrast is too low for bins becomes the mean of the window.
TEST(Median, LittleContrastIsOneBin) {
    const ImagePtr noise = noise_image(90, 40, 4, SAMPLE_F32, 3, 0.5f, 0.54f);
    for (const auto& [rx, ry] : {std::pair{1, 1}, {3, 6}, {80, 80}}) {
        const ImagePtr result = medians(noise.get(), rx, ry);
        for (int c = 0; c < 4; ++c) expectMedians(noise.get(), result.get(), c, rx, ry, 7);
    }
}

TEST(Median, WhatIsNotANumberCountsAsTheSmallestSample) {
    const ImagePtr source = grainy(80, 40);
    const ImagePtr hurt(image_duplicate(source.get())), healed(image_duplicate(source.get()));
    float low = ENDLESS;
    for (int i = 0; i < 80 * 40; ++i) low = std::min(low, image_row<float>(source.get(), 0)[4 * i]);
    for (int i = 3; i < 80 * 40; i += 17) {
        image_row<float>(hurt.get(), 0)[4 * i] = NOT_A_NUMBER;
        image_row<float>(healed.get(), 0)[4 * i] = low;
    }
    for (const int r : {1, 2, 12})
        EXPECT_TRUE(same_pixels(medians(healed.get(), r, r).get(), medians(hurt.get(), r, r).get())) << r;
}

TEST(Median, HostileSamplesAndRadiiGiveFinitePictures) {
    const float hostile[] = {NOT_A_NUMBER, ENDLESS, -ENDLESS, 3e38f, -3e38f, 1e-45f, 0.0f, -1.0f};
    for (const int used : {1, 3, 8}) {
        const ImagePtr source =
            picture(40, 20, [&](int x, int y, int c) { return hostile[(x * 7 + y * 3 + c) % used]; });
        for (const int r : {-2147483647, 1, 2, 9, 2147483647}) {
            const ImagePtr result = medians(source.get(), r, r);
            for (int i = 0; i < 4 * 40 * 20; ++i) ASSERT_TRUE(std::isfinite(image_row<float>(result.get(), 0)[i]));
        }
    }
}

TEST(Median, RefusesWhatItCannotFilterAndEndsWhenAsked) {
    const ImagePtr source = grainy(40, 30), narrow = grainy(39, 30), single = make_image(40, 30, 1, SAMPLE_F32);
    const ImagePtr result(image_clone_layout(source.get()));
    const Radii radii(4, {2, 2});
    EXPECT_FALSE(image_window_median(nullptr, result.get(), radii.data()));
    EXPECT_FALSE(image_window_median(narrow.get(), result.get(), radii.data()));
    EXPECT_FALSE(image_window_median(single.get(), single.get(), radii.data()));
    EXPECT_FALSE(image_window_median(source.get(), source.get(), radii.data()));
    EXPECT_FALSE(image_window_median(source.get(), result.get(), radii.data(), [] { return true; }));
    EXPECT_EQ(at(result.get(), 3, 3, 3), 0.0f);
}

}  // namespace
