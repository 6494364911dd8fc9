// The handles of Snow and Rain: the line of births, the wind's arrow and the light's.
#pragma once

#include "Library2/Overlay.h"
#include "effects/engines/controls/ParticleControls.h"

struct WeatherOverlay {
    WeatherOverlay(EffectInfo* owner, EmitterControls& emitter, WindControls& blowing, BeamControls& shining)
        : births(owner, emitter.left, emitter.right),
          wind(owner, blowing.source, blowing.target, true),
          light(owner, shining.source, shining.target, true),
          windSource(blowing.source),
          lightSource(shining.source) {}

    // Forces that are switched off have no handles.
    void prepare() {
        wind.visible = !windSource.ghosted();
        light.visible = !lightSource.ghosted();
    }

    LineOverlayK7 births, wind, light;
    PositionControlK7 &windSource, &lightSource;
};
