#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_distance.h"
#include "imagelib/imagelib_regions.h"
#include "imagelib/region_sets.h"
#include "imagelib/samples.h"
#include "k7pi_baselib/in_memory.h"

namespace {

struct Run {
    int first, last;  // [first, last)
    std::uint32_t set;
};

// Writes the number of each pixel's run and joins runs that touch.
RegionSets join_runs(const K7Image& labels, K7Image& regions) {
    RegionSets sets;
    std::vector<Run> runs, below;
    const int width = labels.width;
    for (int y = 0; y < labels.height; ++y) {
        const auto* row = image_row<std::uint32_t>(&labels, y);
        const auto* row_below = y > 0 ? image_row<std::uint32_t>(&labels, y - 1) : nullptr;
        auto* to = image_row<std::uint32_t>(&regions, y);
        runs.clear();
        std::size_t next = 0;
        for (int first = 0, last; first < width; first = last) {
            for (last = first + 1; last < width && row[last] == row[first];) ++last;
            const std::uint32_t set = sets.add();
            std::fill(to + first, to + last, set);
            while (next < below.size() && below[next].last <= first) ++next;
            for (std::size_t i = next; i < below.size() && below[i].first < last; ++i)
                if (row_below[below[i].first] == row[first]) sets.join(below[i].set, set);
            runs.push_back({first, last, set});
        }
        runs.swap(below);
    }
    return sets;
}

// Numbers of the sets in the order of their first members.
std::vector<std::uint32_t> numbered(RegionSets& sets, std::size_t& count) {
    std::vector<std::uint32_t> numbers(sets.size());
    count = 0;
    for (std::uint32_t i = 0; i < sets.size(); ++i) {
        const std::uint32_t root = sets.find(i);
        numbers[i] = root == i ? static_cast<std::uint32_t>(count++) : numbers[root];
    }
    return numbers;
}

void measure(const K7Image& labels, const K7Image& regions, std::vector<PictureRegion>& found) {
    struct Sums {
        std::int64_t x = 0, y = 0;
    };
    std::vector<Sums> sums(found.size());
    for (PictureRegion& region : found) region = {0, 0, labels.width, labels.height, -1, -1, 0, 0, 0, 0, 0};
    for (int y = 0; y < labels.height; ++y) {
        const auto* row = image_row<std::uint32_t>(&regions, y);
        for (int first = 0, last; first < labels.width; first = last) {
            for (last = first + 1; last < labels.width && row[last] == row[first];) ++last;
            PictureRegion& region = found[row[first]];
            if (region.area == 0) region.label = image_row<std::uint32_t>(&labels, y)[first];
            const int count = last - first;
            region.area += count;
            sums[row[first]].x += std::int64_t(count) * (first + last);  // twice the places
            sums[row[first]].y += std::int64_t(count) * (2 * y + 1);
            region.left = std::min(region.left, first), region.right = std::max(region.right, last - 1);
            region.bottom = std::min(region.bottom, y), region.top = y;
        }
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
        const double scale = 0.5 / double(found[i].area);
        found[i].centre_x = static_cast<float>(double(sums[i].x) * scale);
        found[i].centre_y = static_cast<float>(double(sums[i].y) * scale);
    }
}

}  // namespace

bool image_regions(const K7Image* labels, K7Image* regions, std::vector<PictureRegion>& found) {
    if (!is_label_image(labels) || !is_label_image(regions, labels->width, labels->height)) return false;
    regions->stats_valid = 0;
    return in_memory([&] {
        RegionSets sets = join_runs(*labels, *regions);
        std::size_t count = 0;
        const std::vector<std::uint32_t> numbers = numbered(sets, count);
        for_rows_float(labels->height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                auto* row = image_row<std::uint32_t>(regions, y);
                for (int x = 0; x < labels->width; ++x) row[x] = numbers[row[x]];
            }
        });
        found.assign(count, {});
        measure(*labels, *regions, found);
    });
}

bool image_region_poles(const K7Image* regions, std::vector<PictureRegion>& found, const StopRequested& stop) {
    if (!is_label_image(regions)) return false;
    const ImagePtr distance = make_image_uncleared(regions->width, regions->height, 1, SAMPLE_F32);
    if (!distance || !image_label_distance(regions, distance.get(), true, stop)) return false;
    return in_memory([&] {
        constexpr float NEARLY = 0.9f;
        std::vector<float> farthest(found.size(), 0.0f), off_centre(found.size(), 3e38f);
        const auto each_pixel = [&](auto&& visit) {
            for (int y = 0; y < regions->height; ++y) {
                const auto* row = image_row<std::uint32_t>(regions, y);
                const float* distances = image_row<float>(distance.get(), y);
                for (int x = 0; x < regions->width; ++x)
                    if (row[x] < found.size()) visit(x, y, row[x], distances[x]);
            }
        };
        each_pixel([&](int, int, std::uint32_t i, float d) { farthest[i] = std::max(farthest[i], d); });
        each_pixel([&](int x, int y, std::uint32_t i, float d) {
            if (d < NEARLY * farthest[i]) return;
            PictureRegion& region = found[i];
            const float px = static_cast<float>(x) + 0.5f, py = static_cast<float>(y) + 0.5f;
            const float dx = px - region.centre_x, dy = py - region.centre_y, off = dx * dx + dy * dy;
            if (off >= off_centre[i]) return;
            off_centre[i] = off;
            region.pole_x = px, region.pole_y = py, region.pole_radius = d - 0.5f;
        });
    });
}
