#include <algorithm>
#include <array>
#include <atomic>
#include <bitset>
#include <cmath>
#include <memory>
#include <new>

#include "imagelib/imagelib_labelborders.h"
#include "imagelib/label_votes_simd.h"
#include "imagelib/samples.h"

namespace {

using LabelSet = std::bitset<LabelSmoothing::LABELS>;

bool are_in_range(const K7Image& labels) {
    std::atomic<bool> good{true};
    for_rows_float(labels.height, [&](int first, int last) {
        std::uint32_t all = 0;
        for (int y = first; y <= last; ++y) {
            const auto* row = image_row<std::uint32_t>(&labels, y);
            for (int x = 0; x < labels.width; ++x) all |= row[x];
        }
        if (all >= LabelSmoothing::LABELS) good = false;
    });
    return good;
}

// The tile at (x0, y0) with its surroundings; beyond the picture its edge repeats. Which labels there are.
LabelSet fill_tile(const K7Image& labels, int x0, int y0, LabelTile& tile) {
    LabelSet present;
    const int margin_x = 2 * tile.half_x, margin_y = 2 * tile.half_y;
    for (int y = 0; y < tile.height + 2 * margin_y; ++y) {
        const auto* row = image_row<std::uint32_t>(&labels, std::clamp(y0 + y - margin_y, 0, labels.height - 1));
        std::uint8_t* to = tile.labels + std::ptrdiff_t(y) * LabelTile::PITCH;
        std::uint32_t last = LabelSmoothing::LABELS;
        for (int x = 0; x < tile.width + 2 * margin_x; ++x) {
            const std::uint32_t label = row[std::clamp(x0 + x - margin_x, 0, labels.width - 1)];
            to[x] = static_cast<std::uint8_t>(label);
            if (label != last) present.set(last = label);
        }
    }
    return present;
}

void vote(LabelTile& tile, const LabelSet& present) {
    const int entries = LabelTile::PITCH * tile.height;
    std::fill_n(tile.best, entries, std::uint16_t{0});
    std::fill_n(tile.second, entries, std::uint16_t{0});
    for (int label = 0; label < LabelSmoothing::LABELS; ++label)
        if (present[static_cast<std::size_t>(label)]) label_vote_kernels().count(tile, label);
}

void smooth_tile(const K7Image& labels, const LabelSmoothing& s, int x0, int y0, LabelTile& tile, K7Image& smooth,
                 K7Image& lead) {
    tile.width = std::min(LabelTile::SIDE, labels.width - x0),
    tile.height = std::min(LabelTile::SIDE, labels.height - y0);
    tile.half_x = s.half_x, tile.half_y = s.half_y;
    const LabelSet present = fill_tile(labels, x0, y0, tile);
    const bool single = present.count() == 1;
    if (!single) vote(tile, present);
    const int box_x = 2 * s.half_x + 1, box_y = 2 * s.half_y + 1;
    const float scale = 1.0f / static_cast<float>(box_x * box_x * box_y * box_y);
    for (int y = 0; y < tile.height; ++y) {
        auto* to = image_row<std::uint32_t>(&smooth, y0 + y) + x0;
        float* ahead = image_row<float>(&lead, y0 + y) + x0;
        const std::ptrdiff_t at = std::ptrdiff_t(y) * LabelTile::PITCH;
        for (int x = 0; x < tile.width; ++x) {
            to[x] = single ? tile.labels[0] : tile.winner[at + x];
            ahead[x] = single ? 1.0f : static_cast<float>(tile.best[at + x] - tile.second[at + x]) * scale;
        }
    }
}

// From how far the winner is ahead to a distance. Across a straight border, at x boxes from it, a pyramid is ahead by
// 1 - (1 - x)^2. Where the lead grows more slowly than that, the area is narrow, and the border is farther than it
// seems.
class DepthRow {
  public:
    DepthRow(const K7Image& smooth, const K7Image& lead, const LabelSmoothing& s, int y)
        : m_smoothing(s), m_width(smooth.width) {
        const int below = std::max(y - 1, 0), above = std::min(y + 1, smooth.height - 1);
        const int rows[] = {below, y, above};
        for (int i = 0; i < 3; ++i)
            m_labels[i] = image_row<std::uint32_t>(&smooth, rows[i]), m_leads[i] = image_row<float>(&lead, rows[i]);
        m_per_row = above > below ? 1.0f / (static_cast<float>(above - below) * s.row_height) : 0.0f;
    }
    float at(int x) const {
        const float lead = m_leads[1][x], reach = m_smoothing.reach();
        if (lead >= 1.0f) return reach;
        const std::uint32_t own = m_labels[1][x];
        const auto signed_lead = [&](int row, int column) {
            return m_labels[row][column] == own ? m_leads[row][column] : -m_leads[row][column];
        };
        const int left = std::max(x - 1, 0), right = std::min(x + 1, m_width - 1);
        const float dx =
            right > left ? (signed_lead(1, right) - signed_lead(1, left)) / static_cast<float>(right - left) : 0.0f;
        const float dy = (signed_lead(2, x) - signed_lead(0, x)) * m_per_row;
        const float behind = std::sqrt(1.0f - lead), slope = 2.0f * behind / reach;
        const float found = std::sqrt(dx * dx + dy * dy);
        const float narrow = slope > 2.5f * found ? 2.5f : std::max(slope / found, 1.0f);
        return std::min((1.0f - behind) * reach * narrow, reach);
    }

  private:
    const LabelSmoothing& m_smoothing;
    int m_width;
    const std::uint32_t* m_labels[3];
    const float* m_leads[3];
    float m_per_row;
};

bool is_usable(const LabelSmoothing& s) {
    const auto in_range = [](int half) { return half >= 0 && half <= LabelSmoothing::MOST_HALF; };
    return in_range(s.half_x) && in_range(s.half_y) && s.row_height > 0;
}

}  // namespace

bool image_smooth_labels(const K7Image* labels, const LabelSmoothing& smoothing, K7Image* smooth, K7Image* depth,
                         const StopRequested& stop) {
    if (!is_label_image(labels) || !is_label_image(smooth, labels->width, labels->height) || smooth == labels ||
        (depth && !is_plane(depth, labels->width, labels->height)) || !is_usable(smoothing) || !are_in_range(*labels))
        return false;
    smooth->stats_valid = 0;
    if (depth) depth->stats_valid = 0;
    const ImagePtr lead = make_image_uncleared(labels->width, labels->height, 1, SAMPLE_F32);
    if (!lead) return false;
    constexpr int SIDE = LabelTile::SIDE;
    const int across = (labels->width + SIDE - 1) / SIDE, down = (labels->height + SIDE - 1) / SIDE;
    std::atomic<bool> complete{true};
    for_rows_float(across * down, [&](int first, int last) {
        const std::unique_ptr<LabelTile> tile(new (std::nothrow) LabelTile);
        if (!tile) complete = false;
        for (int i = first; i <= last && complete; ++i) {
            if (wants_end(stop)) complete = false;
            smooth_tile(*labels, smoothing, i % across * SIDE, i / across * SIDE, *tile, *smooth, *lead);
        }
    });
    if (!complete || !depth) return complete;
    return each_row_float(
        labels->height, [&] { return wants_end(stop); },
        [&](int y) {
            const DepthRow row(*smooth, *lead, smoothing, y);
            float* to = image_row<float>(depth, y);
            for (int x = 0; x < labels->width; ++x) to[x] = row.at(x);
        });
}
