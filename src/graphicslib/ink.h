// Private: ink onto a pixel, its four channels abreast. Plain vectors of the baseline: the same bits everywhere.
#pragma once

#include <cstring>
#include <type_traits>

#include "graphicslib/draw_blend.h"

namespace ink {

using Quad = float __attribute__((vector_size(16)));

inline Quad load(const float* from) {
    Quad value;
    std::memcpy(&value, from, sizeof value);
    return value;
}
inline void store(float* to, Quad value) { std::memcpy(to, &value, sizeof value); }

// Ink: colour times coverage, and the coverage.
template <DrawBlend BLEND>
inline Quad blended(Quad ink, Quad there) {
    using Mask = int __attribute__((vector_size(16)));
    constexpr Mask IS_ALPHA = {0, 0, 0, -1};
    const Quad over = ink + (1 - ink[3]) * there;
    if constexpr (BLEND == DrawBlend::over) return over;
    Quad light = there + ink;
    if constexpr (BLEND == DrawBlend::screen) {
        light = light - there * ink;
        const Quad brighter = there > ink ? there : ink;
        light = light > brighter ? light : brighter;
    }
    return IS_ALPHA ? over : light;
}

// draw(std::integral_constant<DrawBlend, ...>) for the blend at run time.
template <class Draw>
void with_blend(DrawBlend blend, Draw&& draw) {
    switch (blend) {
        case DrawBlend::over:
            return draw(std::integral_constant<DrawBlend, DrawBlend::over>());
        case DrawBlend::add:
            return draw(std::integral_constant<DrawBlend, DrawBlend::add>());
        case DrawBlend::screen:
            return draw(std::integral_constant<DrawBlend, DrawBlend::screen>());
    }
}

}  // namespace ink
