// Fills: whole images and single channels.
#include <algorithm>
#include <cstring>

#include "imagelib/samples.h"

bool image_clear(K7Image* image) {
    if (!is_valid(image)) return false;
    for_buffer_rows(image, [&](int first, int last) {
        if (first > last) return;
        std::memset(image_row<std::byte>(image, first), 0, std::size_t(last - first + 1) * image->row_bytes);
    });
    image->stats_valid = 0;
    return true;
}

bool image_fill(K7Image* image, float value) {
    if (!is_valid(image)) return false;
    return visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        const T level = truncate_sample<T>(value);
        const std::size_t row_samples = std::size_t(image->width) * image->channels;
        for_buffer_rows(image, [&](int first, int last) {
            if (first > last) return;
            std::fill_n(image_row<T>(image, first), std::size_t(last - first + 1) * row_samples, level);
        });
        image->stats_valid = 0;
    });
}

bool image_fill_level(K7Image* image, float level) {
    if (!image) return false;
    const float limited = level > 0.0f ? std::min(level, 1.0f) : 0.0f;  // NaN is 0
    return image_fill(image, limited * image_full_value(image->sample_type));
}

bool image_fill_channel(K7Image* image, float value, int channel) {
    if (!is_valid(image)) return false;
    const int index = std::clamp<int>(channel, 0, image->channels - 1);
    return visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        const T level = truncate_sample<T>(value);
        for_buffer_rows(image, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                T* samples = image_row<T>(image, y) + index;
                for (int x = 0; x < image->width; ++x) samples[std::size_t(x) * image->channels] = level;
            }
        });
        image->stats_valid = 0;
    });
}

bool image_fill_channels(K7Image* image, const float* values, int count) {
    if (!is_valid(image) || !values || count < 0) return false;
    for (int c = 0; c < std::min<int>(count, image->channels); ++c) image_fill_channel(image, values[c], c);
    return true;
}
