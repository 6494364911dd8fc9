// Specks join the label that surrounds them most, the smallest first.
#include <algorithm>

#include "imagelib/imagelib_regions.h"
#include "imagelib/region_sets.h"
#include "imagelib/samples.h"
#include "k7pi_baselib/in_memory.h"

namespace {

// A growing region: the regions that have joined it are a chain from its root on.
class SpeckMerger {
  public:
    SpeckMerger(const K7Image& regions, std::vector<PictureRegion>& found, std::int64_t least)
        : m_found(found),
          m_least(least),
          m_sets(found.size()),
          m_next(found.size(), NONE),
          m_ends(found.size()),
          m_borders(found.size() + 1) {
        for (std::uint32_t i = 0; i < found.size(); ++i) m_ends[i] = i;
        m_waiting.resize(static_cast<std::size_t>(m_least));
        collect_borders(regions);
    }

    void run() {
        for (std::uint32_t i = 0; i < m_found.size(); ++i) enqueue(i);
        for (std::size_t area = 0; area < m_waiting.size(); ++area)
            for (std::size_t i = 0; i < m_waiting[area].size(); ++i) {  // those that join only grow: later lists
                const std::uint32_t speck = m_waiting[area][i];
                const bool current = m_sets.find(speck) == speck && m_found[speck].area == std::int64_t(area);
                if (current) merge(speck);
            }
    }
    std::uint32_t label_of(std::uint32_t region) { return m_found[m_sets.find(region)].label; }

  private:
    static constexpr std::uint32_t NONE = 0xffffffffu;
    struct Neighbour {
        std::uint32_t label, root;
    };

    void enqueue(std::uint32_t root) {
        if (m_found[root].area < m_least) m_waiting[static_cast<std::size_t>(m_found[root].area)].push_back(root);
    }

    // What is beyond each side of a speck's pixels, speck by speck: counted first, then filled in.
    void collect_borders(const K7Image& regions) {
        for (const bool fill : {false, true}) {
            if (fill) {
                for (std::size_t i = 1; i < m_borders.size(); ++i) m_borders[i] += m_borders[i - 1];
                m_beyond.resize(m_borders.back());
            }
            const auto side = [&](std::uint32_t speck, std::uint32_t other) {
                if (m_found[speck].area >= m_least) return;
                if (fill)
                    m_beyond[--m_borders[speck]] = other;
                else
                    ++m_borders[speck];
            };
            const auto border = [&](std::uint32_t a, std::uint32_t b) {
                if (a != b) side(a, b), side(b, a);
            };
            for (int y = 0; y < regions.height; ++y) {
                const auto* row = image_row<std::uint32_t>(&regions, y);
                const auto* below = image_row<std::uint32_t>(&regions, y > 0 ? y - 1 : y);
                for (int x = 1; x < regions.width; ++x) border(row[x - 1], row[x]);
                for (int x = 0; x < regions.width; ++x) border(below[x], row[x]);
            }
        }
    }

    void gather_neighbours(std::uint32_t root) {
        m_neighbours.clear();
        for (std::uint32_t member = root; member != NONE; member = m_next[member]) {
            for (std::size_t i = m_borders[member]; i < m_borders[member + 1]; ++i) {
                const std::uint32_t other = m_sets.find(m_beyond[i]);
                if (other != root) m_neighbours.push_back({m_found[other].label, other});
            }
        }
        std::sort(m_neighbours.begin(), m_neighbours.end(), [](const Neighbour& a, const Neighbour& b) {
            return a.label != b.label ? a.label < b.label : a.root < b.root;
        });
    }

    void merge(std::uint32_t speck) {
        gather_neighbours(speck);
        std::size_t best = 0, most = 0;  // [best, best + most) have the label with the longest border
        for (std::size_t first = 0, last; first < m_neighbours.size(); first = last) {
            for (last = first + 1; last < m_neighbours.size() && m_neighbours[last].label == m_neighbours[first].label;)
                ++last;
            if (last - first > most) best = first, most = last - first;
        }
        if (most == 0) return;
        std::uint32_t root = m_neighbours[best].root;
        for (std::size_t i = best; i < best + most; ++i)
            if (m_found[m_neighbours[i].root].area > m_found[root].area) root = m_neighbours[i].root;
        join(root, speck);
        for (std::size_t i = best; i < best + most; ++i) {
            const std::uint32_t other = m_neighbours[i].root;
            if (other != root && m_sets.find(other) == other) join(root, other);
        }
        enqueue(root);
    }
    void join(std::uint32_t root, std::uint32_t other) {
        m_sets.join_into(root, other);
        m_found[root].area += m_found[other].area;
        m_next[m_ends[root]] = other;
        m_ends[root] = m_ends[other];
    }

    std::vector<PictureRegion>& m_found;
    std::int64_t m_least;
    RegionSets m_sets;
    std::vector<std::uint32_t> m_next, m_ends;
    // The sides of region i are [m_borders[i], m_borders[i + 1]) of m_beyond.
    std::vector<std::size_t> m_borders;
    std::vector<std::uint32_t> m_beyond;
    std::vector<Neighbour> m_neighbours;
    std::vector<std::vector<std::uint32_t>> m_waiting;  // specks of each area
};

}  // namespace

bool image_merge_specks(K7Image* labels, int least_area) {
    if (!is_label_image(labels)) return false;
    if (least_area <= 1) return true;
    const ImagePtr regions = make_image_uncleared(labels->width, labels->height, 1, SAMPLE_U32);
    std::vector<PictureRegion> found;
    if (!regions || !image_regions(labels, regions.get(), found)) return false;
    labels->stats_valid = 0;
    return in_memory([&] {
        const std::int64_t pixels = std::int64_t(labels->width) * labels->height;
        SpeckMerger merger(*regions, found, std::min<std::int64_t>(least_area, pixels + 1));
        merger.run();
        std::vector<std::uint32_t> settled(found.size());
        for (std::uint32_t i = 0; i < found.size(); ++i) settled[i] = merger.label_of(i);
        for_rows_float(labels->height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                const auto* row = image_row<std::uint32_t>(regions.get(), y);
                auto* to = image_row<std::uint32_t>(labels, y);
                for (int x = 0; x < labels->width; ++x) to[x] = settled[row[x]];
            }
        });
    });
}
