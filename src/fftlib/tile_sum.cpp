// FFTTileSum. Columns are transformed, multiplied and added while they are in the cache.
#include <algorithm>
#include <cstring>

#include "fftlib/fftlib.h"
#include "fftlib/half_planes.h"

struct FFTTileSum::State {
    int size;
    const FFTPlan* plan = nullptr;
    FFTPlane picture, sum;  // half planes: the picture that is added, its columns, and what has been added up
    int summed = 0;         // strips of `sum` that hold something
    FFTWork work;

    std::size_t strip_step() const { return fft_strip_step(size); }
    HalfPlane plane_of(const FFTPlane& memory) const { return {memory.get(), strip_step()}; }
    bool prepare() {
        if (!plan && size >= 1) plan = FFTPlan::of(size);
        const std::size_t room = strip_step() * std::size_t(fft_strips(size));
        if (plan && !picture) picture = make_aligned_block<float, true>(room);
        if (plan && !sum) sum = make_aligned_block<float, true>(room);
        return plan && picture && sum;
    }
    std::size_t points_bytes() const { return std::size_t(size) * FFT_POINT * sizeof(float); }
    void add_strip(const float* block, std::span<const float> gains, int strip) const;
};

FFTTileSum::FFTTileSum(int size) : m_state(std::make_unique<State>()) {
    m_state->size = size;
    m_state->work.runner = {nullptr, fft_image_rows};
}
FFTTileSum::~FFTTileSum() = default;

// The transformed columns of a strip, to the sum. Frequencies stay in the order that the transform leaves.
void FFTTileSum::State::add_strip(const float* block, std::span<const float> gains, int strip) const {
    const int count = static_cast<int>(gains.size());
    // Rows came as twice their transform.
    const float scale = 0.5F / (static_cast<float>(size) * static_cast<float>(size));
    float across[FFT_LINES];
    for (int i = 0; i < FFT_LINES; ++i) {
        const int k = strip * FFT_LINES + i;
        across[i] = k < count ? gains[std::size_t(k)] * scale : 0.0F;
    }
    float* const sums = plane_of(sum).at(strip, 0);
    if (strip >= summed) std::memset(sums, 0, points_bytes());
    for (int l = 0; l < size; ++l) {
        const int periods = std::min(l, size - l);
        if (periods >= count) continue;
        const float gain = gains[std::size_t(periods)];
        const std::size_t at = std::size_t(plan->positions()[l]) * FFT_POINT;
        for (int half = 0; half < FFT_POINT; half += FFT_LINES)
            for (int i = 0; i < FFT_LINES; ++i) {
                const std::size_t number = at + std::size_t(half + i);
                sums[number] += block[number] * (gain * across[i]);
            }
    }
}

bool FFTTileSum::add(const float* picture, std::span<const float> gains) {
    State& state = *m_state;
    if (!picture || !state.prepare() || gains.size() > std::size_t(state.size / 2 + 1)) return false;
    const int size = state.size, strips = fft_groups(static_cast<int>(gains.size()), FFT_LINES);
    if (strips == 0) return true;
    const HalfPlane columns = state.plane_of(state.picture);
    const RealRows rows{const_cast<float*>(picture), std::size_t(size), size, size, -1, false};
    if (!rows_to_half_planes(state.work, *state.plan, rows, 0, columns, columns)) return false;
    const bool done = state.work.each(*state.plan, 0, strips, size, [&](float* block, float*, int strip) {
        std::memcpy(block, columns.at(strip, 0), state.points_bytes());
        state.plan->to_frequencies(block, false);
        state.add_strip(block, gains, strip);
    });
    state.summed = std::max(state.summed, strips);
    return done;
}

bool FFTTileSum::take(float* picture) {
    State& state = *m_state;
    if (!picture || !state.prepare()) return false;
    const int size = state.size;
    const HalfPlane columns = state.plane_of(state.sum);
    const bool back = state.work.each(*state.plan, 0, fft_strips(size), size, [&](float* block, float*, int strip) {
        float* const points = columns.at(strip, 0);
        // Rows come back in pairs. What stands in place of a missing one would reach the other by rounding.
        float* const behind = points + std::size_t(size) * FFT_POINT;
        std::memset(behind, 0, state.strip_step() * sizeof(float) - state.points_bytes());
        if (strip >= state.summed) {
            std::memset(points, 0, state.points_bytes());
            return;
        }
        std::memcpy(block, points, state.points_bytes());
        state.plan->from_frequencies(block, true);
        std::memcpy(points, block, state.points_bytes());
    });
    state.summed = 0;
    const RealRows rows{picture, std::size_t(size), size, size, -1, false};
    return back && half_planes_to_rows(state.work, *state.plan, columns, columns, rows);
}
