#include "effects/fluids/FluidColours_simd.h"

#include "simdlib/elementary.h"
#include "simdlib/planes.h"

namespace QUILLON_SIMD {

namespace {

constexpr PixelMask IS_ALPHA{0, 0, 0, -1};
constexpr float BRIGHTEST = 3e38F;  // instead of infinity

// A power in the precision of a float, lane by lane as single numbers have it.
QUILLON_VECTOR Floats raised(Floats base, double exponent) {
    constexpr int HALF = LANES / 2;
    using Part = Vec<double, HALF>;
    using Two = Vec<double, LANES>;
    const Two wide = __builtin_convertvector(base, Two);
    Part parts[2];
    __builtin_memcpy(parts, &wide, sizeof wide);
    for (Part& part : parts) part = elementary::pow(part, Part{} + exponent);
    Two result;
    __builtin_memcpy(&result, parts, sizeof result);
    return __builtin_convertvector(result, Floats);
}

struct Segment {
    float begin, inverse;  // of its length; 0 for none
    float end;
    float colour[4], change[4];
};

struct Segments {
    int count;
    Segment list[FluidRamp::MOST];
    float first_position, first[4], last[4];
};

QUILLON_VECTOR Segments segments_of(const FluidRamp& ramp) {
    Segments out;
    out.count = ramp.count - 1;
    for (int k = 0; k < out.count; ++k) {
        const auto &from = ramp.knots[k], &to = ramp.knots[k + 1];
        Segment& segment = out.list[k];
        const float length = to.position - from.position;
        segment.begin = from.position;
        segment.end = to.position;
        segment.inverse = length > 0 ? 1.0F / length : 0.0F;
        for (int c = 0; c < 4; ++c) {
            segment.colour[c] = length > 0 ? from.colour[c] : to.colour[c];
            segment.change[c] = to.colour[c] - segment.colour[c];
        }
    }
    out.first_position = ramp.knots[0].position;
    for (int c = 0; c < 4; ++c) {
        out.first[c] = ramp.knots[0].colour[c];
        out.last[c] = ramp.knots[out.count].colour[c];
    }
    return out;
}

// From the last segment to the first, so that the lowest one that ends above the place is the one that stays.
template <int CHANNELS>
QUILLON_VECTOR void ramp_at(const Segments& segments, Floats place, Floats* out) {
    for (int c = 0; c < CHANNELS; ++c) out[c] = all<Floats>(segments.last[c]);
    for (int k = segments.count - 1; k >= 0; --k) {
        const Segment& segment = segments.list[k];
        const auto inside = place < all<Floats>(segment.end);
        const Floats part = (place - segment.begin) * segment.inverse;
        for (int c = 0; c < CHANNELS; ++c) out[c] = inside ? segment.colour[c] + segment.change[c] * part : out[c];
    }
    const auto below = place < all<Floats>(segments.first_position);
    for (int c = 0; c < CHANNELS; ++c) out[c] = below ? all<Floats>(segments.first[c]) : out[c];
}

template <bool bent, bool alpha_of_ramp>
void colours_of(const FluidRamp& ramp, const float* values, const float* alphas, int count, float* pixels) {
    const Segments segments = segments_of(ramp);
    Ints order;  // planes hold pixels in an order of their own
    for (int i = 0; i < LANES; ++i) order[i] = pixel_of(i);
    const auto block = [&](const float* value, const float* alpha, float* to, int pixels_here) {
        Floats place = larger((load(value) - ramp.low) * ramp.scale, Floats{});
        if constexpr (bent) place = place > Floats{} ? raised(place, ramp.exponent) : Floats{};
        Floats colour[4];
        ramp_at<alpha_of_ramp ? 4 : 3>(segments, place, colour);
        if constexpr (!alpha_of_ramp) colour[3] = (load(alpha) - ramp.alpha_low) * ramp.alpha_scale;
        colour[3] = to_unit(colour[3]);
        for (Floats& plane : colour) plane = picked(plane, order);
        store_planes(to, {colour[0], colour[1], colour[2], colour[3]}, pixels_here);
    };
    int i = 0;
    for (; i + LANES <= count; i += LANES) block(values + i, alphas + i, pixels + 4L * i, LANES);
    if (i == count) return;
    alignas(64) float value[LANES] = {}, alpha[LANES] = {};
    const std::size_t bytes = sizeof(float) * static_cast<std::size_t>(count - i);
    __builtin_memcpy(value, values + i, bytes);
    __builtin_memcpy(alpha, alphas + i, bytes);
    block(value, alpha, pixels + 4L * i, count - i);
}

template <bool premultiplied>
void over_of(const float* foreground, const float* source, int count, float* pixels) {
    for (int i = 0; i < 4 * count; i += 4) {
        const auto front = load<Pixel>(foreground + i);
        const Pixel back = source ? load<Pixel>(source + i) : Pixel{};
        const Pixel alpha = to_unit(spread<3>(front));
        const Pixel seen = premultiplied ? front : (IS_ALPHA ? alpha : front * alpha);
        store(pixels + i, seen + back * (1.0F - alpha));
    }
}

}  // namespace

static void colours(const FluidRamp& ramp, const float* values, const float* alphas, int count, float* pixels) {
    const bool bent = ramp.exponent != 1.0F;
    if (ramp.alpha_of_ramp)
        (bent ? colours_of<true, true> : colours_of<false, true>)(ramp, values, alphas, count, pixels);
    else
        (bent ? colours_of<true, false> : colours_of<false, false>)(ramp, values, alphas, count, pixels);
}

static void over(const float* foreground, const float* source, bool premultiplied, int count, float* pixels) {
    (premultiplied ? over_of<true> : over_of<false>)(foreground, source, count, pixels);
}

static void add_light(const float* light, float brightness, int count, float* pixels) {
    for (int i = 0; i < 4 * count; i += 4) {
        const Pixel lit = smaller(load<Pixel>(pixels + i) + load<Pixel>(light + i) * brightness, all<Pixel>(BRIGHTEST));
        store(pixels + i, IS_ALPHA ? to_unit(lit) : lit);
    }
}

static void multiply_light(const float* light, float brightness, int count, float* pixels) {
    for (int i = 0; i < 4 * count; i += 4) {
        const auto pixel = load<Pixel>(pixels + i);
        const Pixel lit = smaller(pixel * (load<Pixel>(light + i) * brightness), all<Pixel>(BRIGHTEST));
        store(pixels + i, IS_ALPHA ? pixel : lit);
    }
}

static void burn(const FluidThreshold& threshold, const float* pixels, float amount, int count, float* heat,
                 float* density) {
    constexpr float MOST = 1e12F;  // of a field's value
    const float share = amount * 0.33333334F;
    Ints order;
    for (int i = 0; i < LANES; ++i) order[i] = lane_of(i);
    const auto fuel = [&](const Planes& from) {
        const auto burns = [&](Floats s) { return larger((s - threshold.low) * threshold.scale, Floats{}); };
        return picked((burns(from.r) + burns(from.g) + burns(from.b)) * share, order);
    };
    const auto add = [&](Floats more, float* cells) { store(cells, smaller(load(cells) + more, all<Floats>(MOST))); };
    int i = 0;
    for (; i + LANES <= count; i += LANES) {
        const Floats more = fuel(load_planes(pixels + 4L * i));
        add(more, heat + i);
        add(more, density + i);
    }
    if (i == count) return;
    const Floats more = fuel(load_planes(pixels + 4L * i, count - i));
    for (int lane = 0; i < count; ++i, ++lane) {
        heat[i] = limited<float>(heat[i] + more[lane], -MOST, MOST);
        density[i] = limited<float>(density[i] + more[lane], -MOST, MOST);
    }
}

const FluidColourKernels fluid_colours = {colours, over, add_light, multiply_light, burn};

}  // namespace QUILLON_SIMD
