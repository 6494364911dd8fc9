#include "effects/trails/TrailLive_simd.h"

#include <algorithm>

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr float LUMINANCE[3] = {0.3F, 0.5F, 0.2F};
constexpr float FAINTEST = 1e-4F;     // alpha
constexpr float WORN_SOFTLY = 0.12F;  // depth over which a worn edge fades
enum Mode { OVER = 1, LIGHTEN, SCREEN, ADD, MULTIPLY };

// Mixed from four pixels; beyond the picture there is nothing.
QUILLON_VECTOR Pixel pixel_at(const TrailSmear& s, float x, float y) {
    if (!(x > -1.0F && y > -1.0F && x < static_cast<float>(s.width) && y < static_cast<float>(s.height)))
        return Pixel{};
    const int left = floor_of(x), low = floor_of(y);
    const float fx = x - static_cast<float>(left), fy = y - static_cast<float>(low);
    const auto row = [&](int j) -> Pixel {
        if (j < 0 || j >= s.height) return Pixel{};
        const float* from = s.source + 4L * (static_cast<long>(j) * s.width + left);
        const Pixel a = left >= 0 ? load<Pixel>(from) : Pixel{};
        const Pixel b = left + 1 < s.width ? load<Pixel>(from + 4) : Pixel{};
        return a + fx * (b - a);
    };
    const Pixel a = row(low), b = row(low + 1);
    return a + fy * (b - a);
}
QUILLON_VECTOR float depth_at(const TrailSmear& s, float x, float y) {
    const int i = static_cast<int>(x + 0.5F), j = static_cast<int>(y + 0.5F);
    if (x < 0.0F || y < 0.0F || i >= s.width || j >= s.height) return 0.0F;
    return s.depth[static_cast<long>(j) * s.width + i];
}

static void smear(const TrailSmear& s, int y, int first, int last, float* colours, float* extras) {
    const auto row = static_cast<float>(y);
    for (int x = first; x <= last; ++x, colours += 4, extras += 3) {
        const auto column = static_cast<float>(x);
        const float cell = limited((column + 0.5F) * s.cells_per_pixel - 0.5F, 0.0F, static_cast<float>(s.cells - 1));
        const int i = std::min(static_cast<int>(cell), std::max(s.cells - 2, 0));
        const float f = cell - static_cast<float>(i);
        Pixel sum = {}, most = {};
        float parts = 0.0F, clear = 1.0F, deepest = 0.0F, now = 0.0F;
        for (int n = 0; n < s.count; ++n) {
            const TrailMoment& m = s.moments[n];
            if (x < m.first || x > m.last) continue;
            const float* motion = m.motion + 2 * i;
            const int next = s.cells > 1 ? 2 : 0;
            const float px = column - (motion[0] + f * (motion[next] - motion[0])),
                        py = row - (motion[1] + f * (motion[next + 1] - motion[1]));
            const Pixel there = pixel_at(s, px, py);
            if (n == 0) now = there[3];
            if (there[3] <= FAINTEST) continue;
            sum += there;
            most = larger(most, there);
            parts += m.part * there[3] * clear;  // of what covers it last
            clear *= 1.0F - smaller(there[3], 1.0F);
            if (s.depth) deepest = larger(deepest, depth_at(s, px, py));
        }
        const float alpha = sum[3];
        Pixel shown = {};
        if (alpha > FAINTEST) shown = s.brightest ? most : sum * (most[3] / alpha);
        store(colours, shown);
        extras[0] = clear < 1.0F ? parts / (1.0F - clear) : 0.0F;
        extras[1] = deepest;
        extras[2] = now;
    }
}

static void add(const TrailLook& look, const float* colours, const float* extras, float* trail, int count) {
    const Pixel tint = {look.tint[0][0], look.tint[0][1], look.tint[0][2], 0.0F};
    const Pixel tint_changes = Pixel{look.tint[1][0], look.tint[1][1], look.tint[1][2], 0.0F} - tint;
    const float own = (1.0F - look.tinted) * look.gain, ink = look.tinted * look.gain;
    const bool wears = look.worn[1] > 0.0F;
    for (int x = 0; x < count; ++x, colours += 4, extras += 3, trail += 4) {
        const Pixel c = load<Pixel>(colours);
        if (c[3] <= FAINTEST) continue;
        const float part = extras[0];
        float strength = look.strength[0] + part * (look.strength[1] - look.strength[0]);
        if (wears) {
            const float worn = look.worn[0] + part * (look.worn[1] - look.worn[0]);
            strength *= to_unit((extras[1] - worn * (1.0F + WORN_SOFTLY)) * (1.0F / WORN_SOFTLY) + 1.0F);
        }
        const float grey = LUMINANCE[0] * c[0] + LUMINANCE[1] * c[1] + LUMINANCE[2] * c[2];
        const Pixel greys = {grey, grey, grey, grey};
        Pixel laid = larger(greys + look.saturation * (c - greys), Pixel{});
        laid = own * laid + (ink * c[3]) * (tint + part * tint_changes);
        laid[3] = c[3];
        laid *= strength;
        const Pixel below = load<Pixel>(trail);
        // What is older fills up what the newer one leaves of it: where they overlap the trail is no denser.
        const float left = below[3] > laid[3] ? (below[3] - laid[3]) / below[3] : 0.0F;
        store(trail, look.lighten ? larger(below, laid) : laid + left * below);
    }
}

// The level's samples at a row, mixed from the two around it.
static void mix_rows(const TrailLevelRow& level, int channels, float* row) {
    for (int i = 0; i < channels * level.width; ++i)
        row[i] = level.low[i] + level.between * (level.high[i] - level.low[i]);
}

// Between which samples of a level's row a pixel of the result lies.
struct LevelPlace {
    int sample, next;
    float between;
};
QUILLON_VECTOR LevelPlace place_of(const TrailLevelRow& level, int x) {
    const auto last = static_cast<float>(level.width - 1);
    const float at = limited((static_cast<float>(x) + 0.5F) * level.pixels_per_pixel - 0.5F, 0.0F, last);
    const int sample = static_cast<int>(at);
    return {sample, std::min(sample + 1, level.width - 1), at - static_cast<float>(sample)};
}

static void add_level(const TrailLevelRow& level, float* row, float* trail, int count, bool lighten) {
    mix_rows(level, 4, row);
    for (int x = 0; x < count; ++x) {
        const LevelPlace at = place_of(level, x);
        const Pixel a = load<Pixel>(row + 4L * at.sample), b = load<Pixel>(row + 4L * at.next);
        const Pixel v = (a + at.between * (b - a)) * level.share;
        const Pixel below = load<Pixel>(trail + 4L * x);
        Pixel sum = level.adds ? below + v : (lighten ? larger(below, v) : v + below * (1.0F - v[3]));
        sum[3] = limited(sum[3], 0.0F, 1.0F);
        store(trail + 4L * x, sum);
    }
}

QUILLON_VECTOR Pixel laid_over(int mode, Pixel below, Pixel trail) {
    const float clear = 1.0F - trail[3];
    switch (mode) {
        case LIGHTEN:
            return larger(below, trail);
        case SCREEN:  // of values above 1 the larger stays
            return larger(below + trail - below * trail, larger(below, trail));
        case ADD:
            return below + trail;
        case MULTIPLY:
            return below * smaller(clear + trail, Pixel{} + 1.0F);
        default:
            return trail + below * clear;
    }
}

static void lay_live(const TrailFrame& frame, const float* key, float* result, int count) {
    for (int x = 0; x < count; ++x) {
        const LevelPlace at = place_of(frame.key, x);
        const float share = key[at.sample] + at.between * (key[at.next] - key[at.sample]);
        if (share <= 0.0F) continue;
        const Pixel below = load<Pixel>(result + 4L * x);
        store(result + 4L * x, below + share * (load<Pixel>(frame.live + 4L * x) - below));
    }
}

static void compose(const TrailFrame& frame, float* scratch, float* result, int count) {
    float *trail = scratch, *row = scratch + 4L * count;
    std::fill_n(trail, 4L * count, 0.0F);
    const bool lighten = frame.mode == LIGHTEN || frame.mode == SCREEN || frame.mode == ADD;
    for (int n = 0; n < frame.count; ++n)
        if (frame.levels[n].share > 0.0F) add_level(frame.levels[n], row, trail, count, lighten);
    if (frame.live) mix_rows(frame.key, 1, row);
    if (frame.live && !frame.live_on_top) lay_live(frame, row, result, count);
    for (int x = 0; x < count; ++x) {
        Pixel t = load<Pixel>(trail + 4L * x);
        if (frame.hides) {
            const float* h = frame.hides + 4L * x;
            t *= 1.0F - to_unit(LUMINANCE[0] * h[0] + LUMINANCE[1] * h[1] + LUMINANCE[2] * h[2]);
        }
        const Pixel below = load<Pixel>(result + 4L * x);
        Pixel out = laid_over(frame.mode, below, t);
        out[3] = below[3] + t[3] * (1.0F - below[3]);
        store(result + 4L * x, out);
    }
    if (frame.live && frame.live_on_top) lay_live(frame, row, result, count);
}

}  // namespace

const TrailRows trail_rows = {smear, add, compose};

}  // namespace QUILLON_SIMD
