#include "effects/light/FlareSpot_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

static void shade(const GhostLook& ghost, int x, int y, int count, const float* coverage, float* layer) {
    const float dy = (float(y) + 0.5f - ghost.y) * ghost.row_height * ghost.inverse_radius;
    const Floats middles = lane_pixels() + 0.5f;
    const Floats one = all<Floats>(1.0f);
    Ints places = {};
    for (int i = 0; i < LANES; ++i) places[i] = pixel_of(i);
    for (int i = 0; i < count; i += LANES, layer += 4L * LANES) {
        const Floats dx = (middles + float(x + i) - ghost.x) * ghost.inverse_radius;
        const Floats distance = square_root(dx * dx + dy * dy);
        const Floats faded = to_unit(distance * ghost.fade_scale - ghost.fade_offset);
        const Floats side = larger(dx * ghost.direction_x + dy * ghost.direction_y, Floats{});
        const Floats white = smaller(side * side * 2.0f, one);
        Floats weight = one - (3.0f - 2.0f * faded) * faded * faded;
        if (coverage) {
            alignas(64) float some[LANES] = {};
            const int left = count - i < LANES ? count - i : LANES;
            __builtin_memcpy(some, coverage + i, sizeof(float) * static_cast<std::size_t>(left));
            weight *= gather(some, places);
        }
        Planes p = load_planes(layer, count - i);
        p.r += weight * (ghost.red + (ghost.white - ghost.red) * white);
        p.g += weight * (ghost.green + (ghost.white - ghost.green) * white);
        p.b += weight * (ghost.blue + (ghost.white - ghost.blue) * white);
        p.a += weight * ghost.white;
        store_planes(layer, p, count - i);
    }
}

// The light of ghosts hides as much of what is behind them as they are bright.
static void composite(GhostMode mode, const float* layer, float* pixels, int count) {
    const Floats one = all<Floats>(1.0f);
    for (int x = 0; x < count; x += LANES) {
        Planes light = load_planes(layer + 4L * x, count - x);
        light.a *= to_unit(0.3f * light.r + 0.5f * light.g + 0.2f * light.b);
        Planes p = mode == GhostMode::alone ? light : load_planes(pixels + 4L * x, count - x);
        if (mode == GhostMode::over) {
            const Floats keep = one - to_unit(light.a);
            p = {light.r + p.r * keep, light.g + p.g * keep, light.b + p.b * keep, light.a + p.a * keep};
        } else if (mode == GhostMode::add) {
            p = {light.r + p.r, light.g + p.g, light.b + p.b, light.a + p.a};
        } else if (mode == GhostMode::screen) {
            const auto screen = [](Floats a, Floats b) { return larger(a + b - a * b, larger(a, b)); };
            p.r = screen(light.r, p.r), p.g = screen(light.g, p.g), p.b = screen(light.b, p.b);
        }
        store_planes(pixels + 4L * x, p, count - x);
    }
}

}  // namespace

const GhostKernels ghost_kernels = {shade, composite};

}  // namespace QUILLON_SIMD
