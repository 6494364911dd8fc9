// Source pictures for cases: each sample follows from the layout's place, the time and a seed.
#pragma once

#include <cstdint>
#include <span>

#include "host/core/image.h"

namespace bundlecheck {

enum class Content : std::uint8_t {
    Natural,  // gradients, shapes and grain between 0 and 1, with all kinds of alpha
    Still,    // the same at all times
    Smooth,   // large soft shapes, which any scale shows alike
    Black,    // all zero
    White,
    NotANumber,
    PlusInfinity,
    MinusInfinity,
    Denormal,
    Negative,
    Huge,      // the largest float
    Anything,  // each sample of any of these kinds
};
inline constexpr Content allContents[] = {
    Content::Natural,       Content::Black,    Content::White,    Content::NotANumber, Content::PlusInfinity,
    Content::MinusInfinity, Content::Denormal, Content::Negative, Content::Huge,       Content::Anything};
const char* contentName(Content content);
bool ordinary(Content content);  // samples that any picture may have

// The integer depths know no odd values: those become the nearest levels.
ofxhost::ImagePtr makePicture(const ofxhost::ImageLayout& layout, Content content, double time, std::uint64_t seed);

bool allFinite(const ofxhost::Image& image);
// Mean of the absolute differences of all samples, both limited to 0 to 1. The pictures have the same size.
double meanDifference(std::span<const float> a, std::span<const float> b);
// A picture of RGBA rows reduced to a size, each sample the mean of the area that it covers.
std::vector<float> boxScaled(std::span<const float> samples, int width, int height, int newWidth, int newHeight);

}  // namespace bundlecheck
