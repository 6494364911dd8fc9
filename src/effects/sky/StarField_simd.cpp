#include "effects/sky/StarField_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

// The kernel (1 - t^2)^6 within -1 to 1: near to a Gaussian of 0.26, with an end.
QUILLON_VECTOR Floats kernel(Floats t) {
    const Floats base = larger(1.0F - t * t, Floats{});
    const Floats cube = base * base * base;
    return cube * cube;
}
// Its integral from 0, for t within -1 to 1.
QUILLON_VECTOR Floats kernel_integral(Floats t) {
    const Floats s = t * t;
    Floats sum = s * (1.0F / 13.0F) - 6.0F / 11.0F;
    sum = sum * s + 15.0F / 9.0F;
    sum = sum * s - 20.0F / 7.0F;
    sum = sum * s + 3.0F;
    sum = sum * s - 2.0F;
    return (sum * s + 1.0F) * t;
}

struct Span {
    float low, high;
};
// Narrows the span of x to where |offset + slope * x| is at most `limit`.
QUILLON_VECTOR void narrow(Span& span, float offset, float slope, float limit) {
    if (absolute(slope) < 1e-6F) {
        if (absolute(offset) > limit) span.high = span.low - 1.0F;
        return;
    }
    const float middle = -offset / slope, half = limit / absolute(slope);
    span.low = larger(span.low, middle - half);
    span.high = smaller(span.high, middle + half);
}

template <class Weigh>
QUILLON_VECTOR void draw_row(const StarStreak& streak, const StarBand& band, int y, float along_limit, Weigh weigh) {
    const float up = (static_cast<float>(y) + 0.5F) * band.row_height - streak.y;
    Span span{-streak.x, static_cast<float>(band.width) - streak.x};
    narrow(span, up * streak.cosine, -streak.sine, streak.reach);
    narrow(span, up * streak.sine, streak.cosine, along_limit);
    if (!(span.low <= span.high)) return;
    const int limit = band.width - 1;
    int first = static_cast<int>(streak.x + span.low - 1.0F), last = static_cast<int>(streak.x + span.high + 1.0F);
    first = first < 0 ? 0 : first, last = last > limit ? limit : last;
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(y - band.first_row) * band.pitch;
    for (int x = first; x <= last; x += LANES) {
        const Ints column = counting<Ints>() + x;
        const Floats across = to_floats(column) + 0.5F - streak.x;
        const Floats u = across * streak.cosine + up * streak.sine, d = up * streak.cosine - across * streak.sine;
        Floats weight = weigh(u) * kernel(d * (1.0F / streak.reach));
        weight = column <= last ? weight : Floats{};
        for (int c = 0; c < 3; ++c) {
            float* at = band.light[c] + row + x;
            store(at, load(at) + weight * streak.colour[c]);
        }
    }
}

void draw(const StarStreak& streak, const StarBand& band) {
    const float limit = streak.half + streak.reach, inverse = 1.0F / streak.reach;
    const float tall = absolute(streak.sine) * streak.half + 1.42F * streak.reach;
    const float low = (streak.y - tall) / band.row_height - 1.0F, high = (streak.y + tall) / band.row_height + 1.0F;
    const int first = low > static_cast<float>(band.first_row) ? static_cast<int>(low) : band.first_row;
    const int last = high < static_cast<float>(band.last_row) ? static_cast<int>(high) : band.last_row;
    for (int y = first; y <= last; ++y) {
        if (streak.ray)
            draw_row(streak, band, y, streak.half, [&](Floats u) {
                const Floats left = larger(1.0F - absolute(u) * (1.0F / streak.half), Floats{});
                return left * left * left;
            });
        else if (streak.half > 0.0F)
            draw_row(streak, band, y, limit, [&](Floats u) {
                const Floats one = all<Floats>(1.0F);
                const Floats end = limited((u + streak.half) * inverse, -one, one);
                const Floats start = limited((u - streak.half) * inverse, -one, one);
                return (kernel_integral(end) - kernel_integral(start)) * (0.5F * streak.reach / streak.half);
            });
        else
            draw_row(streak, band, y, limit, [&](Floats u) { return kernel(u * inverse); });
    }
}

void glow(const StarGlow& spot, float* row, int y, int width, float row_height) {
    const float up = (static_cast<float>(y) + 0.5F) * row_height - spot.y;
    if (!(absolute(up) < spot.reach)) return;
    const float low = spot.x - spot.reach, high = spot.x + spot.reach;
    const int first = low > 0.0F ? static_cast<int>(low) : 0;
    const int last = high < static_cast<float>(width - 1) ? static_cast<int>(high) : width - 1;
    const float inner = 1.0F / (spot.core * spot.core), outer = 1.0F / (spot.reach * spot.reach);
    const Pixel colour = {spot.colour[0], spot.colour[1], spot.colour[2], 0.0F};
    for (int x = first; x <= last; ++x) {
        const float across = static_cast<float>(x) + 0.5F - spot.x, squared = across * across + up * up;
        const float left = larger(1.0F - squared * outer, 0.0F);
        const float weight = left * left / (1.0F + squared * inner);
        store(row + 4 * x, load<Pixel>(row + 4 * x) + colour * weight);
    }
}

void spread(const StarHazeRow& haze, float* scratch, float* out) {
    for (int i = 0; i < haze.cells + 2; ++i) {
        Pixel sum = {};
        for (int k = 0; k < 3; ++k) sum += load<Pixel>(haze.rows[k] + 4 * i) * haze.weights[k];
        store(scratch + 4 * i, sum);
    }
    for (int i = 0; i < haze.cells; ++i) {
        const Pixel before = load<Pixel>(scratch + 4 * i), here = load<Pixel>(scratch + 4 * i + 4),
                    after = load<Pixel>(scratch + 4 * i + 8);
        for (int k = 0; k < haze.cell; ++k) {
            const float* weight = haze.columns + 3 * k;
            store(out, before * weight[0] + here * weight[1] + after * weight[2]);
            out += 4;
        }
    }
}

// ---- Development ------------------------------------------------------------------------------------------------

// The share of white that light gives: near to 1 - exp(-light), and exactly its first three terms.
QUILLON_VECTOR Floats exposed(Floats light) {
    const Floats v = limited(light, Floats{}, all<Floats>(1e6F));
    return 1.0F - 1.0F / (1.0F + v * (1.0F + v * (0.5F + v * (1.0F / 6.0F))));
}
// Values of a picture stand for the root of light.
QUILLON_VECTOR Floats over(Floats value, Floats share) {
    const Floats there = value * value;
    const Floats sum = square_root(there + share * larger(1.0F - there, Floats{}));
    return share > Floats{} ? sum : value;
}

void develop(float* pixels, const float* const light[3], const float* haze, int count, float background) {
    Ints order = {};
    for (int i = 0; i < LANES; ++i) order[i] = pixel_of(i);
    for (int x = 0; x < count; x += LANES) {
        const int left = count - x;
        Planes v = load_planes(pixels + 4L * x, left);
        Floats r = picked(load(light[0] + x), order), g = picked(load(light[1] + x), order),
               b = picked(load(light[2] + x), order);
        if (haze) {
            const Planes more = load_planes(haze + 4L * x, left);
            r += more.r, g += more.g, b += more.b;
        }
        r = exposed(r), g = exposed(g), b = exposed(b);
        const Floats cover = square_root(larger(larger(r, g), b));
        v.r = over(v.r * background, r), v.g = over(v.g * background, g), v.b = over(v.b * background, b);
        v.a += cover * larger(1.0F - v.a, Floats{});
        store_planes(pixels + 4L * x, v, left);
    }
}

}  // namespace

extern const StarKernels star_kernels;
const StarKernels star_kernels{draw, glow, spread, develop};

}  // namespace QUILLON_SIMD
