// The widgets that every effect may have.
#include <algorithm>
#include <cmath>

#include "Library2/Overlay.h"
#include "k7pi_baselib/portable_math.h"

namespace {

Point placeOf(const PositionControlK7& position, const OverlayView& view) {
    return view.place(position.overlayX, position.overlayY);
}

void movePosition(PositionControlK7& position, Point pen, const OverlayView& view) {
    position.overlayX = static_cast<double>(pen.x) / view.width;
    position.overlayY = static_cast<double>(pen.y) / view.height;
}

// The pen seen from a centre, in the axes of a shape turned by `degrees`.
Point fromCentre(Point pen, Point centre, float degrees) { return rotated(pen - centre, -degrees); }

// Of a part at the corner, at the right or at the top of a shape around a centre.
Point partOfShape(int part, Point centre, float right, float up, float corner, float degrees) {
    const Point local = part == 1   ? Point{right * corner, up * corner}
                        : part == 2 ? Point{right, 0.0f}
                                    : Point{0.0f, up};
    return centre + rotated(local, degrees);
}

double asRadius(float distance, const OverlayView& view) { return 2.0 * static_cast<double>(distance) / view.width; }

constexpr float DEGREES_PER_RADIAN = 57.295776f;
constexpr float DIAGONAL = 0.70710678f;

}  // namespace

// ---- Crosshair ------------------------------------------------------------------------------------------------

Point CrosshairOverlayK7::partPlace(int, Point) const { return placeOf(m_position, view()); }
void CrosshairOverlayK7::moveTo(int, Point pen) { movePosition(m_position, pen, view()); }
void CrosshairOverlayK7::draw(const OverlayPen& pen) const { pen.crosshair(placeOf(m_position, view()), m_smallCross); }

// ---- Line -----------------------------------------------------------------------------------------------------

Point LineOverlayK7::partPlace(int part, Point) const { return placeOf(*m_ends[part - 1], view()); }
void LineOverlayK7::moveTo(int part, Point pen) { movePosition(*m_ends[part - 1], pen, view()); }
void LineOverlayK7::write(int) {
    for (const PositionControlK7* end : m_ends) end->writeOverlay();
}
void LineOverlayK7::draw(const OverlayPen& pen) const {
    const Point from = placeOf(*m_ends[0], view()), to = placeOf(*m_ends[1], view());
    m_asArrow ? pen.arrow(from, to) : pen.line(from, to);
    pen.handle(from, hovered == 1);
    pen.handle(to, hovered == 2);
}

// ---- Angle ----------------------------------------------------------------------------------------------------

Point AngleOverlayK7::partPlace(int, Point) const {
    const Point arm = rotated({view().length(m_radius), 0.0f}, static_cast<float>(m_angle.overlayValue));
    return placeOf(m_centre, view()) + arm;
}
void AngleOverlayK7::moveTo(int, Point pen) {
    const Point arm = pen - placeOf(m_centre, view());
    const float degrees = k7_atan2(arm.y, arm.x) * DEGREES_PER_RADIAN;
    m_angle.overlayValue = static_cast<double>(degrees < 0.0f ? degrees + 360.0f : degrees);
}
void AngleOverlayK7::draw(const OverlayPen& pen) const {
    const Point end = partPlace(1, {});
    pen.line(placeOf(m_centre, view()), end);
    pen.handle(end, hovered == 1);
}

// ---- Rings ----------------------------------------------------------------------------------------------------

float OverlayRing::distance(Point place) const { return length({place.x - centre.x, (place.y - centre.y) / aspect}); }

bool OverlayRing::catches(float x, float y, float hitRadius) const {
    return std::fabs(distance({x, y}) - radius) < hitRadius;
}

bool OverlayRing::meets(const OverlayView& view) const {
    const auto width = static_cast<float>(view.width), height = static_cast<float>(view.height);
    const float least = distance({std::clamp(centre.x, 0.0f, width), std::clamp(centre.y, 0.0f, height)});
    float most = 0.0f;
    for (const Point corner : {Point{0, 0}, Point{width, 0}, Point{0, height}, Point{width, height}})
        most = std::max(most, distance(corner));
    return least <= radius && radius <= most;
}

Point OverlayRing::nearest(Point towards) const {
    const float there = distance(towards);
    if (!(there > 0.0f)) return {centre.x + radius, centre.y};
    return centre + (towards - centre) * (radius / there);
}

// ---- Circle ---------------------------------------------------------------------------------------------------

CircleOverlayK7::CircleOverlayK7(EffectInfo* owner, PositionControlK7& centre, SizeControlK7& radiusX,
                                 SizeControlK7& radiusY, FloatControlK7* rotation)
    : OverlayControlK7(owner, rotation ? std::initializer_list<ControlK7*>{&centre, &radiusX, &radiusY, rotation}
                                       : std::initializer_list<ControlK7*>{&centre, &radiusX, &radiusY}),
      m_centre(centre),
      m_radiusX(radiusX),
      m_radiusY(&radiusY),
      m_rotation(rotation) {}

OverlayRing CircleOverlayK7::ring() const {
    return {placeOf(m_centre, view()), view().length(m_radiusX.overlayValue), view().aspect};
}
Point CircleOverlayK7::partPlace(int part, Point towards) const {
    if (round()) return ring().nearest(towards);
    return partOfShape(part, placeOf(m_centre, view()), view().length(m_radiusX.overlayValue),
                       view().length(m_radiusY->overlayValue), DIAGONAL, degrees());
}
bool CircleOverlayK7::inPicture(int part) const {
    if (!round()) return OverlayControlK7::inPicture(part);
    return part != 2 || ring().meets(view());
}
int CircleOverlayK7::partAt(float x, float y) const {
    if (round()) return ring().catches(x, y, view().hitRadius()) ? 2 : 0;
    return OverlayControlK7::partAt(x, y);
}
std::vector<ControlK7*> CircleOverlayK7::partControls(int part) const {
    if (round() || part == 2) return {&m_radiusX};
    return part == 3 ? std::vector<ControlK7*>{m_radiusY} : std::vector<ControlK7*>{&m_radiusX, m_radiusY};
}
void CircleOverlayK7::moveTo(int part, Point pen) {
    const Point centre = placeOf(m_centre, view());
    const float reached = length(pen - centre);
    if (round()) {
        m_radiusX.overlayValue = asRadius(ring().distance(pen), view());
    } else if (part == 2) {
        m_radiusX.overlayValue = asRadius(reached, view());
    } else if (part == 3) {
        m_radiusY->overlayValue = asRadius(reached, view());
    } else {  // both radii keep their ratio
        const float before = length(partPlace(1, {}) - centre);
        if (!(before > 0.0f)) return;
        const double ratio = static_cast<double>(reached / before);
        m_radiusX.overlayValue *= ratio;
        m_radiusY->overlayValue *= ratio;
    }
}
void CircleOverlayK7::draw(const OverlayPen& pen) const {
    const float rx = view().length(m_radiusX.overlayValue);
    const float ry = round() ? rx * view().aspect : view().length(m_radiusY->overlayValue);
    pen.ellipse(placeOf(m_centre, view()), rx, ry, degrees(), dashed);
    if (round()) return;
    for (int part = 1; part <= parts(); ++part) pen.handle(partPlace(part, {}), hovered == part);
}

// ---- Ring around a circle -------------------------------------------------------------------------------------

OverlayRing DeltaCircleOverlayK7::ring() const {
    return {placeOf(m_centre, view()), view().length(m_radius.overlayValue + m_delta.overlayValue), 1.0f};
}
void DeltaCircleOverlayK7::moveTo(int, Point pen) {
    m_delta.overlayValue = std::max(asRadius(ring().distance(pen), view()) - m_radius.overlayValue, 0.0);
}
void DeltaCircleOverlayK7::draw(const OverlayPen& pen) const {
    const OverlayRing outer = ring();
    pen.ellipse(outer.centre, outer.radius, outer.radius, 0.0f, true);
}

// ---- Rectangle ------------------------------------------------------------------------------------------------

RectangleOverlayK7::RectangleOverlayK7(EffectInfo* owner, PositionControlK7& centre, SizeControlK7& width,
                                       SizeControlK7& height, FloatControlK7* rotation)
    : OverlayControlK7(owner, rotation ? std::initializer_list<ControlK7*>{&centre, &width, &height, rotation}
                                       : std::initializer_list<ControlK7*>{&centre, &width, &height}),
      m_centre(centre),
      m_width(width),
      m_height(height),
      m_rotation(rotation) {}

float RectangleOverlayK7::halfHeight() const {
    const double height = m_height.overlayValue;
    return heightInHeights ? static_cast<float>(height * 0.5 * view().height) : view().length(height);
}
Point RectangleOverlayK7::partPlace(int part, Point) const {
    return partOfShape(part, placeOf(m_centre, view()), view().length(m_width.overlayValue), halfHeight(), 1.0f,
                       degrees());
}
std::vector<ControlK7*> RectangleOverlayK7::partControls(int part) const {
    if (part == 1) return {&m_width, &m_height};
    return {part == 2 ? &m_width : &m_height};
}
void RectangleOverlayK7::moveTo(int part, Point pen) {
    const Point local = fromCentre(pen, placeOf(m_centre, view()), degrees());
    if (part != 3) m_width.overlayValue = asRadius(std::fabs(local.x), view());
    if (part == 2) return;
    const float across =
        heightInHeights ? static_cast<float>(view().width) / static_cast<float>(std::max(view().height, 1)) : 1.0f;
    m_height.overlayValue = asRadius(std::fabs(local.y) * across, view());
}
void RectangleOverlayK7::draw(const OverlayPen& pen) const {
    pen.rectangle(placeOf(m_centre, view()), view().length(m_width.overlayValue), halfHeight(), degrees(), dashed,
                  view().aspect);
    for (int part = 1; part <= parts(); ++part) pen.handle(partPlace(part, {}), hovered == part);
}
