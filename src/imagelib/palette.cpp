// k-means on a histogram. Counts and sums of the histogram are integers, all else runs on one thread in a fixed order.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "imagelib/imagelib_palette.h"
#include "imagelib/palette_simd.h"
#include "imagelib/samples.h"
#include "k7pi_baselib/in_memory.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr int PIXELS_READ = 250000;
constexpr int L_BINS = 64, AB_BINS = 48;
constexpr float AB_REACH = 0.4f, L_REACH = 1.25f;  // what lies beyond is counted at the end
constexpr double FIXED = 65536;                    // units of the sums
constexpr int STARTS = 4;                          // the best one counts
constexpr int MOST_ROUNDS = 40;
constexpr double SETTLED = 1e-5;  // a round that gains less of the error is the last

struct Points {
    std::vector<float> laba;  // four floats each
    std::vector<double> weights;
    std::size_t count() const { return weights.size(); }
    const float* at(std::size_t i) const { return laba.data() + 4 * i; }
};

struct Bin {
    std::uint64_t weight = 0;
    std::int64_t l = 0, a = 0, b = 0;
};

int bin_of(float v, float low, float reach, int bins) {
    return static_cast<int>(limit_to((v - low) / reach, 0.0f, 0.99999f) * static_cast<float>(bins));
}

void count_pixel(const float* laba, std::vector<Bin>& bins) {
    const float l = limit_to(laba[0], 0.0f, L_REACH), a = limit_to(laba[1], -AB_REACH, AB_REACH),
                b = limit_to(laba[2], -AB_REACH, AB_REACH);
    const auto weight = static_cast<std::int64_t>(limit_to(laba[3], 0.0f, 1.0f) * 255.0f + 0.5f);
    const int place =
        (bin_of(l, 0, L_REACH, L_BINS) * AB_BINS + bin_of(a, -AB_REACH, 2 * AB_REACH, AB_BINS)) * AB_BINS +
        bin_of(b, -AB_REACH, 2 * AB_REACH, AB_BINS);
    Bin& bin = bins[static_cast<std::size_t>(place)];
    const auto fixed = [](float v) { return static_cast<std::int64_t>(std::floor(double(v) * FIXED + 0.5)); };
    bin.weight += static_cast<std::uint64_t>(weight);
    bin.l += weight * fixed(l), bin.a += weight * fixed(a), bin.b += weight * fixed(b);
}

Points points_of(const K7Image& oklab) {
    std::vector<Bin> bins(std::size_t(L_BINS) * AB_BINS * AB_BINS);
    const double pixels = double(oklab.width) * oklab.height;
    const int step = std::max(1, static_cast<int>(std::ceil(std::sqrt(pixels / PIXELS_READ))));
    for (int y = std::min(step / 2, oklab.height - 1); y < oklab.height; y += step)
        for (int x = std::min(step / 2, oklab.width - 1); x < oklab.width; x += step)
            count_pixel(image_row<float>(&oklab, y) + 4L * x, bins);
    Points points;
    for (const Bin& bin : bins) {
        if (bin.weight == 0) continue;
        const double scale = 1 / (FIXED * double(bin.weight));
        for (const std::int64_t sum : {bin.l, bin.a, bin.b}) points.laba.push_back(float(double(sum) * scale));
        points.laba.push_back(1);
        points.weights.push_back(double(bin.weight));
    }
    return points;
}

void set_colour(Palette& palette, int i, const float* laba) {
    palette.l[i] = laba[0], palette.a[i] = laba[1], palette.b[i] = laba[2];
}

// One colour after another, each a point drawn with a chance that goes with its weighted squared distance from those
// there are.
void draw_start(const Points& points, int count, MTRandom& random, Palette& palette) {
    std::vector<double> distances(points.count(), 1.0);
    palette.count = 0;
    while (palette.count < count) {
        double total = 0;
        for (std::size_t i = 0; i < points.count(); ++i) total += points.weights[i] * distances[i];
        if (!(total > 0)) return;
        double left = random.next_double() * total;
        std::size_t drawn = 0;
        for (std::size_t i = 0; i < points.count(); ++i) {
            if (distances[i] == 0) continue;
            drawn = i;
            left -= points.weights[i] * distances[i];
            if (left <= 0) break;
        }
        const float* const colour = points.at(drawn);
        const bool first = palette.count == 0;
        set_colour(palette, palette.count++, colour);
        for (std::size_t i = 0; i < points.count(); ++i) {
            const float* p = points.at(i);
            const double l = double(p[0] - colour[0]), a = double(p[1] - colour[1]), b = double(p[2] - colour[2]);
            const double distance = l * l + a * a + b * b;
            distances[i] = first ? distance : std::min(distances[i], distance);
        }
    }
}

// Clusters of points, cut in two again and again: always the one with the largest error, through its mean and across
// the axis along which it is longest (after M. Orchard and C. Bouman, "Color quantization of images", 1991). All that
// decides are sums over many points, so that grain changes little.
class Splitter {
  public:
    explicit Splitter(const Points& points) : m_points(points), m_owner(points.count(), 0) {
        m_clusters.push_back(measured(0));
    }

    // From the second seed on, other clusters may come first.
    void split(int count, std::uint32_t seed, Palette& palette) {
        MTRandom random(seed);
        while (static_cast<int>(m_clusters.size()) < count && cut_largest()) {
            const double favour = seed > 1 ? 0.6 + 0.8 * random.next_double() : 1.0;
            m_clusters.back().favour = favour;
        }
        palette.count = 0;
        for (const Cluster& cluster : m_clusters) {
            const float mean[] = {float(cluster.mean[0]), float(cluster.mean[1]), float(cluster.mean[2])};
            set_colour(palette, palette.count++, mean);
        }
    }

  private:
    struct Cluster {
        double mean[3], axis[3];
        double error = 0, favour = 1;
    };

    Cluster measured(std::uint32_t which) const {
        Cluster cluster{};
        double weight = 0, moments[3][3] = {};
        for_points(which, [&](const float* p, double w) {
            weight += w;
            for (int i = 0; i < 3; ++i) cluster.mean[i] += w * double(p[i]);
        });
        for (double& m : cluster.mean) m /= weight;
        for_points(which, [&](const float* p, double w) {
            double off[3];
            for (int i = 0; i < 3; ++i) off[i] = double(p[i]) - cluster.mean[i];
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) moments[i][j] += w * off[i] * off[j];
        });
        cluster.error = moments[0][0] + moments[1][1] + moments[2][2];
        find_axis(moments, cluster);
        return cluster;
    }
    // The longest axis, by repeated multiplication.
    static void find_axis(const double (&moments)[3][3], Cluster& cluster) {
        constexpr int ROUNDS = 32;
        int longest = 0;
        for (int i = 1; i < 3; ++i)
            if (moments[i][i] > moments[longest][longest]) longest = i;
        std::copy_n(moments[longest], 3, cluster.axis);
        for (int round = 0; round < ROUNDS; ++round) {
            double next[3], square = 0;
            for (int i = 0; i < 3; ++i) {
                next[i] =
                    moments[i][0] * cluster.axis[0] + moments[i][1] * cluster.axis[1] + moments[i][2] * cluster.axis[2];
                square += next[i] * next[i];
            }
            if (!(square > 0)) return;
            for (int i = 0; i < 3; ++i) cluster.axis[i] = next[i] / std::sqrt(square);
        }
    }
    bool cut_largest() {
        constexpr double LEAST = 1e-12;  // of the error
        std::size_t largest = 0;
        const auto rank = [&](std::size_t i) { return m_clusters[i].error * m_clusters[i].favour; };
        for (std::size_t i = 1; i < m_clusters.size(); ++i)
            if (rank(i) > rank(largest)) largest = i;
        if (!(m_clusters[largest].error > LEAST)) return false;
        const Cluster cut = m_clusters[largest];
        const auto from = static_cast<std::uint32_t>(largest), to = static_cast<std::uint32_t>(m_clusters.size());
        std::size_t moved = 0, kept = 0;
        for (std::size_t i = 0; i < m_owner.size(); ++i) {
            if (m_owner[i] != from) continue;
            const float* p = m_points.at(i);
            double along = 0;
            for (int k = 0; k < 3; ++k) along += (double(p[k]) - cut.mean[k]) * cut.axis[k];
            along > 0 ? (m_owner[i] = to, ++moved) : ++kept;
        }
        if (moved == 0 || kept == 0) {  // equal colours but for rounding
            for (std::uint32_t& owner : m_owner)
                if (owner == to) owner = from;
            m_clusters[largest].error = 0;
            return true;
        }
        m_clusters[largest] = measured(from);
        m_clusters[largest].favour = cut.favour;
        m_clusters.push_back(measured(to));
        return true;
    }
    template <class Visit>
    void for_points(std::uint32_t which, Visit&& visit) const {
        for (std::size_t i = 0; i < m_owner.size(); ++i)
            if (m_owner[i] == which) visit(m_points.at(i), m_points.weights[i]);
    }

    const Points& m_points;
    std::vector<std::uint32_t> m_owner;
    std::vector<Cluster> m_clusters;
};

class Lloyd {
  public:
    explicit Lloyd(const Points& points) : m_points(points), m_labels(points.count()), m_distances(points.count()) {}

    // Moves the palette to an optimum; the error there.
    double settle(Palette& palette) {
        double error = assign(palette);
        for (int round = 0; round < MOST_ROUNDS; ++round) {
            move(palette);
            const double now = assign(palette);
            const bool settled = error - now <= SETTLED * error;
            error = now;
            if (settled) break;
        }
        return error;
    }

  private:
    double assign(const Palette& palette) {
        palette_kernels().nearest(m_points.laba.data(), static_cast<int>(m_points.count()), palette.l, palette.a,
                                  palette.b, palette.count, m_labels.data(), m_distances.data());
        double error = 0;
        for (std::size_t i = 0; i < m_points.count(); ++i) error += m_points.weights[i] * double(m_distances[i]);
        return error;
    }
    // Each colour to the mean of its points; one without points to the point that is represented worst.
    void move(Palette& palette) {
        struct Sum {
            double weight = 0, l = 0, a = 0, b = 0;
        };
        std::vector<Sum> sums(static_cast<std::size_t>(palette.count));
        double total = 0;
        for (std::size_t i = 0; i < m_points.count(); ++i) {
            const double weight = m_points.weights[i];
            const float* p = m_points.at(i);
            Sum& sum = sums[m_labels[i]];
            sum.weight += weight, sum.l += weight * double(p[0]);
            sum.a += weight * double(p[1]), sum.b += weight * double(p[2]);
            total += weight;
        }
        for (int i = 0; i < palette.count; ++i) {
            const Sum& sum = sums[static_cast<std::size_t>(i)];
            palette.share[i] = static_cast<float>(sum.weight / total);
            if (sum.weight > 0) {
                const float mean[] = {float(sum.l / sum.weight), float(sum.a / sum.weight), float(sum.b / sum.weight)};
                set_colour(palette, i, mean);
            } else {
                set_colour(palette, i, m_points.at(take_worst()));
            }
        }
    }
    std::size_t take_worst() {
        std::size_t worst = 0;
        double most = -1;
        for (std::size_t i = 0; i < m_points.count(); ++i) {
            const double error = m_points.weights[i] * double(m_distances[i]);
            if (error > most) worst = i, most = error;
        }
        m_distances[worst] = 0;
        return worst;
    }

    const Points& m_points;
    std::vector<std::uint32_t> m_labels;
    std::vector<float> m_distances;
};

Palette by_lightness(const Palette& palette) {
    int order[PALETTE_MOST];
    std::iota(order, order + palette.count, 0);
    std::sort(order, order + palette.count, [&](int i, int j) {
        if (palette.l[i] != palette.l[j]) return palette.l[i] < palette.l[j];
        if (palette.a[i] != palette.a[j]) return palette.a[i] < palette.a[j];
        return palette.b[i] != palette.b[j] ? palette.b[i] < palette.b[j] : i < j;
    });
    Palette sorted;
    sorted.count = palette.count;
    for (int i = 0; i < palette.count; ++i) {
        const int from = order[i];
        sorted.l[i] = palette.l[from], sorted.a[i] = palette.a[from], sorted.b[i] = palette.b[from];
        sorted.share[i] = palette.share[from];
    }
    return sorted;
}

Palette best_palette(const Points& points, int count, std::uint32_t seed, const Palette* start) {
    Lloyd lloyd(points);
    Palette best;
    if (start) {
        best = *start;
        lloyd.settle(best);
        return by_lightness(best);
    }
    MTRandom random(seed);
    double least = 0;
    for (int i = 0; i < STARTS; ++i) {
        Palette palette;
        draw_start(points, count, random, palette);
        const double error = lloyd.settle(palette);
        if (i == 0 || error < least) best = palette, least = error;
    }
    return by_lightness(best);
}

}  // namespace

bool image_palette(const K7Image* oklab, int count, std::uint32_t seed, Palette& palette, const Palette* start) {
    if (!is_float_rgba(oklab) || count < 1 || count > PALETTE_MOST) return false;
    if (start && (start->count < 1 || start->count > PALETTE_MOST)) return false;
    return in_memory([&] {
        const Points points = points_of(*oklab);
        palette = points.count() ? best_palette(points, count, seed, start) : Palette{};
    });
}

bool image_steady_palette(const K7Image* oklab, int count, std::uint32_t seed, Palette& palette) {
    if (!is_float_rgba(oklab) || count < 1 || count > PALETTE_MOST) return false;
    return in_memory([&] {
        palette = {};
        const Points points = points_of(*oklab);
        if (points.count() == 0) return;
        Splitter(points).split(count, seed, palette);
        Lloyd(points).settle(palette);
        palette = by_lightness(palette);
    });
}
