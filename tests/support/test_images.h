// Pictures for tests: analytic ones, and noise that is the same on every machine.
#pragma once

#include <cstdint>
#include <functional>

#include "host/core/image.h"

namespace support {

using ofxhost::Depth;
using ofxhost::Image;
using ofxhost::ImageLayout;
using ofxhost::ImagePtr;

// A layout that begins at 0, 0.
ImageLayout layoutOf(int width, int height, Depth depth = Depth::Float);

// Samples by position, counted from the lower left corner of the bounds; 0 to 1 where the depth is an integer one.
ImagePtr imageOf(const ImageLayout& layout, const std::function<float(int x, int y, int channel)>& sample);
ImagePtr constantImage(const ImageLayout& layout, float red, float green, float blue, float alpha = 1.0f);
// Red rises from 0 to 1 with x, green with y, blue falls with x; alpha is 1.
ImagePtr gradientImage(const ImageLayout& layout);
// Independent samples in 0 to 1 for every channel; alpha too.
ImagePtr noiseImage(const ImageLayout& layout, std::uint32_t seed);

// Largest difference of two sets of samples; infinity when their sizes differ or one holds a NaN.
double largestDifference(const std::vector<float>& a, const std::vector<float>& b);

}  // namespace support
