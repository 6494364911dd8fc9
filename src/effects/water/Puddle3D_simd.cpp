#include "effects/water/Puddle3D_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {

static void places(const float* map, int width, float step, float y, float* px, float* py) {
    constexpr float BEHIND = 1e-10f, FAR_AWAY = 1e9f;
    const Floats zero = {}, lanes = counting<Floats>();
    for (int x = 0; x < width; x += LANES) {
        const Floats at = (lanes + float(x)) * step;
        const Floats w = map[6] * at + (map[7] * y + map[8]);
        const auto is_seen = w > BEHIND;
        const Floats scale = 1.0f / (is_seen ? w : zero + 1.0f);
        const Floats u = (map[0] * at + (map[1] * y + map[2])) * scale;
        const Floats v = (map[3] * at + (map[4] * y + map[5])) * scale;
        store(px + x, is_seen ? u : zero + FAR_AWAY);
        store(py + x, is_seen ? v : zero + FAR_AWAY);
    }
}

// Only what the front has reached moves.
static void add_ring(const PuddleRing& ring, const float* px, const float* py, int first, int last, const float* table,
                     float* heights) {
    constexpr int STEPS = 1024;
    constexpr float MOST = 1e9f;
    const Floats zero = {};
    const Ints lanes = counting<Ints>();
    for (int x = first; x < last; x += LANES) {
        const Floats dx = (load(px + x) - ring.x) * ring.aspect, dy = load(py + x) - ring.y;
        const Floats inside = ring.front - square_root(dx * dx + dy * dy);
        const Ints counts = (inside >= zero) & (lanes + x < last);
        const Floats phase = limited(inside * ring.waves, zero, zero + MOST);
        const Floats part = phase - to_floats(to_ints(phase));
        const Ints index = (STEPS - to_ints(part * float(STEPS))) & (STEPS - 1);
        const Floats height = gather(table, index) * ring.strength;
        store(heights + x, load(heights + x) + (counts ? height : zero));
    }
}

const PuddleKernels puddle_kernels = {places, add_ring};

}  // namespace QUILLON_SIMD
