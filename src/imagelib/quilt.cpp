#include "imagelib/imagelib_quilt.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "imagelib/quilt_cut.h"
#include "imagelib/quilt_sample.h"
#include "imagelib/quilt_search.h"
#include "k7pi_baselib/in_memory.h"

namespace {

using simd::Pixel;

constexpr int CUT_CELLS = 28;                   // to a side of a patch: the cut's time rises fast with them
constexpr std::int64_t ALL_PLACES = 9'000'000;  // compared for a whole picture, about
constexpr int FEWEST_PLACES = 4000, MOST_PLACES = 60'000;

bool holds_together(const QuiltTask& task) {
    const auto of_floats = [](const K7Image* image, int channels) {
        return image && image->pixels && image->channels == channels && image->sample_type == SAMPLE_F32;
    };
    const auto of_bytes = [](const K7Image* image, const K7Image* size) {
        return image && image->pixels && image->channels == 1 && image->sample_type == SAMPLE_U8 &&
               image->width == size->width && image->height == size->height;
    };
    if (!of_floats(task.sample, 4) || !of_floats(task.canvas, 4) || task.sample == task.canvas) return false;
    if (!of_bytes(task.state, task.canvas) || (task.unusable && !of_bytes(task.unusable, task.sample))) return false;
    if (task.guide && !(of_floats(task.guide, 1) && task.guide->width == task.canvas->width &&
                        task.guide->height == task.canvas->height))
        return false;
    const QuiltBox& from = task.from;
    return from.left >= 0 && from.bottom >= 0 && from.left < from.right && from.bottom < from.top &&
           from.right <= task.sample->width && from.top <= task.sample->height;
}

// ---- The plan: which patches, in which order --------------------------------------------------------------------

class Plan {
  public:
    Plan(const QuiltTask& task, const QuiltShape& shape, const QuiltSample& sample)
        : m_task(task), m_shape(shape), m_sample(sample), m_grid(quilt_grid(task)) {
        m_columns = task.canvas->width / m_grid.step_x + 2;
        m_rows = task.canvas->height / m_grid.step_y + 1;
        collect();
        count_rings();
        give_chances();
    }
    // Patches of one batch do not meet.
    const std::vector<std::vector<QuiltBlock>> batches() const {
        int rings = 0;
        for (const QuiltBlock& block : m_blocks) rings = std::max(rings, block.ring + 1);
        std::vector<std::vector<QuiltBlock>> all(static_cast<std::size_t>(4 * rings));
        for (const QuiltBlock& block : m_blocks)
            all[static_cast<std::size_t>(4 * block.ring + 2 * (block.j & 1) + (block.i & 1))].push_back(block);
        return all;
    }
    std::size_t size() const { return m_blocks.size(); }

  private:
    enum Content { NOTHING_EMPTY, PARTLY, ALL_EMPTY };
    Content content(const QuiltBlock& block) const {
        const K7Image& canvas = *m_task.canvas;
        bool empty = false, made = false;
        for (int y = std::max(block.y, 0); y < std::min<int>(block.y + m_shape.height, canvas.height); ++y) {
            const std::uint8_t* row = image_row<std::uint8_t>(m_task.state, y);
            for (int x = std::max(block.x, 0); x < std::min<int>(block.x + m_shape.width, canvas.width); ++x)
                (row[x] == QUILT_EMPTY ? empty : made) = true;
        }
        return !empty ? NOTHING_EMPTY : (made ? PARTLY : ALL_EMPTY);
    }
    int& index(int i, int j) { return m_index[static_cast<std::size_t>(j * m_columns + i)]; }

    void collect() {
        m_index.assign(static_cast<std::size_t>(m_columns * m_rows), -1);
        for (int j = 0; j < m_rows; ++j)
            for (int i = 0; i < m_columns; ++i) {
                QuiltBlock block{
                    i, j, m_grid.left(i, j) - m_shape.overlap_x / 2, m_grid.bottom(j) - m_shape.overlap_y / 2, -1, {}};
                const Content found = content(block);
                if (found == NOTHING_EMPTY) continue;
                if (found == PARTLY) block.ring = 0;
                index(i, j) = static_cast<int>(m_blocks.size());
                m_blocks.push_back(block);
            }
    }

    // From those that hold something outwards. What nothing leads to is made at once.
    void count_rings() {
        std::vector<int> queue;
        for (std::size_t n = 0; n < m_blocks.size(); ++n)
            if (m_blocks[n].ring == 0) queue.push_back(static_cast<int>(n));
        for (std::size_t head = 0; head < queue.size(); ++head) {
            const QuiltBlock from = m_blocks[static_cast<std::size_t>(queue[head])];
            for (int j = std::max(from.j - 1, 0); j <= std::min(from.j + 1, m_rows - 1); ++j)
                for (int i = std::max(from.i - 1, 0); i <= std::min(from.i + 1, m_columns - 1); ++i) {
                    const int n = index(i, j);
                    if (n < 0 || m_blocks[static_cast<std::size_t>(n)].ring >= 0) continue;
                    m_blocks[static_cast<std::size_t>(n)].ring = from.ring + 1;
                    queue.push_back(n);
                }
        }
        for (QuiltBlock& block : m_blocks) block.ring = std::max(block.ring, 0);
    }

    // By hash, and of several the one that lies farthest from where the neighbours come from.
    void give_chances() {
        for (QuiltBlock& block : m_blocks) {
            const std::uint32_t hash = quilt_hash(
                m_task.seed, quilt_hash(static_cast<std::uint32_t>(block.i), static_cast<std::uint32_t>(block.j)));
            if (m_task.lattice.axes > 0) {
                quilt_lattice_places(m_task, m_shape, m_sample, block, hash, m_places);
                if (!m_places.empty()) {
                    block.chance = choose(block, hash, [&](std::uint32_t h) {
                        return m_places[static_cast<std::size_t>(quilt_pick(h, static_cast<int>(m_places.size())))];
                    });
                    continue;
                }
            }
            block.chance = choose(block, hash, [&](std::uint32_t h) { return anywhere(h); });
        }
    }

    QuiltPlace anywhere(std::uint32_t hash) const {
        const std::vector<QuiltPlace>& known = m_sample.known_usable;
        QuiltPlace place{};
        if (!known.empty()) return known[static_cast<std::size_t>(quilt_pick(hash, static_cast<int>(known.size())))];
        do {
            hash = quilt_hash(hash, 5);
            place.variant = quilt_pick(hash, static_cast<int>(m_sample.variants.size()));
        } while (!m_sample.variants[static_cast<std::size_t>(place.variant)].picture);
        place.x = quilt_pick(quilt_hash(hash, 6), m_sample.width - m_shape.width + 1);
        place.y = quilt_pick(quilt_hash(hash, 7), m_sample.height - m_shape.height + 1);
        return place;
    }

    template <class Draw>
    QuiltPlace choose(const QuiltBlock& block, std::uint32_t hash, const Draw& draw) {
        QuiltPlace best{};
        int farthest = -1;
        for (std::uint32_t n = 0; n < 6; ++n) {
            const QuiltPlace place = draw(quilt_hash(hash, n));
            int nearest = 1 << 30;
            for (const auto& [di, dj] :
                 {std::pair{-2, 0}, {-1, 0}, {-2, -2}, {-1, -1}, {0, -1}, {0, -2}, {1, -1}, {2, -2}}) {
                const int i = block.i + di, j = block.j + dj;
                if (i < 0 || j < 0 || i >= m_columns || index(i, j) < 0) continue;
                const QuiltPlace& other = m_blocks[static_cast<std::size_t>(index(i, j))].chance;
                if (other.variant != place.variant) continue;
                nearest = std::min(nearest, std::max(std::abs(other.x - place.x), std::abs(other.y - place.y)));
            }
            if (nearest > farthest) farthest = nearest, best = place;
        }
        return best;
    }

    const QuiltTask& m_task;
    const QuiltShape& m_shape;
    const QuiltSample& m_sample;
    const QuiltGrid m_grid;
    int m_columns, m_rows;
    std::vector<QuiltBlock> m_blocks;
    std::vector<int> m_index;
    std::vector<QuiltPlace> m_places;
};

// ---- Laying a patch -----------------------------------------------------------------------------------------------

class Layer {
  public:
    Layer(const QuiltTask& task, const QuiltShape& shape, const QuiltSample& sample, int places)
        : m_task(task), m_shape(shape), m_sample(sample), m_search(task, shape, sample, places) {
        m_side = std::max(1, (std::max(shape.width, shape.height) + CUT_CELLS - 1) / CUT_CELLS);
    }

    void lay(const QuiltBlock& block) {
        m_left = std::max(block.x, 0), m_right = std::min<int>(block.x + m_shape.width, m_task.canvas->width);
        m_bottom = std::max(block.y, 0), m_top = std::min<int>(block.y + m_shape.height, m_task.canvas->height);
        if (m_task.straight) return copy_cell(block, m_task.guide ? m_search.find(block) : block.chance);
        if (!anything_empty()) return;
        const QuiltPlace place = m_search.find(block);
        m_toned = m_task.tone > 0.0F;
        if (m_toned) find_tone(block, place);
        cut(block, place);
        paste(block, place);
    }

  private:
    std::uint8_t* state(int y) const { return image_row<std::uint8_t>(m_task.state, y); }
    const float* source(const QuiltBlock& block, const QuiltPlace& place, int y) const {
        const K7Image* picture = m_sample.variants[static_cast<std::size_t>(place.variant)].picture.get();
        return image_row<float>(picture, place.y + y - block.y) + 4 * (place.x - block.x);
    }
    // What a patch lacks to the colours that are there, in TONES x TONES parts of it: so that light that
    // changes slowly makes no steps between patches.
    void find_tone(const QuiltBlock& block, const QuiltPlace& place) {
        std::array<float, std::size_t{TONES} * TONES> counts{};
        m_tones.fill(Pixel{});
        for (int y = m_bottom; y < m_top; ++y) {
            const float *from = source(block, place, y), *there = image_row<float>(m_task.canvas, y);
            const int v = (y - block.y) * TONES / m_shape.height;
            for (int x = m_left; x < m_right; ++x) {
                if (state(y)[x] == QUILT_EMPTY) continue;
                const auto at = static_cast<std::size_t>(v * TONES + (x - block.x) * TONES / m_shape.width);
                m_tones[at] += quilt_colour(there + 4 * x) - quilt_colour(from + 4 * x);
                counts[at] += 1.0F;
            }
        }
        const std::array<Pixel, std::size_t{TONES}* TONES> sums = m_tones;
        for (int n = 0; n < TONES * TONES; ++n) {
            Pixel sum{};
            float weights = 0;
            for (int k = 0; k < TONES * TONES; ++k) {
                const auto at = static_cast<std::size_t>(k);
                const auto dx = static_cast<float>(n % TONES - k % TONES),
                           dy = static_cast<float>(n / TONES - k / TONES);
                // Cells in which little is there take after those around them.
                const float weight = 1.0F / (0.02F + (dx * dx + dy * dy) * (dx * dx + dy * dy));
                sum += weight * sums[at], weights += weight * counts[at];
            }
            m_tones[static_cast<std::size_t>(n)] = weights > 0.0F ? m_task.tone / weights * sum : Pixel{};
        }
    }
    Pixel tone(const QuiltBlock& block, int x, int y) const {
        const auto place = [](int at, int size) {
            return std::clamp((static_cast<float>(at) + 0.5F) * float(TONES) / static_cast<float>(size) - 0.5F, 0.0F,
                              float(TONES - 1));
        };
        const float fx = place(x - block.x, m_shape.width), fy = place(y - block.y, m_shape.height);
        const int u = std::min(static_cast<int>(fx), TONES - 2), v = std::min(static_cast<int>(fy), TONES - 2);
        const float a = fx - static_cast<float>(u), b = fy - static_cast<float>(v);
        const Pixel* t = &m_tones[static_cast<std::size_t>(v * TONES + u)];
        const Pixel low = t[0] + a * (t[1] - t[0]), high = t[TONES] + a * (t[TONES + 1] - t[TONES]);
        return low + b * (high - low);
    }
    // A pixel of the patch as it is pasted.
    Pixel fresh(const QuiltBlock& block, const float* from, int x, int y) const {
        const Pixel colour = simd::load<Pixel>(from + 4 * x);
        return m_toned ? simd::larger(colour + tone(block, x, y), Pixel{}) : colour;
    }

    bool anything_empty() const {
        for (int y = m_bottom; y < m_top; ++y)
            if (std::find(state(y) + m_left, state(y) + m_right, QUILT_EMPTY) != state(y) + m_right) return true;
        return false;
    }

    void copy_cell(const QuiltBlock& block, const QuiltPlace& place) const {
        const QuiltGrid grid = quilt_grid(m_task);
        const int left = grid.left(block.i, block.j), bottom = grid.bottom(block.j);
        for (int y = std::max(m_bottom, bottom); y < std::min(m_top, bottom + grid.step_y); ++y) {
            const float* from = source(block, place, y);
            float* to = image_row<float>(m_task.canvas, y);
            for (int x = std::max(m_left, left); x < std::min(m_right, left + grid.step_x); ++x) {
                if (state(y)[x] == QUILT_FIXED) continue;
                simd::store(to + 4 * x, simd::load<Pixel>(from + 4 * x));
                state(y)[x] = QUILT_LOOSE;
            }
        }
    }

    // What was there stays along the patch's border where something lies behind it, the patch where nothing was there.
    void cut(const QuiltBlock& block, const QuiltPlace& place) {
        m_columns = (m_shape.width + m_side - 1) / m_side, m_rows = (m_shape.height + m_side - 1) / m_side;
        m_cut.begin(m_columns, m_rows);
        for (int v = 0; v < m_rows; ++v)
            for (int u = 0; u < m_columns; ++u) judge(block, place, u, v);
        m_cut.solve();
    }

    void judge(const QuiltBlock& block, const QuiltPlace& place, int u, int v) {
        const int left = std::max(block.x + u * m_side, m_left), bottom = std::max(block.y + v * m_side, m_bottom);
        const int right = std::min(block.x + (u + 1) * m_side, m_right);
        const int top = std::min(block.y + (v + 1) * m_side, m_top);
        if (left >= right || bottom >= top) return;  // beyond the canvas cuts cost nothing
        Pixel sum{};
        for (int y = bottom; y < top; ++y) {
            const float *from = source(block, place, y), *there = image_row<float>(m_task.canvas, y);
            for (int x = left; x < right; ++x) {
                if (state(y)[x] == QUILT_EMPTY) {
                    m_cut.role(u, v) = QuiltCut::REPLACED;
                    return;
                }
                Pixel lacking = quilt_colour(from + 4 * x) - quilt_colour(there + 4 * x);
                if (m_toned) lacking += tone(block, x, y);
                sum += simd::absolute(lacking);
            }
        }
        const float off = ((sum[0] + sum[1]) + sum[2]) / static_cast<float>((right - left) * (top - bottom));
        m_cut.cost(u, v) = 4.0F * off * off;  // squares: rather a long way around what differs than straight through it
        const int x = (left + right) / 2, y = (bottom + top) / 2;
        if ((u == 0 && made(left - 1, y)) || (u == m_columns - 1 && made(right, y)) ||
            (v == 0 && made(x, bottom - 1)) || (v == m_rows - 1 && made(x, top)))
            m_cut.role(u, v) = QuiltCut::KEPT;
    }
    bool made(int x, int y) const {
        return x >= 0 && y >= 0 && x < m_task.canvas->width && y < m_task.canvas->height && state(y)[x] != QUILT_EMPTY;
    }

    // How much of the patch is seen, from the cells' middles: a ramp of two pixels, wider where the cells of large
    // patches would show as steps.
    float share(const QuiltBlock& block, int x, int y) const {
        const auto side = static_cast<float>(m_side);
        const float fx = std::clamp((static_cast<float>(x - block.x) + 0.5F) / side - 0.5F, 0.0F, float(m_columns - 1));
        const float fy = std::clamp((static_cast<float>(y - block.y) + 0.5F) / side - 0.5F, 0.0F, float(m_rows - 1));
        const int u = static_cast<int>(fx), v = static_cast<int>(fy);
        const int right = std::min(u + 1, m_columns - 1), above = std::min(v + 1, m_rows - 1);
        const auto cell = [&](int column, int row) { return m_cut.replaced(column, row) ? 1.0F : 0.0F; };
        const float a = fx - static_cast<float>(u), b = fy - static_cast<float>(v);
        const float low = cell(u, v) + a * (cell(right, v) - cell(u, v));
        const float high = cell(u, above) + a * (cell(right, above) - cell(u, above));
        const float ramp = std::max(2.0F, 0.6F * side);
        return std::clamp(0.5F + (low + b * (high - low) - 0.5F) * std::max(side / ramp, 1.0F), 0.0F, 1.0F);
    }

    void paste(const QuiltBlock& block, const QuiltPlace& place) const {
        for (int y = m_bottom; y < m_top; ++y) {
            const float* from = source(block, place, y);
            float* to = image_row<float>(m_task.canvas, y);
            for (int x = m_left; x < m_right; ++x) {
                if (state(y)[x] == QUILT_FIXED) continue;
                const float part = state(y)[x] == QUILT_EMPTY ? 1.0F : share(block, x, y);
                const Pixel there = simd::load<Pixel>(to + 4 * x);
                if (part >= 1.0F)
                    simd::store(to + 4 * x, fresh(block, from, x, y));
                else if (part > 0.0F)
                    simd::store(to + 4 * x, there + part * (fresh(block, from, x, y) - there));
                state(y)[x] = QUILT_LOOSE;
            }
        }
    }

    const QuiltTask& m_task;
    const QuiltShape& m_shape;
    const QuiltSample& m_sample;
    QuiltSearch m_search;
    QuiltCut m_cut;
    static constexpr int TONES = 4;
    std::array<Pixel, std::size_t{TONES} * TONES> m_tones;
    bool m_toned = false;
    int m_side;  // pixels to a side of the cut's cells
    int m_columns = 0, m_rows = 0;
    int m_left = 0, m_right = 0, m_bottom = 0, m_top = 0;  // of the patch within the canvas
};

bool lay_all(const QuiltTask& task, const QuiltShape& shape, const QuiltSample& sample, const StopRequested& stop) {
    const Plan plan(task, shape, sample);
    const auto blocks = static_cast<std::int64_t>(std::max<std::size_t>(plan.size(), 1));
    const int places = static_cast<int>(std::clamp<std::int64_t>(ALL_PLACES / blocks, FEWEST_PLACES, MOST_PLACES));
    for (const std::vector<QuiltBlock>& batch : plan.batches()) {
        // Each patch counts as many rows, so that few large patches are spread over threads as well.
        constexpr int ROWS = 16;
        for_rows_float(static_cast<int>(batch.size()) * ROWS, [&](int first, int last) {
            const int begin = (first + ROWS - 1) / ROWS, end = last / ROWS;
            if (begin > end) return;
            Layer layer(task, shape, sample, places);
            for (int n = begin; n <= end && !wants_end(stop); ++n) layer.lay(batch[static_cast<std::size_t>(n)]);
        });
        if (wants_end(stop)) return false;
    }
    return true;
}

}  // namespace

QuiltGrid quilt_grid(const QuiltTask& task) {
    const QuiltShape shape(task);
    return {shape.width - shape.overlap_x, shape.height - shape.overlap_y, task.bond};
}

bool image_quilt_has_room(const QuiltTask& task) {
    if (!holds_together(task)) return false;
    return in_memory([&] {
        QuiltSample sample;
        return sample.has_room(task, QuiltShape(task));
    });
}

bool image_quilt(const QuiltTask& task, const StopRequested& stop) {
    if (!holds_together(task)) return false;
    return in_memory([&] {
        const QuiltShape shape(task);
        QuiltSample sample;
        if (!sample.has_room(task, shape) || !sample.make(task, shape) || wants_end(stop)) return false;
        return lay_all(task, shape, sample, stop);
    });
}
