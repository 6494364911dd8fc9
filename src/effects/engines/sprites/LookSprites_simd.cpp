#include "effects/engines/sprites/LookSprites_simd.h"

#include <array>
#include <utility>

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr int CHUNK = 64;          // pixels whose coverage is worked out at once
constexpr int AHEAD = 3;           // sprites whose pixels are on their way
constexpr int RECORDS_AHEAD = 10;  // and those that are on their way themselves: a band's lie anywhere

// Rises from 0 to 1 without corners.
template <class V>
QUILLON_VECTOR V eased(V t) {
    t = to_unit(t);
    return t * t * (3.0f - 2.0f * t);
}

// ---- Shapes -------------------------------------------------------------------------------------------------------
// A shape is made for a sprite and gives the coverage at places relative to its middle, in pixel widths.

// Points, blobs and streaks: distance to the way that the middle took while the shutter was open. What is swept is
// fainter, so that its light stays the same; a streak is a look of its own and thins out to its end. Squares of
// distances are compared, which needs no roots.
template <SpriteLook LOOK>
struct Swept {
    float way_x, way_y, along_x, along_y, taper, radius, square, slope, gain;

    Swept(const LookSprite& s, float softness) {
        const float way = s.way_x * s.way_x + s.way_y * s.way_y;
        const bool moves = way > 0.0625f;
        way_x = moves ? s.way_x : 0, way_y = moves ? s.way_y : 0;
        const float per_way = moves ? 1 / way : 0;
        along_x = way_x * per_way, along_y = way_y * per_way;
        const float least = LOOK == SpriteLook::blob ? 1.4f : 0.95f;  // bells need more room than discs
        const float drawn = larger(s.radius, least), shrunk = s.radius / drawn;
        taper = LOOK == SpriteLook::streak ? 0.85f : 0.0f;
        if (LOOK == SpriteLook::streak)
            gain = shrunk * (moves ? 1.0f : shrunk);
        else
            gain = shrunk * shrunk * (moves ? 1.57f * drawn / (1.57f * drawn + way * per_way * square_root(way)) : 1);
        // Edges are a pixel wide at least. Those of discs lie about the radius, those of bells end there.
        const float edge = larger(softness * drawn, LOOK_EDGE);
        radius = LOOK == SpriteLook::blob ? larger(drawn, edge) : drawn + smaller(0.5f * edge, drawn);
        square = radius * radius;
        slope = 1 / (LOOK == SpriteLook::blob && softness >= 1 ? square : edge * (2 * radius - edge));
    }
    float reach() const { return radius; }
    Floats operator()(Floats dx, Floats dy) const {
        if (LOOK == SpriteLook::streak) {
            const Floats t = to_unit(dx * along_x + dy * along_y), thin = 1.0f - taper * t;
            const Floats ex = dx - t * way_x, ey = dy - t * way_y;
            return eased((square * thin * thin - (ex * ex + ey * ey)) * slope) * (gain * thin);
        }
        const Floats t = to_unit(dx * along_x + dy * along_y);
        const Floats ex = dx - t * way_x, ey = dy - t * way_y;
        const Floats inside = to_unit((square - (ex * ex + ey * ey)) * slope);
        if (LOOK == SpriteLook::blob) return inside * inside * gain;
        return inside * inside * (3.0f - 2.0f * inside) * gain;
    }
};

struct Star {
    float cosine, sine, per_radius, width, radius, core_size, gain;
    Star(const LookSprite& s, float) : cosine(s.cosine), sine(s.sine), radius(larger(s.radius, 2.5f)) {
        per_radius = 1 / radius;
        width = larger(0.05f, 0.8f * per_radius);
        core_size = smaller(14.0f, 0.45f * radius * radius);  // no smaller than pixels can show
        gain = s.radius * per_radius * (s.radius * per_radius);
    }
    float reach() const { return radius; }
    Floats operator()(Floats dx, Floats dy) const {
        const Floats u = absolute(cosine * dx + sine * dy) * per_radius;
        const Floats v = absolute(cosine * dy - sine * dx) * per_radius;
        const Floats q = u * u + v * v;
        const Floats along = to_unit(1.0f - u), across = to_unit(1.0f - v);
        const Floats first = to_unit(1.0f - v / (width + 0.08f * along * along));
        const Floats second = to_unit(1.0f - u / (width + 0.08f * across * across));
        const Floats core = to_unit(1.0f - core_size * q), haze = to_unit(1.0f - q);
        const Floats rays = along * along * along * first * first + across * across * across * second * second;
        return smaller(core * core + 0.8f * rays + 0.16f * haze * haze * haze * haze, Floats{} + 1.0f) * gain;
    }
};

struct Ring {
    float radius, middle, per_edge, fill;
    Ring(const LookSprite& s, float) : radius(larger(s.radius, 0.8f)) {
        const float edge = larger(0.16f * radius, LOOK_EDGE);
        middle = larger(radius - edge, 0.0f);
        per_edge = 1 / edge;
        fill = 0.1f;
    }
    float reach() const { return radius + 0.5f; }
    Floats operator()(Floats dx, Floats dy) const {
        const Floats r = square_root(dx * dx + dy * dy);
        const Floats rim = eased(1.0f - absolute(r - middle) * per_edge);
        return larger(rim, fill * eased((middle - r) * per_edge + 0.5f));
    }
};

// A crystal of six arms with two pairs of branches. The plane is folded about the lines of its symmetry, so that one
// half of an arm is worked out.
struct Flake {
    float cosine, sine, per_radius, per_height, soft, radius;
    Flake(const LookSprite& s, float) : cosine(s.cosine), sine(s.sine), radius(larger(s.radius, 0.8f)) {
        per_radius = 1 / radius;
        per_height = per_radius / larger(absolute(s.squash), 0.15f);
        soft = larger(0.09f, 0.9f * per_radius);
    }
    float reach() const { return 1.1f * radius; }
    static Floats bar(Floats x, Floats y, float from, float length, float width) {
        constexpr float COSINE = 0.5f, SINE = 0.8660254f;
        const Floats dx = x - from;
        const Floats along = limited(dx * COSINE + y * SINE, Floats{}, Floats{} + length);
        const Floats ex = dx - along * COSINE, ey = y - along * SINE;
        return width - square_root(ex * ex + ey * ey);
    }
    Floats operator()(Floats dx, Floats dy) const {
        Floats x = absolute(cosine * dx + sine * dy) * per_radius;
        Floats y = absolute(cosine * dy - sine * dx) * per_height;
        const Floats square = x * x + y * y;
        const Floats beyond = larger(0.8660254f * y - 0.5f * x, Floats{});  // of the line at 30 degrees
        x = x + beyond;
        y = absolute(y - 1.7320508f * beyond);
        Floats depth = 0.06f - larger(y, x - 1.0f);
        depth = larger(depth, 0.2f - x);
        depth = larger(depth, bar(x, y, 0.42f, 0.34f, 0.05f));
        depth = larger(depth, bar(x, y, 0.7f, 0.2f, 0.045f));
        const Floats haze = to_unit(1.0f - square);
        return smaller(eased((depth + soft) * (0.5f / soft)) * (1.0f - 0.35f * square) + 0.22f * haze * haze,
                       Floats{} + 1.0f);
    }
};

struct Paper {
    float cosine, sine, half_width, half_height, gain, radius;
    Paper(const LookSprite& s, float) : cosine(s.cosine), sine(s.sine) {
        const float width = 0.85f * s.radius, height = 0.52f * s.radius * absolute(s.squash);
        half_width = larger(width, 0.5f);
        half_height = larger(height, 0.5f);
        gain = width / half_width * larger(height / half_height, 0.2f);
        radius = square_root(half_width * half_width + half_height * half_height) + 0.7f;
    }
    float reach() const { return radius; }
    Floats operator()(Floats dx, Floats dy) const {
        const Floats u = absolute(cosine * dx + sine * dy), v = absolute(cosine * dy - sine * dx);
        return to_unit(half_width + 0.5f - u) * to_unit(half_height + 0.5f - v) * gain;
    }
};

// Two curves from tip to stalk, wider towards the stalk, with a rib that lets some light through.
struct Leaf {
    float cosine, sine, length, per_length, half_width, gain, rib;
    Leaf(const LookSprite& s, float) : cosine(s.cosine), sine(s.sine) {
        length = larger(s.radius, 0.7f);
        per_length = 1 / length;
        const float width = 0.5f * s.radius * absolute(s.squash);
        half_width = larger(width, 0.55f);
        const float shrunk = s.radius * per_length;
        gain = shrunk * larger(width / half_width, 0.25f);
        rib = to_unit(length * 0.12f - 0.6f) * 0.3f;
    }
    float reach() const { return 1.25f * length + 0.7f; }
    Floats operator()(Floats dx, Floats dy) const {
        const Floats u = (cosine * dx + sine * dy) * per_length;
        const Floats v = absolute(cosine * dy - sine * dx);
        const Floats inside = 1.0f - u * u;
        const Floats edge = half_width * inside * (1.0f - 0.4f * u);
        const Floats steep = half_width * per_length * (2.0f * u + 0.4f);  // of the edge
        const Floats blade = to_unit((edge - v) / square_root(1.0f + steep * steep) + 0.5f);
        const Floats line = to_unit(1.3f - v);
        const Floats stalk = to_unit((u + 1.25f) * length) * to_unit((0.0f - u) * length) * to_unit(0.9f - v);
        return larger(blade * (1.0f - rib * line), 0.8f * stalk) * gain;
    }
};

template <SpriteLook LOOK>
struct ShapeOf;
template <>
struct ShapeOf<SpriteLook::point> {
    using Type = Swept<SpriteLook::point>;
};
template <>
struct ShapeOf<SpriteLook::streak> {
    using Type = Swept<SpriteLook::streak>;
};
template <>
struct ShapeOf<SpriteLook::blob> {
    using Type = Swept<SpriteLook::blob>;
};
template <>
struct ShapeOf<SpriteLook::star> {
    using Type = Star;
};
template <>
struct ShapeOf<SpriteLook::ring> {
    using Type = Ring;
};
template <>
struct ShapeOf<SpriteLook::flake> {
    using Type = Flake;
};
template <>
struct ShapeOf<SpriteLook::paper> {
    using Type = Paper;
};
template <>
struct ShapeOf<SpriteLook::leaf> {
    using Type = Leaf;
};

// ---- Blending -----------------------------------------------------------------------------------------------------

// Two pixels of AVX2 and four of AVX-512 at once, where the compiler's vectors of so many floats are registers.
constexpr int AT_ONCE = LANES / 4;

QUILLON_VECTOR Floats spread_coverage(const float* coverage) {
#if defined(__AVX512F__)
    const __m512i order = _mm512_set_epi32(3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 0, 0, 0, 0);
    return (Floats)_mm512_permutexvar_ps(order, _mm512_castps128_ps512(_mm_loadu_ps(coverage)));
#elif defined(__AVX2__)
    return (Floats)_mm256_set_m128(_mm_broadcast_ss(coverage + 1), _mm_broadcast_ss(coverage));
#else
    return Floats{} + coverage[0];
#endif
}
QUILLON_VECTOR Floats four_times(Pixel p) {
    Floats v = {};
    for (int i = 0; i < LANES; ++i) v[i] = p[i % 4];
    return v;
}

// `light` is the colour with alpha 1. With `add`, `keeps` is 1 for colours and 0 for alpha.
template <DrawBlend BLEND, class V>
QUILLON_VECTOR V blended(V c, V light, V keeps, V there) {
    if constexpr (BLEND == DrawBlend::over) return c * light + (1.0f - c) * there;
    if constexpr (BLEND == DrawBlend::screen) return there + c * light * larger(1.0f - there, V{});
    const V covers = smaller(c, V{} + 1.0f);
    return there + c * light * keeps + covers * (1.0f - keeps) * (1.0f - there);
}

template <DrawBlend BLEND>
QUILLON_VECTOR void blend_row(float* out, const float* coverage, int count, Pixel light) {
    const Pixel keeps = {1, 1, 1, 0};
    const Floats lights = four_times(light), all_keep = four_times(keeps);
    int i = 0;
    for (; i + AT_ONCE <= count; i += AT_ONCE)
        store(out + 4L * i, blended<BLEND>(spread_coverage(coverage + i), lights, all_keep, load(out + 4L * i)));
    if constexpr (AT_ONCE > 1)
        for (; i < count; ++i)
            store(out + 4L * i, blended<BLEND>(Pixel{} + coverage[i], light, keeps, load<Pixel>(out + 4L * i)));
}

// ---- Sprites ------------------------------------------------------------------------------------------------------

// Rows and columns within reach of a sprite, and of the way that it is swept along.
struct Box {
    int first_row, last_row, first_column, last_column;
    Box(const LookTarget& target, const LookSprite& s, float reach) {
        const float left = (s.way_x < 0 ? s.way_x : 0) - reach, right = (s.way_x > 0 ? s.way_x : 0) + reach;
        const float low = (s.way_y < 0 ? s.way_y : 0) - reach, high = (s.way_y > 0 ? s.way_y : 0) + reach;
        first_row = larger(floor_of((s.y + low) * target.aspect + 0.5f), target.first_row);
        last_row = smaller(floor_of((s.y + high) * target.aspect - 0.5f), target.last_row);
        first_column = larger(floor_of(s.x + left + 0.5f), 0);
        last_column = smaller(floor_of(s.x + right - 0.5f), target.width - 1);
    }
};

// The middle of pixel (0, 0) is at a half.
static void fetch(const LookTarget& target, const LookSprite& s) {
    const float reach = s.radius;
    if (reach > 24) return;
    const int last = smaller(floor_of((s.y + reach) * target.aspect), target.last_row);
    const int left = larger(floor_of(s.x - reach), 0), right = smaller(floor_of(s.x + reach), target.width - 1);
    for (int y = larger(floor_of((s.y - reach) * target.aspect), target.first_row); y <= last; ++y)
        for (int x = left; x <= right + 3; x += 4)
            __builtin_prefetch(target.pixels + 4L * (static_cast<long>(y) * target.width + smaller(x, right)), 1, 2);
}

// Columns where a swept sprite can lie: its way is a strip, whose ends the box has.
struct Strip {
    bool steep = false;
    float lean = 0, half = 0;
    Strip(const LookSprite& s, float reach) {
        const float square = s.way_x * s.way_x + s.way_y * s.way_y;
        if (!(square > 4 * reach * reach) || s.way_y * s.way_y < 0.0025f * square) return;
        steep = true;
        lean = s.way_x / s.way_y;
        half = reach * square_root(square) / absolute(s.way_y);
    }
    void narrow(float x, float dy, int& first, int& last) const {
        if (!steep) return;
        const float middle = x + lean * dy;
        first = larger(first, floor_of(limited(middle - half, -1.0f, 1e6f)));
        last = smaller(last, floor_of(limited(middle + half, -2.0f, 1e6f)) + 1);
    }
};

template <SpriteLook LOOK, DrawBlend BLEND>
static void draw(const LookTarget& target, const LookSprite* sprites, const std::uint32_t* begin,
                 const std::uint32_t* end) {
    constexpr bool SWEPT = LOOK == SpriteLook::point || LOOK == SpriteLook::streak || LOOK == SpriteLook::blob;
    alignas(64) float coverage[CHUNK];
    const float row_height = 1 / target.aspect;
    const Floats lanes = counting<Floats>();
    for (const std::uint32_t* n = begin; n != end; ++n) {
        if (end - n > RECORDS_AHEAD) {
            const LookSprite* record = sprites + n[RECORDS_AHEAD];
            __builtin_prefetch(record);
            __builtin_prefetch(record + 1);
        }
        if (end - n > AHEAD) fetch(target, sprites[n[AHEAD]]);
        const LookSprite& s = sprites[*n];
        const typename ShapeOf<LOOK>::Type shape(s, target.softness);
        const Box box(target, s, shape.reach());
        const Pixel light = {s.colour[0], s.colour[1], s.colour[2], 1};
        const float most = BLEND == DrawBlend::add ? s.opacity : smaller(s.opacity, 1.0f);
        const Strip strip(s, SWEPT ? shape.reach() : 1e6f);
        for (int y = box.first_row; y <= box.last_row; ++y) {
            const float dy = (static_cast<float>(y) + 0.5f) * row_height - s.y;
            int first = box.first_column, last = box.last_column;
            if (SWEPT) strip.narrow(s.x, dy, first, last);
            float* row = target.pixels + 4L * static_cast<long>(y) * target.width;
            for (int x = first; x <= last; x += CHUNK) {
                const int count = smaller(CHUNK, last - x + 1);
                for (int i = 0; i < count; i += LANES) {
                    const Floats dx = (static_cast<float>(x + i) + lanes) + (0.5f - s.x);
                    store_aligned(coverage + i, shape(dx, Floats{} + dy) * most);
                }
                blend_row<BLEND>(row + 4L * x, coverage, count, light);
            }
        }
    }
}

}  // namespace

// Row of the table for one way to blend.
template <DrawBlend BLEND, int... LOOKS>
static constexpr std::array<LookKernels::Draw, SPRITE_LOOKS> looks(std::integer_sequence<int, LOOKS...>) {
    return {draw<static_cast<SpriteLook>(LOOKS), BLEND>...};
}
using Looks = std::make_integer_sequence<int, SPRITE_LOOKS>;

const LookKernels look_kernels = {
    {looks<DrawBlend::over>(Looks()), looks<DrawBlend::add>(Looks()), looks<DrawBlend::screen>(Looks())}};

}  // namespace QUILLON_SIMD
