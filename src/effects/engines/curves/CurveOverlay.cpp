#include "effects/engines/curves/CurveOverlay.h"

#include <algorithm>

namespace {

constexpr int STROKES = 12;  // of each span

ControlCurve shownCurve(const CurveOverlayK7::Controls& points) {
    std::array<CurvePoint, ControlCurve::CONTROLS> values{};
    for (std::size_t i = 0; i < points.size(); ++i) values[i] = {points[i]->overlayX, points[i]->overlayY};
    return ControlCurve(values);
}

}  // namespace

CurveOverlayK7::CurveOverlayK7(EffectInfo* owner, const Controls& points, OverlayColour curveColour)
    : OverlayControlK7(owner, {points[0], points[1], points[2], points[3], points[4], points[5]}), m_points(points) {
    colour = curveColour;
}

Point CurveOverlayK7::partPlace(int part, Point) const {
    return view().place(point(part).overlayX, point(part).overlayY);
}

void CurveOverlayK7::moveTo(int part, Point pen) {
    point(part).overlayX = std::clamp(static_cast<double>(pen.x) / view().width, 0.0, 1.0);
    point(part).overlayY = std::clamp(static_cast<double>(pen.y) / view().height, 0.0, 1.0);
}

void CurveOverlayK7::drawBehind(const OverlayPen& pen) const {
    pen.grid(view().place(0.0, 0.0), view().place(1.0, 1.0));
}

void CurveOverlayK7::draw(const OverlayPen& pen) const {
    const ControlCurve curve = shownCurve(m_points);
    const auto place = [&](int stroke) {
        const CurvePoint at = curve.at(double(stroke) / STROKES);
        return view().place(at.x, std::clamp(at.y, 0.0, 1.0));
    };
    for (int i = 0; i < STROKES * ControlCurve::SPANS; ++i) pen.line(place(i), place(i + 1));
    for (int part = 1; part <= parts(); ++part) pen.handle(partPlace(part, {}), hovered == part);
}
