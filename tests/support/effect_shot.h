// An effect without a host: pictures and controls in, rendered once or frame by frame, as a host would have it.
//
//   EffectShot<SpinBlur> shot(noise_image(80, 50, 4, SAMPLE_F32));
//   shot.effect.Speed.value = 25;
//   EXPECT_GT(at(shot.render(), 40, 20, 0), 0.1f);
//   same_bits_everywhere([&] { return shot.copy(); });
#pragma once

#include <cmath>
#include <functional>
#include <string_view>
#include <utility>

#include "Library2/EffectInfo.h"
#include "imagelib/imagelib.h"
#include "support/images.h"

// ---- Pictures of four floats ----------------------------------------------------------------------------------

inline float at(const K7Image& image, int x, int y, int c = 0) {
    return image_row<float>(&image, y)[image.channels * x + c];
}
inline float& at(K7Image& image, int x, int y, int c = 0) {
    return image_row<float>(&image, y)[image.channels * x + c];
}

inline ImagePtr picture(int width, int height, const std::function<float(int x, int y, int c)>& sample) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) at(*image, x, y, c) = sample(x, y, c);
    return image;
}

inline ImagePtr flat(int width, int height, float red, float green, float blue, float alpha = 1.0f) {
    const float colour[] = {red, green, blue, alpha};
    return picture(width, height, [&](int, int, int c) { return colour[c]; });
}
inline ImagePtr flat(int width, int height, float value) { return flat(width, height, value, value, value, value); }

inline ImagePtr noise(int width, int height, unsigned seed = 1, float low = 0.0f, float high = 1.0f) {
    return noise_image(width, height, 4, SAMPLE_F32, seed, low, high);
}

// Largest difference of two pictures, in all channels or one; infinite where only one of them is a number.
inline double difference(const K7Image& a, const K7Image& b, int channel = -1) {
    double worst = 0;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x)
            for (int c = 0; c < a.channels; ++c) {
                const double d = channel < 0 || c == channel ? std::fabs(double(at(a, x, y, c)) - at(b, x, y, c)) : 0.0;
                worst = d <= worst ? worst : (d > worst ? d : INFINITY);
            }
    return worst;
}

// ---- The shot -------------------------------------------------------------------------------------------------

// What a host would show in a control after that value was written, by a user or a preset.
inline void set_control(ControlK7& control, const double* values) {
    if (auto* number = dynamic_cast<FloatControlK7*>(&control)) number->value = values[0];
    if (auto* whole = dynamic_cast<IntegerControlK7*>(&control)) whole->value = static_cast<int>(values[0]);
    if (auto* box = dynamic_cast<CheckboxControlK7*>(&control)) box->value = values[0] != 0;
    if (auto* list = dynamic_cast<ListControlK7*>(&control)) list->value = static_cast<int>(values[0]) + 1;
    if (auto* point = dynamic_cast<PositionControlK7*>(&control)) point->x = values[0], point->y = values[1];
    if (auto* colour = dynamic_cast<ColourControlK7*>(&control)) {
        colour->red = static_cast<float>(values[0]);
        colour->green = static_cast<float>(values[1]);
        colour->blue = static_cast<float>(values[2]);
    }
}

template <class EffectClass>
struct EffectShot {
    EffectClass effect;
    ImagePtr source;  // what the primary clip shows, and every other one that has no picture

    explicit EffectShot(ImagePtr shown) : source(std::move(shown)) {}

    // The output begins as the source. The picture stays in the effect until the next render.
    K7Image& render(double frame = 0.0) {
        effect.primary()->image.reset(image_duplicate(source.get()));
        for (ClipRecord* clip : effect.inputs())
            if (!clip->image) clip->image.reset(image_duplicate(source.get()));
        effect.output.image.reset(image_duplicate(source.get()));
        effect.currentFrame = frame;
        effect.ProcessFrame();
        return *effect.output.image;
    }
    ImagePtr copy(double frame = 0.0) { return ImagePtr(image_duplicate(&render(frame))); }
    bool shows_source(double frame = 0.0) { return same_pixels(&render(frame), source.get()); }

    static int preset_count() { return static_cast<int>(EffectClass().presetTables().front().names.size()); }
    void choose_preset(int preset) {
        for (const PresetLine& line : effect.presetTables().front().lines)
            if (const PresetCell& cell = line.cells[static_cast<std::size_t>(preset)]; cell.listed())
                set_control(*line.control, cell.numbers());
    }
};
