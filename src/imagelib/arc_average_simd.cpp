#include "imagelib/arc_average_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

using WideDoubles = Vec<double, LANES>;
using Longs = Vec<unsigned long, LANES>;
using DoublePixel = Vec<double, 4>;

constexpr int CHUNK = 64;  // places prepared at once
constexpr int AHEAD = 12;  // pixels whose reads are under way
constexpr float PI = 3.14159265f;
constexpr float STILL = 0.00005f;  // radians: shorter arcs show the source

// atan2 through a Chebyshev fit of atan(z) / z in z^2, which is within 4e-8; after rounding the angle is within 5e-7
// radians, where the columns of a 1920 x 1080 picture are 9e-4 apart. The C library's differs between processors.
static inline Floats arc_tangent(Floats y, Floats x) {
    const Floats ax = absolute(x), ay = absolute(y), zero = {};
    const Floats z = smaller(ax, ay) / larger(larger(ax, ay), zero + 1e-30f), u = z * z;
    Floats p = u * 0.00283406419f - 0.0160050299f;
    p = p * u + 0.0425876081f;
    p = p * u - 0.0749544576f;
    p = p * u + 0.106367543f;
    p = p * u - 0.142025709f;
    p = p * u + 0.199924842f;
    p = p * u - 0.333330661f;
    p = p * u + 1.0f;
    Floats angle = z * p;
    angle = ay > ax ? 0.5f * PI - angle : angle;
    angle = x < zero ? PI - angle : angle;
    return y < zero ? -angle : angle;
}

// base^exponent for bases from 0 to 1 and exponents from 0: within 1e-9 of the result, so that a rounded result is as
// good as the C library's, whose bits differ between processors.
static inline Floats power(Floats base, float exponent) {
    const Floats zero = {};
    const Longs bits = (Longs) __builtin_convertvector(larger(base, zero + 1e-30f), WideDoubles);
    constexpr double shift = 4503599627370496.0;  // 2^52: the low bits of a double from here on count whole numbers

    // The logarithm of a mantissa between sqrt(1/2) and sqrt(2), through the series of the inverse hyperbolic tangent
    const Longs offset = bits - 0x3fe6a09e667f3bcdul, raised = offset + (1024ul << 52);
    WideDoubles whole = (WideDoubles)((raised >> 52) | 0x4330000000000000ul);
    whole = whole - (shift + 1024);
    const WideDoubles mantissa = (WideDoubles)(bits - (offset & 0xfff0000000000000ul));
    const WideDoubles s = (mantissa - 1) / (mantissa + 1), s2 = s * s;
    WideDoubles series = s2 * (1.0 / 13) + 1.0 / 11;
    series = series * s2 + 1.0 / 9;
    series = series * s2 + 1.0 / 7;
    series = series * s2 + 1.0 / 5;
    series = series * s2 + 1.0 / 3;
    series = series * s2 + 1.0;
    WideDoubles y = double(exponent) * (whole + 2.8853900817779268 * s * series);

    // Two to that: the nearest whole number goes into the exponent
    const WideDoubles least = WideDoubles{} - 140.0;
    y = y > least ? y : least;
    const WideDoubles nearest = y + 1.5 * shift;
    const WideDoubles rest = 0.69314718055994531 * (y - (nearest - 1.5 * shift));
    WideDoubles result = rest * (1.0 / 40320) + 1.0 / 5040;
    result = result * rest + 1.0 / 720;
    result = result * rest + 1.0 / 120;
    result = result * rest + 1.0 / 24;
    result = result * rest + 1.0 / 6;
    result = result * rest + 0.5;
    result = result * rest + 1.0;
    result = result * rest + 1.0;
    result = (WideDoubles)((Longs)result + ((Longs)nearest << 52));
    const Floats value = __builtin_convertvector(result, Floats);
    return exponent > 0 ? (base > zero ? value : zero) : zero + 1.0f;
}

// ---- Unwrapping -----------------------------------------------------------------------------------------------

// CHUNK places on a circle, and where the filter lies there.
struct Places {
    alignas(64) int left[CHUNK], row[CHUNK];  // the pixel at or before the place; -2 and less are limited to -2
    alignas(64) int inside[CHUNK];            // all sixteen pixels of the filter are in the picture
    alignas(64) int filter_x[CHUNK], filter_y[CHUNK];
};

// The filter table's entry for a fraction of a pixel.
static inline Ints filter_entry(Floats fraction) {
    const Floats step = fraction * float(ARC_FILTER_STEPS);
    const Ints below = to_ints(step);
    return 2 * below - (to_floats(below) < step);
}

static inline void find_places(const ArcSource& source, float radius, int column, Places& places) {
    const float width = float(source.width), height = float(source.height);
    const Floats zero = {};
    for (int i = 0; i < CHUNK; i += LANES) {
        Floats x = radius * load(source.cosines + column + i) + source.cx;
        Floats y = radius * load(source.sines + column + i) + source.cy;
        const Ints inside = (x >= zero + 1) & (x < zero + (width - 2)) & (y >= zero + 1) & (y < zero + (height - 2));
        // Two pixels beyond the edge the filter sees nothing but the edge.
        x = limited(x, zero - 2, zero + (width + 1));
        y = limited(y, zero - 2, zero + (height + 1));
        const Ints left = to_ints(x + 2) - 2, row = to_ints(y + 2) - 2;
        store(places.left + i, left);
        store(places.row + i, row);
        store(places.inside + i, inside);
        store(places.filter_x + i, 4 * filter_entry(x - to_floats(left)));
        store(places.filter_y + i, 4 * filter_entry(y - to_floats(row)));
    }
}

// Sixteen pixels under the filter. Rows with a negative sum, and NaN, count as 0. Two pixels or two
// rows go abreast where registers are wide enough, so the order of the sums is (0 + 2) + (1 + 3) at all levels.
#if defined(__AVX2__)
typedef __m256 Pair;

static inline Pair low_halves(Pair a, Pair b) { return _mm256_permute2f128_ps(a, b, 0x20); }
static inline Pair high_halves(Pair a, Pair b) { return _mm256_permute2f128_ps(a, b, 0x31); }

static inline Pixel filtered(const float* corner, long stride, const float* across, const float* down) {
    const __m256i left = _mm256_set_epi32(1, 1, 1, 1, 0, 0, 0, 0), right = _mm256_set_epi32(3, 3, 3, 3, 2, 2, 2, 2);
    const Pair columns = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(across));
    const Pair rows = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(down));
    const Pair across01 = _mm256_permutevar_ps(columns, left), across23 = _mm256_permutevar_ps(columns, right);
    const float* first = corner - stride - 4;
    Pair row[4];
    for (int i = 0; i < 4; ++i) {
        const float* at = first + i * stride;
        row[i] = across01 * _mm256_loadu_ps(at) + across23 * _mm256_loadu_ps(at + 8);
    }
    const Pair zero = _mm256_setzero_ps();
    const Pair rows01 = _mm256_max_ps(low_halves(row[0], row[1]) + high_halves(row[0], row[1]), zero);
    const Pair rows23 = _mm256_max_ps(low_halves(row[2], row[3]) + high_halves(row[2], row[3]), zero);
    const Pair sum = _mm256_permutevar_ps(rows, left) * rows01 + _mm256_permutevar_ps(rows, right) * rows23;
    return (Pixel)(_mm256_castps256_ps128(sum) + _mm256_extractf128_ps(sum, 1));
}
#else
static inline Pixel filtered(const float* corner, long stride, const float* across, const float* down) {
    const float* first = corner - stride - 4;
    Pixel row[4];
    for (int i = 0; i < 4; ++i) {
        const float* at = first + i * stride;
        const Pixel even = across[0] * load<Pixel>(at) + across[2] * load<Pixel>(at + 8);
        const Pixel odd = across[1] * load<Pixel>(at + 4) + across[3] * load<Pixel>(at + 12);
        row[i] = down[i] * larger(even + odd, Pixel{});
    }
    return (row[0] + row[2]) + (row[1] + row[3]);
}
#endif

static inline long nearest_in(long index, long count) { return index < 0 ? 0 : (index < count ? index : count - 1); }

// The same at the edges of the picture and beyond, where the sixteen pixels are often but four, or one.
static inline Pixel filtered_at_edge(const ArcSource& source, long left, long first_row, const float* across,
                                     const float* down) {
    const bool one_column = left <= -2 || left >= source.width, one_row = first_row <= -2 || first_row >= source.height;
    long columns[4];
    for (int i = 0; i < 4; ++i) columns[i] = 4 * nearest_in(left - 1 + i, source.width);
    Pixel row[4];
    for (int i = 0; i < 4; ++i) {
        const float* pixels = source.pixels + 4 * source.width * nearest_in(first_row - 1 + i, source.height);
        if (one_column) {
            const Pixel edge = larger(load<Pixel>(pixels + columns[0]), Pixel{});
            if (one_row) return edge;
            row[i] = down[i] * edge;
            continue;
        }
        const Pixel even = across[0] * load<Pixel>(pixels + columns[0]) + across[2] * load<Pixel>(pixels + columns[2]);
        const Pixel odd = across[1] * load<Pixel>(pixels + columns[1]) + across[3] * load<Pixel>(pixels + columns[3]);
        row[i] = down[i] * larger(even + odd, Pixel{});
    }
    return (row[0] + row[2]) + (row[1] + row[3]);
}

static inline void add_sample(const ArcSource& source, const Places& places, int i, DoublePixel& total) {
    const float *across = source.filter + places.filter_x[i], *down = source.filter + places.filter_y[i];
    const long left = places.left[i], row = places.row[i];
    Pixel value = places.inside[i]
                      ? filtered(source.pixels + 4 * (row * source.width + left), 4L * source.width, across, down)
                      : filtered_at_edge(source, left, row, across, down);
    // NaN counts as 0, and infinity as a large number: neither may spoil its whole circle.
    value = limited(value, Pixel{}, all<Pixel>(1e30f));
    total += __builtin_convertvector(value, DoublePixel);
}

static void unwrap_row(const ArcSource& source, const CircleSums& table, int row, double* scratch) {
    auto* sums = reinterpret_cast<DoublePixel*>(scratch);
    DoublePixel total = {};
    Places places;
    for (int column = 0; column < table.columns; column += CHUNK) {
        find_places(source, float(row), column, places);
        const int count = table.columns - column < CHUNK ? table.columns - column : CHUNK;
        for (int i = 0; i < count; ++i) {
            sums[column + i] = total;
            add_sample(source, places, i, total);
        }
    }
    const DoublePixel first = sums[1];
    sums[table.columns] = total;
    sums[table.columns + 1] = total + first;

    const DoublePixel mean = (total + (table.period - table.columns) * first) / table.period;
    store(table.means + 4L * row, __builtin_convertvector(mean, Pixel));
    float* out = table.sums + row * table.pitch;
    for (int i = 0; i < table.columns + 2; ++i)
        stream(out + 4L * i, __builtin_convertvector(sums[i] - double(i) * mean, Pixel));
    finish_streams();
}

// ---- Averaging ------------------------------------------------------------------------------------------------

// CHUNK arcs: where their ends lie in the table, and between which rows.
struct Ends {
    alignas(64) int from[CHUNK], to[CHUNK];              // floats from the table's start; `from` below 0: no arc
    alignas(64) float from_part[CHUNK], to_part[CHUNK];  // of the column
    alignas(64) int row[CHUNK];
    alignas(64) float row_part[CHUNK];
    alignas(64) float inverse[CHUNK];  // 1 / length in columns
};

// The fraction of the full angle at a distance from the centre.
static inline Floats strength(const ArcShape& arcs, Floats distance) {
    const Floats zero = {}, one = zero + 1;
    switch (arcs.profile) {
        case ArcProfile::Ring: {
            const Floats ramp = smaller(distance - arcs.inner, arcs.outer - distance) / arcs.soft;
            const Ints between = (distance > zero + arcs.inner) & (distance < zero + arcs.outer);
            return between ? smaller(one, ramp) : zero;
        }
        case ArcProfile::Outward:
            return power(smaller(distance / arcs.max_distance, one), arcs.exponent);
        case ArcProfile::Inward:
            return power(larger(one - distance / arcs.max_distance, zero), arcs.exponent);
        case ArcProfile::Constant:
            break;
    }
    return one;
}

static inline void find_ends(const CircleSums& table, const ArcShape& arcs, int x, int y, const float* matte,
                             Ends& ends) {
    const Floats zero = {};
    Floats index;
    for (int i = 0; i < LANES; ++i) index[i] = float(i);
    const float leftover = float(table.period - table.columns);
    const int columns = table.columns;
    for (int i = 0; i < CHUNK; i += LANES) {
        const Floats dx = (float(x + i) + index - arcs.cx) * arcs.pixel_width;
        const Floats dy = zero + (float(y) - arcs.cy) * arcs.pixel_height;
        const Floats radius = square_root(dx * dx + dy * dy);
        const Floats arc = -(arcs.angle * strength(arcs, radius) * load(matte + i));
        const Ints moving = absolute(arc) >= zero + STILL;
        const Floats length = (moving ? arc : zero + 1) * arcs.max_distance;

        Floats position = (arc_tangent(dy, dx) + PI) * arcs.max_distance;
        position = smaller(larger(position, zero), zero + table.last_position);
        const Ints from = to_ints(position);
        const Floats from_part = position - to_floats(from);

        // The other end is found from the fraction, so that short arcs keep their length to the last bit.
        const Floats reach = from_part + length;
        Ints steps = to_ints(reach);
        steps += to_floats(steps) > reach;  // -1: towards minus infinity
        Ints to = from + steps;
        Floats to_part = reach - to_floats(steps);
        // Over the seam, which lies at a fraction of a column
        const Ints before = to < 0, behind = (to > columns) | ((to == columns) & (to_part >= zero + leftover));
        to += (before & columns) - (behind & columns);
        to_part += before ? zero + leftover : (behind ? zero - leftover : zero);
        const Ints carry = to_part >= zero + 1, borrow = to_part < zero;
        to += borrow - carry;
        to_part += to_floats(borrow) * -1.0f + to_floats(carry);
        to = to < 0 ? to & 0 : to;
        to = to > columns ? (to & 0) + columns : to;

        Ints row = to_ints(radius);
        row = row > table.rows - 2 ? (row & 0) + (table.rows - 2) : row;
        const Ints start = row * int(table.pitch);
        store(ends.from + i, (start + 4 * from) | ~moving);
        store(ends.to + i, start + 4 * to);
        store(ends.from_part + i, from_part);
        store(ends.to_part + i, to_part);
        store(ends.row + i, 4 * row);
        store(ends.row_part + i, radius - to_floats(row));
        store(ends.inverse + i, 1.0f / length);
    }
}

// The sum between two places of a row less its mean: whole columns first, so that what both ends share cancels exactly.
static inline Pixel between(const float* from, const float* to, float from_part, float to_part) {
    const Pixel a = load<Pixel>(from), b = load<Pixel>(to);
    return (b - a) + (to_part * (load<Pixel>(to + 4) - b) - from_part * (load<Pixel>(from + 4) - a));
}

static inline Pixel averaged(const CircleSums& table, const Ends& ends, int i) {
    const float *from = table.sums + ends.from[i], *to = table.sums + ends.to[i], *mean = table.means + ends.row[i];
    const float from_part = ends.from_part[i], to_part = ends.to_part[i];
    const float row_part = ends.row_part[i];
    const Pixel lower = between(from, to, from_part, to_part);
    const Pixel upper = between(from + table.pitch, to + table.pitch, from_part, to_part);
    const Pixel sum = lower + row_part * (upper - lower);
    const Pixel lower_mean = load<Pixel>(mean), upper_mean = load<Pixel>(mean + 4);
    return sum * ends.inverse[i] + (lower_mean + row_part * (upper_mean - lower_mean));
}

// Neighbours in a row of the picture lie on different circles, so nearly every read is a new line of memory.
static inline void fetch_ahead(const CircleSums& table, const Ends& ends, int i) {
    const float *from = table.sums + (ends.from[i] & ~(ends.from[i] >> 31)), *to = table.sums + ends.to[i];
    __builtin_prefetch(from);
    __builtin_prefetch(to);
    __builtin_prefetch(from + table.pitch);
    __builtin_prefetch(to + table.pitch);
}

static inline void matte_factors(const ArcShape& arcs, const float* matte, int count, float* factors) {
    for (int i = 0; i < CHUNK; ++i) factors[i] = 1.0f;
    if (!matte) return;
    for (int i = 0; i < count; ++i, matte += 4) {
        const float luminance = 0.3f * matte[0] + 0.5f * matte[1] + 0.2f * matte[2];
        const float factor = luminance > 0.0f ? (luminance < 1.0f ? luminance : 1.0f) : 0.0f;
        factors[i] = arcs.invert_matte ? 1.0f - factor : factor;
    }
}

static void average_pixels(const CircleSums& table, const ArcShape& arcs, int x, int y, int count, const float* source,
                           const float* matte, float* out) {
    Ends ends;
    alignas(64) float factors[CHUNK];
    for (int done = 0; done < count; done += CHUNK) {
        const int n = count - done < CHUNK ? count - done : CHUNK;
        matte_factors(arcs, matte ? matte + 4L * done : nullptr, n, factors);
        find_ends(table, arcs, x + done, y, factors, ends);
        for (int i = 0; i < n; ++i) {
            if (i + AHEAD < n) fetch_ahead(table, ends, i + AHEAD);
            const long at = 4L * (done + i);
            const Pixel value = ends.from[i] < 0 ? load<Pixel>(source + at) : larger(averaged(table, ends, i), Pixel{});
            store(out + at, value);
        }
    }
}

}  // namespace

const ArcKernels arc_kernels = {unwrap_row, average_pixels};

}  // namespace QUILLON_SIMD
