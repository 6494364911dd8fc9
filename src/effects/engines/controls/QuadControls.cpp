#include "effects/engines/controls/QuadControls.h"

QuadControls::QuadControls(EffectInfo* owner, const Given& given)
    : TL(owner, {"TL", "Top Left", given.places[0][0], given.places[0][1]}, given.sentences[0]),
      BL(owner, {"BL", "Bottom Left", given.places[1][0], given.places[1][1]}, given.sentences[1]),
      TR(owner, {"TR", "Top Right", given.places[2][0], given.places[2][1]}, given.sentences[2]),
      BR(owner, {"BR", "Bottom Right", given.places[3][0], given.places[3][1]}, given.sentences[3]) {}

std::array<float, 8> QuadControls::corners(float row_scale) const {
    const auto y = [&](const PositionControlK7& corner) { return float(corner.y) * row_scale; };
    return {float(BL.x), y(BL), float(TL.x), y(TL), float(TR.x), y(TR), float(BR.x), y(BR)};
}
std::array<float, 8> QuadControls::overlayCorners(float row_scale) const {
    const auto y = [&](const PositionControlK7& corner) { return float(corner.overlayY) * row_scale; };
    return {float(BL.overlayX), y(BL), float(TL.overlayX), y(TL), float(TR.overlayX), y(TR), float(BR.overlayX), y(BR)};
}

// ---- Handles --------------------------------------------------------------------------------------------------

QuadOverlayK7::QuadOverlayK7(EffectInfo* owner, QuadControls& quad)
    : OverlayControlK7(owner, {&quad.TL, &quad.BL, &quad.TR, &quad.BR}),
      m_corners{&quad.TL, &quad.TR, &quad.BR, &quad.BL} {}

Point QuadOverlayK7::partPlace(int part, Point) const {
    return view().place(m_corners[part - 1]->overlayX, m_corners[part - 1]->overlayY);
}
void QuadOverlayK7::moveTo(int part, Point pen) {
    m_corners[part - 1]->overlayX = double(pen.x) / view().width;
    m_corners[part - 1]->overlayY = double(pen.y) / view().height;
}
void QuadOverlayK7::draw(const OverlayPen& pen) const {
    for (int part = 1; part <= 4; ++part) pen.line(partPlace(part, {}), partPlace(part % 4 + 1, {}));
    for (int part = 1; part <= 4; ++part) pen.handle(partPlace(part, {}), hovered == part);
}
