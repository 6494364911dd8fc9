// Specks join the label that surrounds them most, the smallest first.
#include <algorithm>
#include <queue>

#include "imagelib/imagelib_regions.h"
#include "imagelib/region_sets.h"
#include "imagelib/samples.h"
#include "k7pi_baselib/in_memory.h"

namespace {

// A growing region: the regions that have joined it are a chain from its root on.
class SpeckMerger {
  public:
    SpeckMerger(const K7Image& regions, std::vector<PictureRegion>& found, std::int64_t least)
        : m_found(found), m_least(least), m_sets(found.size()), m_next(found.size(), NONE), m_ends(found.size()) {
        for (std::uint32_t i = 0; i < found.size(); ++i) m_ends[i] = i;
        collect_borders(regions);
    }

    void run() {
        for (std::uint32_t i = 0; i < m_found.size(); ++i) enqueue(i);
        while (!m_queue.empty()) {
            const Waiting speck = m_queue.top();
            m_queue.pop();
            const bool current = m_sets.find(speck.region) == speck.region && m_found[speck.region].area == speck.area;
            if (current) merge(speck.region);
        }
    }
    std::uint32_t label_of(std::uint32_t region) { return m_found[m_sets.find(region)].label; }

  private:
    static constexpr std::uint32_t NONE = 0xffffffffu;
    struct Waiting {
        std::int64_t area;
        std::uint32_t region;
        bool operator>(const Waiting& other) const {
            return area != other.area ? area > other.area : region > other.region;
        }
    };
    struct Neighbour {
        std::uint32_t label, root;
        std::uint32_t length;  // of the common border, in sides of pixels
    };

    void enqueue(std::uint32_t root) {
        if (m_found[root].area < m_least) m_queue.push({m_found[root].area, root});
    }

    // Borders of specks only, sorted by speck: one entry for each side of a pixel.
    void collect_borders(const K7Image& regions) {
        const auto border = [&](std::uint32_t a, std::uint32_t b) {
            if (a == b) return;
            if (m_found[a].area < m_least) m_borders.push_back(std::uint64_t(a) << 32 | b);
            if (m_found[b].area < m_least) m_borders.push_back(std::uint64_t(b) << 32 | a);
        };
        for (int y = 0; y < regions.height; ++y) {
            const auto* row = image_row<std::uint32_t>(&regions, y);
            for (int x = 1; x < regions.width; ++x) border(row[x - 1], row[x]);
            if (y == 0) continue;
            const auto* below = image_row<std::uint32_t>(&regions, y - 1);
            for (int x = 0; x < regions.width; ++x) border(below[x], row[x]);
        }
        std::sort(m_borders.begin(), m_borders.end());
    }

    void gather_neighbours(std::uint32_t root) {
        m_neighbours.clear();
        for (std::uint32_t member = root; member != NONE; member = m_next[member]) {
            auto i = std::lower_bound(m_borders.begin(), m_borders.end(), std::uint64_t(member) << 32);
            for (; i != m_borders.end() && *i >> 32 == member; ++i) {
                const std::uint32_t other = m_sets.find(static_cast<std::uint32_t>(*i));
                if (other != root) m_neighbours.push_back({m_found[other].label, other, 1});
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
    std::vector<std::uint64_t> m_borders;
    std::vector<Neighbour> m_neighbours;
    std::priority_queue<Waiting, std::vector<Waiting>, std::greater<>> m_queue;
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
        SpeckMerger merger(*regions, found, least_area);
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
