// The controls of one curve that is drawn over the picture: six points, the hidden numbers of the preset that they come
// from, and the overlay that drags them.
#pragma once

#include <array>
#include <string>

#include "effects/engines/curves/CurveOverlay.h"

struct CurveControls {
    static constexpr std::size_t POINTS = ControlCurve::CONTROLS;
    struct Given {
        std::string name;  // "Red" for the points Red1 to Red6
        std::array<CurvePoint, POINTS> points;
        const char* from;  // what the axes are, for the sentences
        const char* to;
        const char* note = "";                     // what else the heights do
        std::array<const char*, 2> presetNumbers;  // names of the hidden controls
        OverlayColour colour;
    };
    CurveControls(EffectInfo* owner, const Given& given);
    ControlCurve curve() const;  // of the values fetched for a render

    std::array<CurvePointControlK7, POINTS> points;
    std::array<FloatControlK7, 2> presetNumbers;
    CurveOverlayK7 widget;
};
