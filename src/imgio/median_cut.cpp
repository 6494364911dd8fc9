#include "imgio/median_cut.h"

#include <algorithm>

#include "imgio/format.h"

namespace imgio {

namespace {

struct Colour {
    std::array<std::uint8_t, 3> value;
    std::uint32_t count;  // pixels that have it
    std::uint8_t index;
};

// A range of colours, with the channel in which they lie farthest apart.
struct Box {
    std::size_t first, last;  // [first, last)
    std::size_t channel;
    std::uint64_t weight;  // how much is gained by splitting: the spread times the pixels; 0 for a single colour
};

std::uint32_t packed(const std::array<std::uint8_t, 3>& value) {
    return static_cast<std::uint32_t>(value[0] << 16 | value[1] << 8 | value[2]);
}

std::array<std::uint8_t, 3> unpacked(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value)};
}

std::vector<Colour> count_colours(std::span<const std::uint8_t> pixels) {
    std::vector<std::uint32_t> sorted(pixels.size() / 3);
    for (std::size_t i = 0; i < sorted.size(); ++i)
        sorted[i] = packed({pixels[3 * i], pixels[3 * i + 1], pixels[3 * i + 2]});
    std::sort(sorted.begin(), sorted.end());
    std::vector<Colour> colours;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        if (i == 0 || sorted[i] != sorted[i - 1]) colours.push_back({unpacked(sorted[i]), 0, 0});
        ++colours.back().count;
    }
    return colours;
}

Box measure(const std::vector<Colour>& colours, std::size_t first, std::size_t last) {
    std::array<int, 3> low = {255, 255, 255}, high = {};
    std::uint64_t pixels = 0;
    for (std::size_t i = first; i < last; ++i) {
        pixels += colours[i].count;
        for (std::size_t c = 0; c < 3; ++c) {
            low[c] = std::min<int>(low[c], colours[i].value[c]);
            high[c] = std::max<int>(high[c], colours[i].value[c]);
        }
    }
    Box box{first, last, 0, 0};
    for (std::size_t c = 0; c < 3; ++c) {
        const auto weight = static_cast<std::uint64_t>(high[c] - low[c]) * pixels;
        if (weight > box.weight) {
            box.weight = weight;
            box.channel = c;
        }
    }
    return box;
}

// Sorts the box's colours along its longest side and answers where half of its pixels are passed; both parts have one
// colour at least.
std::size_t median(std::vector<Colour>& colours, const Box& box) {
    const auto begin = colours.begin() + static_cast<std::ptrdiff_t>(box.first);
    const auto end = colours.begin() + static_cast<std::ptrdiff_t>(box.last);
    std::sort(begin, end, [&](const Colour& a, const Colour& b) {
        const auto x = a.value[box.channel], y = b.value[box.channel];
        return x != y ? x < y : packed(a.value) < packed(b.value);
    });
    std::uint64_t all = 0, passed = 0;
    for (auto colour = begin; colour != end; ++colour) all += colour->count;
    std::size_t at = box.first;
    while (at + 1 < box.last && 2 * passed < all) passed += colours[at++].count;
    return std::max(at, box.first + 1);
}

std::array<std::uint8_t, 3> mean(const std::vector<Colour>& colours, const Box& box) {
    std::array<std::uint64_t, 3> sum{};
    std::uint64_t pixels = 0;
    for (std::size_t i = box.first; i < box.last; ++i) {
        pixels += colours[i].count;
        for (std::size_t c = 0; c < 3; ++c) sum[c] += std::uint64_t{colours[i].count} * colours[i].value[c];
    }
    std::array<std::uint8_t, 3> colour{};
    for (std::size_t c = 0; c < 3; ++c) colour[c] = static_cast<std::uint8_t>((sum[c] + pixels / 2) / pixels);
    return colour;
}

}  // namespace

bool median_cut(std::span<const std::uint8_t> pixels, std::size_t most_colours, ColourIndex& result) {
    std::vector<Colour> colours = count_colours(pixels);
    if (colours.empty()) return error("MEDIANCUT: Colour box list is empty.\n");
    std::vector<Box> boxes = {measure(colours, 0, colours.size())};
    while (boxes.size() < most_colours) {
        const auto widest = std::max_element(boxes.begin(), boxes.end(),
                                             [](const Box& a, const Box& b) { return a.weight < b.weight; });
        if (widest->weight == 0) break;
        const std::size_t middle = median(colours, *widest), last = widest->last;
        *widest = measure(colours, widest->first, middle);
        boxes.push_back(measure(colours, middle, last));
    }
    result.colours.clear();
    for (const Box& box : boxes) {
        for (std::size_t i = box.first; i < box.last; ++i)
            colours[i].index = static_cast<std::uint8_t>(result.colours.size());
        result.colours.push_back(mean(colours, box));
    }
    const auto before = [](const Colour& a, const Colour& b) { return packed(a.value) < packed(b.value); };
    std::sort(colours.begin(), colours.end(), before);
    result.indices.resize(pixels.size() / 3);
    for (std::size_t i = 0; i < result.indices.size(); ++i) {
        const Colour wanted{{pixels[3 * i], pixels[3 * i + 1], pixels[3 * i + 2]}, 0, 0};
        result.indices[i] = std::lower_bound(colours.begin(), colours.end(), wanted, before)->index;
    }
    return true;
}

}  // namespace imgio
