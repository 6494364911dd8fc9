// What Darken and Lighten share: a box minimum or maximum that is gated by the pixel's own luminance.
#pragma once

#include "Library2/EffectInfo.h"
#include "effects/adjust/WindowExtreme_cuda.h"

enum class Extreme { Darkest, Lightest };

// A window of its own for each channel, instead of one for all.
struct ChannelSizeControls {
    explicit ChannelSizeControls(EffectInfo* owner);

    CheckboxControlK7 split;
    IntegerControlK7 red, green, blue, alpha;
};

// The window of a size parameter: 2 * size - 1 rows at full scale, and as many columns as look square.
WindowSize extremeWindow(int size, const K7Image& output);

// The threshold in percent; `size` counts where the channels are not split.
struct ExtremeControls {
    const FloatControlK7& cutOff;
    const IntegerControlK7& size;
    const ChannelSizeControls& channels;
};
DeviceExtreme extremeOf(Extreme extreme, const ExtremeControls& controls, const K7Image& output);

// What both take the processor on one thread, a pixel.
inline constexpr double EXTREME_NANOSECONDS = 2.5;
