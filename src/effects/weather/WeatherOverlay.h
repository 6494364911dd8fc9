// The handles of Snow and Rain: the line of births, the wind's arrow and the light's.
#pragma once

#include "Library2/Overlay.h"

struct WeatherOverlay {
    WeatherOverlay(EffectInfo* owner, PositionControlK7& left, PositionControlK7& right, PositionControlK7& wind_source,
                   PositionControlK7& wind_target, PositionControlK7& light_source, PositionControlK7& light_target)
        : births(owner, left, right),
          wind(owner, wind_source, wind_target, true),
          light(owner, light_source, light_target, true),
          windSource(wind_source),
          lightSource(light_source) {}

    // What is switched off has no handles.
    void prepare() {
        wind.visible = !windSource.ghosted();
        light.visible = !lightSource.ghosted();
    }

    LineOverlayK7 births, wind, light;
    PositionControlK7 &windSource, &lightSource;
};
