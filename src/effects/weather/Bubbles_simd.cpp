#include "effects/weather/Bubbles_simd.h"

#include <immintrin.h>

namespace QUILLON_SIMD {
namespace {

#if defined(__AVX512F__)
constexpr int LANES = 16;
#elif defined(__AVX2__)
constexpr int LANES = 8;
#else
constexpr int LANES = 4;
#endif
constexpr int CHUNK = 64;  // pixels that are worked out at once
typedef float Floats __attribute__((vector_size(4 * LANES)));
typedef int Ints __attribute__((vector_size(4 * LANES)));

static inline Floats load(const float* from) {
    Floats value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}
static inline void store(float* to, Floats value) { __builtin_memcpy(to, &value, sizeof value); }
static inline void store(int* to, Ints value) { __builtin_memcpy(to, &value, sizeof value); }

static inline Floats root(Floats value) {
#if defined(__AVX512F__)
    return (Floats)_mm512_sqrt_ps((__m512)value);
#elif defined(__AVX2__)
    return (Floats)_mm256_sqrt_ps((__m256)value);
#else
    return (Floats)_mm_sqrt_ps((__m128)value);
#endif
}
static inline float root(float value) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(value))); }

// What is not a number becomes the lower bound.
static inline Floats clamped(Floats value, float low, float high) {
    const Floats lows = low - Floats{}, highs = high - Floats{};
    value = value > lows ? value : lows;
    return value < highs ? value : highs;
}

static inline int floor_of(float value) {
    const int cut = int(value);
    return cut - (float(cut) > value);
}
static inline int larger(int a, int b) { return a > b ? a : b; }
static inline int smaller(int a, int b) { return a < b ? a : b; }
static inline float larger(float a, float b) { return a > b ? a : b; }
static inline float smaller(float a, float b) { return a < b ? a : b; }
static inline float distance(float a) { return a < 0 ? -a : a; }

// The sprite at some pixels of a row: its planes, and what follows from them.
struct Skin {
    alignas(64) float amount[CHUNK], x[CHUNK], y[CHUNK], covered[CHUNK];
    alignas(64) float gloss[CHUNK];  // how far between two steps of the powers
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
        const Floats nz = root(clamped(one - nx * nx - ny * ny, 0, 1));
        if (look.mirrored) {
            const Floats slope = REACH / clamped(nz, STEEPEST, 1);
            const Floats column = clamped((0.5f + slope * nx) * width, 0, width - 1);
            const Floats row = clamped((0.5f + slope * ny) * height, 0, height - 1);
            store(skin.mirrored + i,
                  __builtin_convertvector(row, Ints) * look.mirrored_width + __builtin_convertvector(column, Ints));
        }
        if (look.powers) {
            const Floats cosine = nx * look.half[0] + ny * look.half[1] + nz * look.half[2];
            const Floats place = clamped(cosine, 0, 1) * float(GLOSS_STEPS);
            const Ints step = __builtin_convertvector(place, Ints);
            store(skin.step + i, step);
            store(skin.gloss + i, place - __builtin_convertvector(step, Floats));
        }
    }
}

// The skin is laid over what is there; the highlight is light and adds to it.
template <class Pixel>
static inline void paint(Skin& skin, const ShellLook& look, int count, Pixel pixel) {
    look_up(skin, look, count);
    const __m128 colour = _mm_loadu_ps(look.colour), strength = _mm_loadu_ps(look.strength);
    const __m128 mirror = _mm_loadu_ps(look.mirror), one = _mm_set1_ps(1.0f);
    const __m128 no_alpha = _mm_castsi128_ps(_mm_setr_epi32(-1, -1, -1, 0));
    const float boundless = __builtin_inff();
    const __m128 most = _mm_setr_ps(boundless, boundless, boundless, 1.0f);
    for (int i = 0; i < count; ++i) {
        if (!(skin.covered[i] > 0)) continue;
        float* out = pixel(i);
        __m128 shade = colour;
        if (look.mirrored) {
            const __m128 seen = _mm_loadu_ps(look.mirrored + 4L * skin.mirrored[i]);
            shade = _mm_add_ps(shade, _mm_and_ps(_mm_mul_ps(mirror, seen), no_alpha));
        }
        const __m128 c = _mm_set1_ps(skin.amount[i] * look.coverage);
        __m128 sum = _mm_add_ps(_mm_mul_ps(c, shade), _mm_mul_ps(_mm_sub_ps(one, c), _mm_loadu_ps(out)));
        if (look.powers) {
            const float* power = look.powers + skin.step[i];
            const float level = (power[0] + skin.gloss[i] * (power[1] - power[0])) * (skin.covered[i] * look.coverage);
            const __m128 lit = _mm_add_ps(sum, _mm_mul_ps(_mm_set1_ps(level), strength));
            sum = _mm_min_ps(lit, _mm_max_ps(sum, most));
        }
        _mm_storeu_ps(out, sum);
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
        const float aside = larger(distance(float(at) - y) - MARGIN, 0.0f);
        const float half = root(larger(sprite.radius * sprite.radius - aside * aside, 0.0f)) + MARGIN;
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
                if (!(distance(dx) < reach && distance(dy) < reach)) continue;
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
