// Single samples and the range of all samples.
#include <algorithm>
#include <cmath>
#include <mutex>

#include "imagelib/samples.h"

namespace {

// NaN samples take no part.
template <class T>
void extend_range(const T* samples, std::size_t count, T& low, T& high) {
    for (std::size_t i = 0; i < count; ++i) {
        low = samples[i] < low ? samples[i] : low;
        high = samples[i] > high ? samples[i] : high;
    }
}

template <class T>
T lowest_of() {
    return is_integer_sample<T> ? T(0) : T(-std::numeric_limits<float>::infinity());
}
template <class T>
T highest_of() {
    return is_integer_sample<T> ? std::numeric_limits<T>::max() : T(std::numeric_limits<float>::infinity());
}

template <class T>
void compute_range(K7Image* image) {
    std::mutex merge;
    T low = highest_of<T>(), high = lowest_of<T>();
    const std::size_t row_samples = std::size_t(image->width) * image->channels;
    for_rows(image->height, [&](int first, int last) {
        if (first > last) return;
        T part_low = highest_of<T>(), part_high = lowest_of<T>();
        for (int y = first; y <= last; ++y) extend_range(image_row<T>(image, y), row_samples, part_low, part_high);
        std::lock_guard lock(merge);
        low = std::min(low, part_low);
        high = std::max(high, part_high);
    });
    if (low > high) low = high = T(0);  // nothing but NaN
    // The sum turns a negative zero, which compares equal to zero, into the positive one.
    image->min_value = static_cast<float>(low) + 0.0f;
    image->max_value = static_cast<float>(high) + 0.0f;
    image->stats_valid = 1;
}

// Float is the type of the arithmetic: integer samples need double for their top value to come out exactly.
template <class T, class Float>
void map_range(K7Image* image, Float from, Float from_span, Float to, Float to_span) {
    const std::size_t row_samples = std::size_t(image->width) * image->channels;
    for_rows(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            T* samples = image_row<T>(image, y);
            for (std::size_t i = 0; i < row_samples; ++i) {
                const Float value = (static_cast<Float>(samples[i]) - from) * to_span / from_span + to;
                samples[i] = truncate_sample<T>(value);
            }
        }
    });
}

}  // namespace

float image_get_sample(const K7Image* image, int x, int y, int channel) {
    if (!is_valid(image) || x < 0 || y < 0 || x >= image->width || y >= image->height) return 0.0f;
    if (channel < 0 || channel >= image->channels) return 0.0f;
    float value = 0.0f;
    visit_sample_type(image->sample_type, [&](auto sample) {
        value = static_cast<float>(image_row<decltype(sample)>(image, y)[std::size_t(x) * image->channels + channel]);
    });
    return value;
}

bool image_compute_minmax(K7Image* image) {
    if (!is_valid(image)) return false;
    return visit_sample_type(image->sample_type, [&](auto sample) { compute_range<decltype(sample)>(image); });
}

bool image_normalize_range(K7Image* image, float low, float high) {
    if (std::isnan(low) || std::isnan(high) || !image_compute_minmax(image)) return false;
    const float full = image_full_value(image->sample_type);
    low = std::clamp(low, 0.0f, full);
    high = std::clamp(high, 0.0f, full);
    if (low > high) std::swap(low, high);
    const float from = image->min_value, from_span = image->max_value - from, to_span = high - low;
    if (from_span < 0.000001f || to_span < 0.000001f || !std::isfinite(from_span)) return true;
    visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        using Float = std::conditional_t<is_integer_sample<T>, double, float>;
        map_range<T, Float>(image, from, from_span, low, to_span);
    });
    image->stats_valid = 0;
    return true;
}
