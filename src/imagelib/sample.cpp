// Point readers and the samplers of single positions.
#include <atomic>
#include <cfloat>
#include <cstring>

#include "imagelib/imagelib_resample.h"
#include "imagelib/resample_edges.h"

namespace {

using namespace resample;

std::atomic<bool> g_clamp_negative{true};

// Above this a window would have more positions than any image; it also bounds the work of one sample.
constexpr float MAX_SCALE = 16384;

template <class T>
const T* pixel_at(const K7Image* image, int x, int y) {
    return image_row<T>(image, y) + std::size_t(x) * image->channels;
}

// Adds weight * pixel to the sums. The edge rule has been applied to the indices; -1 adds nothing.
template <class T>
void add_pixel(const K7Image* image, int x, int y, float weight, float* sums, int channels) {
    if (x < 0 || y < 0) return;
    const T* p = pixel_at<T>(image, x, y);
    for (int c = 0; c < channels; ++c) sums[c] += weight * static_cast<float>(p[c]);
}

struct Point {
    float x, y;
};

// False for positions that are not numbers (or infinitely far along a repeating edge).
bool safe_point(const K7Image* image, const ImagelibKernel* kernel, float reach_x, float reach_y, Point& p) {
    if (std::isnan(p.x) || std::isnan(p.y)) return false;
    p.x = safe_coordinate(p.x, image->width, kernel->edge_mode_x, reach_x);
    p.y = safe_coordinate(p.y, image->height, kernel->edge_mode_y, reach_y);
    return !std::isnan(p.x) && !std::isnan(p.y);
}

template <class T>
void sample_nearest(const K7Image* image, Point p, float* out, int channels, const ImagelibKernel* kernel) {
    const int x = edge_index(static_cast<int>(std::floor(p.x)), image->width, kernel->edge_mode_x);
    const int y = edge_index(static_cast<int>(std::floor(p.y)), image->height, kernel->edge_mode_y);
    add_pixel<T>(image, x, y, 1, out, channels);
}

template <class T>
void sample_bilinear(const K7Image* image, Point p, float* out, int channels, const ImagelibKernel* kernel) {
    const float left = std::floor(p.x), top = std::floor(p.y);
    const float fx = p.x - left, fy = p.y - top;
    const int x = static_cast<int>(left), y = static_cast<int>(top);
    const int x0 = edge_index(x, image->width, kernel->edge_mode_x);
    const int x1 = edge_index(x + 1, image->width, kernel->edge_mode_x);
    const int y0 = edge_index(y, image->height, kernel->edge_mode_y);
    const int y1 = edge_index(y + 1, image->height, kernel->edge_mode_y);
    add_pixel<T>(image, x0, y0, (1 - fx) * (1 - fy), out, channels);
    add_pixel<T>(image, x1, y0, fx * (1 - fy), out, channels);
    add_pixel<T>(image, x0, y1, (1 - fx) * fy, out, channels);
    add_pixel<T>(image, x1, y1, fx * fy, out, channels);
}

constexpr int CHANNELS_ABREAST = 4;

// Up to four channels, from `channel` on.
template <class T>
void sample_window(const K7Image* image, const SampleWindow& columns, const SampleWindow& rows, int channel,
                   int channels, float* out, const ImagelibKernel* kernel) {
    const bool clamp_negative = image_clamps_negative();
    float total[CHANNELS_ABREAST] = {}, row_weights = 0;
    for (int y = rows.first; y <= rows.last; ++y) {
        const float row_weight = kernel->weights[rows.entry(y)];
        row_weights += row_weight;
        const int source_y = edge_index(y, image->height, kernel->edge_mode_y);
        if (source_y < 0) continue;
        const T* line = image_row<T>(image, source_y) + channel;
        float sum[CHANNELS_ABREAST] = {}, weights = 0;
        for (int x = columns.first; x <= columns.last; ++x) {
            const float weight = kernel->weights[columns.entry(x)];
            weights += weight;
            const int source_x = edge_index(x, image->width, kernel->edge_mode_x);
            if (source_x < 0) continue;
            const T* p = line + std::size_t(source_x) * image->channels;
            for (int c = 0; c < channels; ++c) sum[c] += weight * static_cast<float>(p[c]);
        }
        for (int c = 0; c < channels; ++c) {
            if (columns.normalise && weights > 0) sum[c] /= weights;
            if (clamp_negative && sum[c] < 0) sum[c] = 0;
            total[c] += row_weight * sum[c];
        }
    }
    const float top = std::is_floating_point_v<T> ? FLT_MAX : image_full_value(image->sample_type);
    for (int c = 0; c < channels; ++c) {
        const float v = rows.normalise && row_weights > 0 ? total[c] / row_weights : total[c];
        out[c] = std::clamp(v, 0.0f, top);
    }
}

float usable_scale(float scale) { return scale >= 1 ? std::min(scale, MAX_SCALE) : 1.0f; }

}  // namespace

bool image_get_pixel(const K7Image* image, int x, int y, float* out) {
    if (!has_pixels(image) || !out) return false;
    std::fill_n(out, image->channels, 0.0f);
    if (x < 0 || y < 0 || x >= image->width || y >= image->height) return false;
    return with_sample_type(image->sample_type, [&](auto sample) {
        const auto* p = pixel_at<decltype(sample)>(image, x, y);
        for (int c = 0; c < image->channels; ++c) out[c] = static_cast<float>(p[c]);
        return true;
    });
}

bool image_put_pixel(K7Image* image, int x, int y, const float* in) {
    if (!has_pixels(image) || !in) return false;
    if (x < 0 || y < 0 || x >= image->width || y >= image->height) return false;
    return with_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        T* p = image_row<T>(image, y) + std::size_t(x) * image->channels;
        for (int c = 0; c < image->channels; ++c) p[c] = store_sample<T>(in[c]);
        return true;
    });
}

bool image_sample(const K7Image* image, float x, float y, float* out, int channels, const ImagelibKernel* kernel) {
    if (!has_pixels(image) || !out || channels <= 0 || !usable(kernel)) return false;
    if (kernel->kernel_type > KERNEL_TRIANGLE) return image_sample_area(image, x, y, 1, 1, out, channels, kernel);
    std::fill_n(out, channels, 0.0f);
    Point p{x, y};
    if (!safe_point(image, kernel, 2, 2, p)) return false;
    const int present = std::min<int>(channels, image->channels);
    with_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        if (kernel->kernel_type == KERNEL_BOX) {
            sample_nearest<T>(image, p, out, present, kernel);
        } else {
            sample_bilinear<T>(image, p, out, present, kernel);
        }
    });
    return true;
}

bool image_sample_normalized(const K7Image* image, float x, float y, float* out, int channels,
                             const ImagelibKernel* kernel) {
    if (!image_sample(image, x, y, out, channels, kernel)) return false;
    if (image->sample_type == SAMPLE_F32) return true;
    const float full = image_full_value(image->sample_type);
    for (int c = 0; c < channels; ++c) out[c] /= full;
    return true;
}

bool image_sample_unit(const K7Image* image, float u, float v, float* out, int channels, const ImagelibKernel* kernel) {
    if (!image) return false;
    return image_sample_normalized(image, u * image->width, v * image->height, out, channels, kernel);
}

bool image_sample_area(const K7Image* image, float x, float y, float xscale, float yscale, float* out, int channels,
                       const ImagelibKernel* kernel) {
    if (!has_pixels(image) || !out || channels <= 0 || !usable(kernel)) return false;
    std::fill_n(out, channels, 0.0f);
    const float sx = usable_scale(xscale), sy = usable_scale(yscale);
    const float reach = static_cast<float>(kernel->radius);
    Point p{x, y};
    if (!safe_point(image, kernel, reach * sx + 1, reach * sy + 1, p)) return false;
    const SampleWindow columns(p.x, sx, kernel->radius), rows(p.y, sy, kernel->radius);
    const int present = std::min<int>(channels, image->channels);
    with_sample_type(image->sample_type, [&](auto sample) {
        for (int c = 0; c < present; c += CHANNELS_ABREAST) {
            sample_window<decltype(sample)>(image, columns, rows, c, std::min(CHANNELS_ABREAST, present - c), out + c,
                                            kernel);
        }
    });
    return true;
}

bool image_clamps_negative() { return g_clamp_negative.load(std::memory_order_relaxed); }
void image_set_clamp_negative(bool on) { g_clamp_negative.store(on, std::memory_order_relaxed); }
