// Colours as they are seen, and the few that stand for a picture.
//
// The space is Oklab (B. Ottosson, "A perceptual color space for image processing", 2020): lightness L, 0 to 1 for
// black to white, and two colour differences a and b, about -0.3 to 0.3. Equal distances look equally different.
// Pictures in it are float images whose channels are L, a, b and alpha. Their source is display-coded as sRGB (IEC
// 61966-2-1), whose curve is continued above 1.
//
// Palettes come from k-means (S. Lloyd, "Least squares quantization in PCM", 1982) that starts as D. Arthur and
// S. Vassilvitskii, "k-means++: the advantages of careful seeding", 2007, on a histogram of the colours.
#pragma once

#include <cstdint>

#include "imagelib/imagelib.h"

// Float RGBA to Oklab and back; both images may be the same. Samples below 0 and NaN count as 0, those above 65504 as
// 65504; colours that no display has come back with 0 for what is negative. Alpha is copied. False also when an end was
// asked for. Errors stay below 1e-5 for samples up to 1, 3e-5 there and back.
bool image_to_oklab(const K7Image* rgb, K7Image* oklab, const StopRequested& stop = {});
bool image_from_oklab(const K7Image* oklab, K7Image* rgb, const StopRequested& stop = {});

// The same for `count` pixels one behind the other.
void oklab_from_rgb(const float* rgba, float* laba, int count);
void rgb_from_oklab(const float* laba, float* rgba, int count);

inline constexpr int PALETTE_MOST = 256;

// Colours in Oklab, in the order of their lightness. Planes, so that many are compared at a time.
struct Palette {
    int count = 0;
    float l[PALETTE_MOST]{}, a[PALETTE_MOST]{}, b[PALETTE_MOST]{};
    float share[PALETTE_MOST]{};  // of the picture's pixels that are nearest to the colour; 1 in all
};

// At most `count` colours (1 to PALETTE_MOST; fewer where the picture has fewer) that stand for a picture in Oklab.
// Pixels weigh as much as their alpha; a picture without any weight has no colours. The seed picks among starts that
// are about equally good. With `start` its colours are moved to the nearest optimum instead: so the palette of a
// neighbouring frame stays itself. About 250000 pixels of a regular grid are read.
bool image_palette(const K7Image* oklab, int count, std::uint32_t seed, Palette& palette,
                   const Palette* start = nullptr);

// The same for pictures that move: starts from clusters that are cut in two where their sums say so, instead of drawn
// points. Grain and small movements change its colours little; its error may be a little larger. Seeds from 2 on prefer
// other clusters.
bool image_steady_palette(const K7Image* oklab, int count, std::uint32_t seed, Palette& palette);

// Into each pixel of `labels` (one channel of 32 bits, same size) the index of the palette's nearest colour, the first
// of several. False also for an empty palette and when an end was asked for.
bool image_nearest_colours(const K7Image* oklab, const Palette& palette, K7Image* labels,
                           const StopRequested& stop = {});
