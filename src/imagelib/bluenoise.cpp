#include <algorithm>
#include <climits>
#include <cmath>

#include "imagelib/imagelib_bluenoise.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"

namespace {

// ---- Void and cluster ---------------------------------------------------------------------------------------------

constexpr int SIDE = BlueNoiseTile::SIDE, PIXELS = BlueNoiseTile::PIXELS;

// Each pixel's energy is the sum of a Gaussian over the pixels that are set; in whole numbers, so that what was added
// can be taken off again. The extremes of each row are kept.
class VoidAndCluster {
  public:
    VoidAndCluster() {
        for (int dy = -REACH; dy <= REACH; ++dy)
            for (int dx = -REACH; dx <= REACH; ++dx)
                m_gaussian[dy + REACH][dx + REACH] =
                    static_cast<int>(UNIT * k7_exp(-(dx * dx + dy * dy) / (2 * 1.5 * 1.5)) + 0.5);
        for (int y = 0; y < SIDE; ++y) find_extremes(y);
    }

    void rank_all(std::uint16_t* ranks) {
        scatter();
        const int first_count = m_count;
        bool first_pattern[PIXELS];
        std::copy_n(m_set, PIXELS, first_pattern);
        while (m_count > 0) {  // the first pattern loses its tightest clusters one by one
            const int place = tightest_cluster();
            flip(place);
            ranks[place] = static_cast<std::uint16_t>(m_count);
        }
        for (int i = 0; i < PIXELS; ++i)
            if (first_pattern[i]) flip(i);
        for (int rank = first_count; rank < PIXELS; ++rank) {
            const int place = largest_void();
            flip(place);
            ranks[place] = static_cast<std::uint16_t>(rank);
        }
    }

  private:
    static constexpr int REACH = 8;
    static constexpr double UNIT = 1 << 20;

    // A tenth of the pixels at random; then the tightest cluster goes into the largest void until that changes nothing.
    void scatter() {
        MTRandom random(1993);
        while (m_count < PIXELS / 10) {
            const int place = static_cast<int>(random.next_uint32() % PIXELS);
            if (!m_set[place]) flip(place);
        }
        for (int i = 0; i < PIXELS; ++i) {
            const int cluster = tightest_cluster();
            flip(cluster);
            const int gap = largest_void();
            flip(gap);
            if (gap == cluster) return;
        }
    }

    void flip(int place) {
        const int x = place % SIDE, y = place / SIDE, sign = m_set[place] ? -1 : 1;
        m_set[place] = !m_set[place];
        m_count += sign;
        for (int dy = -REACH; dy <= REACH; ++dy) {
            const int row = (y + dy) & (SIDE - 1);
            for (int dx = -REACH; dx <= REACH; ++dx)
                m_energy[row * SIDE + ((x + dx) & (SIDE - 1))] += sign * m_gaussian[dy + REACH][dx + REACH];
            find_extremes(row);
        }
    }
    void find_extremes(int y) {
        int least = INT_MAX, most = -1;
        for (int i = y * SIDE; i < (y + 1) * SIDE; ++i) {
            least = std::min(least, m_set[i] ? INT_MAX : m_energy[i]);
            most = std::max(most, m_set[i] ? m_energy[i] : -1);
        }
        m_least[y] = least, m_most[y] = most;
    }
    int largest_void() const {
        const int y = static_cast<int>(std::min_element(m_least, m_least + SIDE) - m_least);
        for (int i = y * SIDE;; ++i)
            if (!m_set[i] && m_energy[i] == m_least[y]) return i;
    }
    int tightest_cluster() const {
        const int y = static_cast<int>(std::max_element(m_most, m_most + SIDE) - m_most);
        for (int i = y * SIDE;; ++i)
            if (m_set[i] && m_energy[i] == m_most[y]) return i;
    }

    int m_gaussian[2 * REACH + 1][2 * REACH + 1];
    int m_energy[PIXELS]{};
    bool m_set[PIXELS]{};
    int m_least[SIDE], m_most[SIDE];
    int m_count = 0;
};

BlueNoiseTile make_tile() {
    BlueNoiseTile tile;
    VoidAndCluster().rank_all(tile.ranks);
    return tile;
}

// ---- Poisson discs ------------------------------------------------------------------------------------------------

// A grid of cells that hold one point at most.
class PointGrid {
  public:
    PointGrid(float width, float height, float apart, std::vector<PoissonPoint>& points)
        : m_width(width),
          m_height(height),
          m_apart(apart),
          m_scale(std::sqrt(2.0f) / apart),
          m_points(points),
          m_columns(static_cast<int>(width * m_scale) + 1),
          m_rows(static_cast<int>(height * m_scale) + 1),
          m_cells(std::size_t(m_columns) * std::size_t(m_rows), -1) {}

    bool holds(PoissonPoint p) const { return p.x >= 0 && p.y >= 0 && p.x < m_width && p.y < m_height; }
    bool add(PoissonPoint p) {
        const int x = static_cast<int>(p.x * m_scale), y = static_cast<int>(p.y * m_scale);
        for (int v = std::max(y - 2, 0); v <= std::min(y + 2, m_rows - 1); ++v)
            for (int u = std::max(x - 2, 0); u <= std::min(x + 2, m_columns - 1); ++u) {
                const int other = m_cells[place(u, v)];
                if (other < 0) continue;
                const PoissonPoint& q = m_points[std::size_t(other)];
                if ((p.x - q.x) * (p.x - q.x) + (p.y - q.y) * (p.y - q.y) < m_apart * m_apart) return false;
            }
        m_cells[place(x, y)] = static_cast<int>(m_points.size());
        m_points.push_back(p);
        return true;
    }

  private:
    std::size_t place(int x, int y) const { return std::size_t(y) * std::size_t(m_columns) + std::size_t(x); }

    float m_width, m_height, m_apart, m_scale;
    std::vector<PoissonPoint>& m_points;
    int m_columns, m_rows;
    std::vector<int> m_cells;
};

void grow_points(float width, float height, float apart, std::uint32_t seed, std::vector<PoissonPoint>& points) {
    constexpr int TRIES = 30, MOST_TRIES = 300;  // inside of the rectangle, and in all
    constexpr double TURN = 6.283185307179586;
    MTRandom random(seed);
    PointGrid grid(width, height, apart, points);
    const auto below = [](double unit, float size) { return std::min(float(unit) * size, std::nextafter(size, 0.0f)); };
    const float x = below(random.next_double(), width), y = below(random.next_double(), height);
    grid.add({x, y});
    std::vector<int> active{0};
    while (!active.empty()) {
        const std::size_t drawn = random.next_uint32() % active.size();
        const PoissonPoint from = points[std::size_t(active[drawn])];
        bool grew = false;
        for (int tried = 0, drawn_in_all = 0; tried < TRIES && drawn_in_all < MOST_TRIES && !grew; ++drawn_in_all) {
            // Evenly over the ring from apart to twice that
            const double radius = double(apart) * std::sqrt(1 + 3 * random.next_double());
            const K7SineCosine angle = k7_sine_cosine(TURN * random.next_double());
            const PoissonPoint p{from.x + float(radius * angle.cosine), from.y + float(radius * angle.sine)};
            if (!grid.holds(p)) continue;
            ++tried;
            grew = grid.add(p);
        }
        if (grew) {
            active.push_back(static_cast<int>(points.size()) - 1);
        } else {
            active[drawn] = active.back();
            active.pop_back();
        }
    }
}

}  // namespace

const BlueNoiseTile& blue_noise_tile() {
    static const BlueNoiseTile tile = make_tile();
    return tile;
}

bool poisson_points(float width, float height, float apart, std::uint32_t seed, std::vector<PoissonPoint>& points) {
    points.clear();
    if (!(width > 0 && height > 0 && apart > 0) || !std::isfinite(apart)) return false;
    if (!(double(width) * double(height) * 2 / (double(apart) * double(apart)) <= 0x1p22)) return false;
    if (!(std::max(width, height) <= 0x1p20f * apart)) return false;
    return in_memory([&] { grow_points(width, height, apart, seed, points); });
}
