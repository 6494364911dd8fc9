#include "imagelib/imagelib_complete.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "imagelib/quilt_sample.h"
#include "k7pi_baselib/in_memory.h"

namespace {

using simd::Pixel;

constexpr int REACH = 3;      // of a patch from its middle
constexpr int SMALLEST = 10;  // pixels of a hole's box at the coarsest level
constexpr int ROUNDS = 7;     // of matching and filling on a level
constexpr int SEARCHES = 4;   // of a round

enum Kind : std::uint8_t { SOURCE = 0, HOLE = 1, KNOWN = 2 };

struct Place {
    int x, y;
};

struct Level {
    int width, height;
    std::vector<Pixel> colours;
    std::vector<std::uint8_t> kinds;
    std::vector<std::uint8_t> middles;  // of patches that may be taken
    std::vector<Place> targets;         // middles of patches that touch the hole
    std::vector<int> target_at;         // -1: none
    std::vector<int> depth;             // into the hole, in pixels
    std::vector<Place> sources;         // all middles, in order

    std::size_t at(int x, int y) const { return std::size_t(y) * std::size_t(width) + std::size_t(x); }
    bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }

    Level(int w, int h) : width(w), height(h), colours(std::size_t(w) * std::size_t(h)), kinds(colours.size()) {}
    void prepare();
};

void Level::prepare() {
    middles.assign(kinds.size(), 0);
    target_at.assign(kinds.size(), -1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            bool touches = false, whole = true;
            for (int v = -REACH; v <= REACH; ++v)
                for (int u = -REACH; u <= REACH; ++u) {
                    const bool in = inside(x + u, y + v);
                    const std::uint8_t kind = in ? kinds[at(x + u, y + v)] : std::uint8_t{KNOWN};
                    touches = touches || (in && kind == HOLE);
                    whole = whole && kind == SOURCE;
                }
            if (whole) middles[at(x, y)] = 1, sources.push_back({x, y});
            if (touches) target_at[at(x, y)] = static_cast<int>(targets.size()), targets.push_back({x, y});
        }
    // Rings from the border inwards.
    depth.assign(kinds.size(), 0);
    std::vector<Place> ring;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (kinds[at(x, y)] != HOLE)
                ring.push_back({x, y});
            else
                depth[at(x, y)] = -1;
    for (std::size_t head = 0; head < ring.size(); ++head)
        for (const auto& [u, v] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
            const int x = ring[head].x + u, y = ring[head].y + v;
            if (!inside(x, y) || depth[at(x, y)] >= 0) continue;
            depth[at(x, y)] = depth[at(ring[head].x, ring[head].y)] + 1;
            ring.push_back({x, y});
        }
}

// Half the size; a cell is hole where any of its pixels is.
Level halved(const Level& from) {
    Level to((from.width + 1) / 2, (from.height + 1) / 2);
    for (int y = 0; y < to.height; ++y)
        for (int x = 0; x < to.width; ++x) {
            Pixel sum{};
            float count = 0;
            std::uint8_t kind = SOURCE;
            for (int v = 0; v < 2; ++v)
                for (int u = 0; u < 2; ++u) {
                    if (!from.inside(2 * x + u, 2 * y + v)) continue;
                    const std::uint8_t one = from.kinds[from.at(2 * x + u, 2 * y + v)];
                    if (kind != HOLE && one != SOURCE) kind = one;
                    if (one == HOLE) continue;
                    sum += from.colours[from.at(2 * x + u, 2 * y + v)], count += 1.0F;
                }
            to.colours[to.at(x, y)] = count > 0 ? sum / count : sum;
            to.kinds[to.at(x, y)] = kind;
        }
    return to;
}

// From the border inwards, each pixel the mean of what is nearer to the border.
void diffuse(Level& level) {
    int deepest = 0;
    for (const int d : level.depth) deepest = std::max(deepest, d);
    for (int ring = 1; ring <= deepest; ++ring)
        for (int y = 0; y < level.height; ++y)
            for (int x = 0; x < level.width; ++x) {
                if (level.depth[level.at(x, y)] != ring) continue;
                Pixel sum{};
                float count = 0;
                for (int v = -2; v <= 2; ++v)
                    for (int u = -2; u <= 2; ++u) {
                        if (!level.inside(x + u, y + v) || level.depth[level.at(x + u, y + v)] >= ring) continue;
                        sum += level.colours[level.at(x + u, y + v)], count += 1.0F;
                    }
                if (count > 0) level.colours[level.at(x, y)] = sum / count;
            }
}

class Completion {
  public:
    Completion(Level& level, std::uint32_t seed) : m_level(level), m_seed(seed) {
        m_matches.resize(level.targets.size());
        m_costs.resize(level.targets.size());
    }

    // From the matches of the level of half the size, or by chance.
    void begin(const Level* coarse, const std::vector<Place>* matches) {
        for (std::size_t n = 0; n < m_level.targets.size(); ++n) {
            const Place target = m_level.targets[n];
            const std::uint32_t hash = quilt_hash(m_seed, static_cast<std::uint32_t>(n));
            m_matches[n] = m_level.sources[std::size_t(quilt_pick(hash, int(m_level.sources.size())))];
            if (!coarse) continue;
            const int known = coarse->target_at[coarse->at(target.x / 2, target.y / 2)];
            if (known < 0) continue;
            const Place from = (*matches)[std::size_t(known)];
            const Place here{2 * from.x + (target.x & 1), 2 * from.y + (target.y & 1)};
            if (m_level.inside(here.x, here.y) && m_level.middles[m_level.at(here.x, here.y)] != 0) m_matches[n] = here;
        }
        if (coarse) {
            std::fill(m_costs.begin(), m_costs.end(), 0.0F);
            fill();
        }
    }

    bool run(const StopRequested& stop) {
        for (int round = 0; round < ROUNDS; ++round) {
            measure();
            for (int n = 0; n < SEARCHES; ++n) {
                if (wants_end(stop)) return false;
                search(static_cast<std::uint32_t>(round * SEARCHES + n));
            }
            fill();
        }
        return true;
    }
    const std::vector<Place>& matches() const { return m_matches; }

  private:
    // Mean squared difference of two patches; something above the limit where it is above the limit.
    float cost(const Place& target, const Place& source, float limit) const {
        Pixel sum{};
        float count = 0;
        for (int v = -REACH; v <= REACH; ++v) {
            if (target.y + v < 0 || target.y + v >= m_level.height) continue;
            for (int u = -REACH; u <= REACH; ++u) {
                if (target.x + u < 0 || target.x + u >= m_level.width) continue;
                const std::size_t at = m_level.at(target.x + u, target.y + v);
                const Pixel d = m_level.colours[at] - m_level.colours[m_level.at(source.x + u, source.y + v)];
                // What is known counts more than what was only filled in.
                const float weight = m_level.kinds[at] == HOLE ? 1.0F : 3.0F;
                sum += weight * (d * d), count += weight;
            }
            if ((sum[0] + sum[1]) + sum[2] > limit * (3.0F * (2 * REACH + 1) * (2 * REACH + 1))) return INFINITY;
        }
        return ((sum[0] + sum[1]) + sum[2]) / count;
    }

    void measure() {
        for_targets([&](std::size_t n) { m_costs[n] = cost(m_level.targets[n], m_matches[n], INFINITY); });
    }

    // Each target looks at the matches of its neighbours, as they were before, and around its own.
    void search(std::uint32_t round) {
        const std::vector<Place> before = m_matches;
        const int far = 1 + 2 * static_cast<int>(round % 4);
        for_targets([&](std::size_t n) {
            const Place target = m_level.targets[n];
            const auto look_at = [&](int x, int y) {
                if (!m_level.inside(x, y) || m_level.middles[m_level.at(x, y)] == 0) return;
                const float found = cost(target, {x, y}, m_costs[n]);
                if (found < m_costs[n]) m_costs[n] = found, m_matches[n] = {x, y};
            };
            for (const auto& [u, v] :
                 {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {far, 0}, {-far, 0}, {0, far}, {0, -far}}) {
                if (!m_level.inside(target.x + u, target.y + v)) continue;
                const int other = m_level.target_at[m_level.at(target.x + u, target.y + v)];
                if (other >= 0) look_at(before[std::size_t(other)].x - u, before[std::size_t(other)].y - v);
            }
            std::uint32_t hash = quilt_hash(m_seed + round, static_cast<std::uint32_t>(n));
            for (int span = std::max(m_level.width, m_level.height); span > 1; span /= 3) {
                hash = quilt_hash(hash, 1);
                const int x = m_matches[n].x - span + quilt_pick(hash, 2 * span + 1);
                hash = quilt_hash(hash, 2);
                look_at(x, m_matches[n].y - span + quilt_pick(hash, 2 * span + 1));
            }
        });
    }

    // Each pixel of the hole becomes the mean of what all patches over it say, good ones and those nearer to the
    // border first.
    void fill() {
        std::vector<float> ordered = m_costs;
        if (ordered.empty()) return;
        const auto middle = ordered.begin() + static_cast<std::ptrdiff_t>(ordered.size() / 2);
        std::nth_element(ordered.begin(), middle, ordered.end());
        const float usual = std::max(0.5F * *middle, 1e-6F);
        std::vector<Pixel> filled = m_level.colours;
        for_targets([&](std::size_t n) {
            const Place pixel = m_level.targets[n];
            if (m_level.kinds[m_level.at(pixel.x, pixel.y)] != HOLE) return;
            Pixel sum{};
            float weights = 0;
            for (int v = -REACH; v <= REACH; ++v)
                for (int u = -REACH; u <= REACH; ++u) {
                    if (!m_level.inside(pixel.x + u, pixel.y + v)) continue;
                    const int other = m_level.target_at[m_level.at(pixel.x + u, pixel.y + v)];
                    if (other < 0) continue;
                    const Place from = m_matches[std::size_t(other)];
                    const float ratio = 1.0F + m_costs[std::size_t(other)] / usual;
                    const auto d = static_cast<float>(1 + m_level.depth[m_level.at(pixel.x + u, pixel.y + v)]);
                    const float weight = 1.0F / (ratio * ratio * ratio * d);
                    sum += weight * m_level.colours[m_level.at(from.x - u, from.y - v)];
                    weights += weight;
                }
            if (weights > 0) filled[m_level.at(pixel.x, pixel.y)] = sum / weights;
        });
        m_level.colours.swap(filled);
    }

    template <class Work>
    void for_targets(const Work& work) {
        for_rows_float(static_cast<int>(m_level.targets.size()), [&](int first, int last) {
            for (int n = first; n <= last; ++n) work(std::size_t(n));
        });
    }

    Level& m_level;
    const std::uint32_t m_seed;
    std::vector<Place> m_matches;
    std::vector<float> m_costs;
};

bool coarse_enough(const Level& level) {
    int left = level.width, right = 0, bottom = level.height, top = 0;
    for (int y = 0; y < level.height; ++y)
        for (int x = 0; x < level.width; ++x)
            if (level.kinds[level.at(x, y)] == HOLE)
                left = std::min(left, x), right = std::max(right, x), bottom = std::min(bottom, y), top = y;
    return std::max(right - left, top - bottom) < SMALLEST || std::min(level.width, level.height) < 8 * REACH;
}

bool complete(K7Image* picture, const K7Image* hole, std::uint32_t seed, const StopRequested& stop) {
    std::vector<Level> levels;
    levels.reserve(17);
    levels.emplace_back(picture->width, picture->height);
    for (int y = 0; y < picture->height; ++y)
        for (int x = 0; x < picture->width; ++x) {
            levels[0].colours[levels[0].at(x, y)] = quilt_colour(image_row<float>(picture, y) + 4 * x);
            levels[0].kinds[levels[0].at(x, y)] = std::min<std::uint8_t>(image_row<std::uint8_t>(hole, y)[x], KNOWN);
        }
    while (!coarse_enough(levels.back()) && levels.size() < 16) levels.push_back(halved(levels.back()));
    for (Level& level : levels) level.prepare();
    while (levels.size() > 1 && levels.back().sources.size() < 40) levels.pop_back();
    if (levels.back().sources.empty()) return false;
    diffuse(levels.back());
    std::vector<Place> matches;
    for (std::size_t n = levels.size(); n-- > 0;) {
        Completion completion(levels[n], seed);
        const bool first = n + 1 == levels.size();
        completion.begin(first ? nullptr : &levels[n + 1], first ? nullptr : &matches);
        if (!completion.run(stop)) return false;
        matches = completion.matches();
    }
    for (int y = 0; y < picture->height; ++y)
        for (int x = 0; x < picture->width; ++x) {
            if (levels[0].kinds[levels[0].at(x, y)] != HOLE) continue;
            float* p = image_row<float>(picture, y) + 4 * x;
            for (int c = 0; c < 3; ++c) p[c] = levels[0].colours[levels[0].at(x, y)][c];
        }
    return true;
}

}  // namespace

bool image_complete(K7Image* picture, const K7Image* hole, std::uint32_t seed, const StopRequested& stop) {
    if (!picture || !hole || picture->channels != 4 || picture->sample_type != SAMPLE_F32 || hole->channels != 1 ||
        hole->sample_type != SAMPLE_U8 || hole->width != picture->width || hole->height != picture->height)
        return false;
    return in_memory([&] { return complete(picture, hole, seed, stop); });
}
