#include "support/test_images.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace support {

ImageLayout layoutOf(int width, int height, Depth depth) {
    ImageLayout layout;
    layout.bounds = {0, 0, width, height};
    layout.depth = depth;
    return layout;
}

ImagePtr imageOf(const ImageLayout& layout, const std::function<float(int, int, int)>& sample) {
    auto image = std::make_shared<Image>(layout);
    const OfxRectI& bounds = layout.bounds;
    for (int y = bounds.y1; y < bounds.y2; ++y) {
        for (int x = bounds.x1; x < bounds.x2; ++x) {
            for (int c = 0; c < layout.components; ++c) {
                image->setSample(x, y, c, sample(x - bounds.x1, y - bounds.y1, c));
            }
        }
    }
    return image;
}

ImagePtr constantImage(const ImageLayout& layout, float red, float green, float blue, float alpha) {
    const float colour[] = {red, green, blue, alpha};
    return imageOf(layout, [&](int, int, int channel) { return colour[channel]; });
}

ImagePtr gradientImage(const ImageLayout& layout) {
    const float right = static_cast<float>(std::max(layout.width() - 1, 1));
    const float top = static_cast<float>(std::max(layout.height() - 1, 1));
    return imageOf(layout, [=](int x, int y, int channel) {
        const float across = static_cast<float>(x) / right;
        const float up = static_cast<float>(y) / top;
        const float colour[] = {across, up, 1.0f - across, 1.0f};
        return colour[channel];
    });
}

ImagePtr noiseImage(const ImageLayout& layout, std::uint32_t seed) {
    // Each sample by hashing its position: the same picture whatever the order of filling (Wang's integer hash).
    return imageOf(layout, [=](int x, int y, int channel) {
        std::uint32_t h = seed * 0x9E3779B9u + static_cast<std::uint32_t>((y * 65537 + x) * 4 + channel);
        h = (h ^ 61u) ^ (h >> 16);
        h *= 9u;
        h ^= h >> 4;
        h *= 0x27D4EB2Du;
        h ^= h >> 15;
        return static_cast<float>(h >> 8) / 16777215.0f;
    });
}

double largestDifference(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return std::numeric_limits<double>::infinity();
    double largest = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double difference = std::fabs(static_cast<double>(a[i]) - static_cast<double>(b[i]));
        if (std::isnan(difference)) return std::numeric_limits<double>::infinity();
        largest = std::max(largest, difference);
    }
    return largest;
}

}  // namespace support
