#include "effects/weather/HeatHaze_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {

// Snell's law in the vector form: air of index 1.02 over the picture, seen straight from above.
static void refract_row(const HazeSheet& sheet, const float* above, const float* here, const float* below, int y,
                        float* __restrict u, float* __restrict v) {
    constexpr float RATIO = 0.98039216f;  // 1 / 1.02
    constexpr float INDEX_SQUARED_LESS_1 = 0.04039991f;
    constexpr float SHORTEST = 1e-10f;
    const float dx = sheet.dx, dy = sheet.dy, strength = sheet.strength;
    const float flat = dx * dy + dx * dy;
    const float row = float(y);
    for (int x = 0; x < sheet.width; ++x) {
        const float a = (below[x + 2 * HAZE_REACH] - above[x]) * strength;
        const float b = (below[x] - above[x + 2 * HAZE_REACH]) * strength;
        float nx = b * dy - a * dy;
        float ny = -dx * a - b * dx;
        const float length = square_root(nx * nx + ny * ny + flat * flat);
        const float scale = length > SHORTEST ? 1.0f / length : 1.0f;
        nx *= scale;
        ny *= scale;
        const float nz = flat * scale;
        const float s = nz - square_root(nz * nz + INDEX_SQUARED_LESS_1);
        const float t = (nz * s - 1.0f) * RATIO;
        const float offset = here[x] * strength * s * RATIO / t;
        u[x] = limited(float(x) + sheet.max_x * (offset * nx), sheet.low_x, sheet.high_x);
        v[x] = limited(row + sheet.max_y * (offset * ny), sheet.low_y, sheet.high_y) - 1.0f;
    }
}

const HazeKernels haze_kernels = {refract_row};

}  // namespace QUILLON_SIMD
