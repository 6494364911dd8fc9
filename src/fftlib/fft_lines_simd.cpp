#include "fftlib/fft_lines_simd.h"

#include <utility>

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// ---- Transposing --------------------------------------------------------------------------------------------------

// Lane i of `a` and `b` with blocks of DISTANCE lanes exchanged: the lower or upper block of each pair of blocks of
// both.
template <int DISTANCE, bool UPPER, class V, int... lane>
QUILLON_VECTOR V exchanged(V a, V b, std::integer_sequence<int, lane...>) {
    constexpr int N = COUNT_OF<V>;
    return in_order<((lane & DISTANCE) ? N : 0) + ((lane & ~DISTANCE) | (UPPER ? DISTANCE : 0))...>(a, b);
}
template <int DISTANCE>
QUILLON_VECTOR void exchange(Floats (&v)[LANES]) {
    constexpr auto LIST = std::make_integer_sequence<int, LANES>{};
#pragma GCC unroll 16
    for (int i = 0; i < LANES; ++i) {
        if (i & DISTANCE) continue;
        const Floats a = v[i], b = v[i + DISTANCE];
        v[i] = exchanged<DISTANCE, false>(a, b, LIST);
        v[i + DISTANCE] = exchanged<DISTANCE, true>(a, b, LIST);
    }
}
QUILLON_VECTOR void transpose(Floats (&v)[LANES]) {
    exchange<1>(v);
    exchange<2>(v);
    if constexpr (LANES >= 8) exchange<4>(v);
    if constexpr (LANES >= 16) exchange<8>(v);
}

// A tile of 16 x 16 numbers: row i of `to` is column i of `from`. Rows of `from` past `rows` count as zeros.
static inline void transpose_tile(const float* from, std::size_t from_step, int rows, float* to, std::size_t to_step) {
    for (int i = 0; i < FFT_LINES; i += LANES)
        for (int j = 0; j < FFT_LINES; j += LANES) {
            Floats v[LANES];
            for (int k = 0; k < LANES; ++k) v[k] = i + k < rows ? load(from + (i + k) * from_step + j) : Floats{};
            transpose(v);
            for (int k = 0; k < LANES; ++k) store(to + (j + k) * to_step + i, v[k]);
        }
}

using Tile = float[FFT_LINES * FFT_LINES];

// The first `columns` numbers of up to 16 rows; the rest of the tile are zeros.
static inline void copy_part(const float* from, std::size_t step, int rows, int columns, Tile& tile) {
    __builtin_memset(tile, 0, sizeof tile);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x) tile[y * FFT_LINES + x] = from[y * step + x];
}

// ---- Rows ---------------------------------------------------------------------------------------------------------

static inline void keep_finite(float* numbers) {
    for (int i = 0; i < FFT_LINES; i += LANES) {
        const Floats v = load(numbers + i);
        store(numbers + i, v - v == Floats{} ? v : Floats{});
    }
}

static void load_rows(const FFTRows& rows, float* part) {
    for (int x = 0; x < rows.count; x += FFT_LINES) {
        float* const to = part + static_cast<long>(x) * FFT_POINT;
        if (x + FFT_LINES <= rows.count) {
            transpose_tile(rows.first + x, rows.step, rows.rows, to, FFT_POINT);
        } else {
            alignas(64) Tile tile;
            copy_part(rows.first + x, rows.step, rows.rows, rows.count - x, tile);
            transpose_tile(tile, FFT_LINES, FFT_LINES, to, FFT_POINT);
        }
        if (!rows.finite) continue;
        for (int i = 0; i < FFT_LINES; ++i) keep_finite(to + i * FFT_POINT);
    }
}

static void store_rows(const FFTRows& rows, const float* part, float scale) {
    for (int x = 0; x < rows.count; x += FFT_LINES) {
        alignas(64) Tile tile;
        transpose_tile(part + static_cast<long>(x) * FFT_POINT, FFT_POINT, FFT_LINES, tile, FFT_LINES);
        const int columns = rows.count - x < FFT_LINES ? rows.count - x : FFT_LINES;
        for (int y = 0; y < rows.rows; ++y) {
            float* const to = rows.first + y * rows.step + x;
            if (columns == FFT_LINES)
                for (int i = 0; i < FFT_LINES; i += LANES) store(to + i, load(tile + y * FFT_LINES + i) * scale);
            else
                for (int i = 0; i < columns; ++i) to[i] = tile[y * FFT_LINES + i] * scale;
        }
    }
}

// ---- Pixels -------------------------------------------------------------------------------------------------------

constexpr int TILE_PIXELS = FFT_LINES / 4;

static void load_pixels(const FFTRows& rows, int channel, float* block) {
    for (int x = 0; x < rows.count; x += TILE_PIXELS) {
        alignas(64) Tile tile, part;
        const float* const from = rows.first + 4L * x;
        if (x + TILE_PIXELS <= rows.count) {
            transpose_tile(from, rows.step, rows.rows, tile, FFT_LINES);
        } else {
            copy_part(from, rows.step, rows.rows, 4 * (rows.count - x), part);
            transpose_tile(part, FFT_LINES, FFT_LINES, tile, FFT_LINES);
        }
        float* const to = block + static_cast<long>(x) * FFT_POINT;
        for (int pixel = 0; pixel < TILE_PIXELS; ++pixel) {
            __builtin_memcpy(to + pixel * FFT_POINT, tile + (4 * pixel + channel) * FFT_LINES, FFT_POINT * 4);
            if (!rows.finite) continue;
            keep_finite(to + pixel * FFT_POINT);
            keep_finite(to + pixel * FFT_POINT + FFT_LINES);
        }
    }
}

static void store_pixels(const FFTRows& rows, int channel, const float* block) {
    const Ints place = counting<Ints>() & 2;
    const Ints mask = place == channel;
    alignas(64) Tile turned = {};
    for (int x = 0; x < rows.count; x += TILE_PIXELS) {
        alignas(64) Tile tile;
        const float* const from = block + static_cast<long>(x) * FFT_POINT;
        for (int pixel = 0; pixel < TILE_PIXELS; ++pixel)
            __builtin_memcpy(turned + (4 * pixel + channel) * FFT_LINES, from + pixel * FFT_POINT, FFT_POINT * 4);
        transpose_tile(turned, FFT_LINES, FFT_LINES, tile, FFT_LINES);
        const int pixels = rows.count - x < TILE_PIXELS ? rows.count - x : TILE_PIXELS;
        for (int y = 0; y < rows.rows; ++y) {
            float* const to = rows.first + y * rows.step + 4L * x;
            const float* const result = tile + y * FFT_LINES;
            if (pixels == TILE_PIXELS)
                for (int i = 0; i < FFT_LINES; i += LANES) store(to + i, mask ? load(result + i) : load(to + i));
            else
                for (int i = channel; i < 4 * pixels; i += 4) to[i] = result[i], to[i + 1] = result[i + 1];
        }
    }
}

// ---- Two real rows in one complex one -----------------------------------------------------------------------------
//
// Where z = a + i b, the transforms are A(k) = (Z(k) + conj Z(-k)) / 2 and B(k) = (Z(k) - conj Z(-k)) / 2 i.

static void split(const float* block, const int* positions, int length, float* a, float* b, std::size_t strip) {
    const int last = length / 2;
    for (int first = 0; first <= last; first += FFT_LINES, a += strip, b += strip) {
        alignas(64) Tile a_re, a_im, b_re, b_im;
        for (int i = 0; i < FFT_LINES; ++i) {
            const int k = first + i <= last ? first + i : last;
            const float* const z = block + static_cast<long>(positions[k]) * FFT_POINT;
            const float* const mirrored = block + static_cast<long>(positions[k ? length - k : 0]) * FFT_POINT;
            for (int lane = 0; lane < FFT_LINES; lane += LANES) {
                const Floats re = load(z + lane), im = load(z + FFT_LINES + lane);
                const Floats m_re = load(mirrored + lane), m_im = load(mirrored + FFT_LINES + lane);
                const int at = i * FFT_LINES + lane;
                store(a_re + at, re + m_re);
                store(a_im + at, im - m_im);
                store(b_re + at, im + m_im);
                store(b_im + at, m_re - re);
            }
        }
        transpose_tile(a_re, FFT_LINES, FFT_LINES, a, FFT_POINT);
        transpose_tile(a_im, FFT_LINES, FFT_LINES, a + FFT_LINES, FFT_POINT);
        transpose_tile(b_re, FFT_LINES, FFT_LINES, b, FFT_POINT);
        transpose_tile(b_im, FFT_LINES, FFT_LINES, b + FFT_LINES, FFT_POINT);
    }
}

static void join(float* block, const int* positions, int length, const float* a, const float* b, std::size_t strip) {
    const int last = length / 2;
    for (int first = 0; first <= last; first += FFT_LINES, a += strip, b += strip) {
        alignas(64) Tile a_re, a_im, b_re, b_im;
        transpose_tile(a, FFT_POINT, FFT_LINES, a_re, FFT_LINES);
        transpose_tile(a + FFT_LINES, FFT_POINT, FFT_LINES, a_im, FFT_LINES);
        transpose_tile(b, FFT_POINT, FFT_LINES, b_re, FFT_LINES);
        transpose_tile(b + FFT_LINES, FFT_POINT, FFT_LINES, b_im, FFT_LINES);
        for (int i = 0; i < FFT_LINES && first + i <= last; ++i) {
            const int k = first + i;
            const bool own_mirror = k == 0 || 2 * k == length;
            float* const z = block + static_cast<long>(positions[k]) * FFT_POINT;
            float* const mirrored = block + static_cast<long>(positions[k ? length - k : 0]) * FFT_POINT;
            for (int lane = 0; lane < FFT_LINES; lane += LANES) {
                const int at = i * FFT_LINES + lane;
                const Floats ar = load(a_re + at), br = load(b_re + at);
                if (own_mirror) {  // real numbers, but for rounding
                    store(z + lane, ar);
                    store(z + FFT_LINES + lane, br);
                    continue;
                }
                const Floats ai = load(a_im + at), bi = load(b_im + at);
                store(z + lane, ar - bi);
                store(z + FFT_LINES + lane, ai + br);
                store(mirrored + lane, ar + bi);
                store(mirrored + FFT_LINES + lane, br - ai);
            }
        }
    }
}

// ---- Products -----------------------------------------------------------------------------------------------------

static void clear_points(float* points, int count) {
    if (count > 0) __builtin_memset(points, 0, sizeof(float) * FFT_POINT * static_cast<std::size_t>(count));
}

static void scale_points(float* to, const float* from, float by, int count) {
    for (long i = 0; i < long{count} * FFT_POINT; i += LANES) store(to + i, load(from + i) * by);
}

static void multiply_points(float* real, float* imaginary, const FFTRoot* by, int count) {
    for (int i = 0; i < count; ++i, real += FFT_POINT, imaginary += FFT_POINT)
        for (int lane = 0; lane < FFT_LINES; lane += LANES) {
            const Floats re = load(real + lane), im = load(imaginary + lane);
            store(real + lane, re * by[i].real - im * by[i].imaginary);
            store(imaginary + lane, re * by[i].imaginary + im * by[i].real);
        }
}

static void multiply_blocks(float* points, const float* by, int count) {
    for (int i = 0; i < count; ++i, points += FFT_POINT, by += FFT_POINT)
        for (int lane = 0; lane < FFT_LINES; lane += LANES) {
            const Floats re = load(points + lane), im = load(points + FFT_LINES + lane);
            const Floats by_re = load(by + lane), by_im = load(by + FFT_LINES + lane);
            store(points + lane, re * by_re - im * by_im);
            store(points + FFT_LINES + lane, re * by_im + im * by_re);
        }
}

}  // namespace

const FFTLineKernels fft_line_kernels = {load_rows, store_rows,   load_pixels,  store_pixels,    split,
                                         join,      clear_points, scale_points, multiply_points, multiply_blocks};

}  // namespace QUILLON_SIMD
