#include "imagelib/structure_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

template <class V>
QUILLON_VECTOR V usable(V sample) {
    return limited(sample, V{}, V{} + 8.0f);
}

static void repeat_edges(float* row, int count) {
    __builtin_memcpy(row - 4, row, 16);
    __builtin_memcpy(row + 4L * count, row + 4L * (count - 1), 16);
}

static void whole(const float* source, float* row, int count) {
    for (int i = 0; i < count; ++i) store(row + 4L * i, usable(load<Pixel>(source + 4L * i)));
    repeat_edges(row, count);
}

static void halved(const float* low, const float* high, int source_count, float* row, int count) {
    for (int i = 0; i < count; ++i) {
        const long a = 8L * i, b = 2 * i + 1 < source_count ? a + 4 : a;
        const Pixel left = usable(load<Pixel>(low + a)) + usable(load<Pixel>(high + a));
        const Pixel right = usable(load<Pixel>(low + b)) + usable(load<Pixel>(high + b));
        store(row + 4L * i, (left + right) * 0.25f);
    }
    repeat_edges(row, count);
}

QUILLON_VECTOR Planes gradient(const float* plus_low, const float* plus, const float* plus_high, const float* minus_low,
                               const float* minus, const float* minus_high, float unit) {
    Floats parts[4];
    for (int i = 0; i < 4; ++i) {
        const int at = i * LANES;
        const Floats sides =
            (load(plus_low + at) - load(minus_low + at)) + (load(plus_high + at) - load(minus_high + at));
        parts[i] = (sides * 3.0f + (load(plus + at) - load(minus + at)) * 10.0f) * unit;
    }
    return turned({parts[0], parts[1], parts[2], parts[3]});
}

static void products(const float* const rows[3], float* tensor, int count, float x_unit, float y_unit) {
    for (int x = 0; x < count; x += LANES) {
        const float *low = rows[0] + 4L * x, *middle = rows[1] + 4L * x, *high = rows[2] + 4L * x;
        const Planes dx = gradient(low + 4, middle + 4, high + 4, low - 4, middle - 4, high - 4, x_unit);
        const Planes dy = gradient(high - 4, high, high + 4, low - 4, low, low + 4, y_unit);
        const Planes tensors{dx.r * dx.r + dx.g * dx.g + dx.b * dx.b, dx.r * dy.r + dx.g * dy.g + dx.b * dy.b,
                             dy.r * dy.r + dy.g * dy.g + dy.b * dy.b, Floats{}};
        store_planes(tensor + 4L * x, tensors);
    }
}

// The tangent stands at right angles to the eigenvector of the greater eigenvalue. Of the two rows that give it the one
// that does not vanish is taken.
QUILLON_VECTOR Planes direction(const Planes& t) {
    const Floats zero = {}, difference = t.r - t.b, energy = larger(t.r + t.b, zero);
    const Floats root = square_root(difference * difference + 4.0f * t.g * t.g);
    const Floats half = 0.5f * (absolute(difference) + root);  // greater eigenvalue less the lesser diagonal
    const auto steep = difference >= 0.0f;
    const Floats x = steep ? -t.g : -half, y = steep ? half : t.g;
    const Floats length = square_root(x * x + y * y);
    const auto known = length > 1e-20f;
    return {known ? x / length : zero + 1.0f, known ? y / length : zero,
            known ? smaller(root / energy, zero + 1.0f) : zero, square_root(energy)};
}

static void directions(float* tensor, const float* wide_tensor, float wide, int count) {
    for (int x = 0; x < count; x += LANES) {
        Planes t = load_planes(tensor + 4L * x, count - x);
        if (wide_tensor) {
            const Planes far = load_planes(wide_tensor + 4L * x, count - x);
            const Floats strength = square_root(larger(t.r + t.b, Floats{}));
            t = {t.r + far.r * wide, t.g + far.g * wide, t.b + far.b * wide, Floats{}};
            Planes result = direction(t);
            result.a = strength;
            store_planes(tensor + 4L * x, result, count - x);
        } else {
            store_planes(tensor + 4L * x, direction(t), count - x);
        }
    }
}

}  // namespace

const StructureKernels structure_kernels = {whole, halved, products, directions};

}  // namespace QUILLON_SIMD
