#include "imagelib/label_votes_simd.h"

namespace QUILLON_SIMD {
namespace {

constexpr int PITCH = LabelTile::PITCH;
using Row = std::uint16_t* __restrict;
using ConstRow = const std::uint16_t* __restrict;

// Along rows: each entry the sum of it and the `reach` ones behind.
static void add_along(ConstRow from, Row to, int count, int reach) {
    for (int x = 0; x < count; ++x) to[x] = from[x];
    for (int k = 1; k <= reach; ++k)
        for (int x = 0; x < count; ++x) to[x] = static_cast<std::uint16_t>(to[x] + from[x + k]);
}

// The same up the columns, in place, with sums that slide.
static void add_up(std::uint16_t* rows, int width, int count, int reach) {
    std::uint16_t sums[LabelTile::SIDE] = {};
    for (int y = 0; y < reach; ++y) {
        ConstRow from = rows + y * PITCH;
        for (int x = 0; x < width; ++x) sums[x] = static_cast<std::uint16_t>(sums[x] + from[x]);
    }
    for (int y = 0; y < count; ++y) {
        Row to = rows + y * PITCH;
        ConstRow ahead = rows + (y + reach) * PITCH;
        if (reach == 0) continue;
        for (int x = 0; x < width; ++x) {
            const auto sum = static_cast<std::uint16_t>(sums[x] + ahead[x]);
            sums[x] = static_cast<std::uint16_t>(sum - to[x]);
            to[x] = sum;
        }
    }
}

static void count(LabelTile& tile, int label) {
    const int reach_x = 2 * tile.half_x, reach_y = 2 * tile.half_y;
    const int columns = tile.width + 2 * reach_x, rows = tile.height + 2 * reach_y;
    std::uint16_t *const votes = tile.scratch, *const line = votes + PITCH * PITCH, *const sums = line + PITCH;
    for (int y = 0; y < rows; ++y) {
        const std::uint8_t* __restrict from = tile.labels + y * PITCH;
        for (int x = 0; x < columns; ++x) line[x] = from[x] == label ? 1 : 0;
        add_along(line, sums, columns - reach_x, reach_x);
        add_along(sums, votes + y * PITCH, tile.width, reach_x);
    }
    add_up(votes, tile.width, rows - reach_y, reach_y);
    add_up(votes, tile.width, tile.height, reach_y);
    const auto code = static_cast<std::uint16_t>(label);
    for (int y = 0; y < tile.height; ++y) {
        ConstRow given = votes + y * PITCH;
        Row best = tile.best + y * PITCH, second = tile.second + y * PITCH, winner = tile.winner + y * PITCH;
        for (int x = 0; x < tile.width; ++x) {
            const std::uint16_t v = given[x], b = best[x], s = second[x];
            const bool ahead = v > b;
            const std::uint16_t next = v > s ? v : s;
            best[x] = ahead ? v : b;
            second[x] = ahead ? b : next;
            winner[x] = ahead ? code : winner[x];
        }
    }
}

}  // namespace

const LabelVoteKernels label_vote_kernels = {count};

}  // namespace QUILLON_SIMD
