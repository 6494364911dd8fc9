#include "effects/sky/Sky_simd.h"

#include "simdlib/elementary.h"
#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

constexpr float OBSERVER = 0.99F;      // height of the camera over the middle of the shell, of radius about 1
constexpr float FARTHEST_TILE = 1e6F;  // beyond it a float cannot tell places on a tile apart
constexpr int HALF = LANES / 2;

struct Three {
    Floats x, y, z;
};

static inline Floats dot(const Three& a, const float* b) { return a.x * b[0] + a.y * b[1] + a.z * b[2]; }

// A function of doubles in all lanes, with two registers of them side by side.
template <class Function, class... Arguments>
static inline Floats in_doubles(Function function, const Arguments&... arguments) {
    alignas(64) float result[LANES];
    for (int half = 0; half < LANES; half += HALF) {
        const auto part = [&](const Floats& all_lanes) {
            alignas(64) float numbers[LANES];
            store_aligned(numbers, all_lanes);
            return to_doubles(load<Vec<float, HALF>>(numbers + half));
        };
        store(result + half, to_floats(function(part(arguments)...)));
    }
    return load_aligned(result);
}

static inline Floats exponential(Floats v) {
    return in_doubles([](Doubles d) { return elementary::exp(d); }, v);
}

// ---- Clouds -------------------------------------------------------------------------------------------------------

// Where lines of sight meet the shell; `distance` is not above 0 where they do not.
struct Hit {
    Floats distance;
    Three point;
};

// The larger root of t^2 + 2 * OBSERVER * y * t + shell, in the form that loses no digits.
static inline Hit hit_of(const SkyView& view, const Three& v) {
    const Floats zero = {};
    const Floats b = (2.0F * OBSERVER) * v.y;
    const Floats root = square_root(b * b - 4.0F * view.shell);
    const Floats q = -0.5F * (b + (b < zero ? -root : root));
    const Floats t = larger(view.shell / q, q);
    return {t, {t * v.x, OBSERVER + t * v.y, t * v.z}};
}

// The four neighbours of a place on the maps and their weights.
struct MapPlace {
    Ints index[4];
    Floats weight[4];
};

static inline Floats on_tile(Floats place, float scale, float size) {
    const Floats tiles = limited(place * scale + 0.5F, Floats{} - FARTHEST_TILE, Floats{} + FARTHEST_TILE);
    const Floats cut = to_floats(to_ints(tiles)), whole = cut > tiles ? cut - 1.0F : cut;
    return (tiles - whole) * size + 0.5F;  // up to size + 0.5
}

static inline MapPlace place_of(const SkyView& view, const Three& p) {
    const float size = static_cast<float>(view.size);
    const Floats u = on_tile(p.x, view.tile_scale, size), w = on_tile(p.z, view.tile_scale, size);
    const Ints n = Ints{} + view.size, zero = {};
    const Ints left = to_ints(u), low = to_ints(w);
    const Floats fx = u - to_floats(left), fy = w - to_floats(low);
    const Ints x0 = left >= n ? left - n : left, y0 = low >= n ? low - n : low;
    const Ints x1 = x0 + 1 >= n ? zero : x0 + 1, y1 = y0 + 1 >= n ? zero : y0 + 1;
    return {{y0 * n + x0, y0 * n + x1, y1 * n + x0, y1 * n + x1},
            {(1.0F - fx) * (1.0F - fy), fx * (1.0F - fy), (1.0F - fx) * fy, fx * fy}};
}

// Of number `channel` of pixels of `step` numbers.
static inline Floats read(const float* map, int step, int channel, const MapPlace& place) {
    Floats sum = {};
    for (int i = 0; i < 4; ++i) sum += place.weight[i] * gather(map + channel, place.index[i] * step);
    return sum;
}

static inline Floats cover_at(const SkyView& view, const MapPlace& place) {
    return to_unit(read(view.density, 1, 0, place) * view.cover);
}

// ---- Light --------------------------------------------------------------------------------------------------------

struct Light {
    Floats r, g, b, a;
    void add(Floats amount, const float* colour) {
        r += amount * colour[0];
        g += amount * colour[1];
        b += amount * colour[2];
        a += amount;
    }
};

// Light of the sun on one side of the clouds' bumps.
static inline Floats on_bumps(const SkyView& view, Floats nx, Floats ny, Floats nz) {
    const float under = view.under_lighting;
    const Floats f =
        (1.0F - 0.5F * under) * (nx * view.sun[0] + ny * view.sun[1] + nz * view.sun[2]) + 0.5F * under * under;
    const Floats lit = larger(f, Floats{});
    return lit * lit;
}

static inline void light_clouds(const SkyView& view, const MapPlace& place, const Three& point, Floats cover,
                                Floats corona, Light& light) {
    const Floats zero = {};
    if (view.gradient) {
        const Floats gx = read(view.gradient, 2, 0, place), gz = read(view.gradient, 2, 1, place);
        const Floats nx = -gx * view.bump, nz = -gz * view.bump;
        const Floats scale = 1.0F / square_root(nx * nx + nz * nz + 1.0F);
        const Floats strength = (corona + view.sun_brightness) * 10.0F * cover;
        if (view.light_edges)
            light.add(strength * on_bumps(view, nx * scale, scale, nz * scale) * (1.0F - cover), view.sun_colour);
        light.add(strength * on_bumps(view, nx * scale, -scale, nz * scale), view.sun_colour);
    }
    const Floats facing = 0.5F + 0.5F * dot(point, view.sun);
    const Floats own = cover * smaller(facing * facing, zero + 1.0F) * view.cloud_brightness;
    light.add(own, view.cloud_colour);
}

struct Turn {  // a complex number of length 1
    Floats cosine, sine;
};
static inline Turn after(const Turn& a, const Turn& b) {
    return {a.cosine * b.cosine - a.sine * b.sine, a.cosine * b.sine + a.sine * b.cosine};
}

// Half the angle of (x, y), of either sign. The larger part by a root, so that the other loses no digits.
static inline Turn half_angle(Floats x, Floats y) {
    const Floats zero = {}, length = square_root(x * x + y * y);
    const Floats scale = length > zero ? 1.0F / length : zero;
    const Floats cosine = length > zero ? x * scale : zero + 1.0F, sine = y * scale;
    const Floats large = square_root(0.5F + 0.5F * absolute(cosine)), small = sine * 0.5F / large;
    return {cosine < zero ? small : large, cosine < zero ? large : small};
}

// A flare of rays, with the absolute cosine of half as many turns as there are spokes. `miss` is 1 - the squared cosine
// of the angle to the sun.
static inline Floats flare_at(const SkyView& view, Floats x, float y, Floats miss) {
    const Floats zero = {};
    Turn power = half_angle(zero + (y - view.sun_y), x - view.sun_x);
    Turn spoke = {zero + view.flare_cosine, zero + view.flare_sine};
    for (int count = view.flare_spokes; count > 0; count /= 2) {
        if (count % 2) spoke = after(spoke, power);
        power = after(power, power);
    }
    const Floats sharpness = absolute(spoke.cosine) * view.flare_sharpness;
    return exponential(-(sharpness + 0.1F) * view.flare_stretch * miss) * view.flare;
}

// ---- Pixels -------------------------------------------------------------------------------------------------------

static inline Three normalised(const Three& v) {
    constexpr float SHORTEST = 1e-10F;
    const Floats length = square_root(v.x * v.x + v.y * v.y + v.z * v.z);
    const Floats scale = length > Floats{} + SHORTEST ? 1.0F / length : Floats{} + 1.0F;
    return {v.x * scale, v.y * scale, v.z * scale};
}

static inline Three line_of_sight(const SkyView& view, Floats x, float y) {
    const Floats across = x * view.x_scale + view.x_first;
    const float up = y * view.y_scale + view.y_first;
    return normalised({view.forward[0] + across * view.right[0] + up * view.up[0],
                       view.forward[1] + across * view.right[1] + up * view.up[1],
                       view.forward[2] + across * view.right[2] + up * view.up[2]});
}

static inline Floats exposed(Floats light, float exposure) {
    return larger(1.0F - exponential(-light * exposure), Floats{});
}

static inline Planes sky_at(const SkyView& view, Floats x, float y) {
    const Floats zero = {}, one = zero + 1.0F;
    const Three v = line_of_sight(view, x, y);
    const Hit hit = hit_of(view, v);
    const MapPlace place = place_of(view, hit.point);
    const Floats cover = cover_at(view, place), gap = 1.0F - cover;

    const Floats towards = dot(v, view.sun), s = larger(towards, zero), miss = 1.0F - s * s;
    const Floats behind = (view.haze_distance - hit.distance) * view.haze;
    const Floats haze = hit.distance <= zero + view.haze_distance ? exponential(-behind * behind) : one;
    const Floats clear = 1.0F - haze;

    const Floats spread = (clear + 1.0F) * view.corona_stretch / (clear * cover + 1.0F + view.red_shift);
    const Floats glow = exponential(-miss * spread);
    const Floats corona = (glow * 0.5F + glow * glow) * view.corona_brightness;
    const Floats lit = exponential(-miss * view.sun_stretch) * (10.0F * view.sun_brightness) + corona;
    Light light = {lit * gap * view.sun_colour[0], lit * gap * view.sun_colour[1], lit * gap * view.sun_colour[2], lit};
    if (!all_set(cover <= zero)) light_clouds(view, place, hit.point, cover, corona, light);

    light = {clear * light.r, clear * light.g, clear * light.b, clear * light.a};
    light.add(haze, view.haze_colour);
    if (view.haze_corona) light.add((1.0F - clear * cover) * corona, view.sun_colour);
    if (view.flare != 0.0F) light.add(flare_at(view, x, y, miss), view.sun_colour);

    light.a = to_unit(larger(light.a, haze + clear * cover));
    light.a = larger(light.a, larger(larger(light.r, light.g), light.b));
    const Floats height = larger(v.y, zero), air = clear * gap * view.ambient;
    light.r += ((view.zenith[0] - view.horizon[0]) * height + view.horizon[0]) * air;
    light.g += ((view.zenith[1] - view.horizon[1]) * height + view.horizon[1]) * air;
    light.b += ((view.zenith[2] - view.horizon[2]) * height + view.horizon[2]) * air;

    const Ints is_hit = hit.distance > zero;
    return {is_hit ? exposed(light.r, view.exposure) : zero, is_hit ? exposed(light.g, view.exposure) : zero,
            is_hit ? exposed(light.b, view.exposure) : zero, is_hit ? exposed(light.a, view.exposure) : zero};
}

static void shade_row(const SkyView& view, int y, bool over, float* pixels, int count) {
    const Floats middles = lane_pixels() + 0.5F;
    const float row = static_cast<float>(y) + 0.5F;
    for_planes(pixels, count, [&](const Planes& below, int first) -> Planes {
        const Planes sky = sky_at(view, middles + static_cast<float>(first), row);
        if (!over) return sky;
        const Floats through = 1.0F - sky.a;
        return {sky.r + below.r * through, sky.g + below.g * through, sky.b + below.b * through,
                sky.a + below.a * through};
    });
}

static float cover_along(const SkyView& view, const float direction[3]) {
    const Floats zero = {};
    const Hit hit = hit_of(view, {zero + direction[0], zero + direction[1], zero + direction[2]});
    return hit.distance[0] > 0.0F ? cover_at(view, place_of(view, hit.point))[0] : 1.0F;
}

}  // namespace

const SkyKernels sky_kernels = {shade_row, cover_along};

}  // namespace QUILLON_SIMD
