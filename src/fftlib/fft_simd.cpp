// Mixed-radix transforms in place (Cooley and Tukey 1965; the split into sums and differences of mirrored points for
// odd radices is Singleton's, 1969).
#include "fftlib/fft_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// Points that stay in the first-level cache together with their twiddles.
constexpr int CACHED_POINTS = 256;

struct Number {
    Floats re, im;
};

QUILLON_VECTOR Number operator+(Number a, Number b) { return {a.re + b.re, a.im + b.im}; }
QUILLON_VECTOR Number operator-(Number a, Number b) { return {a.re - b.re, a.im - b.im}; }
QUILLON_VECTOR Number times(Number a, FFTRoot w) {
    return {a.re * w.real - a.im * w.imaginary, a.re * w.imaginary + a.im * w.real};
}
QUILLON_VECTOR Number minus_i(Number a) { return {a.im, -a.re}; }
// a - i b and a + i b
QUILLON_VECTOR Number less_turned(Number a, Number b) { return {a.re + b.im, a.im - b.re}; }
QUILLON_VECTOR Number plus_turned(Number a, Number b) { return {a.re - b.im, a.im + b.re}; }

// ---- Transforms of a few points -----------------------------------------------------------------------------------

constexpr float ROOT_HALF = 0.70710678118654752F;

QUILLON_VECTOR void transform_2(Number& a, Number& b) {
    const Number sum = a + b;
    b = a - b;
    a = sum;
}

QUILLON_VECTOR void transform_4(Number& a, Number& b, Number& c, Number& d) {
    const Number ac = a + c, a_c = a - c, bd = b + d, b_d = b - d;
    a = ac + bd;
    b = less_turned(a_c, b_d);
    c = ac - bd;
    d = plus_turned(a_c, b_d);
}

// Cosines and sines of 2 pi j / RADIX for j up to half of it.
template <int RADIX>
struct OddTable;
template <>
struct OddTable<3> {
    static constexpr float COSINE[] = {1.0F, -0.5F}, SINE[] = {0.0F, 0.86602540378443865F};
};
template <>
struct OddTable<5> {
    static constexpr float COSINE[] = {1.0F, 0.30901699437494742F, -0.80901699437494742F},
                           SINE[] = {0.0F, 0.95105651629515357F, 0.58778525229247313F};
};
template <>
struct OddTable<7> {
    static constexpr float COSINE[] = {1.0F, 0.62348980185873353F, -0.22252093395631440F, -0.90096886790241913F},
                           SINE[] = {0.0F, 0.78183148246802981F, 0.97492791218182361F, 0.43388373911755812F};
};

template <int RADIX>
QUILLON_VECTOR void transform_points(Number (&x)[RADIX]) {
    constexpr int HALF = RADIX / 2;
    using Table = OddTable<RADIX>;
    Number sum[HALF + 1], difference[HALF + 1];
    for (int j = 1; j <= HALF; ++j) {
        sum[j] = x[j] + x[RADIX - j];
        difference[j] = x[j] - x[RADIX - j];
    }
    const Number first = x[0];
    for (int j = 1; j <= HALF; ++j) x[0] = x[0] + sum[j];
#pragma GCC unroll 4
    for (int k = 1; k <= HALF; ++k) {
        Number even = first, odd = {};
#pragma GCC unroll 4
        for (int j = 1; j <= HALF; ++j) {
            const int turn = j * k % RADIX;
            const bool mirrored = turn > HALF;
            const float cosine = Table::COSINE[mirrored ? RADIX - turn : turn];
            const float sine = mirrored ? -Table::SINE[RADIX - turn] : Table::SINE[turn];
            even = {even.re + sum[j].re * cosine, even.im + sum[j].im * cosine};
            if (j == 1)
                odd = {difference[j].re * sine, difference[j].im * sine};
            else
                odd = {odd.re + difference[j].re * sine, odd.im + difference[j].im * sine};
        }
        x[k] = less_turned(even, odd);
        x[RADIX - k] = plus_turned(even, odd);
    }
}

QUILLON_VECTOR void transform_points(Number (&x)[2]) { transform_2(x[0], x[1]); }
QUILLON_VECTOR void transform_points(Number (&x)[4]) { transform_4(x[0], x[1], x[2], x[3]); }
QUILLON_VECTOR void transform_points(Number (&x)[8]) {
    transform_4(x[0], x[2], x[4], x[6]);
    transform_4(x[1], x[3], x[5], x[7]);
    const Number even[4] = {x[0], x[2], x[4], x[6]};
    const Number odd[4] = {x[1],
                           {(x[3].re + x[3].im) * ROOT_HALF, (x[3].im - x[3].re) * ROOT_HALF},
                           minus_i(x[5]),
                           {(x[7].im - x[7].re) * ROOT_HALF, (x[7].re + x[7].im) * -ROOT_HALF}};
    for (int k = 0; k < 4; ++k) {
        x[k] = even[k] + odd[k];
        x[k + 4] = even[k] - odd[k];
    }
}

// ---- Stages -------------------------------------------------------------------------------------------------------

enum Order { TWIDDLES_AFTER, TWIDDLES_BEFORE, NO_TWIDDLES };

QUILLON_VECTOR Number number_at(const float* real, const float* imaginary, long place) {
    return {load(real + place), load(imaginary + place)};
}
QUILLON_VECTOR void store_at(float* real, float* imaginary, long place, Number number) {
    store(real + place, number.re);
    store(imaginary + place, number.im);
}

// RADIX points that lie `step` floats apart, of all lines.
template <int RADIX, Order ORDER>
QUILLON_VECTOR void transform_at(float* real, float* imaginary, long step, const FFTRoot* twiddles) {
    for (int lane = 0; lane < FFT_LINES; lane += LANES) {
        Number x[RADIX];
        for (int k = 0; k < RADIX; ++k) {
            x[k] = number_at(real, imaginary, k * step + lane);
            if (ORDER == TWIDDLES_BEFORE && k > 0) x[k] = times(x[k], twiddles[k - 1]);
        }
        transform_points(x);
        for (int k = 0; k < RADIX; ++k)
            store_at(real, imaginary, k * step + lane,
                     ORDER == TWIDDLES_AFTER && k > 0 ? times(x[k], twiddles[k - 1]) : x[k]);
    }
}

// One stage over `parts` parts of stage.length points.
template <int RADIX, Order ORDER>
static void run_stage(const FFTStage& stage, int parts, float* real, float* imaginary) {
    const int inner = stage.length / RADIX;
    const long step = long{inner} * FFT_POINT;
    if (inner == 1) {
        for (int part = 0; part < parts; ++part)
            transform_at<RADIX, NO_TWIDDLES>(real + part * RADIX * step, imaginary + part * RADIX * step, step,
                                             nullptr);
        return;
    }
    for (int part = 0; part < parts; ++part) {
        float* const re = real + part * RADIX * step;
        float* const im = imaginary + part * RADIX * step;
        for (int j = 0; j < inner; ++j)
            transform_at<RADIX, ORDER>(re + j * FFT_POINT, im + j * FFT_POINT, step, stage.twiddles + j * (RADIX - 1));
    }
}

// The same for any odd radix: a sum over all points for each of them.
template <Order ORDER>
static void run_any_stage(const FFTStage& stage, int parts, float* real, float* imaginary) {
    const int radix = stage.radix, half = radix / 2, inner = stage.length / radix;
    const long step = long{inner} * FFT_POINT;
    Number x[FFT_LARGEST_RADIX], sum[FFT_LARGEST_RADIX / 2 + 1], difference[FFT_LARGEST_RADIX / 2 + 1];
    for (long begin = 0; begin < parts * radix * step; begin += radix * step)
        for (int j = 0; j < inner; ++j) {
            const FFTRoot* const twiddles = stage.twiddles + j * (radix - 1);
            for (int lane = 0; lane < FFT_LINES; lane += LANES) {
                const long place = begin + j * FFT_POINT + lane;
                for (int k = 0; k < radix; ++k) {
                    x[k] = number_at(real, imaginary, place + k * step);
                    if (ORDER == TWIDDLES_BEFORE && k > 0) x[k] = times(x[k], twiddles[k - 1]);
                }
                const Number first = x[0];
                for (int k = 1; k <= half; ++k) {
                    sum[k] = x[k] + x[radix - k];
                    difference[k] = x[k] - x[radix - k];
                    x[0] = x[0] + sum[k];
                }
                for (int k = 1; k <= half; ++k) {
                    Number even = first, odd = {};
                    int turn = 0;
                    for (int i = 1; i <= half; ++i) {
                        turn += k;
                        if (turn >= radix) turn -= radix;
                        const FFTRoot root = stage.roots[turn];
                        even = {even.re + sum[i].re * root.real, even.im + sum[i].im * root.real};
                        odd = {odd.re - difference[i].re * root.imaginary, odd.im - difference[i].im * root.imaginary};
                    }
                    x[k] = less_turned(even, odd);
                    x[radix - k] = plus_turned(even, odd);
                }
                for (int k = 0; k < radix; ++k)
                    store_at(real, imaginary, place + k * step,
                             ORDER == TWIDDLES_AFTER && k > 0 ? times(x[k], twiddles[k - 1]) : x[k]);
            }
        }
}

template <Order ORDER>
static void run_stages_of(const FFTStage& stage, int parts, float* real, float* imaginary) {
    switch (stage.radix) {
        case 2:
            return run_stage<2, ORDER>(stage, parts, real, imaginary);
        case 3:
            return run_stage<3, ORDER>(stage, parts, real, imaginary);
        case 4:
            return run_stage<4, ORDER>(stage, parts, real, imaginary);
        case 5:
            return run_stage<5, ORDER>(stage, parts, real, imaginary);
        case 7:
            return run_stage<7, ORDER>(stage, parts, real, imaginary);
        case 8:
            return run_stage<8, ORDER>(stage, parts, real, imaginary);
        default:
            return run_any_stage<ORDER>(stage, parts, real, imaginary);
    }
}

// ---- Whole transforms ---------------------------------------------------------------------------------------------

// Transforms that do not fit the first-level cache are cut by one stage, and each piece is finished before the next.
// Those that fit go through all stages at once.
static void to_frequencies_from(const FFTStage* stage, const FFTStage* end, float* real, float* imaginary) {
    if (stage == end) return;
    const int length = stage->length;
    if (length <= CACHED_POINTS) {
        for (const FFTStage* s = stage; s != end; ++s)
            run_stages_of<TWIDDLES_AFTER>(*s, length / s->length, real, imaginary);
        return;
    }
    run_stages_of<TWIDDLES_AFTER>(*stage, 1, real, imaginary);
    const long part = long{length / stage->radix} * FFT_POINT;
    for (int k = 0; k < stage->radix; ++k) to_frequencies_from(stage + 1, end, real + k * part, imaginary + k * part);
}

static void from_frequencies_to(const FFTStage* stage, const FFTStage* end, float* real, float* imaginary) {
    if (stage == end) return;
    const int length = stage->length;
    if (length <= CACHED_POINTS) {
        for (const FFTStage* s = end; s != stage;) {
            --s;
            run_stages_of<TWIDDLES_BEFORE>(*s, length / s->length, real, imaginary);
        }
        return;
    }
    const long part = long{length / stage->radix} * FFT_POINT;
    for (int k = 0; k < stage->radix; ++k) from_frequencies_to(stage + 1, end, real + k * part, imaginary + k * part);
    run_stages_of<TWIDDLES_BEFORE>(*stage, 1, real, imaginary);
}

static void to_frequencies(const FFTStages& stages, float* real, float* imaginary) {
    to_frequencies_from(stages.stage, stages.stage + stages.count, real, imaginary);
}
static void from_frequencies(const FFTStages& stages, float* real, float* imaginary) {
    from_frequencies_to(stages.stage, stages.stage + stages.count, real, imaginary);
}

}  // namespace

const FFTKernels fft_kernels = {to_frequencies, from_frequencies};

}  // namespace QUILLON_SIMD
