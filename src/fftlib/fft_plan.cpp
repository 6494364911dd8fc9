#include "fftlib/fft_plan.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <numbers>
#include <utility>

#include "fftlib/fft_lines_simd.h"
#include "fftlib/fftlib.h"
#include "imagelib/aligned_block.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/process.h"

namespace {

constexpr int LARGEST_PLAN = 16384, LARGEST_CONVOLUTION = 2 * LARGEST_PLAN + LARGEST_PLAN / 4;

// exp(-2 pi i turn / whole), from angles of an eighth of a turn at most, so that mirrored roots have mirrored values.
FFTRoot root_of_unity(std::int64_t turn, std::int64_t whole) {
    const std::int64_t quarters = 4 * (turn % whole);
    const int quadrant = static_cast<int>(quarters / whole);
    const std::int64_t rest = quarters % whole;
    const bool mirrored = 2 * rest > whole;
    const double angle =
        std::numbers::pi / 2 * static_cast<double>(mirrored ? whole - rest : rest) / static_cast<double>(whole);
    K7SineCosine at = k7_sine_cosine(angle);
    if (mirrored) std::swap(at.sine, at.cosine);
    const double cosine[] = {at.cosine, -at.sine, -at.cosine, at.sine};
    const double sine[] = {at.sine, at.cosine, -at.sine, -at.cosine};
    return {static_cast<float>(cosine[quadrant]), static_cast<float>(-sine[quadrant])};
}

// How long a point takes in one stage: measured on one core of a Zen 5, where 1 is 1.6 ns for 16 lines.
struct RadixCost {
    int radix;
    double cost;
};
constexpr RadixCost COSTS[] = {{8, 1.0}, {4, 0.8}, {2, 0.7}, {7, 1.3}, {5, 1.0}, {3, 0.8}};
constexpr double COST_AROUND = 2.0;  // to load, multiply and store it

// The stages' radices, the largest powers of two first; what is left when all small primes are gone.
std::vector<int> radices_of(int length, int& rest) {
    std::vector<int> radices;
    rest = length;
    for (const RadixCost& cost : COSTS)
        for (; rest % cost.radix == 0; rest /= cost.radix) radices.push_back(cost.radix);
    return radices;
}

double cost_of(int length) {
    int rest = length;
    double sum = COST_AROUND;
    for (const RadixCost& radix : COSTS)
        for (; rest % radix.radix == 0; rest /= radix.radix) sum += radix.cost;
    return rest == 1 ? sum * length : std::numeric_limits<double>::infinity();
}

std::mutex s_mutex;  // guards the list of plans, which grows until the library is unloaded
const FFTPlan* s_plans = nullptr;

}  // namespace

int fft_fast_length(int n) {
    n = std::max(n, 2);
    const int limit = std::max(n + n / 8, 16);
    int fastest = 0;
    double least = std::numeric_limits<double>::infinity();
    for (int length = n; length <= limit || fastest == 0; ++length) {
        const double cost = cost_of(length);
        if (cost < least) fastest = length, least = cost;
    }
    return fastest;
}

int fft_good_size(int n) {
    if (n > FFT_MAX_SIZE) return 0;
    return std::min(fft_fast_length(n), FFT_MAX_SIZE);
}

void FFTPlan::release_all() {
    const std::lock_guard lock(s_mutex);
    while (const FFTPlan* plan = s_plans) {
        s_plans = plan->m_next;
        delete plan;
    }
}

const FFTPlan* FFTPlan::of(int length) {
    if (length < 1 || length > LARGEST_CONVOLUTION) return nullptr;
    const auto find = [&]() -> const FFTPlan* {
        std::lock_guard lock(s_mutex);
        for (const FFTPlan* plan = s_plans; plan; plan = plan->m_next)
            if (plan->m_length == length) return plan;
        return nullptr;
    };
    if (const FFTPlan* plan = find()) return plan;
    return in_memory([&]() -> const FFTPlan* {
        std::unique_ptr<FFTPlan> made(new FFTPlan(length));
        const FFTPlan* meanwhile = find();
        if (meanwhile) return meanwhile;
        k7_at_unload(release_all);
        std::lock_guard lock(s_mutex);
        made->m_next = s_plans;
        return s_plans = made.release();
    });
}

FFTPlan::FFTPlan(int length) : m_length(length), m_block(length), m_positions(static_cast<std::size_t>(length)) {
    for (int k = 0; k < length; ++k) m_quarter_turns.push_back(root_of_unity(k, 4 * std::int64_t{length}));
    int rest = 0;
    std::vector<int> radices = radices_of(length, rest);
    for (int prime = 11; prime <= FFT_LARGEST_RADIX; prime += 2)
        for (; rest % prime == 0; rest /= prime) radices.push_back(prime);
    if (rest > 1) {
        for (int k = 0; k < length; ++k) m_positions[std::size_t(k)] = k;
        prepare_convolution();
        return;
    }
    int part = length;
    for (const int radix : radices) {
        add_stage(radix, part);
        part /= radix;
    }
    // The first stage sorts frequencies by their remainder, the second what is left of them, and so on.
    for (int k = 0; k < length; ++k) {
        int position = 0, frequency = k;
        for (const FFTStage& stage : m_stages) {
            position += frequency % stage.radix * (stage.length / stage.radix);
            frequency /= stage.radix;
        }
        m_positions[std::size_t(k)] = position;
    }
}

void FFTPlan::add_stage(int radix, int length) {
    std::vector<FFTRoot>& twiddles = m_tables.emplace_back();
    for (int j = 0; j < length / radix; ++j)
        for (int k = 1; k < radix; ++k) twiddles.push_back(root_of_unity(std::int64_t{j} * k, length));
    std::vector<FFTRoot>& roots = m_tables.emplace_back();
    for (int j = 0; j < radix; ++j) roots.push_back(root_of_unity(j, radix));
    m_stages.push_back({radix, length, m_tables.end()[-2].data(), roots.data()});  // data() survives moves of vectors
}

// ---- Lengths with large prime factors -----------------------------------------------------------------------------
//
// With j k = (j^2 + k^2 - (k - j)^2) / 2 the transform is a chirp times a convolution of (numbers times chirp) with the
// chirp's conjugate, which goes through transforms of a fast length.

void FFTPlan::prepare_convolution() {
    m_convolution = of(fft_fast_length(2 * m_length - 1));
    if (!m_convolution) throw std::bad_alloc();
    const int length = m_convolution->length();
    m_block = length;
    for (std::int64_t j = 0; j < m_length; ++j) m_chirp.push_back(root_of_unity(j * j, 2 * std::int64_t{m_length}));

    const auto block = make_aligned_block<float, false>(std::size_t(length) * FFT_POINT);
    if (!block) throw std::bad_alloc();
    std::fill_n(block.get(), std::size_t(length) * FFT_POINT, 0.0F);
    for (int j = 0; j < m_length; ++j)
        for (const int place : {j, (length - j) % length}) {
            block[std::size_t(place) * FFT_POINT] = m_chirp[std::size_t(j)].real / static_cast<float>(length);
            block[std::size_t(place) * FFT_POINT + FFT_LINES] =
                -m_chirp[std::size_t(j)].imaginary / static_cast<float>(length);
        }
    m_convolution->to_frequencies(block.get(), false);
    for (int k = 0; k < length; ++k)
        m_chirp_frequencies.push_back(
            {block[std::size_t(k) * FFT_POINT], block[std::size_t(k) * FFT_POINT + FFT_LINES]});
}

void FFTPlan::transform_by_convolution(float* real, float* imaginary) const {
    const FFTLineKernels& lines = fft_line_kernels();
    const FFTStages stages = m_convolution->stages();
    const int length = m_convolution->length();
    lines.multiply_points(real, imaginary, m_chirp.data(), m_length);
    lines.clear_points(std::min(real, imaginary) + std::size_t(m_length) * FFT_POINT, length - m_length);
    fft_kernels().to_frequencies(stages, real, imaginary);
    lines.multiply_points(real, imaginary, m_chirp_frequencies.data(), length);
    fft_kernels().from_frequencies(stages, imaginary, real);
    lines.multiply_points(real, imaginary, m_chirp.data(), m_length);
}

// ---- Transforms ---------------------------------------------------------------------------------------------------

void FFTPlan::to_frequencies(float* block, bool inverse) const {
    float *real = block, *imaginary = block + FFT_LINES;
    if (inverse) std::swap(real, imaginary);
    if (m_convolution) return transform_by_convolution(real, imaginary);
    fft_kernels().to_frequencies(stages(), real, imaginary);
}

void FFTPlan::from_frequencies(float* block, bool inverse) const {
    float *real = block, *imaginary = block + FFT_LINES;
    if (inverse) std::swap(real, imaginary);
    if (m_convolution) return transform_by_convolution(real, imaginary);
    fft_kernels().from_frequencies(stages(), real, imaginary);
}
