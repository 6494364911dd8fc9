#include <algorithm>
#include <atomic>
#include <cmath>
#include <vector>

#include "imagelib/imagelib_voronoi.h"
#include "imagelib/samples.h"
#include "imagelib/voronoi_simd.h"
#include "k7pi_baselib/in_memory.h"

namespace {

constexpr float REACH = 1.25f;    // times the mean spacing: how far sites are compared at first
constexpr int BAND = 8;           // rows that share a list of sites
constexpr float FARTHEST = 1e6f;  // of any site

bool usable(const VoronoiSite& site) {
    const auto within = [](float v, float most) { return v >= -most && v <= most; };
    return within(site.x, FARTHEST) && within(site.y, FARTHEST) && within(site.ux, 1.5f) && within(site.uy, 1.5f);
}

// A row is right when no pixel's best site is beyond the reach. Rows that are not are done again with twice the reach.
class Cells {
  public:
    Cells(std::span<const VoronoiSite> sites, VoronoiMetric metric, int width, int height, float pixel_aspect)
        : m_sites(sites),
          m_square(metric == VoronoiMetric::SQUARE),
          m_width(width),
          m_height(height),
          m_row_height(1 / pixel_aspect) {
        const double area = double(width) * height * double(m_row_height);
        m_reach = std::max(REACH * static_cast<float>(std::sqrt(area / double(sites.size()))), 1.0f);
        m_bands.resize(std::size_t((height + BAND - 1) / BAND));
        for (std::size_t i = 0; i < sites.size(); ++i) {
            const float rows = extent(sites[i], m_reach) / m_row_height;
            const int first = band_of(sites[i].y - rows), last = band_of(sites[i].y + rows);
            for (int band = std::max(first, 0); band <= std::min(last, int(m_bands.size()) - 1); ++band)
                m_bands[std::size_t(band)].push_back(static_cast<std::uint32_t>(i));
        }
    }

    // Distances as the metric has them: squared where cells are round.
    void row(int y, const VoronoiRow& to) const {
        float reach = m_reach;
        clear(to);
        for (const std::uint32_t i : m_bands[std::size_t(y / BAND)]) compare(i, y, reach, to);
        while (!reached(to, reach)) {
            reach *= 2;
            clear(to);
            for (std::uint32_t i = 0; i < m_sites.size(); ++i) compare(i, y, reach, to);
        }
        const float most = m_square ? m_reach : m_reach * m_reach;
        for (int x = 0; x < m_width; ++x) to.second[x] = std::max(std::min(to.second[x], most), to.best[x]);
    }
    bool squared() const { return !m_square; }

  private:
    int band_of(float y) const { return static_cast<int>(std::floor(std::clamp(y, -1e7f, 1e7f) / BAND)); }
    // How far to either side, up or down, pixels within the reach may be.
    float extent(const VoronoiSite& site, float reach) const {
        return m_square ? reach * (std::fabs(site.ux) + std::fabs(site.uy)) : reach;
    }
    void clear(const VoronoiRow& to) const {
        std::fill_n(to.best, m_width + VORONOI_SLACK, 3e38f);
        std::fill_n(to.second, m_width + VORONOI_SLACK, 3e38f);
        std::fill_n(to.labels, m_width + VORONOI_SLACK, 0u);
    }
    void compare(std::uint32_t i, int y, float reach, const VoronoiRow& to) const {
        const VoronoiSite& site = m_sites[i];
        const float dy = (static_cast<float>(y) + 0.5f - site.y) * m_row_height, side = extent(site, reach);
        if (std::fabs(dy) > side) return;
        const auto width = static_cast<float>(m_width);
        const int first = static_cast<int>(std::clamp(site.x - side - 1, 0.0f, width));
        const int last = static_cast<int>(std::clamp(site.x + side + 2, 0.0f, width));
        (m_square ? m_kernels.square : m_kernels.round)(to, {i, site.x, site.ux, site.uy, dy}, first, last);
    }
    bool reached(const VoronoiRow& to, float reach) const {
        if (reach > 8 * FARTHEST) return true;
        const float most = m_square ? reach : reach * reach;
        return std::all_of(to.best, to.best + m_width, [&](float d) { return d <= most; });
    }

    std::span<const VoronoiSite> m_sites;
    bool m_square;
    int m_width, m_height;
    float m_row_height, m_reach = 1;
    std::vector<std::vector<std::uint32_t>> m_bands;
    const VoronoiKernels& m_kernels = voronoi_kernels();
};

// A row's work memory.
class RowRoom {
  public:
    explicit RowRoom(int width)
        : m_floats(2 * std::size_t(width + VORONOI_SLACK)), m_labels(std::size_t(width + VORONOI_SLACK)) {}
    VoronoiRow row() { return {m_floats.data(), m_floats.data() + m_labels.size(), m_labels.data()}; }

  private:
    std::vector<float> m_floats;
    std::vector<std::uint32_t> m_labels;
};

void hand_out(const float* distances, bool squared, K7Image* to, int y) {
    if (!to) return;
    float* row = image_row<float>(to, y);
    for (int x = 0; x < to->width; ++x) row[x] = squared ? std::sqrt(distances[x]) : distances[x];
}

// done(y, row) for each row, on many threads.
template <class Done>
bool each_row_of(const Cells& cells, int width, int height, const StopRequested& stop, const Done& done) {
    std::atomic<bool> complete{true};
    for_rows_float(height, [&](int first, int last) {
        const bool whole = first > last || in_memory([&] {
                               RowRoom room(width);
                               const VoronoiRow row = room.row();
                               for (int y = first; y <= last; ++y) {
                                   if (wants_end(stop)) return false;
                                   cells.row(y, row);
                                   done(y, row);
                               }
                               return true;
                           });
        if (!whole) complete = false;
    });
    return complete;
}

bool all_usable(std::span<const VoronoiSite> sites) {
    return !sites.empty() && sites.size() < 0x7fffffff && std::all_of(sites.begin(), sites.end(), usable);
}

// ---- Relaxation ---------------------------------------------------------------------------------------------------

// Sums of places and weights of a cell. Whole numbers: their order makes no difference.
struct CellSum {
    std::int64_t x = 0, y = 0, weight = 0;
};

class Relaxation {
  public:
    Relaxation(std::span<VoronoiSite> sites, const RelaxationShape& shape) : m_sites(sites), m_shape(shape) {
        const double area = double(shape.width) * shape.height / double(shape.pixel_aspect);
        const double step = std::sqrt(area / double(sites.size())) / std::clamp(double(shape.detail), 1.0, 64.0);
        const auto points = [&](int pixels, double apart) {
            return std::clamp(static_cast<int>(std::ceil(pixels / apart)), 1, pixels);
        };
        m_width = points(shape.width, step);
        m_height = points(shape.height, step * double(shape.pixel_aspect));
        m_x_scale = static_cast<float>(m_width) / static_cast<float>(shape.width);
        m_y_scale = static_cast<float>(m_height) / static_cast<float>(shape.height);
        m_aspect = shape.pixel_aspect * m_y_scale / m_x_scale;
        m_labels = make_image_uncleared(m_width, m_height, 1, SAMPLE_U32);
    }

    bool round(const StopRequested& stop) {
        if (!m_labels) return false;
        std::vector<VoronoiSite> scaled(m_sites.begin(), m_sites.end());
        for (VoronoiSite& site : scaled) site.x *= m_x_scale, site.y *= m_y_scale;
        const Cells cells(scaled, m_shape.metric, m_width, m_height, m_aspect);
        if (!each_row_of(cells, m_width, m_height, stop, [&](int y, const VoronoiRow& row) {
                std::copy_n(row.labels, m_width, image_row<std::uint32_t>(m_labels.get(), y));
            }))
            return false;
        move(sums());
        return true;
    }

  private:
    std::vector<CellSum> sums() const {
        std::vector<CellSum> result(m_sites.size());
        for (int y = 0; y < m_height; ++y) {
            const auto* labels = image_row<std::uint32_t>(m_labels.get(), y);
            const K7Image* const weights = m_shape.weights;
            const float* row = weights ? image_row<float>(weights, place_in(y, m_height, weights->height)) : nullptr;
            for (int x = 0; x < m_width; ++x) {
                const std::int64_t weight =
                    row ? std::int64_t(limit_to(row[place_in(x, m_width, weights->width)], 0, 1) * 255 + 0.5f) : 1;
                CellSum& sum = result[labels[x]];
                sum.x += weight * (2 * x + 1), sum.y += weight * (2 * y + 1), sum.weight += weight;
            }
        }
        return result;
    }
    static int place_in(int i, int count, int other_count) {
        return static_cast<int>((2 * std::int64_t(i) + 1) * other_count / (2 * std::int64_t(count)));
    }
    void move(const std::vector<CellSum>& cells) {
        for (std::size_t i = 0; i < m_sites.size(); ++i) {
            if (cells[i].weight == 0) continue;
            const double scale = 0.5 / double(cells[i].weight);
            m_sites[i].x = static_cast<float>(double(cells[i].x) * scale) / m_x_scale;
            m_sites[i].y = static_cast<float>(double(cells[i].y) * scale) / m_y_scale;
        }
    }

    std::span<VoronoiSite> m_sites;
    const RelaxationShape& m_shape;
    int m_width, m_height;
    float m_x_scale, m_y_scale, m_aspect;
    ImagePtr m_labels;
};

}  // namespace

bool voronoi_labels(std::span<const VoronoiSite> sites, VoronoiMetric metric, K7Image* labels, K7Image* nearest,
                    K7Image* second, const StopRequested& stop) {
    if (!is_label_image(labels) || !all_usable(sites)) return false;
    for (const K7Image* plane : {nearest, second})
        if (plane && !is_plane(plane, labels->width, labels->height)) return false;
    for (K7Image* image : {labels, nearest, second})
        if (image) image->stats_valid = 0;
    return in_memory([&] {
        const Cells cells(sites, metric, labels->width, labels->height, labels->pixel_aspect);
        return each_row_of(cells, labels->width, labels->height, stop, [&](int y, const VoronoiRow& row) {
            std::copy_n(row.labels, labels->width, image_row<std::uint32_t>(labels, y));
            hand_out(row.best, cells.squared(), nearest, y);
            hand_out(row.second, cells.squared(), second, y);
        });
    });
}

bool voronoi_relax(std::span<VoronoiSite> sites, const RelaxationShape& shape,
                   const std::function<void(VoronoiSite&)>& turn, const StopRequested& stop) {
    const auto is_size = [](int pixels) { return pixels >= 1 && pixels <= 65535; };
    if (!all_usable(sites) || !is_size(shape.width) || !is_size(shape.height) || !(shape.pixel_aspect > 0))
        return false;
    if (shape.weights && !is_plane(shape.weights, shape.weights->width, shape.weights->height)) return false;
    return in_memory([&] {
        Relaxation relaxation(sites, shape);
        for (int i = 0; i < shape.rounds; ++i) {
            if (!relaxation.round(stop)) return false;
            if (turn)
                for (VoronoiSite& site : sites) turn(site);
        }
        return true;
    });
}
