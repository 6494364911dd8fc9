#include "effects/water/RainDrops_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {

// A soft dome: the square of 1 less the square of the distance from the line.
static void stroke(const DropStroke& s, float y, int first, int last, float* row) {
    const float squared = s.dx * s.dx + s.dy * s.dy;
    const float along = squared > 0.0f ? 1.0f / squared : 0.0f, sharpness = 1.0f / (s.radius * s.radius);
    const float from_y = y - s.y;
    for (int x = first; x < last; ++x) {
        const float from_x = float(x) - s.x;
        const float t = limited((from_x * s.dx + from_y * s.dy) * along, 0.0f, 1.0f);
        const float away_x = from_x - t * s.dx, away_y = from_y - t * s.dy;
        const float inside = larger(1.0f - (away_x * away_x + away_y * away_y) * sharpness, 0.0f);
        row[x] = larger(row[x], s.thickness * (inside * inside));
    }
}

static void dry(float kept, int count, float* __restrict row) {
    constexpr float NOTHING = 1e-6f;
    for (int x = 0; x < count; ++x) {
        const float left = row[x] * kept;
        row[x] = left > NOTHING ? left : 0.0f;
    }
}

static void heights(int count, const float* __restrict here, const float* __restrict below, float* __restrict out) {
    constexpr float HIGHEST = 0.02f, SIXTH = 1.0f / 6.0f;
    for (int x = 0; x < count; ++x) out[x] = HIGHEST * limited((here[x] + below[x]) * SIXTH, 0.0f, 1.0f);
}

static void steam(int count, const float* mist, const float* source, const float* water, float brightness, float lift,
                  float mix, float* __restrict pixels) {
    const Pixel factor = {brightness, brightness, brightness, 1.0f}, offset = {lift, lift, lift, 0.0f}, zero = {};
    for (long x = 0; x < count; ++x) {
        const Pixel misted = larger(load<Pixel>(mist + 4 * x) * factor + offset, zero);
        const Pixel shown = misted + (load<Pixel>(source + 4 * x) - misted) * mix;
        const Pixel seen = load<Pixel>(pixels + 4 * x);
        const float clear = water ? limited(water[x], 0.0f, 1.0f) : 0.0f;
        store(pixels + 4 * x, shown + (seen - shown) * clear);
    }
}

const RainDropsKernels raindrops_kernels = {stroke, dry, heights, steam};

}  // namespace QUILLON_SIMD
