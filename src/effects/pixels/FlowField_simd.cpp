#include "effects/pixels/FlowField_simd.h"

#include <cstddef>

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

struct Pair {
    Floats x, y;
};

static inline Floats mixed(Floats a, Floats b, Floats part) { return a + part * (b - a); }

static inline Pair velocity_at(const FlowVelocity& field, Floats x, Floats y) {
    const Floats px = limited(x, Floats{}, all<Floats>(static_cast<float>(field.width - 1)));
    const Floats py = limited(y, Floats{}, all<Floats>(static_cast<float>(field.height - 1)));
    Ints i = to_ints(px), j = to_ints(py);
    i = i < field.width - 1 ? i : all<Ints>(field.width - 2);
    j = j < field.height - 1 ? j : all<Ints>(field.height - 2);
    const Floats fx = px - to_floats(i), fy = py - to_floats(j);
    const Ints low = j * field.width + i, high = low + field.width;
    return {mixed(mixed(gather(field.u, low), gather(field.u, low + 1), fx),
                  mixed(gather(field.u, high), gather(field.u, high + 1), fx), fy),
            mixed(mixed(gather(field.v, low), gather(field.v, low + 1), fx),
                  mixed(gather(field.v, high), gather(field.v, high + 1), fx), fy)};
}

static inline void step_on(const FlowVelocity& field, float step, Floats& x, Floats& y) {
    const Pair a = velocity_at(field, x, y);
    const Pair b = velocity_at(field, x + 0.5F * step * a.x, y + 0.5F * step * a.y);
    const Pair c = velocity_at(field, x + 0.5F * step * b.x, y + 0.5F * step * b.y);
    const Pair d = velocity_at(field, x + step * c.x, y + step * c.y);
    x += step / 6.0F * ((a.x + d.x) + 2.0F * (b.x + c.x));
    y += step / 6.0F * ((a.y + d.y) + 2.0F * (b.y + c.y));
}

static void carry(const FlowVelocity& field, float step, int steps, int count, float* xs, float* ys) {
    for (int at = 0; at < count; at += LANES) {
        // What lies behind the last place may be another thread's.
        const int places = count - at < LANES ? count - at : LANES;
        Floats x = {}, y = {};
        __builtin_memcpy(&x, xs + at, sizeof(float) * std::size_t(places));
        __builtin_memcpy(&y, ys + at, sizeof(float) * std::size_t(places));
        for (int n = 0; n < steps; ++n) step_on(field, step, x, y);
        __builtin_memcpy(xs + at, &x, sizeof(float) * std::size_t(places));
        __builtin_memcpy(ys + at, &y, sizeof(float) * std::size_t(places));
    }
}

}  // namespace

const CarryPlaces carry_places = carry;

}  // namespace QUILLON_SIMD
