#include <algorithm>
#include <cmath>

#include "clk7/clk7.h"

float normalise_vector(float (&v)[3]) {
    const float most = std::max({std::fabs(v[0]), std::fabs(v[1]), std::fabs(v[2])});
    if (!(most >= 1e-10F)) {
        std::fill_n(v, 3, 0.0F);
        return 0.0F;
    }
    const float s = v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
    float r = s / most + most;
    r = r * 0.25F + s / r;
    r = (r + s / r) * 0.5F;
    for (float& c : v) c /= r;
    return r;
}

namespace {

// Between b (t = 0) and c (t = 1).
float cubic(float a, float b, float c, float d, float t) {
    const float first = 0.5F * (c - a);
    const float second = a - 2.5F * b + 2.0F * c - 0.5F * d;
    const float third = 1.5F * (b - c) + 0.5F * (d - a);
    return ((third * t + second) * t + first) * t + b;
}

}  // namespace

int resample_catmull_rom(const float* x, const float* y, const float* z, int n, float* outx, float* outy, float* outz,
                         float* outt, int m) {
    if (n < 2) return 1;
    if (m <= 2) return 2;
    const float* from[] = {x, y, z};
    float* to[] = {outx, outy, outz};
    for (int i = 0; i < m; ++i) {
        const double place = double(i) * (n - 1) / (m - 1);
        const int b = std::min(static_cast<int>(place), n - 2);
        const int a = std::max(b - 1, 0), c = b + 1, d = std::min(b + 2, n - 1);
        const float t = static_cast<float>(place - b);
        for (int axis = 0; axis < 3; ++axis)
            to[axis][i] = cubic(from[axis][a], from[axis][b], from[axis][c], from[axis][d], t);
        if (outt) outt[i] = static_cast<float>(place);
    }
    return 0;
}
