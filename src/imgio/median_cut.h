// Private to imgio: few colours for many. Source: P. Heckbert, "Color Image Quantization for Frame Buffer Display",
// SIGGRAPH 1982 (median cut).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace imgio {

struct ColourIndex {
    std::vector<std::array<std::uint8_t, 3>> colours;  // at most as many as were asked for
    std::vector<std::uint8_t> indices;                 // one for each pixel
};

// Pixels of three bytes. Pictures with no more colours than that keep them as they are. False with a text when there is
// no pixel.
bool median_cut(std::span<const std::uint8_t> pixels, std::size_t most_colours, ColourIndex& result);

}  // namespace imgio
