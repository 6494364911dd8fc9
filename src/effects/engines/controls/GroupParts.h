// What groups of controls are made with.
#pragma once

#include <optional>

#include "Library2/EffectInfo.h"

// A position in the picture, as fractions of its width and height.
struct Place {
    double x, y;
};

// A control of a group that not every effect has.
template <class Control, class Param>
std::optional<Control> controlIf(bool wanted, EffectInfo* owner, const Param& param, const char* sentence) {
    if (!wanted) return std::nullopt;
    return std::optional<Control>(std::in_place, owner, param, sentence);
}
