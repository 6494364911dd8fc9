// The pictures of disk recorders: cosine transforms of blocks, rounded.
#include <algorithm>
#include <array>
#include <cmath>

#include "effects/engines/television/Video.h"
#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr int SIDE = 8;
using Block = std::array<float, SIDE * SIDE>;

// ITU-T T.81 (1992), annex K, tables K.1 and K.2, for samples of 0 to 255.
constexpr Block LUMINANCE_STEPS = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                                   14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                                   18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                                   49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
constexpr Block COLOUR_STEPS = {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99, 24, 26, 56, 99, 99, 99,
                                99, 99, 47, 66, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                                99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};

// Orthonormal: its transpose is its inverse. Row k is the wave of frequency k.
Block cosine_matrix() {
    Block matrix{};
    for (int k = 0; k < SIDE; ++k)
        for (int n = 0; n < SIDE; ++n) {
            const double wave = k7_cos((2 * n + 1) * k * 3.14159265358979323846 / (2 * SIDE));
            matrix[std::size_t(SIDE * k + n)] = static_cast<float>(wave * (k == 0 ? std::sqrt(0.125) : 0.5));
        }
    return matrix;
}

void transpose(Block& block) {
    for (std::size_t y = 0; y < SIDE; ++y)
        for (std::size_t x = 0; x < y; ++x) std::swap(block[SIDE * y + x], block[SIDE * x + y]);
}

// out = m * in
void multiply(const Block& m, const Block& in, Block& out) {
    for (std::size_t k = 0; k < SIDE; ++k) {
        std::array<float, SIDE> sums{};
        for (std::size_t n = 0; n < SIDE; ++n)
            for (std::size_t x = 0; x < SIDE; ++x) sums[x] += m[SIDE * k + n] * in[SIDE * n + x];
        std::copy(sums.begin(), sums.end(), out.begin() + SIDE * std::ptrdiff_t(k));
    }
}

class BlockRounding {
  public:
    BlockRounding(const Block& steps, float coarseness) : m_forward(cosine_matrix()), m_backward(m_forward) {
        transpose(m_backward);
        for (std::size_t i = 0; i < m_steps.size(); ++i) m_steps[i] = steps[i] * coarseness / 255.0F;
        // Means keep steps of 6 in 255 at most: flat areas would turn into a poster.
        m_steps[0] = std::min(m_steps[0], 6.0F * SIDE / 255.0F);
        transpose(m_steps);  // as the coefficients stand below
    }
    void operator()(Block& block) const {
        Block work;
        multiply(m_forward, block, work), transpose(work), multiply(m_forward, work, block);
        for (std::size_t i = 0; i < block.size(); ++i) block[i] = std::floor(block[i] / m_steps[i] + 0.5F) * m_steps[i];
        multiply(m_backward, block, work), transpose(work), multiply(m_backward, work, block);
    }

  private:
    Block m_forward, m_backward, m_steps{};
};

// Each block of the plane, edge samples repeated beyond it, `scale` samples of the plane as one of the block.
void round_plane(VideoFrame& video, std::vector<float>& plane, const BlockRounding& rounding, int scale) {
    const int reach = SIDE * scale, rows = (video.lines + reach - 1) / reach;
    const float share = 1.0F / static_cast<float>(scale * scale);
    for_rows_float(rows, [&](int first, int last) {
        Block block;
        for (int row = first; row <= last; ++row)
            for (int left = 0; left < video.columns; left += reach) {
                // Blocks hang from the top line, as they are sent.
                const auto line_of = [&](int y) {
                    return std::clamp(video.lines - 1 - row * reach - y, 0, video.lines - 1);
                };
                const auto column_of = [&](int x) { return std::min(left + x, video.columns - 1); };
                for (int y = 0; y < SIDE; ++y)
                    for (int x = 0; x < SIDE; ++x) {
                        float sum = 0;
                        for (int j = 0; j < scale; ++j)
                            for (int i = 0; i < scale; ++i)
                                sum += video.row(plane, line_of(y * scale + j))[column_of(x * scale + i)];
                        block[std::size_t(SIDE * y + x)] = sum * share;
                    }
                rounding(block);
                for (int y = 0; y < reach && video.lines - 1 - row * reach - y >= 0; ++y)
                    for (int x = 0; x < reach && left + x < video.columns; ++x)
                        video.row(plane, line_of(y))[left + x] = block[std::size_t(SIDE * (y / scale) + x / scale)];
            }
    });
}

}  // namespace

void compress_blocks(VideoFrame& video, float coarseness) {
    if (!(coarseness > 0)) return;
    round_plane(video, video.y, BlockRounding(LUMINANCE_STEPS, coarseness), 1);
    const BlockRounding colour(COLOUR_STEPS, coarseness);
    round_plane(video, video.u, colour, 2);
    round_plane(video, video.v, colour, 2);
}
