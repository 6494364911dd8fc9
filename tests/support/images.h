// Images for tests: seeded noise, and comparison bit by bit.
#pragma once

#include <cstring>
#include <random>

#include "imagelib/imagelib.h"

// Samples over the whole range of an integer type, floats from low to high.
inline ImagePtr noise_image(int width, int height, int channels, int sample_type, unsigned seed = 1, float low = 0.0f,
                            float high = 1.0f) {
    ImagePtr image = make_image(width, height, channels, sample_type);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y) {
        if (sample_type == SAMPLE_F32) {
            float* row = image_row<float>(image.get(), y);
            for (int i = 0; i < width * channels; ++i)
                row[i] = low + (high - low) * (static_cast<float>(random() >> 8) * 0x1p-24f);
        } else {
            auto* row = image_row<std::uint8_t>(image.get(), y);
            for (std::uint32_t i = 0; i < image->row_bytes; ++i) row[i] = static_cast<std::uint8_t>(random() >> 24);
        }
    }
    return image;
}

inline bool same_pixels(const K7Image* a, const K7Image* b) {
    return image_same_layout(a, b) && std::memcmp(a->pixels, b->pixels, std::size_t(a->row_bytes) * a->height) == 0;
}
