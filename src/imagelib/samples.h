// Private to the image library: code that is the same for all four sample types.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

#include "imagelib/imagelib.h"

// Calls visit(T{}) with the C++ type of the samples; false for an unknown type, else true.
template <class Visit>
bool visit_sample_type(int sample_type, Visit&& visit) {
    switch (sample_type) {
        case SAMPLE_U8:
            visit(std::uint8_t{});
            return true;
        case SAMPLE_U16:
            visit(std::uint16_t{});
            return true;
        case SAMPLE_U32:
            visit(std::uint32_t{});
            return true;
        case SAMPLE_F32:
            visit(float{});
            return true;
        default:
            return false;
    }
}

template <class T>
inline constexpr bool is_integer_sample = std::is_integral_v<T>;

// White as a float. For 32-bit samples that is 2^32, one above the largest sample.
template <class T>
inline constexpr float full_value = is_integer_sample<T> ? static_cast<float>(std::numeric_limits<T>::max()) : 1.0f;

// Limited to the sample's range and truncated; NaN is 0. Floats pass as they are.
template <class T, class Float>
T truncate_sample(Float value) {
    if constexpr (is_integer_sample<T>) {
        if (!(value > Float(0))) return 0;
        if (value >= static_cast<Float>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
        return static_cast<T>(value);
    } else {
        return static_cast<T>(value);
    }
}

inline bool is_valid(const K7Image* image) { return image && image->pixels; }
inline bool is_float_rgba(const K7Image* image) {
    return is_valid(image) && image->channels == 4 && image->sample_type == SAMPLE_F32;
}

// Below this many bytes whole-buffer copies and fills are not worth waking a thread.
inline constexpr std::size_t WHOLE_BUFFER_BYTES = std::size_t(1) << 20;

inline std::size_t buffer_bytes(const K7Image* image) { return std::size_t(image->row_bytes) * image->height; }

template <class Work>
void for_buffer_rows(const K7Image* image, Work&& work) {
    if (buffer_bytes(image) < WHOLE_BUFFER_BYTES)
        work(0, image->height - 1);
    else
        for_rows(image->height, work);
}

// Images of labels: one channel of 32 bits.
inline bool is_label_image(const K7Image* image) {
    return is_valid(image) && image->channels == 1 && image->sample_type == SAMPLE_U32;
}
inline bool is_label_image(const K7Image* image, int width, int height) {
    return is_label_image(image) && image->width == width && image->height == height;
}
// One channel of floats.
inline bool is_plane(const K7Image* image, int width, int height) {
    return is_valid(image) && image->channels == 1 && image->sample_type == SAMPLE_F32 && image->width == width &&
           image->height == height;
}

// Low where v is not a number.
inline float limit_to(float v, float low, float high) { return v > low ? (v < high ? v : high) : low; }
