// The walk of line integral convolution, eight neighbouring pixels abreast.
//
// A sample costs one 16-byte load, one add and its share of the address arithmetic. Positions are 32.32 fixed point
// and advance by one integer add an axis, several lanes to a vector; a block of byte offsets is written to a small
// buffer first, then read back by eight independent chains of adds. The order in which a pixel's samples are summed
// (blocks of BLOCK in line order, then the blocks) is the same for every instruction set.
#include "imagelib/lic_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

using Fixed = long long;  // 32.32
using FixedVector = Register<Fixed>;
using OffsetVector = Register<unsigned long long>;

constexpr int TILE = 64;    // pixels of a row set up at once; a column of tiles keeps its lines in the second cache
constexpr int ABREAST = 8;  // pixels walked at once
constexpr int BLOCK = 32;   // samples summed before they join the total: keeps long sums accurate
constexpr int VECTORS = ABREAST * int(sizeof(Fixed)) / REGISTER;
constexpr Fixed ONE = Fixed(1) << 32;
constexpr Fixed NUDGE = Fixed(1) << 16;  // 2^-16 pixel, more than 2^16 steps can lose to rounding
constexpr double MAX_STEPS = 1 << 20;

static inline OffsetVector multiply_low_words(OffsetVector a, OffsetVector b) {
#if defined(__AVX512F__)
    return (OffsetVector)_mm512_maskz_mul_epu32(0xff, (__m512i)a, (__m512i)b);  // plain: GCC 12 warns of its header
#elif defined(__AVX2__)
    return (OffsetVector)_mm256_mul_epu32((__m256i)a, (__m256i)b);
#elif defined(__SSE2__)
    return (OffsetVector)_mm_mul_epu32((__m128i)a, (__m128i)b);
#else
    return (a & 0xffffffffU) * (b & 0xffffffffU);
#endif
}

// The nearest 32.32 number, for |v| below 2^18: adding 1.5 * 2^20 leaves 32 binary places in the mantissa.
static inline Fixed to_fixed(double v) {
    const double magic = 1.5 * (1 << 20);
    const double sum = v + magic;
    Fixed bits, zero;
    __builtin_memcpy(&bits, &sum, sizeof bits);
    __builtin_memcpy(&zero, &magic, sizeof zero);
    return bits - zero;
}

// What a line reads: sizeof(Sample) bytes at each position of a plane.
struct Colour {
    using Sum = Pixel;
    static constexpr int SHIFT = 4;
    static Sum zero() { return Sum{}; }
    static Sum read(const char* at) { return load<Pixel>(reinterpret_cast<const float*>(at)); }
};
struct Term {
    using Sum = float;
    static constexpr int SHIFT = 2;
    static Sum zero() { return 0.0f; }
    static Sum read(const char* at) { return *reinterpret_cast<const float*>(at); }
};

struct Plane {
    const char* pixels;
    int width, height;
};

// Lines of a tile, one for each pixel: count samples from (x, y) onwards.
struct Lines {
    alignas(64) Fixed x[TILE], y[TILE], step_x[TILE], step_y[TILE];
    alignas(64) int count[TILE];
    bool inside;  // no line leaves its plane
};

template <bool CLAMP>
static inline OffsetVector pixel_of(FixedVector position, int last) {
    if constexpr (CLAMP) {
        const Ints zero = {}, top = zero + last;
        Ints words = (Ints)position;  // the upper word of each lane is the pixel
        words = smaller(larger(words, zero), top);
        position = (FixedVector)words;
    }
    return (OffsetVector)position >> 32;
}

// Byte offsets of the next `steps` samples of ABREAST lines.
template <class Sample, bool CLAMP>
static inline void write_offsets(unsigned long long (*offsets)[ABREAST], int steps, const Plane& plane, FixedVector* x,
                                 FixedVector* y, const FixedVector* step_x, const FixedVector* step_y) {
    const OffsetVector width = OffsetVector{} + (unsigned long long)plane.width;
    for (int k = 0; k < steps; ++k) {
#pragma GCC unroll 4
        for (int v = 0; v < VECTORS; ++v) {
            const OffsetVector row = multiply_low_words(pixel_of<CLAMP>(y[v], plane.height - 1), width);
            const OffsetVector offset = (row + pixel_of<CLAMP>(x[v], plane.width - 1)) << Sample::SHIFT;
            store(offsets[k] + v * COUNT_OF<OffsetVector>, offset);
            x[v] += step_x[v];
            y[v] += step_y[v];
        }
    }
}

// Sums of ABREAST lines, those of pixels i onwards of the tile.
template <class Sample, bool CLAMP>
static inline void walk(const Plane& plane, const Lines& lines, int i, typename Sample::Sum* total) {
    FixedVector x[VECTORS], y[VECTORS], step_x[VECTORS], step_y[VECTORS];
    __builtin_memcpy(x, lines.x + i, sizeof x);
    __builtin_memcpy(y, lines.y + i, sizeof y);
    __builtin_memcpy(step_x, lines.step_x + i, sizeof step_x);
    __builtin_memcpy(step_y, lines.step_y + i, sizeof step_y);
    const int* count = lines.count + i;
    int shortest = count[0], longest = count[0];
    for (int j = 1; j < ABREAST; ++j) {
        shortest = count[j] < shortest ? count[j] : shortest;
        longest = count[j] > longest ? count[j] : longest;
    }
    for (int j = 0; j < ABREAST; ++j) total[j] = Sample::zero();

    alignas(64) unsigned long long offsets[BLOCK][ABREAST];
    for (int done = 0; done < longest; done += BLOCK) {
        const int steps = longest - done < BLOCK ? longest - done : BLOCK;
        write_offsets<Sample, CLAMP>(offsets, steps, plane, x, y, step_x, step_y);
        const int left = shortest - done;
        const int common = left < 0 ? 0 : left < steps ? left : steps;
        typename Sample::Sum sum[ABREAST];
#pragma GCC unroll 8
        for (int j = 0; j < ABREAST; ++j) sum[j] = Sample::zero();
        for (int k = 0; k < common; ++k) {
#pragma GCC unroll 8
            for (int j = 0; j < ABREAST; ++j) sum[j] += Sample::read(plane.pixels + offsets[k][j]);
        }
#pragma GCC unroll 8
        for (int j = 0; j < ABREAST; ++j) {
            const int end = count[j] - done < steps ? count[j] - done : steps;
            for (int k = common; k < end; ++k) sum[j] += Sample::read(plane.pixels + offsets[k][j]);
            total[j] += sum[j];
        }
    }
}

template <class Sample>
static inline void walk(const Plane& plane, const Lines& lines, int i, typename Sample::Sum* total) {
    if (lines.inside)
        walk<Sample, false>(plane, lines, i, total);
    else
        walk<Sample, true>(plane, lines, i, total);
}

static inline bool within(Fixed position, int size) { return position >= 0 && position < size * ONE; }

// How many steps a coordinate takes until it is at or beyond `limit` in the direction of its step (never: `none`).
static inline Fixed steps_to(Fixed position, Fixed step, Fixed limit, Fixed none) {
    if (step == 0) return none;
    const Fixed gap = step > 0 ? limit - position : position - limit;
    const Fixed stride = step > 0 ? step : -step;
    return gap <= 0 ? 0 : (gap + stride - 1) / stride;
}

// ---- The clear distance ---------------------------------------------------------------------------------------

struct Tile {
    int x0, y, width;                             // width: without the padding of the last group
    alignas(64) double dx[TILE], distance[TILE];  // distance: r, in the units of the clear shape
    alignas(64) double clear[TILE];
    double dy;
};

static void start_tile(const LicFrame& frame, Tile& tile) {
    tile.dy = tile.y - frame.cy;
    const double ay = tile.dy * frame.y_unit;
    for (int i = 0; i < TILE; ++i) {
        tile.dx[i] = tile.x0 + (i < tile.width ? i : tile.width - 1) - frame.cx;
        const double ax = tile.dx[i] * frame.x_unit;
        tile.distance[i] = __builtin_sqrt(ax * ax + ay * ay);
    }
}

// A convex polygon's extent in a direction is its inner radius over the largest cosine between the direction and the
// normals of its sides: no angles needed.
static void clear_polygon(const LicFrame& frame, Tile& tile) {
    double nearest[TILE] = {};
    const double ay = tile.dy * frame.y_unit;
    for (int side = 0; side < frame.sides; ++side) {
        const double nx = frame.normals[2 * side] * frame.x_unit, ny = frame.normals[2 * side + 1] * ay;
        for (int i = 0; i < TILE; ++i) {
            const double projection = tile.dx[i] * nx + ny;
            nearest[i] = projection > nearest[i] ? projection : nearest[i];
        }
    }
    for (int i = 0; i < TILE; ++i)
        tile.clear[i] = nearest[i] > 0 ? frame.clear * tile.distance[i] / nearest[i] : frame.clear;
}

static void clear_screen(const LicFrame& frame, Tile& tile) {
    const LicScreen& screen = frame.screen;
    for (int i = 0; i < TILE; ++i) tile.clear[i] = 0;
    if (!(frame.cx > -1 && frame.cx < screen.width && frame.cy > -1 && frame.cy < screen.height)) return;

    const Plane plane = {reinterpret_cast<const char*>(screen.terms), screen.width, screen.height};
    const double height = tile.dy < 0 ? -tile.dy : tile.dy;
    const Fixed start_x = to_fixed(frame.cx) + NUDGE, start_y = to_fixed(frame.cy) + NUDGE;
    Lines lines;
    lines.inside = true;
    for (int i = 0; i < TILE; ++i) {
        const double width = tile.dx[i] < 0 ? -tile.dx[i] : tile.dx[i];
        const double longer = (width > height ? width : height) * frame.samples;
        const double inverse = longer > 0 ? 1 / longer : 0;
        lines.x[i] = start_x;
        lines.y[i] = start_y;
        lines.step_x[i] = to_fixed(tile.dx[i] * inverse);
        lines.step_y[i] = to_fixed(tile.dy * inverse);
        lines.count[i] = 1 + int(longer < MAX_STEPS ? longer : MAX_STEPS);
    }
    for (int i = 0; i < TILE; ++i) {
        const Fixed end_x = start_x + (lines.count[i] - 1) * lines.step_x[i];
        const Fixed end_y = start_y + (lines.count[i] - 1) * lines.step_y[i];
        if (within(start_x, screen.width) && within(start_y, screen.height) && within(end_x, screen.width) &&
            within(end_y, screen.height))
            continue;
        // Truncation counts positions down to -1 as pixel 0.
        lines.inside = false;
        const Fixed leave_x = steps_to(start_x, lines.step_x[i], lines.step_x[i] > 0 ? screen.width * ONE : -ONE, ONE);
        const Fixed leave_y = steps_to(start_y, lines.step_y[i], lines.step_y[i] > 0 ? screen.height * ONE : -ONE, ONE);
        const Fixed leave = leave_x < leave_y ? leave_x : leave_y;
        if (leave < lines.count[i]) lines.count[i] = int(leave);
    }
    for (int i = 0; i < tile.width; i += ABREAST) {
        float taken[ABREAST];
        walk<Term>(plane, lines, i, taken);
        for (int j = 0; j < ABREAST; ++j) tile.clear[i + j] = taken[j] / frame.samples;
    }
}

// ---- The line of each pixel -----------------------------------------------------------------------------------

struct Result {
    alignas(64) int samples[TILE];  // of the whole line; 0: the pixel stays
    alignas(64) float mix[TILE];    // of the mean over the source
    alignas(64) int tail[TILE];     // samples after the last one walked, all of them the pixel that it stands on
};

// A line that leaves the image ends up on one border pixel: what is left of it there need not be walked.
static void cut_tail(const LicFrame& frame, Lines& lines, int i, int& tail) {
    const Fixed rest_x =
        steps_to(lines.x[i], lines.step_x[i], lines.step_x[i] > 0 ? (frame.width - 1) * ONE : ONE - 1, 0);
    const Fixed rest_y =
        steps_to(lines.y[i], lines.step_y[i], lines.step_y[i] > 0 ? (frame.height - 1) * ONE : ONE - 1, 0);
    const Fixed rest = (rest_x > rest_y ? rest_x : rest_y) + 1;
    if (rest >= lines.count[i]) return;
    tail = lines.count[i] - int(rest);
    lines.count[i] = int(rest);
}

static void make_lines(const LicFrame& frame, const Tile& tile, Lines& lines, Result& result) {
    const double height = tile.dy < 0 ? -tile.dy : tile.dy;
    const double inverse_soft = frame.soft > 0 ? 1 / frame.soft : 0;
    for (int i = 0; i < TILE; ++i) {
        const double width = tile.dx[i] < 0 ? -tile.dx[i] : tile.dx[i];
        const double longest = width > height ? width : height;
        double d = tile.distance[i] - tile.clear[i];
        d = d < 0.0001 ? 0 : d;
        const bool moves = d > 0 && longest > 0 && frame.reach != 0;
        const double signed_length = frame.reach * (d / (moves ? tile.distance[i] : 1)) * longest;
        const double length = signed_length < 0 ? -signed_length : signed_length;
        const int samples = 1 + int(length < MAX_STEPS ? length : MAX_STEPS);
        const double stride = (frame.reach < 0 ? -1 : 1) / (moves ? longest * frame.samples : 1);
        const double t = d * inverse_soft;
        result.samples[i] = moves ? samples : 0;
        result.mix[i] = d >= frame.soft ? 1.0f : float((3 - 2 * t) * t * t);
        result.tail[i] = 0;
        lines.count[i] = result.samples[i];
        lines.x[i] = (tile.x0 + (i < tile.width ? i : tile.width - 1)) * ONE + NUDGE;
        lines.y[i] = tile.y * ONE + NUDGE;
        lines.step_x[i] = to_fixed(moves ? tile.dx[i] * stride : 0);
        lines.step_y[i] = to_fixed(moves ? tile.dy * stride : 0);
    }
    lines.inside = true;
    for (int i = 0; i < TILE; ++i) {
        const Fixed last = lines.count[i] - 1;
        const bool stays = within(lines.x[i] + last * lines.step_x[i], frame.width) &&
                           within(lines.y[i] + last * lines.step_y[i], frame.height);
        if (lines.count[i] == 0 || stays) continue;
        lines.inside = false;
        cut_tail(frame, lines, i, result.tail[i]);
    }
}

static inline int clamped_pixel(Fixed position, int size) {
    const Fixed pixel = position >> 32;
    return int(pixel < 0 ? 0 : pixel < size ? pixel : size - 1);
}

// The pixel that a line stands on after it has been walked.
static inline Pixel resting_pixel(const LicFrame& frame, const Lines& lines, int i) {
    const Fixed last = lines.count[i] - 1;
    const int x = clamped_pixel(lines.x[i] + last * lines.step_x[i], frame.width);
    const int y = clamped_pixel(lines.y[i] + last * lines.step_y[i], frame.height);
    return load<Pixel>(frame.source + (Fixed(y) * frame.width + x) * 4);
}

static void render_tile(const LicFrame& frame, const Tile& tile) {
    Lines lines;
    Result result;
    make_lines(frame, tile, lines, result);
    const Plane plane = {reinterpret_cast<const char*>(frame.source), frame.width, frame.height};
    const Fixed start = (Fixed(tile.y) * frame.width + tile.x0) * 4;
    for (int i = 0; i < tile.width; i += ABREAST) {
        Pixel sums[ABREAST];
        walk<Colour>(plane, lines, i, sums);
        const int end = tile.width - i < ABREAST ? tile.width - i : ABREAST;
        for (int j = 0; j < end; ++j) {
            const Pixel own = load<Pixel>(frame.source + start + (i + j) * 4);
            Pixel value = own;
            if (result.samples[i + j] > 0) {
                if (result.tail[i + j] > 0) sums[j] += float(result.tail[i + j]) * resting_pixel(frame, lines, i + j);
                value = sums[j] / float(result.samples[i + j]);
                if (result.mix[i + j] < 1) value = own + result.mix[i + j] * (value - own);
            }
            store(frame.destination + start + (i + j) * 4, value);
        }
    }
}

static void render_rows(const LicFrame& frame, int first, int last) {
    Tile tile;
    for (tile.x0 = 0; tile.x0 < frame.width; tile.x0 += TILE) {
        tile.width = frame.width - tile.x0 < TILE ? frame.width - tile.x0 : TILE;
        for (tile.y = first; tile.y <= last; ++tile.y) {
            start_tile(frame, tile);
            if (frame.screen.terms)
                clear_screen(frame, tile);
            else if (frame.sides > 0)
                clear_polygon(frame, tile);
            else
                for (int i = 0; i < TILE; ++i) tile.clear[i] = frame.clear;
            render_tile(frame, tile);
        }
    }
}

}  // namespace

const LicRows lic_rows = render_rows;

}  // namespace QUILLON_SIMD
