#include "effects/water/SurfaceControls.h"

SurfaceControls::SurfaceControls(EffectInfo* owner, const Given& given)
    : ChromaticAb(owner, {"ChromaticAb", "ChromaticAb", 0.0, 0.0, 200.0},
                  "How far the colours part where the surface bends the light: red, green and blue see it so many "
                  "hundredths of the picture higher than the one before; 0 keeps them together."),
      DoLight(owner, {"DoLight", "Lighting"}, "Lights the surface: highlights lie where its slopes face the light."),
      Light(owner, {"Light", "Light", 0.75, 0.75}, "Where the light stands over the picture."),
      LightZ(owner, {"LightZ", given.heightLabel, 0.5, 0.05, 5.0},
             "Height of the light above the surface, in widths of the picture: the lower, the more its side counts."),
      LightBright(owner, {"LightBright", "Light Bright", 100.0, 0.0, 200.0},
                  "Brightness of the highlights in percent of the light's colour; 0 is no light."),
      LightColour(owner, {"LightColour", "Light Colour", 1.0, 1.0, 1.0}, "Colour of the highlights."),
      Gloss(owner, {"Gloss", "Gloss", 45.0, 1.0, 1000.0},
            "How polished the surface is: 1 is a wide sheen, 1000 leaves only the sharpest glints."),
      Contrast(owner, {"Contrast", "Contrast", 100.0, 0.0, 100.0},
               "Brightness of the picture below the highlights in percent: less makes them stand out.") {
    owner->ghost({&Light, &LightZ, &LightBright, &LightColour, &Gloss, &Contrast}, DoLight, isOff);
}

SurfaceLight SurfaceControls::shining() const {
    return {.x = float(Light.x),
            .y = float(Light.y),
            .z = float(LightZ.value),
            .brightness = DoLight.value ? float(LightBright.value) * 0.01f : 0.0f,
            .contrast = float(Contrast.value) * 0.01f,
            .gloss = float(Gloss.value),
            .red = LightColour.red,
            .green = LightColour.green,
            .blue = LightColour.blue};
}

MatteControls::MatteControls(EffectInfo* owner)
    : UseMatte(owner, {"UseMatte", "Use Matte"},
               "Scales the waves by the matte's mean of red, green and blue: black is still water."),
      InvertMatte(owner, {"InvertMatte", "Invert Matte"}, "Scales the waves by the matte's negative instead.") {
    owner->ghost({&InvertMatte}, UseMatte, isOff);
}

// ---- Handles --------------------------------------------------------------------------------------------------

Point PlanePointOverlayK7::partPlace(int, Point) const {
    if (!inPerspective) return view().place(m_point.overlayX, m_point.overlayY);
    const float scale = rowScale();
    const PlaneView plane(m_quad.overlayCorners(scale), scale);
    const auto seen = plane.to_picture.at(float(m_point.overlayX), float(m_point.overlayY) * scale);
    return view().place(double(seen.x), double(seen.y / scale));
}
void PlanePointOverlayK7::moveTo(int, Point pen) {
    float x = pen.x / float(view().width), y = pen.y / float(view().height);
    if (inPerspective) {
        const float scale = rowScale();
        const auto place = PlaneView(m_quad.overlayCorners(scale), scale).to_plane.at(x, y * scale);
        x = place.x, y = place.y / scale;
    }
    m_point.overlayX = double(x);
    m_point.overlayY = double(y);
}
