// Compositing, fades and dissolves for any sample type. On devices they are in imagelib_cuda_comp.cu.
#include "imagelib/imagelib_composite.h"

#include <algorithm>
#include <limits>

#include "imagelib/composite_formulas.h"
#include "imagelib/device_call.h"
#include "imagelib/samples.h"
#include "simdlib/vectors.h"

namespace compositing {

Rectangle resolve_rectangle(int width, int height, int xl, int yl, int xh, int yh) {
    if (xl < 0) xl = 0;
    if (yl < 0) yl = 0;
    if (xh < 0) xh = width;
    if (yh < 0) yh = height;
    if (xl > xh) std::swap(xl, xh);
    if (yl > yh) std::swap(yl, yh);
    return {xl, yl, std::min(xh, width), std::min(yh, height)};
}

}  // namespace compositing

using namespace compositing;

namespace {

template <class T>
T store_sample(float value) {
    if constexpr (is_integer_sample<T>) return truncate_sample<T>(value);
    constexpr float top = std::numeric_limits<float>::max();
    return static_cast<T>(value > top ? top : value);
}

template <class T, int mode, bool premultiplied>
void blend_any(T* dest, const T* a, const T* b, int width, int channels) {
    constexpr float unit = 1.0f / full_value<T>;
    for (int x = 0; x < width; ++x, dest += channels, a += channels, b += channels) {
        const auto store = [dest](int c, float value) { dest[c] = store_sample<T>(value); };
        if constexpr (premultiplied)
            blend_premultiplied<mode>(a, b, channels, unit, store);
        else
            blend_straight<mode>(a, b, channels, unit, store);
    }
}

// The same for float RGBA with the channels of a pixel side by side; operation for operation the loop above, so the
// bits are the same.
using simd::Pixel, simd::PixelMask;

template <int mode>
Pixel combine(Pixel a, Pixel alpha_a, Pixel b, Pixel alpha_b) {
    switch (mode) {
        case COMPOSITE_OVER:
            return a + b * (1.0f - alpha_a);
        case COMPOSITE_UNDER:
            return b + a * (1.0f - alpha_b);
        case COMPOSITE_IN:
            return a * alpha_b;
        case COMPOSITE_STENCIL_IN:
            return b * alpha_a;
        case COMPOSITE_OUT:
            return a * (1.0f - alpha_b);
        case COMPOSITE_STENCIL_OUT:
            return b * (1.0f - alpha_a);
        case COMPOSITE_ATOP:
            return a * alpha_b + b * (1.0f - alpha_a);
        case COMPOSITE_REVERSE_ATOP:
            return a * (1.0f - alpha_b) + b * alpha_a;
        default:
            return a * (1.0f - alpha_b) + b * (1.0f - alpha_a);
    }
}

// A result that is too large for the caches, and not one of the inputs, is written past them: its rows are then not
// read before they are written.
constexpr std::size_t STREAM_ABOVE_BYTES = std::size_t(8) << 20;

template <int mode, bool premultiplied, bool streamed>
void blend_float_rgba(float* dest, const float* a, const float* b, int width) {
    constexpr float top = std::numeric_limits<float>::max();
    constexpr PixelMask is_alpha{0, 0, 0, -1};
    for (int i = 0; i < width * 4; i += 4) {
        const auto in_a = simd::load<Pixel>(a + i), in_b = simd::load<Pixel>(b + i);
        const Pixel raw_a = simd::spread<3>(in_a), raw_b = simd::spread<3>(in_b);
        const Pixel alpha_a = simd::to_unit(raw_a), alpha_b = simd::to_unit(raw_b);
        Pixel result;
        if constexpr (premultiplied) {
            result = combine<mode>(in_a, alpha_a, in_b, alpha_b);
        } else {
            const Pixel raw_out = combine<mode>(raw_a, alpha_a, raw_b, alpha_b);
            const Pixel factor = raw_out > 0.000001f ? 1.0f / raw_out : raw_out;
            const Pixel colour = combine<mode>(in_a * alpha_a, alpha_a, in_b * alpha_b, alpha_b) * factor;
            result = is_alpha ? raw_out : colour;
        }
        result = simd::smaller(simd::all<Pixel>(top), result);  // NaN stays
        if constexpr (streamed)
            simd::stream(dest + i, result);
        else
            simd::store(dest + i, result);
    }
}

template <class T>
using BlendRow = void (*)(T* dest, const T* a, const T* b, int width, int channels, bool streamed);

template <class T, int mode, bool premultiplied>
void blend_row(T* dest, const T* a, const T* b, int width, int channels, [[maybe_unused]] bool streamed) {
    if constexpr (std::is_same_v<T, float>) {
        if (channels == 4) {
            const bool aligned = reinterpret_cast<std::uintptr_t>(dest) % sizeof(Pixel) == 0;
            return streamed && aligned ? blend_float_rgba<mode, premultiplied, true>(dest, a, b, width)
                                       : blend_float_rgba<mode, premultiplied, false>(dest, a, b, width);
        }
    }
    blend_any<T, mode, premultiplied>(dest, a, b, width, channels);
}

template <class T, bool premultiplied>
BlendRow<T> blend_for(int mode) {
    static constexpr BlendRow<T> table[] = {
        blend_row<T, 1, premultiplied>, blend_row<T, 2, premultiplied>, blend_row<T, 3, premultiplied>,
        blend_row<T, 4, premultiplied>, blend_row<T, 5, premultiplied>, blend_row<T, 6, premultiplied>,
        blend_row<T, 7, premultiplied>, blend_row<T, 8, premultiplied>, blend_row<T, 9, premultiplied>};
    return table[mode - COMPOSITE_OVER];
}

template <class T>
T faded(T sample, float amount) {
    if constexpr (std::is_same_v<T, std::uint32_t>) return static_cast<T>(static_cast<double>(sample) * amount);
    return static_cast<T>(static_cast<float>(sample) * amount);  // the amount is at most 1: no overflow
}

template <class T>
void fade_row(T* row, int width, int channels, bool fades_colour, bool fades_alpha, float amount) {
    for (int x = 0; x < width; ++x, row += channels)
        for (int c = 0; c < channels; ++c)
            if (c == 3 ? fades_alpha : fades_colour) row[c] = faded(row[c], amount);
}

// A sample times 1 is the sample, so that every channel can have a factor.
template <class T>
void fade_rgba(T* row, int width, bool fades_colour, bool fades_alpha, float amount) {
    const float colour = fades_colour ? amount : 1.0f, alpha = fades_alpha ? amount : 1.0f;
    const float factors[4] = {colour, colour, colour, alpha};
    for (int i = 0; i < width * 4; i += 4)
        for (int c = 0; c < 4; ++c) row[i + c] = faded(row[i + c], factors[c]);
}

// An image that is given twice goes to the device once.
bool composite_on_device(K7Image* dest, const K7Image* a, int mode, const K7Image* b, bool premultiplied,
                         const Rectangle& area) {
    return done_on_device("cuda_pd_composite", dest, [&](DeviceImage& result, GpuStream stream) {
        DeviceImage first(host_picture(a), stream), second(host_picture(b), stream);
        DeviceImage& in_a = a->pixels == dest->pixels ? result : first;
        DeviceImage& in_b = b->pixels == dest->pixels ? result : b->pixels == a->pixels ? in_a : second;
        return cuda_pd_composite(result, in_a, mode, in_b, premultiplied, area.xl, area.yl, area.xh, area.yh, stream);
    });
}

}  // namespace

bool image_composite(K7Image* dest, const K7Image* a, int mode, const K7Image* b, bool premultiplied, int xl, int yl,
                     int xh, int yh) {
    if (!is_valid(dest) || !is_valid(a) || !is_valid(b)) return false;
    if (!image_same_layout(dest, a) || !image_same_layout(dest, b) || dest->channels < 4) return false;
    if (mode < COMPOSITE_OVER || mode > COMPOSITE_XOR) return false;
    const Rectangle area = resolve_rectangle(dest->width, dest->height, xl, yl, xh, yh);
    if (area.is_empty()) return true;
    if (image_pays_on_device(dest, 3, premultiplied ? 0.95 : 2.5))
        return composite_on_device(dest, a, mode, b, premultiplied, area);
    return visit_sample_type(dest->sample_type, [&](auto sample) {
        using T = decltype(sample);
        const BlendRow<T> blend = premultiplied ? blend_for<T, true>(mode) : blend_for<T, false>(mode);
        const std::size_t left = std::size_t(area.xl) * dest->channels;
        const bool streamed =
            buffer_bytes(dest) > STREAM_ABOVE_BYTES && dest->pixels != a->pixels && dest->pixels != b->pixels;
        for_rows(area.yh - area.yl, [&](int first, int last) {
            for (int y = area.yl + first; y <= area.yl + last; ++y)
                blend(image_row<T>(dest, y) + left, image_row<T>(a, y) + left, image_row<T>(b, y) + left,
                      area.xh - area.xl, dest->channels, streamed);
            if (streamed) simd::finish_streams();
        });
        dest->stats_valid = 0;
    });
}

bool image_unary(K7Image* image, int op, float f, int xl, int yl, int xh, int yh) {
    if (!is_valid(image) || image->channels < 4 || op < UNARY_DARKEN || op > UNARY_OPAQUE) return false;
    const Rectangle area = resolve_rectangle(image->width, image->height, xl, yl, xh, yh);
    if (area.is_empty()) return true;
    if (image_pays_on_device(image, 2, 0.6))
        return done_on_device("cuda_pd_unary", image, [=](DeviceImage& pixels, GpuStream stream) {
            return cuda_pd_unary(pixels, op, f, xl, yl, xh, yh, stream);
        });
    const float amount = limit_to_unit(f);
    const bool fades_colour = op != UNARY_OPAQUE, fades_alpha = op != UNARY_DARKEN;
    return visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        for_rows(area.yh - area.yl, [&](int first, int last) {
            for (int y = area.yl + first; y <= area.yl + last; ++y) {
                T* row = image_row<T>(image, y) + std::size_t(area.xl) * image->channels;
                if (image->channels == 4)
                    fade_rgba(row, area.xh - area.xl, fades_colour, fades_alpha, amount);
                else
                    fade_row(row, area.xh - area.xl, image->channels, fades_colour, fades_alpha, amount);
            }
        });
        image->stats_valid = 0;
    });
}

bool image_cross_dissolve(K7Image* dest, const K7Image* other, float f) {
    if (!is_valid(dest) || !is_valid(other) || !image_same_layout(dest, other) || dest->sample_type != SAMPLE_F32)
        return false;
    const float amount = limit_to_unit(f), rest = 1.0f - amount;
    const std::size_t count = std::size_t(dest->width) * dest->channels;
    for_rows_float(dest->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* row = image_row<float>(dest, y);
            const float* in = image_row<float>(other, y);
            for (std::size_t i = 0; i < count; ++i) row[i] = cross_dissolved(row[i], rest, in[i], amount);
        }
    });
    dest->stats_valid = 0;
    return true;
}

bool image_dissolve_to_colour(K7Image* dest, float f, float r, float g, float b, float a) {
    if (!is_valid(dest) || dest->channels != 4 || dest->sample_type != SAMPLE_F32) return false;
    const float amount = limit_to_unit(f), rest = 1.0f - amount;
    const float colour[4] = {r * amount, g * amount, b * amount, a * amount};
    for_rows_float(dest->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* row = image_row<float>(dest, y);
            for (int x = 0; x < dest->width; ++x, row += 4)
                for (int c = 0; c < 4; ++c) row[c] = row[c] * rest + colour[c];
        }
    });
    dest->stats_valid = 0;
    return true;
}
