#include "effects/abstract/RomanTile_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr float AMBIENT = 0.35f;  // part of the light that comes from everywhere
constexpr float LEAST = 1e-6f;

// Distance to a side, above 0 outside of it, and the direction away from it.
struct Side {
    Floats distance, nx, ny;
};
struct Straight {
    QUILLON_VECTOR Side side(const StoneEdge& edge, Floats x, float y) {
        return {x * edge.nx + (y * edge.ny - edge.c), all<Floats>(edge.nx), all<Floats>(edge.ny)};
    }
};
struct Round {
    QUILLON_VECTOR Side side(const StoneEdge& edge, Floats x, float y) {
        const Floats dx = x - edge.nx;
        const float dy = y - edge.ny, outward = edge.c < 0 ? -1.0f : 1.0f;
        const Floats length = larger(square_root(dx * dx + dy * dy), all<Floats>(LEAST));
        const Floats scale = outward / length;
        return {length * outward - edge.c, dx * scale, dy * scale};
    }
};

// The rounded distance to a convex shape: where a pixel is within the radius of two sides, their distances are joined
// as the sides of a right-angled triangle.
template <class Kind>
QUILLON_VECTOR void add(const MosaicRow& row, const MosaicShape& shape, const StoneLook& look, const StoneEdge* edges,
                        int count, float y, int first, int last) {
    const float per_bevel = 1 / shape.bevel, per_reach = 1 / shape.grout_reach, per_alpha = 1 / shape.alpha_reach;
    for (int x = first; x < last; x += LANES) {
        const Floats px = counting<Floats>() + (float(x) + 0.5f);
        Floats most = all<Floats>(-1e9f), corner = {}, foot = {}, gx = {}, gy = {};
        for (int i = 0; i < count; ++i) {
            const Side side = Kind::side(edges[i], px, y);
            most = larger(most, side.distance);
            const Floats near = larger(side.distance + shape.corner, Floats{});
            corner = corner + near * near;
            const Floats on_bevel = larger(side.distance + shape.bevel, Floats{});
            foot = foot + on_bevel * on_bevel;
            gx = gx + on_bevel * side.nx;
            gy = gy + on_bevel * side.ny;
        }
        const Floats distance = most < -shape.corner ? most : square_root(corner) - shape.corner;
        const Floats cover = to_unit(0.5f - distance);

        // The slope grows across the bevel; beyond its foot it stays what it is there.
        const Floats length = square_root(foot);
        const Floats slope = shape.relief / larger(length, all<Floats>(shape.bevel));
        Floats nx = gx * slope + look.tilt_x, ny = gy * slope + look.tilt_y;
        Floats tone = all<Floats>(1.0f);
        if (look.roughness > 0) {
            nx = nx + look.roughness * load(look.texture_x + x);
            ny = ny + look.roughness * load(look.texture_y + x);
            tone = tone + 0.3f * look.roughness * load(look.texture_tone + x);
        }
        const Floats upright = 1.0f / square_root(nx * nx + ny * ny + 1.0f);
        const Floats lambert = larger((nx * look.lamp[0] + ny * look.lamp[1] + 1.0f) * upright, Floats{});
        const Floats shade = tone * (AMBIENT + (1 - AMBIENT) * lambert);
        const Floats cosine = (nx * look.half[0] + ny * look.half[1] + look.half[2]) * upright;
        const Floats facing = larger(1.0f - shape.gloss * (1.0f - cosine), Floats{});
        const Floats twice = facing * facing, four = twice * twice, gleam = cover * (four * four), lit = cover * shade;
        store(row.red + x, load(row.red + x) + (lit * look.colour[0] + gleam * look.gleam[0]));
        store(row.green + x, load(row.green + x) + (lit * look.colour[1] + gleam * look.gleam[1]));
        store(row.blue + x, load(row.blue + x) + (lit * look.colour[2] + gleam * look.gleam[2]));
        store(row.lit + x, load(row.lit + x) + lit);
        store(row.cover + x, load(row.cover + x) + cover);

        // Grout is darker beside stones, most so on the side away from the lamp.
        const Floats beside = to_unit(1.0f - distance * per_reach);
        const Floats away = to_unit((gx * look.lamp[0] + gy * look.lamp[1]) * -1.0f * per_bevel);
        const Floats shadow = shape.grout_depth * beside * (0.45f + 0.55f * away);
        store(row.grout + x, load(row.grout + x) * (1.0f - shadow));
        const Floats weight = to_unit(1.0f - distance * per_alpha);
        store(row.alpha + x, load(row.alpha + x) + weight * look.alpha);
        store(row.alpha_weight + x, load(row.alpha_weight + x) + weight);
    }
}

static void straight(const MosaicRow& row, const MosaicShape& shape, const StoneLook& look, const StoneEdge* edges,
                     int count, float y, int first, int last) {
    add<Straight>(row, shape, look, edges, count, y, first, last);
}
static void round(const MosaicRow& row, const MosaicShape& shape, const StoneLook& look, const StoneEdge* edges,
                  int count, float y, int first, int last) {
    add<Round>(row, shape, look, edges, count, y, first, last);
}

static void finish(const MosaicRow& row, const MosaicFinish& how, const float* picture, float* out, int width) {
    const Pixel grout = {how.grout[0], how.grout[1], how.grout[2], 0};
    for (int x = 0; x < width; ++x) {
        const Pixel source = load<Pixel>(picture + 4 * x);
        const float cover = row.cover[x], most = cover > 1 ? 1 / cover : 1.0f;
        Pixel stones = Pixel{row.red[x], row.green[x], row.blue[x], 0} * most;
        stones += (how.print * row.lit[x] * most) * source;
        const float covered = cover > 1 ? 1.0f : cover;
        const float weight = row.alpha_weight[x];
        float alpha = weight > 0 ? row.alpha[x] / weight : source[3];
        Pixel pixel;
        if (how.clear_grout) {
            pixel = covered > 0 ? stones / covered : Pixel{};
            alpha *= covered;
        } else {
            float bare = (1 - covered) * row.grout[x];
            if (how.mortar) bare *= larger(1 + how.mortar_grain * how.mortar[x], 0.0f);
            pixel = stones + grout * bare;
        }
        pixel[3] = alpha;
        store(out + 4 * x, source + how.mix * (pixel - source));
    }
}

}  // namespace

const MosaicKernels mosaic_kernels = {straight, round, finish};

}  // namespace QUILLON_SIMD
