// Channels, luminance and tone.
#include "imagelib/imagelib_colour.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "imagelib/arithmetic_formulas.h"
#include "imagelib/device_call.h"
#include "imagelib/imagelib_curves.h"
#include "imagelib/samples.h"
#include "imagelib/yuv_formulas.h"

namespace {

constexpr int GAMMA_ROW = 1024;  // the table of gamma is filled in rows of this many entries

float inverted(float value) { return std::max(1.0f - value, 0.0f); }

// work(source pixel, destination pixel) for all pixels of two images of one size.
template <class Work>
void for_pixels(const K7Image* src, K7Image* dst, const Work& work) {
    for_rows_float(dst->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* in = image_row<float>(src, y);
            float* out = image_row<float>(dst, y);
            for (int x = 0; x < dst->width; ++x, in += src->channels, out += dst->channels) work(in, out);
        }
    });
    dst->stats_valid = 0;
}

std::unique_ptr<float[]> gamma_table(double exponent) {
    std::unique_ptr<float[]> table(new (std::nothrow) float[GAMMA_STEPS]);
    if (!table) return nullptr;
    for_rows_float(GAMMA_STEPS / GAMMA_ROW, [&](int first, int last) {
        for (int i = first * GAMMA_ROW; i < (last + 1) * GAMMA_ROW; ++i) table[i] = gamma_step(i, exponent);
    });
    return table;
}

bool are_yuv_images(const K7Image* src, const K7Image* dst) {
    return is_valid(src) && is_valid(dst) && image_same_layout(src, dst) && src->sample_type == SAMPLE_F32 &&
           src->channels >= 3;
}

}  // namespace

bool image_select_channel(const K7Image* src, K7Image* dst, int which) {
    if (!is_float_rgba(src) || !is_float_rgba(dst) || !image_same_layout(src, dst)) return false;
    if (which < 0 || which > 4) return true;
    for_pixels(src, dst, [which](const float* in, float* out) {
        const float value = which == 4 ? luminance(in) : in[which];
        const float alpha = in[3];
        out[0] = out[1] = out[2] = value;
        out[3] = alpha;
    });
    return true;
}

bool image_luminance_in_place(K7Image* image, bool invert) {
    if (!is_float_rgba(image)) return false;
    for_pixels(image, image, [invert](const float* in, float* out) {
        const float value = luminance(in);
        out[0] = out[1] = out[2] = out[3] = invert ? inverted(value) : value;
    });
    return true;
}

bool image_luminance_to_matte(const K7Image* src, K7Image* matte, bool invert) {
    if (!is_float_rgba(src) || !is_valid(matte) || matte->channels != 1 || matte->sample_type != SAMPLE_F32)
        return false;
    if (src->width != matte->width || src->height != matte->height) return false;
    for_pixels(src, matte, [invert](const float* in, float* out) {
        const float value = luminance(in);
        *out = invert ? inverted(value) : value;
    });
    return true;
}

bool image_invert_rgb(K7Image* image) {
    if (!is_float_rgba(image)) return false;
    for_pixels(image, image, [](const float* in, float* out) {
        const float alpha = in[3];
        for (int c = 0; c < 4; ++c) out[c] = c == 3 ? alpha : inverted(in[c]);
    });
    return true;
}

bool image_band_pass(K7Image* image, float low, float high) {
    if (!is_float_rgba(image)) return false;
    for_pixels(image, image, [low, high](const float* in, float* out) {
        const float mean = (in[0] + in[1] + in[2]) / 3.0f;
        out[0] = out[1] = out[2] = out[3] = mean >= low && mean <= high ? mean : 0.0f;
    });
    return true;
}

bool image_apply_gamma(const K7Image* src, K7Image* dst, float gamma) {
    if (!is_float_rgba(src) || !is_float_rgba(dst) || !image_same_layout(src, dst)) return false;
    if (!(gamma > 0.0f) || !std::isfinite(gamma)) return false;
    if (image_pays_on_device(dst, 2, GAMMA_NANOSECONDS))
        return done_on_device("cuda_apply_gamma", dst, [=](DeviceImage& result, GpuStream stream) {
            DeviceImage source(host_picture(src), stream);
            return cuda_apply_gamma(src->pixels == dst->pixels ? result : source, result, gamma, stream);
        });
    const double exponent = 1.0 / gamma;
    const std::unique_ptr<float[]> table = gamma_table(exponent);
    if (!table) return false;
    for_pixels(src, dst, [&, steps = table.get()](const float* in, float* out) {
        for (int c = 0; c < 3; ++c) out[c] = gamma_sample(in[c], steps, exponent);
        out[3] = in[3];
    });
    return true;
}

bool image_copy_rect(const K7Image* src, K7Image* dst, int x, int y) {
    if (!is_valid(src) || !is_valid(dst) || src == dst) return false;
    if (src->channels != dst->channels || src->sample_type != dst->sample_type) return false;
    if (x < 0 || y < 0 || x > src->width - dst->width || y > src->height - dst->height) return false;
    for_rows(dst->height, [&](int first, int last) {
        for (int row = first; row <= last; ++row)
            std::memcpy(image_row<std::byte>(dst, row),
                        image_row<std::byte>(src, y + row) + std::size_t(x) * src->pixel_bytes, dst->row_bytes);
    });
    dst->stats_valid = 0;
    return true;
}

bool image_rgb_to_yuv_curve(const K7Image* src, K7Image* dst, float curve) {
    if (!are_yuv_images(src, dst)) return false;
    for_pixels(src, dst, [curve, channels = src->channels](const float* in, float* out) {
        const LumaChroma split = luma_chroma_of(in[0], in[1], in[2]);
        out[0] = hyperbolic_tone(split.y, curve);
        out[1] = split.u;
        out[2] = split.v;
        for (int c = 3; c < channels; ++c) out[c] = in[c];
    });
    return true;
}

bool image_yuv_curve_to_rgb(const K7Image* src, K7Image* dst, float curve) {
    if (!are_yuv_images(src, dst)) return false;
    for_pixels(src, dst, [curve, channels = src->channels](const float* in, float* out) {
        const RedGreenBlue joined = red_green_blue_of({hyperbolic_tone_inverse(in[0], curve), in[1], in[2]});
        out[0] = tone_clamp(joined.r);
        out[1] = tone_clamp(joined.g);
        out[2] = tone_clamp(joined.b);
        for (int c = 3; c < channels; ++c) out[c] = in[c];
    });
    return true;
}
