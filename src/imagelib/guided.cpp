#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_guided.h"
#include "imagelib/samples.h"
#include "simdlib/vectors.h"

namespace {

using simd::Pixel;

constexpr int COARSEST = 4;

// Means of squares of samples of a float RGBA image and, where asked for, of their squares.
void mean_squares(const K7Image& from, int factor, int y, float* mean, float* square_mean) {
    const int y0 = y * factor, y1 = std::min(y0 + factor, int{from.height});
    for (int x = 0; x * factor < from.width; ++x) {
        const int x0 = x * factor, x1 = std::min(x0 + factor, int{from.width});
        Pixel sum = {}, squares = {};
        for (int row = y0; row < y1; ++row) {
            const float* p = image_row<float>(&from, row) + 4L * x0;
            for (int i = x0; i < x1; ++i, p += 4) {
                const auto v = simd::load<Pixel>(p);
                sum += v;
                if (square_mean) squares += v * v;
            }
        }
        const float scale = 1.0f / static_cast<float>((x1 - x0) * (y1 - y0));
        simd::store(mean + 4L * x, sum * scale);
        if (square_mean) simd::store(square_mean + 4L * x, squares * scale);
    }
}

// Means and mean squares in windows become the line a v + b that stands for the samples there.
void fit_lines(K7Image& mean, K7Image& square, float tolerance) {
    const float least = tolerance * tolerance;
    for_rows_float(mean.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float *m = image_row<float>(&mean, y), *s = image_row<float>(&square, y);
            for (int i = 0; i < 4 * mean.width; i += 4) {
                const auto middle = simd::load<Pixel>(m + i);
                const Pixel variance = simd::larger(simd::load<Pixel>(s + i) - middle * middle, Pixel{});
                const Pixel a = variance / (variance + least);
                simd::store(s + i, a);
                simd::store(m + i, middle - a * middle);
            }
        }
    });
}

// The two coarse pixels that a fine one lies between.
struct Between {
    int low, high;
    float mix;
};
Between between(int fine, int coarse, int coarse_count) {
    const float at = (static_cast<float>(fine) + 0.5f) / static_cast<float>(coarse) - 0.5f;
    const int low = static_cast<int>(std::floor(at));
    return {std::clamp(low, 0, coarse_count - 1), std::clamp(low + 1, 0, coarse_count - 1),
            at - static_cast<float>(low)};
}

void apply_row(const K7Image& slope, const K7Image& offset, K7Image& image, int coarse, int y) {
    const Between rows = between(y, coarse, slope.height);
    const float *a0 = image_row<float>(&slope, rows.low), *a1 = image_row<float>(&slope, rows.high);
    const float *b0 = image_row<float>(&offset, rows.low), *b1 = image_row<float>(&offset, rows.high);
    const auto read = [&](const float* low, const float* high, int column) {
        const auto v = simd::load<Pixel>(low + 4L * column);
        return v + rows.mix * (simd::load<Pixel>(high + 4L * column) - v);
    };
    float* p = image_row<float>(&image, y);
    for (int x = 0; x < image.width; ++x, p += 4) {
        const Between columns = between(x, coarse, slope.width);
        const Pixel al = read(a0, a1, columns.low), ah = read(a0, a1, columns.high);
        const Pixel bl = read(b0, b1, columns.low), bh = read(b0, b1, columns.high);
        const Pixel result = (al + columns.mix * (ah - al)) * simd::load<Pixel>(p) + (bl + columns.mix * (bh - bl));
        const float alpha = p[3];
        simd::store(p, result);
        p[3] = alpha;
    }
}

}  // namespace

bool image_guided_smooth(K7Image* image, float radius, float row_height, float tolerance, const StopRequested& stop) {
    if (!is_float_rgba(image) || !(row_height > 0)) return false;
    if (!(radius > 0) || !(tolerance > 0)) return true;
    // Half a radius, so that a small window is not made of a few squares.
    const int coarse = radius < 2 * COARSEST ? std::max(static_cast<int>(0.5f * radius), 1) : COARSEST;
    const int width = (image->width + coarse - 1) / coarse, height = (image->height + coarse - 1) / coarse;
    const ImagePtr mean = make_image_uncleared(width, height, 4, SAMPLE_F32),
                   square = make_image_uncleared(width, height, 4, SAMPLE_F32);
    if (!mean || !square) return false;
    image->stats_valid = 0;
    for_rows_float(height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            mean_squares(*image, coarse, y, image_row<float>(mean.get(), y), image_row<float>(square.get(), y));
    });
    const float rx = radius / static_cast<float>(coarse), ry = rx / row_height;
    const auto blur = [&] {
        return image_gaussian_blur(mean.get(), rx, ry, 7) && image_gaussian_blur(square.get(), rx, ry, 7);
    };
    if (!blur() || wants_end(stop)) return false;
    fit_lines(*mean, *square, tolerance);
    if (!blur()) return false;
    return each_row_float(
        image->height, [&] { return wants_end(stop); }, [&](int y) { apply_row(*square, *mean, *image, coarse, y); });
}

ImagePtr image_shrunk(const K7Image* source, int factor) {
    if (!is_float_rgba(source) || factor < 1) return nullptr;
    ImagePtr result = make_image_uncleared((source->width + factor - 1) / factor,
                                           (source->height + factor - 1) / factor, 4, SAMPLE_F32);
    if (!result) return nullptr;
    image_copy_attributes(source, result.get());
    for_rows_float(result->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            mean_squares(*source, factor, y, image_row<float>(result.get(), y), nullptr);
    });
    return result;
}
