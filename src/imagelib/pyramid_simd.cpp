// Reading a pyramid of float RGBA images. Points whose whole neighbourhood lies inside the levels they need are read
// here; all others go to PyramidReading::sample_anywhere, with the same arithmetic in the same order.
#include "imagelib/pyramid_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

using Level = PyramidView::Level;

constexpr int CHUNK = 64;  // points prepared at once
constexpr int TABLE_SCALE = 512;

// ---- Level of detail ------------------------------------------------------------------------------------------

// log2 of positive finite numbers within 2e-7, exact for powers of two. The C library's differs between processors.
static inline Floats log2_of(Floats v) {
    const Ints bits = (Ints)v, fraction = bits & 0x7fffff;
    const Ints above = fraction > 0x3504f3;  // mantissas above sqrt(2): -1
    const Ints exponent = (bits >> 23) - 127 - above;
    const Floats mantissa = (Floats)(fraction | ((127 + above) << 23));
    const Floats t = (mantissa - 1) / (mantissa + 1), t2 = t * t;
    const Floats series = ((t2 * (1.0f / 9) + 1.0f / 7) * t2 + 1.0f / 5) * t2 + 1.0f / 3;
    return to_floats(exponent) + 2.885390082f * (t + t * t2 * series);
}

// The level to read and how much of the next one to mix in: 0 reads one level only.
static inline void choose(Floats area, int top_level, Ints& level, Floats& mix) {
    const Floats zero = {}, one = zero + 1, most = zero + 3e38f;
    area = limited(area, one, most);
    Floats lod = 0.5f * log2_of(area);
    lod = smaller(lod, zero + float(top_level));
    const Ints lower = to_ints(lod);
    const Floats part = lod - to_floats(lower);
    const Ints next = part > zero + 0.999f;
    level = lower - next;
    mix = ((part < zero + 0.001f) | next) ? zero : part;
}

static void choose_one(float area, int top_level, int* level, float* mix) {
    Ints levels;
    Floats mixes;
    choose(Floats{} + area, top_level, levels, mixes);
    *level = levels[0];
    *mix = mixes[0];
}

// ---- One point of one level -----------------------------------------------------------------------------------

struct Place {
    const float* corner;  // the pixel at the truncated position
    long stride;          // floats a row
    float fx, fy;
};

// False when the filter reaches over the border.
static inline bool find(const PyramidView& view, int index, float x, float y, int kernel_type, Place& place) {
    const Level& level = view.levels[index];
    if (index > 0) {
        x = level.max_x * x * view.inv_w;
        y = level.max_y * y * view.inv_h;
    }
    const float margin = kernel_type > 1 ? 1.0f : 0.0f;
    if (!(x >= margin && x < level.max_x - margin && y >= margin && y < level.max_y - margin)) return false;
    const int left = int(x), top = int(y);
    place.stride = 4L * level.width;
    place.corner = level.pixels + top * place.stride + 4L * left;
    place.fx = x - float(left);
    place.fy = y - float(top);
    return true;
}

static inline Pixel mix_four(const float* corner, long stride, float w00, float w10, float w01, float w11) {
    Pixel sum = Pixel{} + w00 * load<Pixel>(corner);
    sum += w10 * load<Pixel>(corner + 4);
    sum += w01 * load<Pixel>(corner + stride);
    return sum + w11 * load<Pixel>(corner + stride + 4);
}

static inline Pixel bilinear(const Place& p) {
    const float gx = 1 - p.fx, gy = 1 - p.fy;
    return mix_four(p.corner, p.stride, gx * gy, p.fx * gy, gx * p.fy, p.fx * p.fy);
}

// The table's entries for the four pixels around a fraction: 1 + f, f, 1 - f and 2 - f away, truncated.
struct Taps {
    const float *left, *right;
    Taps(const float* weights, float fraction) {
        const float entry = fraction * TABLE_SCALE;
        const int below = int(entry), above = below + (float(below) < entry);
        left = weights + below;
        right = weights - above;
    }
    float operator[](int tap) const {
        switch (tap) {
            case 0:
                return left[TABLE_SCALE];
            case 1:
                return left[0];
            case 2:
                return right[TABLE_SCALE];
            default:
                return right[2 * TABLE_SCALE];
        }
    }
};

// Four by four pixels. The limits let NaN pass.
template <bool CLAMP_NEGATIVE>
static inline Pixel filtered(const Place& p, const float* weights) {
    const Taps columns(weights, p.fx), rows(weights, p.fy);
    const Pixel zero = {};
    const Pixel w0 = all<Pixel>(columns[0]), w1 = all<Pixel>(columns[1]);
    const Pixel w2 = all<Pixel>(columns[2]), w3 = all<Pixel>(columns[3]);
    Pixel total = zero;
#pragma GCC unroll 4
    for (int row = 0; row < 4; ++row) {
        const float* at = p.corner + (row - 1) * p.stride;
        Pixel sum = zero + w0 * load<Pixel>(at - 4);
        sum += w1 * load<Pixel>(at);
        sum += w2 * load<Pixel>(at + 4);
        sum += w3 * load<Pixel>(at + 8);
        if (CLAMP_NEGATIVE) sum = larger(zero, sum);
        total += rows[row] * sum;
    }
    return smaller(zero + 3.402823466e38f, larger(zero, total));
}

static inline Pixel read(const PyramidReading& reading, const Place& place) {
    if (reading.kernel_type == 1) return bilinear(place);
    return reading.clamp_negative ? filtered<true>(place, reading.weights) : filtered<false>(place, reading.weights);
}

static inline void sample(const PyramidReading& reading, float x, float y, int level, float mix, float* out) {
    Place place;
    if (reading.kernel_type == 0 || !find(*reading.view, level, x, y, reading.kernel_type, place))
        return reading.sample_anywhere(reading.owner, x, y, level, mix, out);
    Pixel value = read(reading, place);
    if (mix > 0) {
        if (!find(*reading.view, level + 1, x, y, reading.kernel_type, place))
            return reading.sample_anywhere(reading.owner, x, y, level, mix, out);
        value = (1 - mix) * value + mix * read(reading, place);
    }
    store(out, value);
}

// ---- Chunks of points -----------------------------------------------------------------------------------------

// Where LANES points lie on a level: the pixel below each, or -1 where the neighbours reach over the border.
struct Corners {
    Ints offset;
    Floats fx, fy;
};

static inline Corners corners_of(const PyramidView& view, int index, Floats x, Floats y) {
    const Level& level = view.levels[index];
    if (index > 0) {
        x = level.max_x * x * view.inv_w;
        y = level.max_y * y * view.inv_h;
    }
    const Floats zero = {};
    const Ints inside = (x >= zero) & (x < zero + level.max_x) & (y >= zero) & (y < zero + level.max_y);
    x = inside ? x : zero;
    y = inside ? y : zero;
    const Ints left = to_ints(x), top = to_ints(y);
    return {(top * level.width + left) | ~inside, x - to_floats(left), y - to_floats(top)};
}

// Bilinear points of one level, their places and weights found for many points abreast.
static void sample_flat(const PyramidReading& reading, const float* x, const float* y, int index, int count,
                        float* out) {
    const Level& level = reading.view->levels[index];
    const long stride = 4L * level.width;
    alignas(64) int offset[CHUNK];
    alignas(64) float w00[CHUNK], w10[CHUNK], w01[CHUNK], w11[CHUNK];
    for (int i = 0; i < count; i += LANES) {
        const Corners at = corners_of(*reading.view, index, load(x + i), load(y + i));
        const Floats gx = 1 - at.fx, gy = 1 - at.fy;
        store(offset + i, at.offset);
        store(w00 + i, gx * gy);
        store(w10 + i, at.fx * gy);
        store(w01 + i, gx * at.fy);
        store(w11 + i, at.fx * at.fy);
    }
    // The rows of the source change with every map: ask for the lines of the whole chunk before the first is needed.
    for (int i = 0; i < count; i += 2) {
        const float* corner = level.pixels + 4L * (offset[i] < 0 ? 0 : offset[i]);
        __builtin_prefetch(corner);
        __builtin_prefetch(corner + stride);
    }
    for (int i = 0; i < count; ++i, out += 4) {
        if (offset[i] < 0) {
            reading.sample_anywhere(reading.owner, x[i], y[i], index, 0, out);
            continue;
        }
        store(out, mix_four(level.pixels + 4L * offset[i], stride, w00[i], w10[i], w01[i], w11[i]));
    }
}

// The arrays hold CHUNK places, of which `count` are wanted.
static void sample_chunk(const PyramidReading& reading, const float* x, const float* y, const float* areas, int count,
                         float* out) {
    alignas(64) int level[CHUNK];
    alignas(64) float mix[CHUNK];
    bool one_level = true;
    for (int i = 0; i < count; i += LANES) {
        Ints levels;
        Floats mixes;
        choose(load(areas + i), reading.view->top_level, levels, mixes);
        store(level + i, levels);
        store(mix + i, mixes);
    }
    for (int i = 0; i < count; ++i) one_level &= (level[i] == level[0]) & !(mix[i] > 0);
    if (one_level && reading.kernel_type == 1) return sample_flat(reading, x, y, level[0], count, out);
    for (int i = 0; i < count; ++i) sample(reading, x[i], y[i], level[i], mix[i], out + 4 * i);
}

static void sample_points(const PyramidReading& reading, const float* x, const float* y, const float* areas, int count,
                          float* out) {
    alignas(64) float chunk_x[CHUNK] = {}, chunk_y[CHUNK] = {}, chunk_areas[CHUNK];
    for (float& area : chunk_areas) area = 1;
    for (int done = 0; done < count; done += CHUNK) {
        const int n = count - done < CHUNK ? count - done : CHUNK;
        __builtin_memcpy(chunk_x, x + done, sizeof(float) * (unsigned long)n);
        __builtin_memcpy(chunk_y, y + done, sizeof(float) * (unsigned long)n);
        if (areas) __builtin_memcpy(chunk_areas, areas + done, sizeof(float) * (unsigned long)n);
        sample_chunk(reading, chunk_x, chunk_y, chunk_areas, n, out + 4L * done);
    }
}

static void sample_point(const PyramidReading& reading, float x, float y, float area, float* out) {
    int level = 0;
    float mix = 0;
    if (area > 1) choose_one(area, reading.view->top_level, &level, &mix);
    sample(reading, x, y, level, mix, out);
}

static inline float area_between(const float* left, const float* right, const float* above, const float* below) {
    const float spread = (right[0] - left[0]) * (below[1] - above[1]);
    return 0.25f * (spread < 0 ? -spread : spread);
}

static void warp_row(const PyramidReading& reading, const float* above, const float* here, const float* below,
                     int width, float* out) {
    alignas(64) float x[CHUNK] = {}, y[CHUNK] = {}, areas[CHUNK] = {};
    for (int done = 0; done < width; done += CHUNK) {
        const int n = width - done < CHUNK ? width - done : CHUNK;
        const float *line = here + 2L * done, *line_above = above + 2L * done, *line_below = below + 2L * done;
        for (int i = 0; i < n; ++i) {
            x[i] = line[2 * i];
            y[i] = line[2 * i + 1];
        }
        const int first = done == 0 ? 1 : 0, last = done + n == width ? n - 1 : n;
        for (int i = first; i < last; ++i)
            areas[i] = area_between(line + 2 * i - 2, line + 2 * i + 2, line_above + 2 * i, line_below + 2 * i);
        // The picture's first and last column are their own outer neighbours.
        if (first == 1) areas[0] = area_between(line, line + (width > 1 ? 2 : 0), line_above, line_below);
        if (last == n - 1 && last >= first)
            areas[last] =
                area_between(line + 2 * last - 2, line + 2 * last, line_above + 2 * last, line_below + 2 * last);
        sample_chunk(reading, x, y, areas, n, out + 4L * done);
    }
}

}  // namespace

const PyramidKernels pyramid_kernels = {sample_point, sample_points, warp_row, choose_one};

}  // namespace QUILLON_SIMD
