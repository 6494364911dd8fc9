#include "effects/adjust/WindowExtreme.h"

#include <algorithm>

ChannelSizeControls::ChannelSizeControls(EffectInfo* owner)
    : split(owner, {"DoRGB", "Split RGB"}, "Gives each channel a window of its own instead of one for all."),
      red(owner, {"RadR", "Red Size", 3, 1, 30},
          "Size of the window of red, in pixels at full size: 3 looks two pixels to every side."),
      green(owner, {"RadG", "Green Size", 3, 1, 30},
            "Size of the window of green, in pixels at full size: 3 looks two pixels to every side."),
      blue(owner, {"RadB", "Blue Size", 3, 1, 30},
           "Size of the window of blue, in pixels at full size: 3 looks two pixels to every side."),
      alpha(owner, {"RadA", "Alpha Size", 3, 1, 30},
            "Size of the window of alpha, in pixels at full size: 3 looks two pixels to every side.") {
    owner->ghost({&red, &green, &blue, &alpha}, split, isOff);
}

WindowSize extremeWindow(int size, const K7Image& output) {
    const float radius = static_cast<float>(size) / output.unit_scale;
    const int rows = std::clamp(static_cast<int>(std::min(2.0f * radius - 1.0f, 65535.0f)), 1, 65535);
    const float aspect = output.pixel_height / output.pixel_width;
    const int columns = std::clamp(static_cast<int>(std::min(static_cast<float>(rows) * aspect, 65535.0f)), 1, 65535);
    return {rows, columns, std::max(1, rows / 2)};
}

DeviceExtreme extremeOf(Extreme extreme, const ExtremeControls& controls, const K7Image& output) {
    // Pixels at the threshold itself are filtered by both effects.
    DeviceExtreme job{output.width,
                      output.height,
                      {},
                      {static_cast<float>(controls.cutOff.value * 0.01), extreme == Extreme::Darkest}};
    const ChannelSizeControls& channels = controls.channels;
    if (channels.split.value) {
        const IntegerControlK7* sizes[] = {&channels.red, &channels.green, &channels.blue, &channels.alpha};
        for (int channel = 0; channel < 4; ++channel)
            job.windows[channel] = extremeWindow(sizes[channel]->value, output);
    } else {
        std::fill_n(job.windows, 4, extremeWindow(controls.size.value, output));
    }
    return job;
}
