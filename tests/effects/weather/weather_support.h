// A weather effect on a small plate, without a host.
#pragma once

#include <algorithm>
#include <string_view>

#include "Library2/EffectInfo.h"
#include "imagelib/imagelib.h"
#include "support/images.h"

namespace weather_test {

// What a host would show after the preset was chosen.
inline void apply(ControlK7* control, const double* values) {
    if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = values[0];
    if (auto* whole = dynamic_cast<IntegerControlK7*>(control)) whole->value = static_cast<int>(values[0]);
    if (auto* box = dynamic_cast<CheckboxControlK7*>(control)) box->value = values[0] != 0;
    if (auto* list = dynamic_cast<ListControlK7*>(control)) list->value = static_cast<int>(values[0]) + 1;
    if (auto* point = dynamic_cast<PositionControlK7*>(control)) point->x = values[0], point->y = values[1];
    if (auto* colour = dynamic_cast<ColourControlK7*>(control)) {
        colour->red = static_cast<float>(values[0]);
        colour->green = static_cast<float>(values[1]);
        colour->blue = static_cast<float>(values[2]);
    }
}

template <class EffectClass>
int presetCount() {
    return static_cast<int>(EffectClass().presetTables().front().names.size());
}

// The number of the preset of that name; -1: there is none.
template <class EffectClass>
int presetCalled(std::string_view name) {
    const EffectClass effect;
    const auto names = effect.Demos.choices();
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? -1 : static_cast<int>(found - names.begin());
}

template <class EffectClass>
struct Shot {
    EffectClass effect;
    ImagePtr plate;

    explicit Shot(int preset, int width = 96, int height = 64)
        : plate(noise_image(width, height, 4, SAMPLE_F32, 5, 0.1f, 0.4f)) {
        const PresetTable& table = effect.presetTables().front();
        for (const PresetLine& line : table.lines)
            if (const PresetCell& cell = line.cells[static_cast<std::size_t>(preset)]; cell.listed())
                apply(line.control, cell.numbers());
    }

    ImagePtr render(double frame) {
        for (ClipRecord* clip : effect.inputs())
            if (!clip->image) clip->image.reset(image_duplicate(plate.get()));
        effect.output.image.reset(image_duplicate(plate.get()));
        effect.currentFrame = frame;
        effect.ProcessFrame();
        return std::move(effect.output.image);
    }
};

}  // namespace weather_test
