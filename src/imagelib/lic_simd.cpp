// The walk of line integral convolution, eight neighbouring pixels abreast.
//
// A sample costs one 16-byte load, one add and its share of the address arithmetic. Positions are 32.32 fixed point
// and advance by one integer add an axis, several lanes to a vector; a block of byte offsets is written to a small
// buffer first, then read back by eight independent chains of adds. The order in which a pixel's samples are summed
// (blocks of BLOCK in line order, then the blocks) is the same for every instruction set.
#include "imagelib/lic_simd.h"

#include "imagelib/lic_formulas.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

using lic::BLOCK;
using lic::Fixed;
using FixedVector = Register<Fixed>;
using OffsetVector = Register<unsigned long long>;

constexpr int TILE = 64;    // pixels of a row set up at once; a column of tiles keeps its lines in the second cache
constexpr int ABREAST = 8;  // pixels walked at once
constexpr int VECTORS = ABREAST * int(sizeof(Fixed)) / REGISTER;

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

    void set(int i, const lic::Line& line) {
        x[i] = line.x, y[i] = line.y;
        step_x[i] = line.step_x, step_y[i] = line.step_y;
        count[i] = line.count;
    }
    lic::Line get(int i) const { return {x[i], y[i], step_x[i], step_y[i], count[i]}; }
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

// ---- The clear distance ---------------------------------------------------------------------------------------

struct Tile {
    int x0, y, width;                             // width: without the padding of the last group
    alignas(64) double dx[TILE], distance[TILE];  // distance: r, in the units of the clear shape
    alignas(64) double clear[TILE];
    double dy;
};

static void start_tile(const LicFrame& frame, Tile& tile) {
    tile.dy = tile.y - frame.cy;
    for (int i = 0; i < TILE; ++i) {
        tile.dx[i] = tile.x0 + (i < tile.width ? i : tile.width - 1) - frame.cx;
        tile.distance[i] = lic::distance(frame, tile.dx[i], tile.dy);
    }
}

static void clear_polygon(const LicFrame& frame, Tile& tile) {
    double nearest[TILE] = {};
    for (int side = 0; side < frame.sides; ++side) {
        for (int i = 0; i < TILE; ++i) {
            const double projection = lic::projection(frame, side, tile.dx[i], tile.dy);
            nearest[i] = projection > nearest[i] ? projection : nearest[i];
        }
    }
    for (int i = 0; i < TILE; ++i) tile.clear[i] = lic::polygon_extent(frame, nearest[i], tile.distance[i]);
}

static void clear_screen(const LicFrame& frame, Tile& tile) {
    const LicScreen& screen = frame.screen;
    for (int i = 0; i < TILE; ++i) tile.clear[i] = 0;
    if (!lic::has_screen_line(frame)) return;

    const Plane plane = {reinterpret_cast<const char*>(screen.terms), screen.width, screen.height};
    Lines lines;
    lines.inside = true;
    for (int i = 0; i < TILE; ++i) lines.set(i, lic::screen_line(frame, tile.dx[i], tile.dy));
    for (int i = 0; i < TILE; ++i) {
        lic::Line line = lines.get(i);
        if (lic::end_at_border(screen, line)) continue;
        lines.inside = false;
        lines.count[i] = line.count;
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

static void make_lines(const LicFrame& frame, const Tile& tile, Lines& lines, Result& result) {
    for (int i = 0; i < TILE; ++i) {
        const int x = tile.x0 + (i < tile.width ? i : tile.width - 1);
        const lic::LineOfPixel line =
            lic::line_of_pixel(frame, x, tile.y, tile.dx[i], tile.dy, tile.distance[i], tile.clear[i]);
        lines.set(i, line);
        result.samples[i] = line.samples;
        result.mix[i] = line.mix;
    }
    lines.inside = true;
    for (int i = 0; i < TILE; ++i) {
        lic::Line line = lines.get(i);
        result.tail[i] = 0;
        if (lic::stays_inside(frame, line)) continue;
        lines.inside = false;
        result.tail[i] = lic::cut_tail(frame, line);
        lines.count[i] = line.count;
    }
}

// The pixel that a line stands on after it has been walked.
static inline Pixel resting_pixel(const LicFrame& frame, const Lines& lines, int i) {
    const Fixed last = lines.count[i] - 1;
    const int x = lic::clamped_pixel(lines.x[i] + last * lines.step_x[i], frame.width);
    const int y = lic::clamped_pixel(lines.y[i] + last * lines.step_y[i], frame.height);
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
