#include "effects/engines/motion/small_things.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr float CHANGED[] = {0.12F, 0.3F};  // brightness: of faint things, and of lamps without their halo
constexpr float LARGEST = 0.01F;            // of the picture
constexpr float FARTHEST = 0.3F;            // of its width
constexpr float MOST_ALIKE = 2.5F;          // ratio of areas
constexpr float BETTER = 0.6F;              // of the flow's error
constexpr std::size_t MOST_THINGS = 64;     // in a picture with more of them nothing can be told apart

struct Thing {
    std::vector<int> cells;
    float x = 0.0F, y = 0.0F, change = 0.0F;  // means
};

// Connected regions in which the first picture is brighter than the second.
std::vector<Thing> things_in(const K7Image& picture, const K7Image& other, float changed) {
    const int width = picture.width, height = picture.height;
    const float *here = image_row<float>(&picture, 0), *there = image_row<float>(&other, 0);
    const auto largest = static_cast<std::size_t>(LARGEST * static_cast<float>(width) * static_cast<float>(height));
    std::vector<char> seen(std::size_t(width) * std::size_t(height), 0);
    const auto wanted = [&](int cell) { return !seen[std::size_t(cell)] && here[cell] - there[cell] > changed; };
    std::vector<Thing> things;
    for (int start = 0; start < width * height; ++start) {
        if (!wanted(start)) continue;
        Thing thing;
        thing.cells.push_back(start);
        seen[std::size_t(start)] = 1;
        for (std::size_t n = 0; n < thing.cells.size(); ++n) {
            const int cell = thing.cells[n], x = cell % width, y = cell / width;
            thing.x += static_cast<float>(x);
            thing.y += static_cast<float>(y);
            thing.change += here[cell] - there[cell];
            for (int j = std::max(y - 1, 0); j <= std::min(y + 1, height - 1); ++j)
                for (int i = std::max(x - 1, 0); i <= std::min(x + 1, width - 1); ++i)
                    if (const int next = j * width + i; wanted(next)) {
                        seen[std::size_t(next)] = 1;
                        thing.cells.push_back(next);
                    }
        }
        if (thing.cells.size() < 2 || thing.cells.size() > largest) continue;
        const float share = 1.0F / static_cast<float>(thing.cells.size());
        thing.x *= share;
        thing.y *= share;
        thing.change *= share;
        things.push_back(std::move(thing));
    }
    return things;
}

// How unlikely it is that the two are one thing; infinite where they are not.
float unlikely(const Thing& a, const Thing& b, float width) {
    const auto more = static_cast<float>(std::max(a.cells.size(), b.cells.size())),
               less = static_cast<float>(std::min(a.cells.size(), b.cells.size()));
    const float dx = a.x - b.x, dy = a.y - b.y, way = std::sqrt(dx * dx + dy * dy) / width;
    if (more > MOST_ALIKE * less + 3.0F || way > FARTHEST) return INFINITY;
    return way * (1.0F + (more / less - 1.0F)) * (1.0F + 4.0F * std::fabs(a.change - b.change));
}
std::size_t partner_of(const Thing& thing, const std::vector<Thing>& others, float width) {
    std::size_t best = others.size();
    float least = INFINITY;
    for (std::size_t n = 0; n < others.size(); ++n)
        if (const float cost = unlikely(thing, others[n], width); cost < least) {
            least = cost;
            best = n;
        }
    return best;
}

// The mean difference of a thing from what lies where its cells have come from.
template <class Way>
float error_of(const Thing& thing, const K7Image& now, const K7Image& before, Way way) {
    float sum = 0.0F;
    for (const int cell : thing.cells) {
        const int x = cell % now.width, y = cell / now.width;
        const auto [u, v] = way(x, y);
        const auto from_x = static_cast<float>(x) + u, from_y = static_cast<float>(y) + v;
        const int i = static_cast<int>(std::clamp(from_x + 0.5F, 0.0F, static_cast<float>(now.width - 1))),
                  j = static_cast<int>(std::clamp(from_y + 0.5F, 0.0F, static_cast<float>(now.height - 1)));
        sum += std::fabs(image_row<float>(&now, y)[x] - image_row<float>(&before, j)[i]);
    }
    return sum / static_cast<float>(thing.cells.size());
}

void follow_changed(float changed, const K7Image& now, const K7Image& before, K7Image& back) {
    const std::vector<Thing> come = things_in(now, before, changed), gone = things_in(before, now, changed);
    if (come.size() > MOST_THINGS || gone.size() > MOST_THINGS) return;
    const auto width = static_cast<float>(now.width);
    for (std::size_t n = 0; n < come.size(); ++n) {
        const Thing& thing = come[n];
        const std::size_t partner = partner_of(thing, gone, width);
        if (partner == gone.size() || partner_of(gone[partner], come, width) != n) continue;
        const float u = gone[partner].x - thing.x, v = gone[partner].y - thing.y;
        const float by_flow = error_of(thing, now, before, [&](int x, int y) {
            const float* cell = image_row<float>(&back, y) + 2 * x;
            return std::pair(cell[0], cell[1]);
        });
        const float by_jump = error_of(thing, now, before, [&](int, int) { return std::pair(u, v); });
        if (by_jump > BETTER * by_flow) continue;
        for (const int cell : thing.cells) {
            const int x = cell % now.width, y = cell / now.width;
            for (int j = std::max(y - 2, 0); j <= std::min(y + 2, now.height - 1); ++j)
                for (int i = std::max(x - 2, 0); i <= std::min(x + 2, now.width - 1); ++i) {
                    float* flow = image_row<float>(&back, j) + 2 * i;
                    flow[0] = u;
                    flow[1] = v;
                }
        }
    }
}

}  // namespace

void follow_small_things(const K7Image& now, const K7Image& before, K7Image& back) {
    for (const float changed : CHANGED) follow_changed(changed, now, before, back);
}
