#include "effects/natural/FireBall_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// ---- The place in the gas -------------------------------------------------------------------------------------

// Between two rings there is one at every part t of the way, with its middle at t D and a radius of r + t dr. The first
// one that covers a place X that ring 0 does not is the smaller root of |X - t D| = r + t dr.
void find(const FireRings& rings, const float* x, const float* y, int count, float* const* fields) {
    const Floats one = all<Floats>(1.0F);
    for (int i = 0; i < count; i += LANES) {
        const Floats X = load(x + i), Y = load(y + i);
        Floats dx = X - rings.x[0], dy = Y - rings.y[0];
        Floats squared = dx * dx + dy * dy;
        const float inverse = 1 / rings.radius[0];
        Floats deepest = (rings.radius[0] - square_root(squared)) * inverse;
        // The ball is a cap on the rod; its slope at the rim is about that of gas which leaves it.
        const Floats cap = 0.5F * larger(1.0F - squared * (inverse * inverse), Floats{});
        Floats along = rings.along[0] + cap, age = {}, nx = dx * inverse, ny = dy * inverse;
        Ints found = deepest >= 0.0F;
        for (int j = 1; j < rings.count; ++j) {
            const float way_x = rings.x[j] - rings.x[j - 1], way_y = rings.y[j] - rings.y[j - 1];
            const float radius = rings.radius[j - 1], wider = rings.radius[j] - radius;
            const float way = way_x * way_x + way_y * way_y;
            const Floats forward = dx * way_x + dy * way_y;
            // Where it is nearest to the rings' middles
            const Floats nearest = to_unit(forward * (1 / (way + 1e-12F)));
            const Floats off_x = dx - nearest * way_x, off_y = dy - nearest * way_y, there = radius + nearest * wider;
            const Floats depth = (there - square_root(off_x * off_x + off_y * off_y)) / there;
            const Floats b = forward + radius * wider, c = squared - radius * radius;
            const Floats root = square_root(larger(b * b - c * (way - wider * wider), Floats{}));
            const Floats met = c / (b + root + 1e-12F);
            const Ints covers = (b > 0.0F) & (depth >= 0.0F) & (met >= 0.0F) & (met <= 1.0F);
            dx = X - rings.x[j], dy = Y - rings.y[j];
            squared = dx * dx + dy * dy;
            const Ints ends_within = squared <= rings.radius[j] * rings.radius[j];
            const Ints take = ~found & (covers | ends_within | (depth > deepest));
            const Floats t = covers ? met : (ends_within ? one : nearest);
            const Floats ex = dx + (1.0F - t) * way_x, ey = dy + (1.0F - t) * way_y;
            const Floats length = larger(square_root(ex * ex + ey * ey), all<Floats>(1e-9F));
            nx = take ? ex / length : nx, ny = take ? ey / length : ny;
            along = take ? rings.along[j - 1] + t * (rings.along[j] - rings.along[j - 1]) : along;
            age = take ? rings.age[j - 1] + t * (rings.age[j] - rings.age[j - 1]) : age;
            found = found | covers | ends_within;
            deepest = larger(deepest, depth);
        }
        const Floats results[] = {along, nx, ny, age, deepest};
        for (int f = 0; f < FIRE_CORE; ++f) store(fields[f] + i, results[f]);
    }
}

void read(const FireGridView& grid, float x, float step, float y, int count, const FireRow& row) {
    using Cell = Vec<float, 8>;
    const float v = limited((y - grid.bottom) * grid.cells_a_width, 0.0F, static_cast<float>(grid.height - 1) - 1e-3F);
    const int j = static_cast<int>(v);
    const float part_y = v - static_cast<float>(j);
    const float* lower = grid.cells + static_cast<std::size_t>(j) * static_cast<std::size_t>(grid.width) * FIRE_FIELDS;
    const float* upper = lower + static_cast<std::size_t>(grid.width) * FIRE_FIELDS;
    const float most = static_cast<float>(grid.width - 1) - 1e-3F;
    for (int i = 0; i < count; ++i) {
        const float u = limited((x + step * static_cast<float>(i) - grid.left) * grid.cells_a_width, 0.0F, most);
        const int column = static_cast<int>(u);
        const float part_x = u - static_cast<float>(column);
        const auto offset = static_cast<std::size_t>(column) * FIRE_FIELDS;
        const Cell a = load<Cell>(lower + offset), b = load<Cell>(lower + offset + FIRE_FIELDS);
        const Cell c = load<Cell>(upper + offset), d = load<Cell>(upper + offset + FIRE_FIELDS);
        const Cell low = a + part_x * (b - a), high = c + part_x * (d - c);
        const Cell cell = low + part_y * (high - low);
        for (int f = 0; f <= FIRE_CORE; ++f) row.field[f][i] = cell[f];
    }
}

// ---- Turbulence -----------------------------------------------------------------------------------------------

void begin(float scale, float along_scale, float slide, int count, const FireRow& row) {
    for (int i = 0; i < count; i += LANES) {
        store(row.u + i, load(row.field[FIRE_NX] + i) * scale + 7.3F);
        store(row.v + i, load(row.field[FIRE_NY] + i) * scale + 3.1F);
        store(row.w + i, load(row.field[FIRE_ALONG] + i) * along_scale + slide);
        store(row.sum + i, Floats{});
    }
}

void octave(const FireOctave& octave, int count, const FireRow& row) {
    const float warp = octave.warp, scale = octave.scale;
    for (int i = 0; i < count; i += LANES) {
        const Floats n = load(row.noise + i);
        const Floats filament = 0.55F - 2.6F * absolute(n), lump = 1.5F * n;
        store(row.sum + i, load(row.sum + i) + octave.amount * (lump + octave.ridge * (filament - lump)));
        store(row.u + i, load(row.u + i) * scale + warp * n);
        store(row.v + i, load(row.v + i) * scale - 0.7F * warp * n);
        store(row.w + i, load(row.w + i) * scale + octave.slide + 0.6F * warp * n);
    }
}

// ---- Light ----------------------------------------------------------------------------------------------------

QUILLON_VECTOR Floats ramp(Floats v) {
    const Floats t = to_unit(v);
    return t * t * (3.0F - 2.0F * t);
}
// How much gas is seen through at a depth: as through a round rod.
QUILLON_VECTOR Floats thickness(Floats depth) {
    const Floats shallow = 1.0F - depth;
    return square_root(1.0F - shallow * shallow);
}

void shade(const FireLook& look, int count, const FireRow& row) {
    for (int i = 0; i < count; i += LANES) {
        const Floats age = load(row.field[FIRE_AGE] + i), depth = to_unit(load(row.field[FIRE_DEPTH] + i));
        const Floats young = to_unit(1.0F - age);
        const Floats round = thickness(depth);
        const Floats thick = round + look.softness * (depth * depth - round);
        const Floats wild = look.turbulence * (0.55F + 0.45F * ramp(age * 2.5F));
        const Floats centre = look.core * ramp(1.0F - load(row.field[FIRE_CORE] + i) * look.core_reach);
        const Floats level = thick + centre + wild * load(row.sum + i) - 0.55F - look.break_up * age;
        const Floats fuel = larger(1.0F - look.cooling * age, Floats{});
        const Floats burning = limited(level * 1.2F, Floats{}, all<Floats>(3.0F));
        const Floats heat = burning * fuel * ramp(depth * 4.0F) * ramp(young * 4.0F);
        const Floats squared = heat * heat;
        const Floats contrasty = squared * heat * look.contrast + squared * (0.5F * (1.0F - look.contrast));
        const Floats cover = look.opacity * squared * (1.2F + heat);
        store(row.u + i, look.brightness * contrasty);
        store(row.v + i, ramp(heat * 1.4F));
        store(row.w + i, cover / (1.0F + cover));
    }
    const Pixel edge = {look.edge[0], look.edge[1], look.edge[2], 0};
    const Pixel warmer = Pixel{look.flame[0], look.flame[1], look.flame[2], 0} - edge;
    for (int i = 0; i < count; ++i) {
        Pixel pixel = row.u[i] * (edge + row.v[i] * warmer);
        pixel[3] = row.w[i];
        store(row.pixels + 4L * i, pixel);
    }
}

void thicken(const FireSmoke& look, int count, const FireRow& row, float* density) {
    for (int i = 0; i < count; i += LANES) {
        const Floats age = load(row.field[FIRE_AGE] + i), depth = to_unit(load(row.field[FIRE_DEPTH] + i));
        const Floats left = to_unit((look.last - age) / (look.last - 0.9F));
        const Floats fresh = ramp((age - 0.15F) * 1.4F);
        const Floats level = thickness(depth) + look.lumps * load(row.sum + i) - 0.2F - 0.5F * (1.0F - left);
        store(row.u + i, look.opacity * fresh * ramp(depth * 3.0F) * ramp(level * 1.1F) * (0.3F + 0.7F * left) *
                             ramp(left * 3.0F));
    }
    __builtin_memcpy(density, row.u, sizeof(float) * static_cast<std::size_t>(count));
}

// ---- The picture ----------------------------------------------------------------------------------------------

void smear(const FirePixels& from, int y, int first, int count, const float* weights, float dx, float dy, int taps,
           float* to) {
    const float right = static_cast<float>(from.width - 1), top = static_cast<float>(from.height - 1);
    for (int i = 0; i < count; ++i, to += 4) {
        if (!(weights[i] > 0.0F)) {
            store(to, load<Pixel>(from.pixels + from.pitch * y + 4L * (first + i)));
            continue;
        }
        const float step_x = weights[i] * dx / static_cast<float>(taps);
        const float step_y = weights[i] * dy / static_cast<float>(taps);
        float u = static_cast<float>(first + i) - 0.5F * step_x * static_cast<float>(taps - 1);
        float v = static_cast<float>(y) - 0.5F * step_y * static_cast<float>(taps - 1);
        Pixel sum = {};
        for (int t = 0; t < taps; ++t, u += step_x, v += step_y) {
            const float px = limited(u, 0.0F, right), py = limited(v, 0.0F, top);
            const int column = static_cast<int>(px), line = static_cast<int>(py);
            const float part_x = px - static_cast<float>(column), part_y = py - static_cast<float>(line);
            const float* a = from.pixels + from.pitch * line + 4L * column;
            const long next = column + 1 < from.width ? 4 : 0, above = line + 1 < from.height ? from.pitch : 0;
            const Pixel low = load<Pixel>(a) + part_x * (load<Pixel>(a + next) - load<Pixel>(a));
            const float* b = a + above;
            const Pixel high = load<Pixel>(b) + part_x * (load<Pixel>(b + next) - load<Pixel>(b));
            sum += low + part_y * (high - low);
        }
        store(to, sum * (1.0F / static_cast<float>(taps)));
    }
}

// 1 - exp(-x), nearly.
QUILLON_VECTOR Floats shoulder(Floats x) { return 1.0F - 1.0F / (1.0F + x * (1.0F + x * (0.5F + x * 0.1666667F))); }

// Pixels are composed in chunks, in which what is laid over them stands in arrays as long as the chunk.
constexpr int CHUNK = 64;
static_assert(CHUNK % (LANES / 4) == 0);

struct Chunk {
    alignas(64) float glow[4 * CHUNK], smoke[4 * CHUNK], fire[4 * CHUNK], picture[4 * CHUNK];
};

// The glow of a chunk's pixels. False: there is none.
bool spread_glow(const FireCover& cover, int first, float* to) {
    const auto place_of = [&](int x) {
        return (static_cast<float>(x) + 0.5F) / static_cast<float>(cover.block) + 0.5F;
    };
    Pixel any = {};
    for (int i = static_cast<int>(place_of(first)); i <= static_cast<int>(place_of(first + CHUNK - 1)) + 1; ++i)
        any += load<Pixel>(cover.glow + 4L * (i < cover.blocks ? i : cover.blocks - 1));
    if (!(any[0] + any[1] + any[2] > 0.0F)) return false;
    for (int x = 0; x < CHUNK; ++x) {
        const float place = place_of(first + x);
        const int i = static_cast<int>(place) < cover.blocks - 2 ? static_cast<int>(place) : cover.blocks - 2;
        const Pixel a = load<Pixel>(cover.glow + 4L * i), b = load<Pixel>(cover.glow + 4L * i + 4);
        store(to + 4L * x, a + (place - static_cast<float>(i)) * (b - a));
    }
    return true;
}
bool spread_smoke(const FireCover& cover, int first, float* to) {
    if (!cover.smoke || first + CHUNK < 2 * cover.smoke_first || first > 2 * (cover.smoke_first + cover.smoke_count))
        return false;
    for (int x = first; x < first + CHUNK; ++x, to += 4) {
        const int s = (x >> 1) - cover.smoke_first + ((x & 1) - 1);
        Pixel smoke = {};
        if (s >= 0 && s + 1 < cover.smoke_count) {
            const Pixel a = load<Pixel>(cover.smoke + 4L * s), b = load<Pixel>(cover.smoke + 4L * s + 4);
            smoke = a + ((x & 1) != 0 ? 0.25F : 0.75F) * (b - a);
        }
        store(to, smoke);
    }
    return true;
}
bool spread_fire(const FireCover& cover, int first, float* to) {
    if (!cover.fire || first + CHUNK <= cover.first || first >= cover.first + cover.count) return false;
    for (int x = first - cover.first; x < first - cover.first + CHUNK; ++x, to += 4)
        store(to, x >= 0 && x < cover.count ? load<Pixel>(cover.fire + 4L * x) : Pixel{});
    return true;
}

template <bool WITH_SMOKE, bool WITH_FIRE>
inline void compose_chunk(const Chunk& chunk, float lit, float* picture) {
    Floats colours = all<Floats>(1.0F);
    for (int i = 3; i < LANES; i += 4) colours[i] = 0.0F;
    const Ints is_alpha = colours == 0.0F;
    const Floats one = all<Floats>(1.0F), lights = lit * colours;
    for (int i = 0; i < 4 * CHUNK; i += LANES) {
        Floats there = load(picture + i), light = load(chunk.glow + i) * colours;
        there += there * light * lights;
        if constexpr (WITH_SMOKE) {
            const Floats smoke = load(chunk.smoke + i);
            there = there * (1.0F - spread<3>(smoke)) + smoke;
        }
        Floats opacity = {};
        if constexpr (WITH_FIRE) {
            const Floats fire = load(chunk.fire + i);
            opacity = spread<3>(fire);
            light += fire * colours;
            there = there * (1.0F - opacity);
        }
        const Floats shown = shoulder(light);
        const Floats brightest = larger(larger(spread<0>(shown), spread<1>(shown)), spread<2>(shown));
        const Floats alpha = there + opacity;
        const Floats result = there + shown * (1.0F - smaller(there, one));
        store(picture + i, is_alpha ? alpha + (1.0F - to_unit(alpha)) * brightest : result);
    }
}

void compose(const FireCover& cover, float* picture, int width) {
    Chunk chunk;
    for (int x = 0; x < width; x += CHUNK) {
        const bool glows = cover.glow && spread_glow(cover, x, chunk.glow);
        const bool smokes = spread_smoke(cover, x, chunk.smoke), burns = spread_fire(cover, x, chunk.fire);
        if (!glows && !smokes && !burns) continue;
        if (!glows) __builtin_memset(chunk.glow, 0, sizeof chunk.glow);
        const bool whole = x + CHUNK <= width;
        const std::size_t bytes = 16 * static_cast<std::size_t>(whole ? CHUNK : width - x);
        float* pixels = whole ? picture + 4L * x : chunk.picture;
        if (!whole) {
            __builtin_memset(chunk.picture, 0, sizeof chunk.picture);
            __builtin_memcpy(pixels, picture + 4L * x, bytes);
        }
        if (smokes)
            burns ? compose_chunk<true, true>(chunk, cover.light, pixels)
                  : compose_chunk<true, false>(chunk, cover.light, pixels);
        else
            burns ? compose_chunk<false, true>(chunk, cover.light, pixels)
                  : compose_chunk<false, false>(chunk, cover.light, pixels);
        if (!whole) __builtin_memcpy(picture + 4L * x, pixels, bytes);
    }
}

void hide(const float* without, const float* matte, float* picture, int width) {
    for (int x = 0; x < width; ++x) {
        const Pixel before = load<Pixel>(without + 4L * x);
        store(picture + 4L * x, before + limited(matte[x], 0.0F, 1.0F) * (load<Pixel>(picture + 4L * x) - before));
    }
}

}  // namespace

const FireKernels fire_kernels = {find, read, begin, octave, shade, thicken, smear, compose, hide};

}  // namespace QUILLON_SIMD
