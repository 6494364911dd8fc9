#include "effects/engines/particles/ForceField_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

struct Vector {
    Floats x, y;
};

// The chord of one frame's turn about the vortex: half the angle's tangent is taken as half the angle, which is exact
// on the circle and hardly slower than asked for where steps are long.
static inline Vector turning(const particles::ForceField& f, Floats x, Floats y) {
    const Floats dx = x - f.vortex[0], dy = y - f.vortex[1];
    const float radius = f.vortex_radius;
    const Floats square = (dx * dx + dy * dy) / (radius * radius);
    const Floats half = (f.vortex_speed / radius) / (1.0f + square);  // of 2 w / (1 + q), the angle
    const Floats sum = 1.0f + half * half;
    const Floats sine = 2.0f * half / sum, fall = -2.0f * half * half / sum;  // cosine - 1
    return {fall * dx - sine * dy, sine * dx + fall * dy};
}

static inline Vector pulling(const particles::ForceField& f, Floats x, Floats y) {
    const Floats dx = f.attractor[0] - x, dy = f.attractor[1] - y;
    const float radius = f.attractor_radius;
    const Floats square = (dx * dx + dy * dy) / (radius * radius);
    const Floats gain = (2.0f * f.attractor_strength / radius) / (1.0f + square);
    return {gain * dx, gain * dy};
}

template <class V>
static inline V some(const float* from, int count) {
    V v = {};
    __builtin_memcpy(&v, from, sizeof(float) * static_cast<unsigned>(count));
    return v;
}

static void apply(const particles::ForceField& f, const float* wind, const particles::ForceBlock& b,
                  const float* const air[2], const float* const push[2]) {
    for (int i = 0; i < b.count; i += LANES) {
        const int n = smaller(LANES, b.count - i);
        const Floats x = some<Floats>(b.x + i, n), y = some<Floats>(b.y + i, n);
        Vector v{some<Floats>(b.vx + i, n), some<Floats>(b.vy + i, n)};
        Vector flow{all<Floats>(wind[0]), all<Floats>(wind[1])};
        if (air[0]) flow = {flow.x + some<Floats>(air[0] + i, n), flow.y + some<Floats>(air[1] + i, n)};
        if (f.vortex_speed != 0) {
            const Vector turn = turning(f, x, y);
            flow = {flow.x + turn.x, flow.y + turn.y};
        }
        Floats grip = all<Floats>(f.grip);
        if (b.lightness) grip = grip * some<Floats>(b.lightness + i, n);
        grip = to_unit(grip);
        v = {v.x + (flow.x - v.x) * grip, v.y + (flow.y - v.y) * grip};
        v = {v.x + f.gravity[0], v.y + f.gravity[1]};
        if (f.attractor_strength != 0) {
            const Vector pull = pulling(f, x, y);
            v = {v.x + pull.x, v.y + pull.y};
        }
        if (push[0]) v = {v.x + some<Floats>(push[0] + i, n), v.y + some<Floats>(push[1] + i, n)};
        __builtin_memcpy(b.vx + i, &v.x, sizeof(float) * static_cast<unsigned>(n));
        __builtin_memcpy(b.vy + i, &v.y, sizeof(float) * static_cast<unsigned>(n));
    }
}

}  // namespace

const ForceKernels force_kernels = {apply};

}  // namespace QUILLON_SIMD
