#include "effects/paint/Brush_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// ---- Strokes ------------------------------------------------------------------------------------------------------

struct Span {
    float low, high;
};
QUILLON_VECTOR Span common(Span a, Span b) { return {larger(a.low, b.low), smaller(a.high, b.high)}; }

// Where low <= start + slope x <= high.
QUILLON_VECTOR Span between(float start, float slope, float low, float high) {
    if (absolute(slope) < 1e-4f) return start < low - 1.0f || start > high + 1.0f ? Span{1, 0} : Span{-1e9f, 1e9f};
    const float a = (low - start) / slope, b = (high - start) / slope;
    return {smaller(a, b), larger(a, b)};
}

// How far the stroke is off the straight line at the most, to either side: its spine, the straight lines that go on
// from the spine's ends, and its width, which is measured at right angles to the spine.
QUILLON_VECTOR Span reach_across(const BrushStroke& s, float wide) {
    Span reach{0, 0};
    float steepest = 0;
    const auto meet = [&](float u) {
        const float off = u * u * (s.bend + s.twist * u), slope = u * (2.0f * s.bend + 3.0f * s.twist * u);
        reach = {smaller(reach.low, off), larger(reach.high, off)};
        steepest = larger(steepest, absolute(slope));
    };
    meet(-s.behind), meet(s.ahead);
    const auto meet_inside = [&](float u) {
        if (u > -s.behind && u < s.ahead) meet(u);
    };
    if (s.twist != 0.0f) {
        meet_inside(-2.0f * s.bend / (3.0f * s.twist));
        meet_inside(-s.bend / (3.0f * s.twist));
    }
    const float margin = wide * (steepest + square_root(1.0f + steepest * steepest));
    return {reach.low - margin, reach.high + margin};
}

// Bristles at a place: between rows and columns of the copy.
QUILLON_VECTOR Floats bristle_at(const BrushStroke& s, Floats across, Floats along) {
    const float last = static_cast<float>(s.bristle_columns - 1);
    const Floats column = limited((across * s.mirror * 0.5f + 0.5f) * last, Floats{}, all<Floats>(last));
    const Floats row = along + s.bristle_offset;  // not negative
    const Ints c = to_ints(column), r = to_ints(row);
    const Floats fc = column - to_floats(c), fr = row - to_floats(r);
    const auto four = gather(s.bristles, (r & (BRISTLE_ROWS - 1)) * s.bristle_columns + c);
    const auto byte = [&](int shift) { return to_floats((Ints)((four >> shift) & 255U)); };
    const Floats a = byte(0), d = byte(16);
    const Floats first = a + (byte(8) - a) * fc, second = d + (byte(24) - d) * fc;
    return (first + (second - first) * fr) * (1.0f / 255.0f);
}

struct Place {
    Floats along, across;  // along the spine, from its beginning; across it, -1 to 1 inside
    Floats radius;         // 0 on the spine to 1 at the outline
    Floats half_width;
};

QUILLON_VECTOR Place place_of(const BrushLook& look, const BrushStroke& s, Floats dx, float dy) {
    const Floats u = dx * s.cosine + dy * s.sine, v = dy * s.cosine - dx * s.sine;
    const Floats on = limited(u, all<Floats>(-s.behind), all<Floats>(s.drawn));
    const Floats slope = on * (2.0f * s.bend + 3.0f * s.twist * on);
    const Floats spine = on * on * (s.bend + s.twist * on) + (u - on) * slope;
    const float middle = 0.5f * (s.ahead - s.behind), half = 0.5f * (s.ahead + s.behind);
    const Floats part = (on - middle) * (1.0f / half);
    const Floats width = s.half_width * (1.0f - look.taper * part * part);
    const Floats across = (v - spine) / (square_root(1.0f + slope * slope) * width);
    // The ends are rounded within the stroke's length.
    const float drawn_middle = 0.5f * (s.drawn - s.behind), drawn_half = 0.5f * (s.drawn + s.behind);
    const float cap = larger(smaller(look.cap * s.half_width, drawn_half), 1e-3f);
    const Floats over = larger(absolute(u - drawn_middle) - (drawn_half - cap), Floats{}) * (1.0f / cap);
    return {on + s.behind, across, square_root(across * across + over * over), width};
}

QUILLON_VECTOR void blend(float* plane, Floats target, Floats part) {
    const Floats under = load(plane);
    store(plane, under + (target - under) * part);
}

template <bool WET>
static void draw_rows(const BrushLook& look, const BrushStroke& s, float* planes, int pitch, int width, int first,
                      int last) {
    const float wide = s.half_width * (1.0f + look.ragged) + 1.0f;
    const Span reach = reach_across(s, wide);
    const float rows = 2.0f / s.half_width;  // of bristles, four to a width
    const float drop = look.run_dry / (s.behind + s.ahead);
    const float soft = 1.0f / larger(look.softness, 0.02f);
    const float thick = look.height * square_root(s.half_width * look.thickness);
    const float narrow = 1.0f / look.rim, gathers = look.wet * s.rim;
    const bool marked = look.bristles > 0.0f || look.streaks > 0.0f;
    const Floats zero = {}, one = zero + 1.0f;
    for (int y = first; y <= last; ++y) {
        const float dy = (static_cast<float>(y) + 0.5f) * look.row_height - s.y;
        const Span span = common(between(dy * s.sine, s.cosine, -s.behind - wide, s.drawn + wide),
                                 between(dy * s.cosine, -s.sine, reach.low, reach.high));
        const float low = larger(span.low + s.x - 1.0f, 0.0f);
        const float high = smaller(span.high + s.x + 1.0f, static_cast<float>(width));
        if (!(low < high)) continue;
        float* const row = planes + static_cast<long>(y) * BRUSH_PLANES * pitch;
        const int end = static_cast<int>(high) + 1 < width ? static_cast<int>(high) + 1 : width;
        for (int x = static_cast<int>(low); x < end; x += LANES) {
            const Floats dx = (counting<Floats>() + (static_cast<float>(x) + 0.5f)) - s.x;  // rounded once
            Place at = place_of(look, s, dx, dy);
            float* const p = row + x;
            Floats pools = zero;
            if (WET) {
                pools = load(p + BRUSH_POOLS * pitch) - 0.5f;
                at.radius += pools * look.ragged;
            }
            const Floats inside = to_unit((1.0f - at.radius) * at.half_width + 0.5f);
            if (all_set((Ints)(inside <= 0.0f))) continue;
            const Floats mark = marked ? bristle_at(s, at.across, at.along * rows) : one;
            const Floats touch = 1.0f - look.bristles * (1.0f - mark);
            const Floats rim = to_unit((at.radius - 1.0f) * soft + 1.0f);
            const Floats dry = s.dryness + drop * at.along + rim * rim * (1.0f - s.dryness) +
                               look.grain * (1.0f - load(p + BRUSH_GRAIN * pitch));
            Floats part = to_unit((touch - dry) * look.hardness) * inside * s.opacity;
            Floats bright = 1.0f + look.streaks * (mark - 0.5f);
            if (WET) {
                const Floats edge = to_unit(1.0f - (1.0f - at.radius) * at.half_width * narrow);
                const Floats pigment = gathers * (1.6f * edge * edge - 0.2f) + look.wet * pools;
                part = to_unit(part * (1.0f + pigment));
                bright *= 1.0f - 0.3f * gathers * edge * edge;
            }
            blend(p + BRUSH_RED * pitch, s.colour[0] * bright, part);
            blend(p + BRUSH_GREEN * pitch, s.colour[1] * bright, part);
            blend(p + BRUSH_BLUE * pitch, s.colour[2] * bright, part);
            blend(p + BRUSH_ALPHA * pitch, one, part);
            const Floats square = at.radius * at.radius, dome = larger(1.0f - square * square, zero);
            const Floats edge = to_unit((at.radius - 0.72f) * 4.0f);
            const Floats paint = (0.5f + look.bristles * (mark - 0.5f)) * dome + look.ridge * edge * dome * 2.0f;
            const Floats under = load(p + BRUSH_HEIGHT * pitch);
            store(p + BRUSH_HEIGHT * pitch, under + (paint * thick - 0.75f * under) * part);
        }
    }
}

static void draw(const BrushLook& look, const BrushStroke& s, float* planes, int pitch, int width, int first,
                 int last) {
    if (look.wet > 0.0f || look.ragged > 0.0f)
        draw_rows<true>(look, s, planes, pitch, width, first, last);
    else
        draw_rows<false>(look, s, planes, pitch, width, first, last);
}

// ---- Light --------------------------------------------------------------------------------------------------------

template <class V>
QUILLON_VECTOR V surface(const BrushLight& l, V paint, V grain) {
    return paint + grain * (l.grain_height / (1.0f + l.fills * paint));
}
QUILLON_VECTOR Floats surface_at(const BrushLight& l, const float* row, int pitch, int x) {
    return surface(l, load(row + BRUSH_HEIGHT * pitch + x), load(row + BRUSH_GRAIN * pitch + x));
}

static void light(const BrushLight& l, const float* below, const float* here, const float* above, int pitch, int width,
                  float* shade, float* gloss) {
    alignas(64) float heights[LANES + 2];
    for (int x = 0; x < width; x += LANES) {
        // Neighbours along the row; the outermost pixels repeat.
        const auto single = [&](int at) {
            at = at < 0 ? 0 : (at >= width ? width - 1 : at);
            return surface(l, here[BRUSH_HEIGHT * pitch + at], here[BRUSH_GRAIN * pitch + at]);
        };
        Floats left, right;
        if (x > 0 && x + LANES < width) {
            left = surface_at(l, here, pitch, x - 1), right = surface_at(l, here, pitch, x + 1);
        } else {
            for (int i = 0; i < LANES + 2; ++i) heights[i] = single(x - 1 + i);
            left = load(heights), right = load(heights + 2);
        }
        const Floats gx = (right - left) * 0.5f;
        const Floats gy = (surface_at(l, above, pitch, x) - surface_at(l, below, pitch, x)) * (0.5f / l.row_height);
        const Floats inverse = 1.0f / square_root(1.0f + gx * gx + gy * gy);
        const Floats facing = (l.z - gx * l.x - gy * l.y) * inverse * (1.0f / l.z);
        Floats mirror = larger((l.half_z - gx * l.half_x - gy * l.half_y) * inverse, Floats{});
        for (int i = 0; i < 5; ++i) mirror *= mirror;
        // Paint lets light through, and its slopes light each other: neither is as dark or as bright as a stone's.
        const Floats off = facing - 1.0f;
        store(shade + x, 1.0f + off / (1.0f + 0.9f * absolute(off)));
        store(gloss + x, (mirror - l.flat_shine) * l.shine);
    }
}

}  // namespace

const BrushKernels brush_kernels = {draw, light};

}  // namespace QUILLON_SIMD
