#include "fluidlib/pressure.h"

#include <numbers>

#include "fluidlib/fluid_work.h"
#include "fluidlib/pressure_simd.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr int MAX_HALF_SWEEPS = 10000;
constexpr double STOP = 0.0002;   // of the sum of the right side's magnitudes
constexpr double NOTHING = 1e-8;  // a right side that adds up to less

int up_to_8(int n) { return (n + 7) / 8 * 8; }

// sin(pi k n / (size + 1)) for every folded place n and every second wave k, from `first` on.
FluidArray<double> sine_matrix(int size, int count, int first, double factor, bool transposed) {
    const int pitch = up_to_8(count);
    auto matrix = make_fluid_array<double>(std::size_t(std::max(count, 1)) * std::size_t(std::max(pitch, 8)));
    if (!matrix) return nullptr;
    const int period = 2 * (size + 1);
    for (int n = 0; n < count; ++n)
        for (int m = 0; m < pitch; ++m) {
            const int place = transposed ? m + 1 : n + 1, wave = first + 2 * (transposed ? n : m);
            const auto angle = static_cast<int>(static_cast<long long>(place) * wave % period);
            const bool used = m < count;
            matrix[std::size_t(n) * std::size_t(pitch) + std::size_t(m)] =
                used ? factor * k7_sin(std::numbers::pi * angle / (size + 1)) : 0;
        }
    return matrix;
}

}  // namespace

struct FluidPressure::State {
    int width = 0, height = 0;
    FluidArray<double> right_side, pressure;  // with the ring
    FluidArray<double> row_sums;

    // The direct solution. Places fold into sums (for odd waves) and differences (for even ones) of mirrored places.
    int odd, even;              // how many waves there are of each, and places that fold
    int odd_pitch, even_pitch;  // up to multiples of 8
    FluidArray<double> odd_forward, even_forward, odd_back, even_back;
    FluidArray<double> factors, folded, waves;  // height rows of `pitch`

    std::size_t stride() const { return std::size_t(width) + 2; }
    std::size_t cells() const { return stride() * (std::size_t(height) + 2); }
    int pitch() const { return odd_pitch + even_pitch; }

    bool prepare_direct();
    void make_factors();
    void fold(int j);
    void unfold(int j);
    void transform(int first, int last, const FluidArray<double>& from, const FluidArray<double>& odd_matrix,
                   const FluidArray<double>& even_matrix, FluidArray<double>& to);
};

FluidPressure::FluidPressure() = default;
FluidPressure::~FluidPressure() = default;

double* FluidPressure::right_side(int width, int height) {
    if (m_state && m_state->width == width && m_state->height == height) return m_state->right_side.get();
    m_state.reset(new (std::nothrow) State);
    if (!m_state) return nullptr;
    m_state->width = width, m_state->height = height;
    for (auto* block : {&m_state->right_side, &m_state->pressure}) {
        *block = make_fluid_array<double>(m_state->cells());
        if (*block) std::fill_n(block->get(), m_state->cells(), 0.0);
    }
    m_state->row_sums = make_fluid_array<double>(std::size_t(height));
    if (!m_state->right_side || !m_state->pressure || !m_state->row_sums) m_state.reset();
    return m_state ? m_state->right_side.get() : nullptr;
}

double* FluidPressure::pressure() const { return m_state ? m_state->pressure.get() : nullptr; }

// ---- Directly -----------------------------------------------------------------------------------------------------

bool FluidPressure::State::prepare_direct() {
    if (waves) return true;
    odd = (width + 1) / 2, even = width / 2;
    odd_pitch = up_to_8(odd), even_pitch = up_to_8(even);
    const double back = 2.0 / (width + 1);  // what the transform there and back multiplies by
    odd_forward = sine_matrix(width, odd, 1, back, false);
    even_forward = sine_matrix(width, even, 2, back, false);
    odd_back = sine_matrix(width, odd, 1, 1, true);
    even_back = sine_matrix(width, even, 2, 1, true);
    const std::size_t numbers = std::size_t(height) * std::size_t(pitch());
    for (auto* block : {&factors, &folded, &waves}) *block = make_fluid_array<double>(numbers);
    if (!odd_forward || !even_forward || !odd_back || !even_back || !factors || !folded || !waves) {
        waves.reset();
        return false;
    }
    std::fill_n(folded.get(), numbers, 0.0);
    make_factors();
    return true;
}

void FluidPressure::State::make_factors() {
    for (int m = 0; m < pitch(); ++m) {
        const bool is_odd = m < odd_pitch;
        const int number = is_odd ? m : m - odd_pitch;
        const bool used = number < (is_odd ? odd : even);
        const int wave = 2 * number + (is_odd ? 1 : 2);
        const double diagonal = 4 - 2 * k7_cos(std::numbers::pi * wave / (width + 1));
        double factor = 0;
        for (int j = 0; j < height; ++j) {
            factor = used ? 1 / (diagonal - factor) : 0;
            factors[std::size_t(j) * std::size_t(pitch()) + std::size_t(m)] = factor;
        }
    }
}

void FluidPressure::State::fold(int j) {
    const double* from = right_side.get() + std::size_t(j + 1) * stride() + 1;
    double* sums = folded.get() + std::size_t(j) * std::size_t(pitch());
    double* differences = sums + odd_pitch;
    for (int n = 0; n < even; ++n) {
        sums[n] = from[n] + from[width - 1 - n];
        differences[n] = from[n] - from[width - 1 - n];
    }
    if (odd > even) sums[even] = from[even];
}

void FluidPressure::State::unfold(int j) {
    double* to = pressure.get() + std::size_t(j + 1) * stride() + 1;
    const double* sums = folded.get() + std::size_t(j) * std::size_t(pitch());
    const double* differences = sums + odd_pitch;
    for (int n = 0; n < even; ++n) {
        to[n] = sums[n] + differences[n];
        to[width - 1 - n] = sums[n] - differences[n];
    }
    if (odd > even) to[even] = sums[even];
}

void FluidPressure::State::transform(int first, int last, const FluidArray<double>& from,
                                     const FluidArray<double>& odd_matrix, const FluidArray<double>& even_matrix,
                                     FluidArray<double>& to) {
    const std::size_t at = std::size_t(first) * std::size_t(pitch());
    const int rows = last - first + 1;
    const auto& multiply = fluid_pressure().multiply;
    multiply({from.get() + at, odd_matrix.get(), to.get() + at, rows, odd, odd_pitch, pitch(), odd_pitch, pitch()});
    multiply({from.get() + at + odd_pitch, even_matrix.get(), to.get() + at + odd_pitch, rows, even, even_pitch,
              pitch(), even_pitch, pitch()});
}

bool FluidPressure::solve_directly(const FluidRows& rows, bool parallel) {
    State& s = *m_state;
    if (!s.prepare_direct()) return false;
    const bool there = rows.for_rows(std::size_t(s.height), parallel, [&](int first, int last) {
        for (int j = first; j <= last; ++j) s.fold(j);
        s.transform(first, last, s.folded, s.odd_forward, s.even_forward, s.waves);
    });
    if (!there) return false;
    fluid_pressure().solve_columns({s.waves.get(), s.factors.get(), s.height, s.pitch(), s.pitch()});
    return rows.for_rows(std::size_t(s.height), parallel, [&](int first, int last) {
        s.transform(first, last, s.waves, s.odd_back, s.even_back, s.folded);
        for (int j = first; j <= last; ++j) s.unfold(j);
    });
}

// ---- By half sweeps -----------------------------------------------------------------------------------------------

namespace {

// Relaxes the cells of one colour of a row; answers the sum of their residuals' magnitudes.
double relax_row(double* p, const double* rhs, std::size_t stride, int first, int width, double omega) {
    double sum = 0;
    for (int i = first; i <= width; i += 2) {
        const double neighbours =
            (p[i + 1] + p[i - 1]) + (p[i + std::ptrdiff_t(stride)] + p[i - std::ptrdiff_t(stride)]);
        const double residual = 4 * p[i] - neighbours - rhs[i];
        sum += std::abs(residual);
        p[i] -= omega * residual / 4;
    }
    return sum;
}

}  // namespace

int FluidPressure::solve_by_sweeps(const FluidRows& rows, bool parallel) {
    State& s = *m_state;
    std::fill_n(s.pressure.get(), s.cells(), 0.0);
    double total = 0;
    for (int j = 1; j <= s.height; ++j)
        for (int i = 1; i <= s.width; ++i)
            total += std::abs(s.right_side[std::size_t(j) * s.stride() + std::size_t(i)]);
    const double radius = (k7_cos(std::numbers::pi / s.width) + k7_cos(std::numbers::pi / s.height)) / 2;
    double omega = 1;
    for (int n = 1; n <= MAX_HALF_SWEEPS; ++n) {
        const bool done = rows.for_rows(std::size_t(s.height), parallel, [&](int first, int last) {
            for (int j = first + 1; j <= last + 1; ++j) {
                const std::size_t row = std::size_t(j) * s.stride();
                const int start = (1 + j + n) % 2 == 0 ? 1 : 2;  // cells with (i + j + n) even
                s.row_sums[std::size_t(j - 1)] =
                    relax_row(s.pressure.get() + row, s.right_side.get() + row, s.stride(), start, s.width, omega);
            }
        });
        if (!done) return 0;
        omega = n == 1 ? 1 / (1 - radius * radius / 2) : 1 / (1 - radius * radius * omega / 4);
        double residual = 0;
        for (int j = 0; j < s.height; ++j) residual += s.row_sums[std::size_t(j)];
        if (n >= 3 && (residual < STOP * total || total <= NOTHING)) return n;
    }
    return MAX_HALF_SWEEPS;
}
