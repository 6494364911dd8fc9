// A weather effect with one of its presets, on a small plate.
#pragma once

#include <algorithm>
#include <string_view>

#include "support/effect_shot.h"

namespace weather_test {

template <class EffectClass>
struct Shot : EffectShot<EffectClass> {
    explicit Shot(int preset, int width = 96, int height = 64)
        : EffectShot<EffectClass>(noise(width, height, 5, 0.1f, 0.4f)) {
        this->choose_preset(preset);
    }
    ImagePtr render(double frame) { return this->copy(frame); }
};

// The number of the preset of that name; -1: there is none.
template <class EffectClass>
int presetCalled(std::string_view name) {
    const EffectClass effect;
    const auto names = effect.Demos.choices();
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? -1 : static_cast<int>(found - names.begin());
}

inline float alpha(const K7Image* image, int x, int y) { return at(*image, x, y, 3); }

// The sum of alpha in a rectangle of fractions.
inline double light_in(const K7Image* image, double x0 = 0, double y0 = 0, double x1 = 1, double y1 = 1) {
    double sum = 0;
    for (int y = int(y0 * image->height); y < int(y1 * image->height); ++y)
        for (int x = int(x0 * image->width); x < int(x1 * image->width); ++x) sum += alpha(image, x, y);
    return sum;
}

// White in a rectangle of fractions, the rest black.
inline ImagePtr matte(int width, int height, double x0, double y0, double x1, double y1) {
    return picture(width, height, [=](int x, int y, int) {
        return float(x >= x0 * width && x < x1 * width && y >= y0 * height && y < y1 * height);
    });
}

}  // namespace weather_test
