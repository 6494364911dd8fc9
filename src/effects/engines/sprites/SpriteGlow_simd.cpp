#include "effects/engines/sprites/SpriteGlow_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr int STEP = 4, BORDER = 2;

// Light bends over softly towards 1, so that halos that lie on each other do not burn out.
static inline Pixel shouldered(Pixel light) { return light / (1.0f + light); }

static inline Pixel column(const float* below, const float* above, float t, int i) {
    return load<Pixel>(below + 4L * i) * (1.0f - t) + load<Pixel>(above + 4L * i) * t;
}

static inline void lay(float* out, Pixel light) {
    light = shouldered(light);
    const float most = larger(light[0], larger(light[1], light[2]));
    light[3] = most;
    const Pixel there = load<Pixel>(out);
    store(out, there + light * larger(1.0f - there, Pixel{}));
}

static inline bool dark(Pixel a) { return a[0] + a[1] + a[2] == 0; }

static void screen(const float* below, const float* above, float t, float* row, int width) {
    // A pixel of the layer has four of the picture, at 5/8 to 3/8 between its neighbours.
    Pixel left = column(below, above, t, BORDER - 1), here = column(below, above, t, BORDER);
    for (int x = 0; x < width; x += STEP) {
        const Pixel right = column(below, above, t, x / STEP + BORDER + 1);
        if (!dark(left) || !dark(here) || !dark(right)) {
            const Pixel four[STEP] = {left * 0.375f + here * 0.625f, left * 0.125f + here * 0.875f,
                                      here * 0.875f + right * 0.125f, here * 0.625f + right * 0.375f};
            const int count = smaller(STEP, width - x);
            for (int i = 0; i < count; ++i) lay(row + 4L * (x + i), four[i]);
        }
        left = here;
        here = right;
    }
}

}  // namespace

const GlowKernels glow_kernels = {screen};

}  // namespace QUILLON_SIMD
