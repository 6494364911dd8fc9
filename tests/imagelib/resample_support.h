// Pictures and comparisons for the tests of the samplers.
#pragma once

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "imagelib/imagelib_resample.h"

namespace resample_test {

// Integers over their whole range, floats from -0.2 to 1.2.
inline ImagePtr random_image(int width, int height, int channels, int sample_type, unsigned seed) {
    std::mt19937 random(seed);
    ImagePtr image = make_image(width, height, channels, sample_type);
    auto* bytes = static_cast<unsigned char*>(image->pixels);
    const int total = image_total_bytes(image.get());
    if (sample_type != SAMPLE_F32) {
        for (int i = 0; i < total; ++i) bytes[i] = static_cast<unsigned char>(random());
        return image;
    }
    auto* samples = static_cast<float*>(image->pixels);
    for (int i = 0; i < total / 4; ++i) samples[i] = float(random() >> 8) / 16777216.0f * 1.4f - 0.2f;
    return image;
}

// f(x, y, channel) at every sample.
template <class Function>
ImagePtr image_of(int width, int height, int channels, Function f) {
    ImagePtr image = make_image(width, height, channels, SAMPLE_F32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) image_row<float>(image.get(), y)[x * channels + c] = float(f(x, y, c));
        }
    }
    return image;
}

inline bool same_pixels(const K7Image* a, const K7Image* b) {
    return image_same_layout(a, b) && std::memcmp(a->pixels, b->pixels, image_total_bytes(a)) == 0;
}

// Infinite for other layouts and for anything that is not a number.
inline double largest_difference(const K7Image* a, const K7Image* b) {
    if (!image_same_layout(a, b)) return INFINITY;
    double largest = 0;
    for (int y = 0; y < a->height; ++y) {
        for (int x = 0; x < a->width; ++x) {
            for (int c = 0; c < a->channels; ++c) {
                const double d = std::fabs(double(image_get_sample(a, x, y, c)) - image_get_sample(b, x, y, c));
                if (!(d <= largest)) largest = std::isnan(d) ? INFINITY : d;
            }
        }
    }
    return largest;
}

}  // namespace resample_test
