#include "effects/weather/Bubbles_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr int CHUNK = 64;  // pixels that are worked out at once
// What is not a number becomes the lower bound.
static inline Floats clamped(Floats value, float low, float high) {
    return limited(value, all<Floats>(low), all<Floats>(high));
}

// The sprite at some pixels of a row: its planes, and what follows from them.
struct Skin {
    alignas(64) float amount[CHUNK], x[CHUNK], y[CHUNK], covered[CHUNK];
    alignas(64) float gloss[CHUNK];             // how far between two steps of the powers
    alignas(64) float right[CHUNK], up[CHUNK];  // how far from the mirrored pixel to its neighbours
    alignas(64) int step[CHUNK], mirrored[CHUNK];
};

// Where the skin's slope says that the picture is seen, as in a convex mirror: straight lines bend around the bubble.
// And how near the highlight is.
static inline void look_up(Skin& skin, const ShellLook& look, int count) {
    constexpr float REACH = 0.3f;  // of the picture, for a slope of 1
    constexpr float STEEPEST = 0.01f;
    const float width = float(look.mirrored_width), height = float(look.mirrored_height);
    const Floats zero = {}, one = 1.0f - zero;
    for (int i = 0; i < count; i += LANES) {
        const Floats covered = load(skin.covered + i);
        const Floats share = one / (covered > zero ? covered : one);
        const Floats nx = load(skin.x + i) * share, ny = load(skin.y + i) * share;
        const Floats nz = square_root(clamped(one - nx * nx - ny * ny, 0, 1));
        if (look.mirrored) {
            const Floats slope = REACH / clamped(nz, STEEPEST, 1);
            const Floats column = clamped((0.5f + slope * nx) * width - 0.5f, 0, width - 1);
            const Floats row = clamped((0.5f + slope * ny) * height - 0.5f, 0, height - 1);
            const Ints left = to_ints(clamped(column, 0, larger(width - 2, 0.0f)));
            const Ints under = to_ints(clamped(row, 0, larger(height - 2, 0.0f)));
            store(skin.mirrored + i, under * look.mirrored_width + left);
            store(skin.right + i, column - to_floats(left));
            store(skin.up + i, row - to_floats(under));
        }
        if (look.powers) {
            const Floats cosine = nx * look.half[0] + ny * look.half[1] + nz * look.half[2];
            const Floats place = clamped(cosine, 0, 1) * float(GLOSS_STEPS);
            const Ints step = to_ints(place);
            store(skin.step + i, step);
            store(skin.gloss + i, place - to_floats(step));
        }
    }
}

// The skin is laid over what is there; the highlight is light and adds to it.
template <class PixelAt>
static inline void paint(Skin& skin, const ShellLook& look, int count, PixelAt pixel) {
    look_up(skin, look, count);
    const Pixel colour = load<Pixel>(look.colour), strength = load<Pixel>(look.strength);
    const Pixel mirror = load<Pixel>(look.mirror);
    const PixelMask no_alpha = {-1, -1, -1, 0};
    const float boundless = __builtin_inff();
    const Pixel most = {boundless, boundless, boundless, 1.0f};
    for (int i = 0; i < count; ++i) {
        if (!(skin.covered[i] > 0)) continue;
        float* out = pixel(i);
        Pixel shade = colour;
        if (look.mirrored) {
            const float* cell = look.mirrored + 4L * skin.mirrored[i];
            const float* above = cell + look.mirrored_up;
            const Pixel under = load<Pixel>(cell), over = load<Pixel>(above);
            const Pixel low = under + skin.right[i] * (load<Pixel>(cell + look.mirrored_right) - under);
            const Pixel high = over + skin.right[i] * (load<Pixel>(above + look.mirrored_right) - over);
            const Pixel seen = mirror * (low + skin.up[i] * (high - low));
            shade += (Pixel)((PixelMask)seen & no_alpha);
        }
        const float c = skin.amount[i] * look.coverage;
        Pixel sum = c * shade + (1 - c) * load<Pixel>(out);
        if (look.powers) {
            const float* power = look.powers + skin.step[i];
            const float level = (power[0] + skin.gloss[i] * (power[1] - power[0])) * (skin.covered[i] * look.coverage);
            sum = smaller(sum + level * strength, larger(sum, most));
        }
        store(out, sum);
    }
}

// The four weights are the same for every pixel of a bubble at rest.
static void still(const ShellTarget& target, const ShellSprite& sprite, const ShellLook& look, float x, float y) {
    constexpr float MARGIN = 2;  // a pixel and what its neighbours mix in
    const int column = floor_of(x), row = floor_of(y);
    const float tx = x - float(column), ty = y - float(row);
    const float weights[4] = {(1 - ty) * (1 - tx), (1 - ty) * tx, ty * (1 - tx), ty * tx};
    Skin skin;
    float* const planes[4] = {skin.amount, skin.x, skin.y, skin.covered};
    const int bottom = larger(target.first_row, row - sprite.reach);
    const int top = smaller(target.last_row, row + sprite.reach + 1);
    for (int at = bottom; at <= top; ++at) {
        const float aside = larger(absolute(float(at) - y) - MARGIN, 0.0f);
        const float half = square_root(larger(sprite.radius * sprite.radius - aside * aside, 0.0f)) + MARGIN;
        const int first = larger(larger(floor_of(x - half), column - sprite.reach), 0);
        const int last = smaller(smaller(floor_of(x + half) + 1, column + sprite.reach + 1), target.width - 1);
        const float* samples = sprite.middle + (at - row) * sprite.pitch - column;
        for (int from = first; from <= last; from += CHUNK) {
            const int count = smaller(CHUNK, last - from + 1);
            for (int plane = 0; plane < 4; ++plane) {
                const float* here = samples + plane * sprite.plane + from;
                const float* below = here - sprite.pitch;
                for (int i = 0; i < count; i += LANES)
                    store(planes[plane] + i, (weights[0] * load(here + i) + weights[1] * load(here + i - 1)) +
                                                 (weights[2] * load(below + i) + weights[3] * load(below + i - 1)));
            }
            float* out = target.pixels + at * target.pitch + 4L * from;
            paint(skin, look, count, [out](int i) { return out + 4L * i; });
        }
    }
}

static void drawn_out(const ShellTarget& target, const ShellSprite& sprite, const ShellLook& look, float x, float y,
                      float tail_x, float tail_y) {
    const float way_x = x - tail_x, way_y = y - tail_y;
    const float share = 1 / (way_x * way_x + way_y * way_y);
    const float reach = float(sprite.reach + 1);
    const int first = larger(floor_of(smaller(x, tail_x) - reach), 0);
    const int last = smaller(floor_of(larger(x, tail_x) + reach) + 1, target.width - 1);
    const int bottom = larger(target.first_row, floor_of(smaller(y, tail_y) - reach));
    const int top = smaller(target.last_row, floor_of(larger(y, tail_y) + reach) + 1);
    Skin skin{};
    float* const planes[4] = {skin.amount, skin.x, skin.y, skin.covered};
    for (int at = bottom; at <= top; ++at) {
        const float from_y = float(at) - tail_y;
        for (int from = first; from <= last; from += CHUNK) {
            const int count = smaller(CHUNK, last - from + 1);
            for (int i = 0; i < count; ++i) {
                const float from_x = float(from + i) - tail_x;
                const float t = smaller(larger((from_x * way_x + from_y * way_y) * share, 0.0f), 1.0f);
                const float dx = from_x - t * way_x, dy = from_y - t * way_y;
                skin.covered[i] = 0;
                if (!(absolute(dx) < reach && absolute(dy) < reach)) continue;
                const int left = floor_of(dx), under = floor_of(dy);
                const float fx = dx - float(left), fy = dy - float(under);
                const float* here = sprite.middle + under * sprite.pitch + left;
                for (int plane = 0; plane < 4; ++plane, here += sprite.plane) {
                    const float low = here[0] + fx * (here[1] - here[0]);
                    const float high = here[sprite.pitch] + fx * (here[sprite.pitch + 1] - here[sprite.pitch]);
                    planes[plane][i] = low + fy * (high - low);
                }
            }
            float* out = target.pixels + at * target.pitch + 4L * from;
            paint(skin, look, count, [out](int i) { return out + 4L * i; });
        }
    }
}

static void droplets(const ShellSprite& sprite, const ShellLook& look, const long* samples, float* const* pixels,
                     int count) {
    Skin skin{};
    float* const planes[4] = {skin.amount, skin.x, skin.y, skin.covered};
    for (int from = 0; from < count; from += CHUNK) {
        const int some = smaller(CHUNK, count - from);
        for (int i = 0; i < some; ++i)
            for (int plane = 0; plane < 4; ++plane)
                planes[plane][i] = sprite.middle[samples[from + i] + plane * sprite.plane];
        paint(skin, look, some, [&](int i) { return pixels[from + i]; });
    }
}

}  // namespace

const ShellKernels shell_kernels = {still, drawn_out, droplets};

}  // namespace QUILLON_SIMD
