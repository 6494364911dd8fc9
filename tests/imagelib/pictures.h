// Pictures by formula, noise and comparisons for the tests of the image library.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "support/same_bits.h"

inline constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
inline constexpr float ENDLESS = std::numeric_limits<float>::infinity();
inline constexpr int SAMPLE_TYPES[] = {SAMPLE_U8, SAMPLE_U16, SAMPLE_U32, SAMPLE_F32};

// A sample of a float image.
inline float& at(K7Image* image, int x, int y, int c) {
    return image_row<float>(image, y)[std::ptrdiff_t(x) * image->channels + c];
}
inline float at(const K7Image* image, int x, int y, int c) {
    return image_row<float>(image, y)[std::ptrdiff_t(x) * image->channels + c];
}
inline float& at(const ImagePtr& image, int x, int y, int c) { return at(image.get(), x, y, c); }

// Floats of sample(x, y, channel).
template <class Sample>
ImagePtr picture(int width, int height, Sample sample, int channels = 4) {
    ImagePtr image = make_image(width, height, channels, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) at(image, x, y, c) = static_cast<float>(sample(x, y, c));
    return image;
}

inline ImagePtr float_noise(int width, int height, unsigned seed = 1, float low = -0.25f, float high = 1.25f) {
    return noise_image(width, height, 4, SAMPLE_F32, seed, low, high);
}
inline ImagePtr copy_of(const ImagePtr& image) { return ImagePtr(image_duplicate(image.get())); }
inline ImagePtr same_size(const ImagePtr& image) { return ImagePtr(image_clone_layout(image.get())); }

inline bool same_pixels(const ImagePtr& a, const ImagePtr& b) { return same_pixels(a.get(), b.get()); }

// A sample of any type, exactly; `index` counts all samples of the image.
inline double sample_of(const K7Image* image, std::size_t index) {
    switch (image->sample_type) {
        case SAMPLE_U8:
            return static_cast<const std::uint8_t*>(image->pixels)[index];
        case SAMPLE_U16:
            return static_cast<const std::uint16_t*>(image->pixels)[index];
        case SAMPLE_U32:
            return static_cast<const std::uint32_t*>(image->pixels)[index];
        default:
            return static_cast<const float*>(image->pixels)[index];
    }
}
inline std::size_t sample_count(const K7Image* image) {
    return std::size_t(image->width) * image->height * image->channels;
}

// Of all samples; infinite for other layouts and for anything that is not a number.
inline double largest_difference(const ImagePtr& a, const ImagePtr& b) {
    if (!image_same_layout(a.get(), b.get())) return ENDLESS;
    double largest = 0;
    for (std::size_t i = 0; i < sample_count(a.get()); ++i) {
        const double d = std::fabs(sample_of(a.get(), i) - sample_of(b.get(), i));
        if (!(d <= largest)) largest = std::isnan(d) ? ENDLESS : d;
    }
    return largest;
}
