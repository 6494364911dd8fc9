// Samples brought into a range.
#include <algorithm>
#include <cmath>
#include <limits>

#include "imagelib/imagelib_range.h"
#include "imagelib/samples.h"

namespace {

// Doubles hold the top of 32-bit samples, floats do not.
template <class T>
using Exact = std::conditional_t<is_integer_sample<T>, double, float>;

template <class T>
constexpr Exact<T> exact_full() {
    return is_integer_sample<T> ? static_cast<Exact<T>>(std::numeric_limits<T>::max()) : Exact<T>(1);
}

// Replaces every sample by change(sample), for samples of type T.
template <class T, class Change>
void change_samples(K7Image* image, Change change) {
    const std::size_t row_samples = std::size_t(image->width) * image->channels;
    for_rows(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            T* const samples = image_row<T>(image, y);
            for (std::size_t i = 0; i < row_samples; ++i) samples[i] = change(samples[i]);
        }
    });
    image->stats_valid = 0;
}

}  // namespace

bool image_threshold(K7Image* image, float level, bool invert) {
    if (!is_valid(image) || std::isnan(level)) return false;
    level = std::clamp(level, 0.0f, 1.0f);
    return visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        const T full = static_cast<T>(exact_full<T>());
        const T limit = is_integer_sample<T> ? truncate_sample<T>(level * exact_full<T>() + Exact<T>(0.5)) : T(level);
        const T above = invert ? T(0) : full, below = invert ? full : T(0);
        change_samples<T>(image, [=](T value) { return value >= limit ? above : below; });
    });
}

bool image_clamp_range(K7Image* image, float low, float high) {
    if (!is_valid(image) || std::isnan(low) || std::isnan(high)) return false;
    if (low > high) std::swap(low, high);
    return visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        const T least = truncate_sample<T>(std::clamp<Exact<T>>(low, 0, exact_full<T>()));
        const T most = truncate_sample<T>(std::clamp<Exact<T>>(high, 0, exact_full<T>()));
        // In this order a NaN becomes the lower limit.
        change_samples<T>(image, [=](T value) {
            const T raised = value > least ? value : least;
            return raised < most ? raised : most;
        });
    });
}

bool image_normalize_full(K7Image* image, bool keep_zero) {
    if (!is_valid(image)) return false;
    if (!keep_zero) return image_normalize_range(image, 0.0f, image_full_value(image->sample_type));
    if (!image_compute_minmax(image)) return false;
    const float most = image->max_value;
    if (!(most >= 0.000001f) || !std::isfinite(most)) return true;
    return visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        Exact<T> span = most;
        if (is_integer_sample<T>) span = std::min(span, exact_full<T>());  // white of 32 bits is not a float
        change_samples<T>(
            image, [=](T value) { return truncate_sample<T>(static_cast<Exact<T>>(value) * exact_full<T>() / span); });
    });
}
