#include "imagelib/imagelib_complete.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "imagelib/imagelib_quilt.h"
#include "imagelib/quilt_sample.h"
#include "imagelib/shift_levelling.h"
#include "imagelib/shift_map.h"
#include "imagelib/shift_statistics.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/portable_math.h"

namespace {

using simd::Pixel;

constexpr int FEWEST_CELLS = 14;  // of a hole on the coarsest level
constexpr int MOST_CELLS = 44;
constexpr int SWEEPS = 4, FINE_SWEEPS = 2;
constexpr int AROUND = 3;      // cells beyond a piece at which shifts like its own are tried
constexpr int BAND = 2;        // cells to either side of a seam that may change on finer levels
constexpr float ROUGH = 1.0F;  // how much roughness counts in comparisons, to a channel's 1

struct Level : ShiftLevel {
    std::vector<float> squares;  // mean square of luminance

    Level(int w, int h) {
        width = w, height = h;
        colours.resize(std::size_t(w) * std::size_t(h));
        flags.resize(colours.size());
        squares.resize(colours.size());
    }
};

// A cell is what any of its pixels is; its colour is that of those that are known.
Level halved(const Level& from) {
    Level to((from.width + 1) / 2, (from.height + 1) / 2);
    each_row_float(to.height, [&](int y) {
        for (int x = 0; x < to.width; ++x) {
            Pixel sum{};
            float squares = 0, count = 0;
            std::uint8_t flags = 0;
            for (int v = 2 * y; v < std::min(2 * y + 2, from.height); ++v)
                for (int u = 2 * x; u < std::min(2 * x + 2, from.width); ++u) {
                    flags |= from.flags[from.at(u, v)];
                    if (!from.known(u, v)) continue;
                    sum += from.colours[from.at(u, v)], squares += from.squares[from.at(u, v)], count += 1.0F;
                }
            const std::size_t at = to.at(x, y);
            if (count > 0) sum /= Pixel{} + count, squares /= count;
            const float light = quilt_luminance(sum);
            sum[3] = ROUGH * std::sqrt(std::max(squares - light * light, 0.0F));
            to.colours[at] = sum, to.squares[at] = squares, to.flags[at] = flags;
        }
    });
    return to;
}

// The part of the picture that counts: the hole and all that may be taken.
QuiltBox used_part(const K7Image& flags, QuiltBox& hole) {
    QuiltBox all{flags.width, flags.height, 0, 0};
    hole = all;
    const auto add = [](QuiltBox& box, int x, int y) {
        box.left = std::min(box.left, x), box.right = std::max(box.right, x + 1);
        box.bottom = std::min(box.bottom, y), box.top = std::max(box.top, y + 1);
    };
    for (int y = 0; y < flags.height; ++y)
        for (int x = 0; x < flags.width; ++x) {
            const std::uint8_t flag = image_row<std::uint8_t>(&flags, y)[x];
            if ((flag & COMPLETE_HOLE) != 0) add(hole, x, y);
            if ((flag & COMPLETE_HOLE) != 0 || (flag & COMPLETE_NO_SOURCE) == 0) add(all, x, y);
        }
    return all;
}

class Completion {
  public:
    Completion(const CompletionTask& task, const StopRequested& stop) : m_task(task), m_stop(stop) {}
    bool run();

  private:
    bool make_levels();
    void write();
    Pixel colour(int x, int y) const { return simd::load<Pixel>(row(y) + 4 * (x + m_part.left)); }
    float* row(int y) const { return image_row<float>(m_task.picture, y + m_part.bottom); }
    Pixel made(const ShiftMap& map, const Levelling& added, int x, int y) const;

    const CompletionTask& m_task;
    const StopRequested& m_stop;
    QuiltBox m_part{}, m_hole{};
    std::vector<Level> m_levels;
};

bool Completion::make_levels() {
    m_part = used_part(*m_task.flags, m_hole);
    if (m_hole.left >= m_hole.right) return false;
    m_levels.reserve(16);
    m_levels.emplace_back(m_part.width(), m_part.height());
    Level& first = m_levels[0];
    each_row_float(first.height, [&](int y) {
        const std::uint8_t* flags = image_row<std::uint8_t>(m_task.flags, y + m_part.bottom) + m_part.left;
        for (int x = 0; x < first.width; ++x) {
            const std::size_t at = first.at(x, y);
            first.colours[at] = quilt_colour(row(y) + 4 * (x + m_part.left));
            first.squares[at] = quilt_luminance(first.colours[at]) * quilt_luminance(first.colours[at]);
            first.flags[at] = flags[x];
        }
    });
    const int side = std::max(m_hole.width(), m_hole.height()), wanted = std::clamp(m_task.cell, 1, 64);
    for (int cell = 1; m_levels.size() < 14; cell *= 2) {
        const int cells = side / cell;
        if (cells <= MOST_CELLS && (4 * cell >= 3 * wanted || cells < 2 * FEWEST_CELLS)) break;
        m_levels.push_back(halved(m_levels.back()));
    }
    return true;
}

// With the neighbours' shifts next to seams, which blends over them.
Pixel Completion::made(const ShiftMap& map, const Levelling& added, int x, int y) const {
    constexpr float SHARES[5] = {1.0F, 2.0F, 3.0F, 2.0F, 1.0F};
    const ShiftLevel& level = m_levels[0];
    const ShiftMap::Label own = map.labels[level.at(x, y)];
    bool seam = false;
    for (int v = std::max(y - 2, 0); v <= std::min(y + 2, level.height - 1) && !seam; ++v)
        for (int u = std::max(x - 2, 0); u <= std::min(x + 2, level.width - 1) && !seam; ++u)
            seam = map.labels[level.at(u, v)] != own;
    const auto brought = [&](const Shift& s, const Pixel& more) {
        Pixel result = colour(x + s.x, y + s.y);
        const float alpha = result[3];
        result = simd::larger(result + more, Pixel{});
        result[3] = alpha;
        return result;
    };
    if (!seam) return brought(map.shifts[std::size_t(own)], added[level.at(x, y)]);
    Pixel sum{};
    float weights = 0.0F;
    for (int v = std::max(y - 2, 0); v <= std::min(y + 2, level.height - 1); ++v)
        for (int u = std::max(x - 2, 0); u <= std::min(x + 2, level.width - 1); ++u) {
            const Shift s = map.shifts[std::size_t(map.labels[level.at(u, v)])];
            if (!level.known(x + s.x, y + s.y)) continue;
            const float weight = SHARES[u - x + 2] * SHARES[v - y + 2];
            sum += weight * brought(s, added[level.at(u, v)]), weights += weight;
        }
    return sum / (Pixel{} + weights);
}

bool Completion::run() {
    if (!make_levels()) return false;
    const float angle = 6.2831853F * static_cast<float>(quilt_hash(m_task.seed, 1) >> 8) / 16777216.0F;
    ShiftTaste taste;
    taste.x = k7_cos(angle), taste.y = k7_sin(angle);
    taste.reach = static_cast<float>(std::max(m_levels.back().width, m_levels.back().height));
    ShiftMap map(m_levels.back(), taste);
    if (!find_shifts(m_levels.back(), {}, map.shifts, m_stop)) return false;
    Levelling added;
    std::vector<ShiftMap::Label> coarse_labels;
    map.begin();
    map.expand(SWEEPS, 0, m_stop);
    for (const int step : {4, 2, 1}) {
        map.explore(step);
        map.expand(2, AROUND, m_stop);
    }
    map.forget_unused();
    if (!map.complete()) return false;
    for (std::size_t n = m_levels.size(); n-- > 0;) {
        const ShiftLevel* coarse = nullptr;
        if (n + 1 < m_levels.size()) {
            coarse = &m_levels[n + 1];
            coarse_labels = map.labels;
            map.refine(m_levels[n]);
            map.settle();
            map.expand(FINE_SWEEPS, BAND, m_stop);
        }
        if (!level_pieces(m_levels[n], map, coarse, coarse_labels, added, m_stop)) return false;
    }
    if (!map.complete()) return false;
    const ShiftLevel& level = m_levels[0];
    std::vector<Pixel> result(level.colours.size());
    each_row_float(level.height, [&](int y) {
        for (int x = 0; x < level.width; ++x)
            if (level.open(x, y)) result[level.at(x, y)] = made(map, added, x, y);
    });
    each_row_float(level.height, [&](int y) {
        for (int x = 0; x < level.width; ++x)
            if (level.open(x, y)) simd::store(row(y) + 4 * (x + m_part.left), result[level.at(x, y)]);
    });
    return true;
}

}  // namespace

bool image_complete(const CompletionTask& task, const StopRequested& stop) {
    const K7Image *picture = task.picture, *flags = task.flags;
    if (!picture || !flags || picture->channels != 4 || picture->sample_type != SAMPLE_F32 || flags->channels != 1 ||
        flags->sample_type != SAMPLE_U8 || flags->width != picture->width || flags->height != picture->height)
        return false;
    return in_memory([&] { return Completion(task, stop).run(); });
}
