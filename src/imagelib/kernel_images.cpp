// Small kernel images. Both shapes are products of one function of x and the same of y.
#include <algorithm>
#include <cmath>
#include <vector>

#include "imagelib/imagelib_kernels.h"
#include "imagelib/imagelib_resample.h"
#include "imagelib/samples.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float LARGEST = 32000.0f;  // its image has still fewer than 65536 pixels a side
constexpr float SMALLEST = 0.01f;

int ceiled(float size) { return static_cast<int>(std::ceil(size)); }

// Fills a square image of 2 * reach + 1 pixels a side with value(ax, ay) of the distances from its centre.
template <class Value>
ImagePtr make_symmetric(int reach, Value value) {
    const int side = 2 * reach + 1;
    ImagePtr image = make_image(side, side, 1, SAMPLE_F32);
    if (!image) return nullptr;
    for_rows(side, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* const row = image_row<float>(image.get(), y);
            for (int x = 0; x < side; ++x) row[x] = static_cast<float>(value(std::abs(x - reach), std::abs(y - reach)));
        }
    });
    return image;
}

}  // namespace

K7Image* image_make_gaussian_kernel(float radius) {
    if (!(radius <= LARGEST)) return nullptr;
    radius = std::max(radius, SMALLEST);
    const int reach = ceiled(radius) + 1;
    const double s = radius / 3.0;
    return in_memory([&] {
        std::vector<double> factor(reach + 1);
        for (int d = 0; d <= reach; ++d) factor[d] = k7_exp(-(double(d) * d) / (2.0 * s * s));
        return make_symmetric(reach, [&](int ax, int ay) { return factor[ax] * factor[ay]; }).release();
    });
}

K7Image* image_make_star_kernel(float size, float angle) {
    if (!(size <= LARGEST) || !std::isfinite(angle)) return nullptr;
    size = std::max(size, SMALLEST);
    const int reach = ceiled(size);
    // Larger stars have thinner rays.
    const double exponent = std::clamp(2.0 + (size - 3.0) * 3.0 / 35.0, 2.0, 7.5);
    ImagePtr star = in_memory([&] {
        std::vector<double> fall(reach + 1), power(reach + 1);
        for (int d = 0; d <= reach; ++d) {
            fall[d] = std::max(1.0 - d / static_cast<double>(size), 0.0);
            power[d] = k7_pow(fall[d], exponent);
        }
        return make_symmetric(reach, [&](int ax, int ay) {
            if (ax == 0 && ay == 0) return 1.0;
            double value = 1.5 * power[ax] * power[ay];
            if (ax == 0) value += fall[ay];
            if (ay == 0) value += fall[ax];
            return std::min(value, 1.0);
        });
    });
    if (!star || std::abs(angle) <= 0.0001f) return star.release();
    return image_rotate(star.get(), angle, KERNEL_BSPLINE, EDGE_BLACK);
}
