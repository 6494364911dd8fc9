#include "effects/abstract/Dots_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

// ---- Patterns -----------------------------------------------------------------------------------------------------
// The height at a place in cells, and its slope along both axes of the screen. Signs of slopes only count against each
// other.

struct Height {
    Floats h, du, dv;
};

// What a pattern is made of: dots with one edge near any place; stripes, whose height is the distance from their middle
// and which repeat each cell; bands and stripes that cross, of which a square has what both cover and a cross what
// either does.
enum class Figure { DOT, STRIPE, CROSSING, CROSSING_STRIPES, EITHER_STRIPE };

QUILLON_VECTOR Floats floor_of(Floats v) {
    const Floats cut = to_floats(to_ints(v));
    return cut > v ? cut - 1.0f : cut;
}
// From the middle of the cell: -0.5 to 0.5
QUILLON_VECTOR Floats off_middle(Floats v) { return v - floor_of(v) - 0.5f; }
QUILLON_VECTOR Floats one() { return Floats{} + 1.0f; }

struct Round {
    static constexpr Figure FIGURE = Figure::DOT;
    QUILLON_VECTOR Height at(const DotsFrame&, Floats u, Floats v) {
        u = off_middle(u), v = off_middle(v);
        const Floats h = square_root(u * u + v * v), part = 1.0f / larger(h, all<Floats>(1e-6f));
        return {h, u * part, v * part};
    }
};
struct Elliptical {
    static constexpr Figure FIGURE = Figure::DOT;
    QUILLON_VECTOR Height at(const DotsFrame&, Floats u, Floats v) {
        constexpr float LONG = 0.78f, SHORT = 1.28f;
        u = off_middle(u) * LONG, v = off_middle(v) * SHORT;
        const Floats h = square_root(u * u + v * v), part = 1.0f / larger(h, all<Floats>(1e-6f));
        return {h, u * part * LONG, v * part * SHORT};
    }
};
struct Diamond {
    static constexpr Figure FIGURE = Figure::CROSSING;
    QUILLON_VECTOR Height at(const DotsFrame&, Floats u, Floats v) {
        u = off_middle(u), v = off_middle(v);
        return {absolute(u + v), one(), one()};
    }
    QUILLON_VECTOR Height across(const DotsFrame&, Floats u, Floats v) {
        u = off_middle(u), v = off_middle(v);
        return {absolute(u - v), one(), -one()};
    }
};
struct Square {
    static constexpr Figure FIGURE = Figure::CROSSING_STRIPES;
    QUILLON_VECTOR Height at(const DotsFrame&, Floats u, Floats) { return {absolute(off_middle(u)), one(), Floats{}}; }
    QUILLON_VECTOR Height across(const DotsFrame&, Floats, Floats v) {
        return {absolute(off_middle(v)), Floats{}, one()};
    }
};
struct Line {
    static constexpr Figure FIGURE = Figure::STRIPE;
    QUILLON_VECTOR Height at(const DotsFrame& f, Floats u, Floats v) {
        // Two arcs of a third degree for a wave; x runs from -1 to 1 and back.
        const Floats turn = off_middle(u * f.waves), x = absolute(turn) * 4.0f - 1.0f;
        const Floats slope = (1.5f - 1.5f * x * x) * (turn < 0.0f ? all<Floats>(-4.0f) : all<Floats>(4.0f));
        v += f.wave * (x * (1.5f - 0.5f * x * x));
        return {absolute(off_middle(v)), slope * (f.wave * f.waves), one()};
    }
};
struct Cross : Square {
    static constexpr Figure FIGURE = Figure::EITHER_STRIPE;
};
struct Rings {
    static constexpr Figure FIGURE = Figure::STRIPE;
    QUILLON_VECTOR Height at(const DotsFrame& f, Floats u, Floats v) {
        const Floats r = square_root(u * u + v * v), part = 1.0f / larger(r, all<Floats>(1e-6f));
        return {absolute(off_middle(r - f.travel + 0.5f)), u * part, v * part};
    }
};
struct Spiral {
    static constexpr Figure FIGURE = Figure::STRIPE;
    QUILLON_VECTOR Height at(const DotsFrame& f, Floats u, Floats v) {
        const Floats r = square_root(u * u + v * v), part = 1.0f / larger(r, all<Floats>(0.05f));
        constexpr float TURN = 0.15915494f;  // 1 / (2 pi)
        const Floats du = (u + v * TURN * part) * part, dv = (v - u * TURN * part) * part;
        return {absolute(off_middle(r - turns(u, v) - f.travel + 0.5f)), du, dv};
    }
    // The angle of (u, v) in turns; the arc tangent to 2e-5 of a radian by a polynomial of least maximum error.
    QUILLON_VECTOR Floats turns(Floats u, Floats v) {
        const Floats a = absolute(u), b = absolute(v), z = smaller(a, b) / larger(larger(a, b), all<Floats>(1e-9f));
        const Floats s = z * z;
        Floats angle =
            z * (0.99997726f +
                 s * (-0.33262347f + s * (0.19354346f + s * (-0.11643287f + s * (0.05265332f - s * 0.0117212f)))));
        angle = b > a ? 1.5707963f - angle : angle;
        angle = u < 0.0f ? 3.1415927f - angle : angle;
        return (v < 0.0f ? -angle : angle) * 0.15915494f;
    }
};
struct BlueNoise {};

// ---- Coverage -----------------------------------------------------------------------------------------------------

// The part of a box of a by b below an edge whose distance from the box's middle is d, where a and b are the box's
// sides times the components of the edge's normal: a trapezoid's integral. Normals of any length, if d has it too.
QUILLON_VECTOR Floats below_edge(Floats d, Floats a, Floats b) {
    const Floats least = all<Floats>(1e-9f);
    const Floats widest = larger(larger(a, b), least), half = 0.5f * (a + b), flat = 0.5f * absolute(a - b);
    const Floats t = smaller(absolute(d), half), rest = half - t;
    const Floats part = t <= flat ? 0.5f + t / widest : 1.0f - rest * rest / larger(2.0f * a * b, all<Floats>(1e-18f));
    return d < 0.0f ? 1.0f - part : part;
}

QUILLON_VECTOR Floats below_threshold(const DotsFrame& f, Floats u, Floats v, Floats level) {
    const Ints column = to_ints(floor_of(u * f.grains)) & (NOISE_SIDE - 1);
    const Ints row = to_ints(floor_of(v * f.grains)) & (NOISE_SIDE - 1);
    return gather(f.thresholds, row * NOISE_SIDE + column) < level ? one() : Floats{};
}

QUILLON_VECTOR Floats below_size(const DotsFrame& f, const DotScreen& s, const Height& p, Floats size, Figure parts) {
    const Floats x = absolute(p.du * s.cosine - p.dv * s.sine) * f.box_width;
    const Floats y = absolute(p.du * s.sine + p.dv * s.cosine) * f.box_height;
    const Floats near = below_edge((size - p.h) * f.cell, x, y);
    if (parts == Figure::DOT) return near;
    // The other edge of a stripe, and the next stripe's, may be within the same pixel.
    const Floats both = near + below_edge((size + p.h) * f.cell, x, y) - 1.0f;
    if (parts == Figure::CROSSING) return larger(both, Floats{});
    return to_unit(both + below_edge((size + p.h - 1.0f) * f.cell, x, y));
}

template <class Pattern>
QUILLON_VECTOR Floats of_pattern(const DotsFrame& f, const DotScreen& s, Floats u, Floats v, Floats size) {
    constexpr Figure parts = Pattern::FIGURE;
    const Floats first = below_size(f, s, Pattern::at(f, u, v), size, parts);
    if constexpr (parts == Figure::DOT || parts == Figure::STRIPE) {
        return first;
    } else {
        const Floats second = below_size(f, s, Pattern::across(f, u, v), size, parts);
        return parts == Figure::EITHER_STRIPE ? 1.0f - (1.0f - first) * (1.0f - second) : first * second;
    }
}

template <class Pattern>
QUILLON_VECTOR Floats covered(const DotsFrame& f, const DotScreen& s, Floats u, Floats v, Floats size) {
    if constexpr (std::is_same_v<Pattern, BlueNoise>)
        return below_threshold(f, u, v, size);
    else
        return of_pattern<Pattern>(f, s, u, v, size);
}
template <class Pattern>
QUILLON_VECTOR Floats size_of(const DotScreen& s, Floats level) {
    if constexpr (std::is_same_v<Pattern, BlueNoise>) return level;
    const Floats place = level * float(SIZE_STEPS);
    const Ints step = to_ints(place);
    const Floats low = gather(s.sizes, step), high = gather(s.sizes, step + 1);
    return low + (high - low) * (place - to_floats(step));
}

template <class Pattern>
QUILLON_VECTOR Floats screened(const DotsFrame& f, const DotScreen& s, Floats x, float y, Floats level) {
    level = to_unit(level);
    const auto plain = (level <= 0.0f) | (level >= 1.0f);
    if (all_set((Ints)plain)) return level;
    const Floats size = size_of<Pattern>(s, level);
    const float step = 1.0f / float(f.samples), first = 0.5f * step, scale = 1.0f / f.cell;
    constexpr bool round = std::is_same_v<Pattern, Rings> || std::is_same_v<Pattern, Spiral>;
    const float moved = round ? 0.0f : f.travel;
    Floats sum = {};
    for (int j = 0; j < f.samples; ++j) {
        const float py = (y + first + step * float(j) - f.centre_y) * f.row_height;
        for (int i = 0; i < f.samples; ++i) {
            const Floats px = x + (first + step * float(i) - f.centre_x);
            const Floats u = (px * s.cosine + py * s.sine) * scale, v = (py * s.cosine - px * s.sine) * scale - moved;
            sum += covered<Pattern>(f, s, u, v, size);
        }
    }
    return plain ? level : level + (sum * (step * step) - level) * f.visible;
}

// ---- Levels and inks ----------------------------------------------------------------------------------------------

QUILLON_VECTOR Floats toned(const DotsFrame& f, Floats level) {
    level = to_unit((level - 0.5f) * f.contrast + 0.5f - f.brightness);
    return level + f.gain * 4.0f * level * (1.0f - level);
}
QUILLON_VECTOR Floats luminance(const Planes& p) { return 0.3f * p.r + 0.5f * p.g + 0.2f * p.b; }
QUILLON_VECTOR Planes turned_over(const DotsFrame& f, const Planes& p) {
    if (!f.negative) return p;
    const Floats zero = {};
    return {larger(1.0f - p.r, zero), larger(1.0f - p.g, zero), larger(1.0f - p.b, zero), p.a};
}
QUILLON_VECTOR Floats mixed(Floats a, Floats b, Floats part) { return a + (b - a) * part; }
QUILLON_VECTOR Planes mixed(const Planes& a, const Planes& b, Floats part) {
    return {mixed(a.r, b.r, part), mixed(a.g, b.g, part), mixed(a.b, b.b, part), mixed(a.a, b.a, part)};
}
QUILLON_VECTOR Planes colour_of(const float* c, Floats alpha) {
    return {all<Floats>(c[0]), all<Floats>(c[1]), all<Floats>(c[2]), alpha};
}

struct Place {
    Floats x;
    float y;
};

// What ink of one colour makes of the paper.
QUILLON_VECTOR Planes inked(const DotsFrame& f, const Planes& paper, const Planes& ink, Floats cover) {
    if (f.paper == PAPER_CLEAR) return {ink.r, ink.g, ink.b, paper.a * cover};
    return mixed(paper, {ink.r, ink.g, ink.b, paper.a}, cover);
}

template <class Pattern>
QUILLON_VECTOR Planes one_ink(const DotsFrame& f, Place at, const Planes& levels, const Planes& paper, Floats matte) {
    const Floats light = to_unit(luminance(levels)), level = toned(f, f.light_ink ? light : 1.0f - light);
    const Floats cover = screened<Pattern>(f, f.screen[0], at.x, at.y, level * matte);
    return inked(f, paper, colour_of(f.screen[0].ink, paper.a), cover);
}

// How much of a channel's way from the paper to black or white the colour is.
QUILLON_VECTOR Floats way_from(float paper, Floats c) {
    const float down = paper > 1e-3f ? 1.0f / paper : 0.0f, up = paper < 0.999f ? 1.0f / (1.0f - paper) : 0.0f;
    return c < paper ? (paper - c) * down : (c - paper) * up;
}

// With the levels of the colours themselves each dot is as small and as strong as it can be to give, with the paper
// round it, the colour. Samples above 1 raise the picture, ink and paper alike.
template <class Pattern>
QUILLON_VECTOR Planes picture_inks(const DotsFrame& f, Place at, const Planes& levels, const Planes& colours,
                                   const Planes& paper, Floats matte) {
    const Floats most = larger(larger(colours.r, colours.g), larger(colours.b, one())), part = 1.0f / most;
    Planes ink{colours.r * part, colours.g * part, colours.b * part, paper.a};
    const float* p = f.paper_colour;
    Floats level;
    if (f.levels_apart || f.paper != PAPER_COLOUR) {
        const Floats light = to_unit(luminance(levels));
        const bool dark_paper = 0.3f * p[0] + 0.5f * p[1] + 0.2f * p[2] < 0.5f;
        level = dark_paper && f.paper == PAPER_COLOUR ? light : 1.0f - light;
    } else {
        level = larger(larger(way_from(p[0], ink.r), way_from(p[1], ink.g)), way_from(p[2], ink.b));
        const Floats stronger = 1.0f / larger(level, all<Floats>(1e-3f));
        ink = {to_unit(p[0] + (ink.r - p[0]) * stronger), to_unit(p[1] + (ink.g - p[1]) * stronger),
               to_unit(p[2] + (ink.b - p[2]) * stronger), paper.a};
    }
    const Floats cover = screened<Pattern>(f, f.screen[0], at.x, at.y, toned(f, level) * matte);
    const Planes result = inked(f, paper, ink, cover);
    if (f.paper == PAPER_BACKGROUND) return result;
    return {result.r * most, result.g * most, result.b * most, result.a};
}

// Inks lie over each other and let through their colour. Black takes over what the three have in common.
template <class Pattern>
QUILLON_VECTOR Planes four_inks(const DotsFrame& f, Place at, const Planes& levels, const Planes& colours,
                                const Planes& paper, Floats matte) {
    Planes c = colours;
    if (f.levels_apart) {
        const Floats raise =
            smaller(luminance(levels) / larger(luminance(colours), all<Floats>(1e-3f)), all<Floats>(8.0f));
        c = {c.r * raise, c.g * raise, c.b * raise, c.a};
    }
    const Floats cyan = 1.0f - to_unit(c.r), magenta = 1.0f - to_unit(c.g), yellow = 1.0f - to_unit(c.b);
    const Floats black = smaller(cyan, smaller(magenta, yellow)) * f.black;
    const Floats rest = 1.0f / larger(1.0f - black, all<Floats>(1e-6f));
    const Floats parts[4] = {(cyan - black) * rest, (magenta - black) * rest, (yellow - black) * rest, black};
    Planes light{one(), one(), one(), one()};
    for (int i = 0; i < 4; ++i) {
        const DotScreen& s = f.screen[i];
        const Floats cover = screened<Pattern>(f, s, at.x, at.y, toned(f, parts[i]) * matte);
        light.r *= 1.0f - cover * (1.0f - s.ink[0]);
        light.g *= 1.0f - cover * (1.0f - s.ink[1]);
        light.b *= 1.0f - cover * (1.0f - s.ink[2]);
        light.a *= 1.0f - cover;
    }
    if (f.paper != PAPER_CLEAR) return {paper.r * light.r, paper.g * light.g, paper.b * light.b, paper.a};
    const Floats cover = 1.0f - light.a, whole = 1.0f / larger(cover, all<Floats>(1e-6f));
    return {to_unit((light.r - light.a) * whole), to_unit((light.g - light.a) * whole),
            to_unit((light.b - light.a) * whole), paper.a * cover};
}

template <class Pattern>
QUILLON_VECTOR Planes pixels(const DotsFrame& f, Place at, const Planes& levels, const Planes& colours,
                             const Planes& paper, Floats matte) {
    switch (f.colouring) {
        case DOTS_ONE_INK:
            return one_ink<Pattern>(f, at, levels, paper, matte);
        case DOTS_PICTURE_COLOURS:
            return picture_inks<Pattern>(f, at, levels, colours, paper, matte);
        default:
            return four_inks<Pattern>(f, at, levels, colours, paper, matte);
    }
}

template <class Pattern>
static void row_pass(const DotsFrame& f, const DotsRow& row) {
    for (int x = 0; x < row.count; x += LANES) {
        const int count = row.count - x;
        const long at = 4L * x;
        const Planes levels = turned_over(f, load_planes(row.levels + at, count));
        const Planes colours =
            row.colours == row.levels ? levels : turned_over(f, load_planes(row.colours + at, count));
        const Planes background = load_planes(row.background + at, count);
        const Planes paper = f.paper == PAPER_BACKGROUND ? background : colour_of(f.paper_colour, background.a);
        Floats matte = one();
        if (row.matte) {
            matte = to_unit(luminance(load_planes(row.matte + at, count)));
            if (f.matte_inverted) matte = 1.0f - matte;
        }
        const Place place{lane_pixels() + float(x), float(row.y)};
        const Planes result = pixels<Pattern>(f, place, levels, colours, paper, f.matte_sizes ? matte : one());
        store_planes(row.out + at, mixed(background, result, f.matte_sizes ? one() * f.mix : matte * f.mix), count);
    }
}

template <class Pattern>
static std::int64_t measure(const DotsFrame& f, const DotScreen& s, const float* u, const float* v, int count,
                            float size) {
    std::int64_t sum = 0;
    for (int i = 0; i < count; i += LANES) {  // whole numbers, so that the width of a register makes no difference
        const Ints parts = to_ints(covered<Pattern>(f, s, load(u + i), load(v + i), all<Floats>(size)) * 1048576.0f);
        for (int lane = 0; lane < LANES; ++lane) sum += parts[lane];
    }
    return sum;
}

}  // namespace

const DotsKernels dots_kernels = {
    {row_pass<Round>, row_pass<Elliptical>, row_pass<Diamond>, row_pass<Square>, row_pass<Line>, row_pass<Cross>,
     row_pass<Rings>, row_pass<Spiral>, row_pass<BlueNoise>},
    {measure<Round>, measure<Elliptical>, measure<Diamond>, measure<Square>, measure<Line>, measure<Cross>,
     measure<Rings>, measure<Spiral>, measure<BlueNoise>}};

}  // namespace QUILLON_SIMD
