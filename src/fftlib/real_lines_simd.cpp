#include "fftlib/real_lines_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

QUILLON_VECTOR float* point(float* block, int at) { return block + static_cast<long>(at) * FFT_POINT; }
QUILLON_VECTOR const float* point(const float* block, int at) { return block + static_cast<long>(at) * FFT_POINT; }
QUILLON_VECTOR void copy_point(float* to, const float* from) { __builtin_memcpy(to, from, sizeof(float) * FFT_POINT); }

// ---- Columns ------------------------------------------------------------------------------------------------------

static void load_columns(const FFTColumns& columns, float* block) {
    for (int y = 0; y < columns.rows; ++y) {
        const float* const from = columns.first + y * columns.pitch;
        float* const to = point(block, y);
        if (columns.columns == FFT_POINT) {
            copy_point(to, from);
            continue;
        }
        for (int i = 0; i < FFT_POINT; ++i) to[i] = i < columns.columns ? from[i] : 0.0F;
    }
}

static void store_columns(const FFTColumns& columns, const float* block, float scale) {
    for (int y = 0; y < columns.rows; ++y) {
        float* const to = columns.first + y * columns.pitch;
        const float* const from = point(block, y);
        if (columns.columns == FFT_POINT)
            for (int i = 0; i < FFT_POINT; i += LANES) store(to + i, load(from + i) * scale);
        else
            for (int i = 0; i < columns.columns; ++i) to[i] = from[i] * scale;
    }
}

// ---- Sines --------------------------------------------------------------------------------------------------------

static void extend_odd(float* block, int width) {
    __builtin_memset(point(block, 0), 0, sizeof(float) * FFT_POINT);
    __builtin_memset(point(block, width + 1), 0, sizeof(float) * FFT_POINT);
    for (int j = 1; j <= width; ++j)
        for (int i = 0; i < FFT_POINT; i += LANES)
            store(point(block, 2 * (width + 1) - j) + i, -load(point(block, j) + i));
}

// The transform of an odd function is -2 i times the sums; of two lines a + i b it is 2 B - 2 i A.
static void take_sines(const float* block, const int* positions, int width, float* lines) {
    for (int k = 0; k < width; ++k) {
        const float* const from = point(block, positions[k + 1]);
        float* const to = point(lines, k);
        for (int lane = 0; lane < FFT_LINES; lane += LANES) {
            store(to + lane, -load(from + FFT_LINES + lane));
            store(to + FFT_LINES + lane, load(from + lane));
        }
    }
}

// ---- Cosines ------------------------------------------------------------------------------------------------------

static void fold_cosines(const float* lines, int width, float* block) {
    for (int j = 0; j < width; ++j) copy_point(point(block, j % 2 ? width - 1 - j / 2 : j / 2), point(lines, j));
}
static void unfold_cosines(const float* block, int width, float* lines) {
    for (int j = 0; j < width; ++j) copy_point(point(lines, j), point(block, j % 2 ? width - 1 - j / 2 : j / 2));
}

static void take_cosines(const float* block, const int* positions, const FFTRoot* turns, int width, float* lines) {
    for (int k = 0; k < width; ++k) {
        const float* const z = point(block, positions[k]);
        const float* const mirrored = point(block, positions[k ? width - k : 0]);
        const float cosine = turns[k].real, sine = -turns[k].imaginary;
        float* const to = point(lines, k);
        for (int lane = 0; lane < FFT_LINES; lane += LANES) {
            const Floats re = load(z + lane), im = load(z + FFT_LINES + lane);
            const Floats m_re = load(mirrored + lane), m_im = load(mirrored + FFT_LINES + lane);
            store(to + lane, (re + m_re) * cosine + (im - m_im) * sine);
            store(to + FFT_LINES + lane, (im + m_im) * cosine + (m_re - re) * sine);
        }
    }
}

static void place_cosines(const float* lines, const FFTRoot* turns, int width, const int* positions, float* block) {
    copy_point(point(block, positions[0]), point(lines, 0));
    for (int k = 1; k < width; ++k) {
        const float* const x = point(lines, k);
        const float* const mirrored = point(lines, width - k);
        const float cosine = turns[k].real, sine = -turns[k].imaginary;
        float* const z = point(block, positions[k]);
        for (int lane = 0; lane < FFT_LINES; lane += LANES) {
            const Floats a = load(x + lane), b = load(x + FFT_LINES + lane);
            const Floats m_a = load(mirrored + lane), m_b = load(mirrored + FFT_LINES + lane);
            store(z + lane, (a * cosine + m_a * sine) - (b * sine - m_b * cosine));
            store(z + FFT_LINES + lane, (a * sine - m_a * cosine) + (b * cosine + m_b * sine));
        }
    }
}

}  // namespace

const RealLineKernels real_line_kernels = {load_columns, store_columns, extend_odd,    take_sines,
                                           fold_cosines, take_cosines,  place_cosines, unfold_cosines};

}  // namespace QUILLON_SIMD
