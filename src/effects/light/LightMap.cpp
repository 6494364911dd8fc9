#include "effects/light/LightMap.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Library2/Made.h"
#include "imagelib/imagelib_blur.h"
#include "noiselib/mtrandom.h"

LightMap::LightMap(int width, int height) : lit{0, 0, -1, -1} {
    for (ImagePtr& plane : planes) plane = made(make_image(width, height, 1, SAMPLE_F32));
}

void LightMap::tighten() {
    if (lit.empty()) return;
    struct Span {
        int first = 65535, last = -1;
    };
    const int rows = lit.y1 - lit.y0 + 1;
    std::vector<Span> spans(static_cast<std::size_t>(rows));
    for_rows_float(rows, [&](int first, int last) {
        for (int i = first; i <= last; ++i) {
            Span& span = spans[static_cast<std::size_t>(i)];
            const float *r = row(0, lit.y0 + i), *g = row(1, lit.y0 + i), *b = row(2, lit.y0 + i);
            const auto is_lit = [&](int x) { return r[x] > 0.0F || g[x] > 0.0F || b[x] > 0.0F; };
            int from = lit.x0, to = lit.x1;
            while (from <= to && !is_lit(from)) ++from;
            while (to > from && !is_lit(to)) --to;
            if (from <= to) span = {from, to};
        }
    });
    PixelBox box{65535, 65535, -1, -1};
    for (int i = 0; i < rows; ++i) {
        const Span& span = spans[static_cast<std::size_t>(i)];
        if (span.last < 0) continue;
        box = {std::min(box.x0, span.first), std::min(box.y0, lit.y0 + i), std::max(box.x1, span.last), lit.y0 + i};
    }
    lit = box;
}

namespace {

// work(x, y) for each pixel of a box, rows over all threads.
template <class Work>
void for_pixels(const PixelBox& box, const Work& work) {
    if (box.empty()) return;
    for_rows_float(box.y1 - box.y0 + 1, [&](int first, int last) {
        for (int y = box.y0 + first; y <= box.y0 + last; ++y)
            for (int x = box.x0; x <= box.x1; ++x) work(x, y);
    });
}

void put(LightMap& map, int x, int y, const float* colour, float weight) {
    for (int c = 0; c < 3; ++c) map.row(c, y)[x] = colour[c] * weight;
}

int pixel_of(double place, int count) { return static_cast<int>(std::clamp(std::floor(place), -1.0, double(count))); }

PixelBox box_of(const LightPlace& place, double margin, int width, int height) {
    return {std::max(pixel_of(place.x - place.radius_x - margin, width), 0),
            std::max(pixel_of(place.y - place.radius_y - margin, height), 0),
            std::min(pixel_of(place.x + place.radius_x + margin, width), width - 1),
            std::min(pixel_of(place.y + place.radius_y + margin, height), height - 1)};
}

}  // namespace

void take_bright(LightMap& map, const K7Image& picture, const PixelBox& box, float level) {
    map.lit = box;
    for_pixels(box, [&](int x, int y) {
        const float* pixel = image_row<float>(&picture, y) + 4 * x;
        if ((pixel[0] + pixel[1] + pixel[2]) / 3.0F > level) put(map, x, y, pixel, 1.0F);
    });
}

void thin_out(LightMap& map, const PixelBox& box, double part, int seed) {
    constexpr float BLACK[3] = {};
    MTRandom random(static_cast<std::uint32_t>(seed));
    for (int y = box.y0; y <= box.y1; ++y)
        for (int x = box.x0; x <= box.x1; ++x)
            if (random.next_double() < part) put(map, x, y, BLACK, 0.0F);
}

// At each pixel, the mean height of a cone over the samples that meet it within two pixels all round.
void add_spot(LightMap& map, const LightPlace& place) {
    constexpr int REACH = 10, SIDE = 2 * REACH + 1;  // samples
    constexpr float STEP = 0.2F;                     // pixels
    constexpr float WHITE[] = {1.0F, 1.0F, 1.0F};
    map.lit = box_of(place, REACH * static_cast<double>(STEP) + 1.0, map.width(), map.height());
    for_pixels(map.lit, [&](int x, int y) {
        const auto dx = static_cast<float>(x + 0.5 - place.x), dy = static_cast<float>(y + 0.5 - place.y);
        const auto rx = static_cast<float>(1.0 / place.radius_x), ry = static_cast<float>(1.0 / place.radius_y);
        float across[SIDE];
        for (int i = 0; i < SIDE; ++i) {
            const float u = (dx + STEP * static_cast<float>(i - REACH)) * rx;
            across[i] = u * u;
        }
        float sum = 0.0F, count = 0.0F;
        for (int j = 0; j < SIDE; ++j) {
            const float v = (dy + STEP * static_cast<float>(j - REACH)) * ry;
            for (const float u : across) {
                const float height = 1.0F - std::sqrt(u + v * v);
                if (height <= 0.0F) continue;
                sum += height;
                count += 1.0F;
            }
        }
        if (count > 1.0F) sum /= count;
        put(map, x, y, WHITE, sum);
    });
}

void take_area(LightMap& map, const K7Image& picture, const LightPlace& place) {
    map.lit = box_of(place, 0.0, map.width(), map.height());
    for_pixels(map.lit, [&](int x, int y) {
        const double u = (x + 0.5 - place.x) / place.radius_x, v = (y + 0.5 - place.y) / place.radius_y;
        const double weight = std::max(1.0 - std::sqrt(u * u + v * v), 0.0);
        put(map, x, y, image_row<float>(&picture, y) + 4 * x, static_cast<float>(weight));
    });
}

void spread(LightMap& map, float x_radius, float y_radius) {
    constexpr int PASSES = 3;  // of a box
    if (map.lit.empty()) return;
    for (const ImagePtr& plane : map.planes) made(image_gaussian_blur(plane.get(), x_radius, y_radius, 1));
    const auto reach = [](float radius) { return PASSES * (static_cast<int>(std::min(radius, 20000.0F)) + 1); };
    map.lit = {std::max(map.lit.x0 - reach(x_radius), 0), std::max(map.lit.y0 - reach(y_radius), 0),
               std::min(map.lit.x1 + reach(x_radius), map.width() - 1),
               std::min(map.lit.y1 + reach(y_radius), map.height() - 1)};
}

// ---- Reflections ------------------------------------------------------------------------------------------------
//
// A mirrored image is worked out along rows and then along columns: each of its pixels is the mean of what it covers.

namespace {

struct Share {
    int from, to;  // from the first lit pixel on; from the first pixel of the image on
    float weight;  // part of pixel `to` that the image of pixel `from` covers
};

struct Mirror {
    int first = 0, count = 0;       // pixels of the picture that the image of the lit ones touches
    std::vector<Share> shares;      // by rising `to`
    std::vector<std::size_t> ends;  // of the shares of each `to`
};

// Pixels [low, high] of a line of `size` pixels, at `factor` of their distance on the other side of its middle.
Mirror mirror(int low, int high, int size, double factor) {
    const double centre = 0.5 * size, scale = factor * size / std::max(size - 1, 1);
    const auto image_of = [&](int edge) { return centre - (edge - centre) * scale; };
    const int first = std::max(pixel_of(image_of(high + 1), size), 0);
    const int last = std::min(pixel_of(image_of(low), size), size - 1);
    Mirror result;
    if (last < first) return result;
    result.first = first, result.count = last - first + 1;
    for (int to = first; to <= last; ++to) {
        const int from_low = std::clamp(static_cast<int>(centre - (to + 1 - centre) / scale) - 1, low, high);
        const int from_high = std::clamp(static_cast<int>(centre - (to - centre) / scale) + 1, low, high);
        for (int from = from_high; from >= from_low; --from) {
            const double covered = std::min(to + 1.0, image_of(from)) - std::max(double(to), image_of(from + 1));
            if (covered > 0.0) result.shares.push_back({from - low, to - first, static_cast<float>(covered)});
        }
        result.ends.push_back(result.shares.size());
    }
    return result;
}

struct Lights {
    PixelBox box;
    int width, height;
    std::vector<float> samples[3];

    explicit Lights(const LightMap& map) : box(map.lit), width(box.x1 - box.x0 + 1), height(box.y1 - box.y0 + 1) {
        for (int c = 0; c < 3; ++c)
            for (int y = box.y0; y <= box.y1; ++y) {
                const float* const from = map.row(c, y) + box.x0;
                samples[c].insert(samples[c].end(), from, from + width);
            }
    }
    const float* row(int c, int y) const { return samples[c].data() + std::size_t(y) * std::size_t(width); }
};

void add_image(LightMap& map, const Lights& lights, double factor, float strength) {
    const Mirror across = mirror(lights.box.x0, lights.box.x1, map.width(), factor);
    const Mirror up = mirror(lights.box.y0, lights.box.y1, map.height(), factor);
    if (across.count == 0 || up.count == 0) return;
    const auto width = static_cast<std::size_t>(across.count);
    for (int c = 0; c < 3; ++c) {
        std::vector<float> turned(width * static_cast<std::size_t>(lights.height));
        for_rows_float(lights.height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                const float* const from = lights.row(c, y);
                float* const to = turned.data() + static_cast<std::size_t>(y) * width;
                for (const Share& share : across.shares) to[share.to] += from[share.from] * share.weight;
            }
        });
        for_rows_float(up.count, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                float* const to = map.row(c, up.first + y) + across.first;
                const std::size_t begin = y == 0 ? 0 : up.ends[static_cast<std::size_t>(y - 1)];
                for (std::size_t i = begin; i < up.ends[static_cast<std::size_t>(y)]; ++i) {
                    const float weight = up.shares[i].weight * strength;
                    const float* const from = turned.data() + static_cast<std::size_t>(up.shares[i].from) * width;
                    for (std::size_t x = 0; x < width; ++x) to[x] += from[x] * weight;
                }
            }
        });
    }
    map.lit = {std::min(map.lit.x0, across.first), std::min(map.lit.y0, up.first),
               std::max(map.lit.x1, across.first + across.count - 1), std::max(map.lit.y1, up.first + up.count - 1)};
}

}  // namespace

void add_reflections(LightMap& map, int count, double size, double strength) {
    if (count < 1 || !(size > 1e-5) || !(strength > 0.0) || map.lit.empty()) return;
    const Lights lights(map);
    for (int i = 1; i <= count; ++i)
        add_image(map, lights, size * i / count, static_cast<float>(std::min(strength / i, 1.0)));
}
