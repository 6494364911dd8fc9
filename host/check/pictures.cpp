#include "host/check/pictures.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/check/random.h"

namespace bundlecheck {

using ofxhost::Depth;
using ofxhost::ImageLayout;
using ofxhost::ImagePtr;

const char* contentName(Content content) {
    constexpr const char* names[] = {"natural",       "still",          "smooth",   "black",    "white", "not a number",
                                     "plus infinity", "minus infinity", "denormal", "negative", "huge",  "anything"};
    return names[static_cast<std::size_t>(content)];
}

bool ordinary(Content content) {
    return content == Content::Natural || content == Content::Still || content == Content::Smooth ||
           content == Content::Black || content == Content::White;
}

namespace {

// Multiples of 1/255, so that all depths hold the same samples.
float natural(int x, int y, int channel, double time, Random& grain) {
    const double shift = time * 3.0;
    const double wave = 0.5 + 0.3 * std::sin((x + shift) * 0.21 + channel * 1.7) * std::cos(y * 0.17 - channel);
    const double dx = x - 20.0 - shift, dy = y - 18.0;
    const bool disc = dx * dx + dy * dy < 120.0, bar = x % 16 == 3;
    const double noise = 0.08 * (grain.unit() - 0.5);
    double value = disc ? 0.9 - 0.2 * channel : bar ? 1.0 : wave + noise;
    if (channel == 3) value = disc ? 1.0 : y % 8 < 2 ? 0.0 : std::clamp(0.4 + 0.01 * x, 0.0, 1.0);
    return static_cast<float>(std::floor(std::clamp(value, 0.0, 1.0) * 255.0 + 0.5) / 255.0);
}

float smooth(const ImageLayout& layout, int x, int y, int channel) {
    const double u = (x + 0.5) / layout.width(), v = (y + 0.5) / layout.height();
    if (channel == 3) return static_cast<float>(0.5 + 0.5 * std::sin(3.0 * u) * v);
    return static_cast<float>(0.5 + 0.4 * std::sin(5.0 * u + channel) * std::cos(4.0 * v - channel));
}

float oddValue(Content content, Random& random) {
    using Limits = std::numeric_limits<float>;
    switch (content) {
        case Content::White:
            return 1.0f;
        case Content::NotANumber:
            return Limits::quiet_NaN();
        case Content::PlusInfinity:
            return Limits::infinity();
        case Content::MinusInfinity:
            return -Limits::infinity();
        case Content::Denormal:
            return Limits::denorm_min() * static_cast<float>(1 + random.below(1000));
        case Content::Negative:
            return static_cast<float>(-random.between(0.0, 10.0));
        case Content::Huge:
            return Limits::max();
        case Content::Natural:
        case Content::Still:
        case Content::Smooth:
        case Content::Black:
        case Content::Anything:
            break;
    }
    return 0.0f;
}

constexpr Content oddContents[] = {Content::Natural,    Content::Black,        Content::White,
                                   Content::NotANumber, Content::PlusInfinity, Content::MinusInfinity,
                                   Content::Denormal,   Content::Negative,     Content::Huge};

}  // namespace

ImagePtr makePicture(const ImageLayout& layout, Content content, double time, std::uint64_t seed) {
    if (content == Content::Still) return makePicture(layout, Content::Natural, 0.0, seed);
    auto image = std::make_shared<ofxhost::Image>(layout);
    Random random(seed ^ hashOf(std::to_string(time)));
    const ofxhost::ImageLayout& l = image->layout();
    std::vector<float> samples;
    samples.reserve(static_cast<std::size_t>(l.width()) * static_cast<std::size_t>(l.height()) * 4);
    for (int y = l.bounds.y1; y < l.bounds.y2; ++y) {
        for (int x = l.bounds.x1; x < l.bounds.x2; ++x) {
            for (int c = 0; c < l.components; ++c) {
                if (content == Content::Smooth) {
                    samples.push_back(smooth(l, x, y, l.components == 1 ? 3 : c));
                    continue;
                }
                Content kind = content;
                if (kind == Content::Anything)
                    kind = oddContents[random.below(static_cast<int>(std::size(oddContents)))];
                samples.push_back(kind == Content::Natural ? natural(x, y, l.components == 1 ? 3 : c, time, random)
                                                           : oddValue(kind, random));
            }
        }
    }
    image->fromFloats(samples);
    return image;
}

bool allFinite(const ofxhost::Image& image) {
    if (image.layout().depth != Depth::Float) return true;
    const std::vector<float> samples = image.toFloats();
    return std::all_of(samples.begin(), samples.end(), [](float value) { return std::isfinite(value); });
}

double meanDifference(std::span<const float> a, std::span<const float> b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += std::fabs(std::clamp(double{a[i]}, 0.0, 1.0) - std::clamp(double{b[i]}, 0.0, 1.0));
    return a.empty() ? 0.0 : sum / static_cast<double>(a.size());
}

namespace {

// One axis: `length` groups of `stride` samples each become `newLength` groups.
std::vector<float> boxAxis(std::span<const float> samples, std::size_t lines, int length, int newLength,
                           std::size_t stride) {
    std::vector<float> result(lines * static_cast<std::size_t>(newLength) * stride);
    const double ratio = static_cast<double>(length) / newLength;
    for (std::size_t line = 0; line < lines; ++line) {
        for (int target = 0; target < newLength; ++target) {
            const double from = target * ratio, to = from + ratio;
            for (std::size_t s = 0; s < stride; ++s) {
                double sum = 0.0;
                for (int source = static_cast<int>(from); source < to && source < length; ++source) {
                    const double weight = std::min(to, source + 1.0) - std::max(from, double(source));
                    const auto at =
                        (line * static_cast<std::size_t>(length) + static_cast<std::size_t>(source)) * stride;
                    sum += weight * std::clamp(double{samples[at + s]}, 0.0, 1.0);
                }
                result[(line * static_cast<std::size_t>(newLength) + static_cast<std::size_t>(target)) * stride + s] =
                    static_cast<float>(sum / ratio);
            }
        }
    }
    return result;
}

}  // namespace

std::vector<float> boxScaled(std::span<const float> samples, int width, int height, int newWidth, int newHeight) {
    const auto rows = boxAxis(samples, static_cast<std::size_t>(height), width, newWidth, 4);
    return boxAxis(rows, 1, height, newHeight, static_cast<std::size_t>(newWidth) * 4);
}

}  // namespace bundlecheck
