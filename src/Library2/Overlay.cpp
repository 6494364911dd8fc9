#include "Library2/Overlay.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

// ---- The overlay of an effect ---------------------------------------------------------------------------------

void OverlayK7::Draw() {
    const OverlayMatrix matrix;
    const OverlayPen pen(view.hitScale);
    PrepareOverlay();
    for (OverlayControlK7* widget : overlayInfo().widgets())
        if (widget->visible) widget->Draw(pen);
    DrawMore(pen);
}

void OverlayK7::PenEvent(PenEventCode event, float x, float y) {
    PrepareOverlay();
    for (OverlayControlK7* widget : overlayInfo().widgets())
        if (widget->visible || widget->grabbed) widget->OnPen(event, x, y);
}

// ---- What all widgets share -----------------------------------------------------------------------------------

OverlayControlK7::OverlayControlK7(EffectInfo* owner, std::initializer_list<ControlK7*> followedControls)
    : followed(followedControls) {
    for (ControlK7* control : followed) control->followedByOverlay = true;
    owner->addWidget(this);
}

bool OverlayControlK7::near(Point place, float x, float y) const {
    const float r = view().hitRadius();
    return x > place.x - r && x < place.x + r && y > place.y - r && y < place.y + r;
}

void OverlayControlK7::OnPen(PenEventCode event, float x, float y) {
    if (!overlay) return;
    switch (event) {
        case PenEventCode::Hover:
            hovered = visible ? partAt(x, y) : 0;
            break;
        case PenEventCode::Down:
            hovered = grabbed = partAt(x, y);
            break;
        case PenEventCode::Motion:
        case PenEventCode::Up:
            break;
    }
    Apply(event, x, y);
}

void OverlayControlK7::Apply(PenEventCode event, float x, float y) {
    if (event != PenEventCode::Motion && event != PenEventCode::Up) return;
    if (grabbed != 0 && view().width > 0 && view().height > 0 && std::isfinite(x) && std::isfinite(y)) {
        // Where the aspect comes from the screen's pixels, positions already are the picture's.
        moveTo(grabbed, {bundleState().quirks->squaredOverlayAspect ? x : x * view().aspect, y});
        write(grabbed);
    }
    if (event == PenEventCode::Up) grabbed = 0;
}

void OverlayControlK7::Draw(const OverlayPen& pen) {
    if (!overlay) return;
    pen.colour(colour);
    draw(pen);
}

namespace {

Point placeOf(const PositionControlK7& position, const OverlayView& view) {
    return view.place(position.overlayX, position.overlayY);
}

void movePosition(PositionControlK7& position, Point pen, const OverlayView& view) {
    position.overlayX = static_cast<double>(pen.x) / view.width;
    position.overlayY = static_cast<double>(pen.y) / view.height;
}

void writePosition(const PositionControlK7& position) { position.SetValue(position.overlayX, position.overlayY); }

// The pen seen from a centre, in the axes of a shape turned by `degrees`.
Point fromCentre(Point pen, Point centre, float degrees) {
    return rotated({pen.x - centre.x, pen.y - centre.y}, -degrees);
}

double asRadius(float distance, const OverlayView& view) { return 2.0 * static_cast<double>(distance) / view.width; }

bool onCircle(Point centre, float radius, float x, float y, float hitRadius) {
    return std::fabs(k7_hypot(x - centre.x, y - centre.y) - radius) < hitRadius;
}

constexpr float DEGREES_PER_RADIAN = 57.295776f;
constexpr float DIAGONAL = 0.70710678f;

}  // namespace

// ---- Crosshair ------------------------------------------------------------------------------------------------

int CrosshairOverlayK7::partAt(float x, float y) const { return near(placeOf(m_position, view()), x, y) ? 1 : 0; }
void CrosshairOverlayK7::moveTo(int, Point pen) { movePosition(m_position, pen, view()); }
void CrosshairOverlayK7::write(int) { writePosition(m_position); }
void CrosshairOverlayK7::draw(const OverlayPen& pen) const { pen.crosshair(placeOf(m_position, view()), m_smallCross); }

// ---- Line -----------------------------------------------------------------------------------------------------

int LineOverlayK7::partAt(float x, float y) const {
    if (near(placeOf(m_from, view()), x, y)) return 1;
    return near(placeOf(m_to, view()), x, y) ? 2 : 0;
}
void LineOverlayK7::moveTo(int part, Point pen) { movePosition(part == 1 ? m_from : m_to, pen, view()); }
void LineOverlayK7::write(int) {
    writePosition(m_from);
    writePosition(m_to);
}
void LineOverlayK7::draw(const OverlayPen& pen) const {
    const Point from = placeOf(m_from, view()), to = placeOf(m_to, view());
    m_asArrow ? pen.arrow(from, to) : pen.line(from, to);
    pen.handle(from, hovered == 1);
    pen.handle(to, hovered == 2);
}

// ---- Angle ----------------------------------------------------------------------------------------------------

Point AngleOverlayK7::handlePlace() const {
    const Point centre = placeOf(m_centre, view());
    const Point arm = rotated({view().length(m_radius), 0.0f}, static_cast<float>(m_angle.overlayValue));
    return {centre.x + arm.x, centre.y + arm.y};
}
int AngleOverlayK7::partAt(float x, float y) const { return near(handlePlace(), x, y) ? 1 : 0; }
void AngleOverlayK7::moveTo(int, Point pen) {
    const Point centre = placeOf(m_centre, view());
    const float degrees = k7_atan2(pen.y - centre.y, pen.x - centre.x) * DEGREES_PER_RADIAN;
    m_angle.overlayValue = static_cast<double>(degrees < 0.0f ? degrees + 360.0f : degrees);
}
void AngleOverlayK7::write(int) { m_angle.SetValue(m_angle.overlayValue); }
void AngleOverlayK7::draw(const OverlayPen& pen) const {
    pen.line(placeOf(m_centre, view()), handlePlace());
    pen.handle(handlePlace(), hovered == 1);
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

Point CircleOverlayK7::partPlace(int part) const {
    const float rx = view().length(m_radiusX.overlayValue);
    const float ry = view().length(m_radiusY->overlayValue);
    const Point local = part == 1 ? Point{rx * DIAGONAL, ry * DIAGONAL} : part == 2 ? Point{rx, 0.0f} : Point{0.0f, ry};
    const Point centre = placeOf(m_centre, view()), turned = rotated(local, degrees());
    return {centre.x + turned.x, centre.y + turned.y};
}
int CircleOverlayK7::partAt(float x, float y) const {
    if (round()) {
        const Point centre = placeOf(m_centre, view());
        const float level = centre.y + (y - centre.y) / view().aspect;
        return onCircle(centre, view().length(m_radiusX.overlayValue), x, level, view().hitRadius()) ? 2 : 0;
    }
    for (int part = 1; part <= 3; ++part)
        if (near(partPlace(part), x, y)) return part;
    return 0;
}
void CircleOverlayK7::moveTo(int part, Point pen) {
    const Point local = fromCentre(pen, placeOf(m_centre, view()), degrees());
    if (round()) {
        m_radiusX.overlayValue = asRadius(k7_hypot(local.x, local.y / view().aspect), view());
    } else if (part == 2) {
        m_radiusX.overlayValue = asRadius(k7_hypot(local.x, local.y), view());
    } else if (part == 3) {
        m_radiusY->overlayValue = asRadius(k7_hypot(local.x, local.y), view());
    } else {  // both radii keep their ratio
        const Point held = fromCentre(partPlace(1), placeOf(m_centre, view()), degrees());
        const float before = k7_hypot(held.x, held.y);
        if (!(before > 0.0f)) return;
        const double ratio = static_cast<double>(k7_hypot(local.x, local.y) / before);
        m_radiusX.overlayValue *= ratio;
        m_radiusY->overlayValue *= ratio;
    }
}
void CircleOverlayK7::write(int part) {
    if (part != 3) m_radiusX.SetValue(m_radiusX.overlayValue);
    if (!round() && part != 2) m_radiusY->SetValue(m_radiusY->overlayValue);
}
void CircleOverlayK7::draw(const OverlayPen& pen) const {
    const float rx = view().length(m_radiusX.overlayValue);
    const float ry = round() ? rx * view().aspect : view().length(m_radiusY->overlayValue);
    pen.ellipse(placeOf(m_centre, view()), rx, ry, degrees(), dashed);
    if (round()) return;
    for (int part = 1; part <= 3; ++part) pen.handle(partPlace(part), hovered == part);
}

// ---- Ring around a circle -------------------------------------------------------------------------------------

int DeltaCircleOverlayK7::partAt(float x, float y) const {
    const float radius = view().length(m_radius.overlayValue + m_delta.overlayValue);
    return onCircle(placeOf(m_centre, view()), radius, x, y, view().hitRadius()) ? 1 : 0;
}
void DeltaCircleOverlayK7::moveTo(int, Point pen) {
    const Point local = fromCentre(pen, placeOf(m_centre, view()), 0.0f);
    m_delta.overlayValue = std::max(asRadius(k7_hypot(local.x, local.y), view()) - m_radius.overlayValue, 0.0);
}
void DeltaCircleOverlayK7::write(int) { m_delta.SetValue(m_delta.overlayValue); }
void DeltaCircleOverlayK7::draw(const OverlayPen& pen) const {
    const float radius = view().length(m_radius.overlayValue + m_delta.overlayValue);
    pen.ellipse(placeOf(m_centre, view()), radius, radius, 0.0f, true);
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

Point RectangleOverlayK7::partPlace(int part) const {
    const float w = view().length(m_width.overlayValue), h = view().length(m_height.overlayValue);
    const Point local = part == 1 ? Point{w, h} : part == 2 ? Point{w, 0.0f} : Point{0.0f, h};
    const Point centre = placeOf(m_centre, view()), turned = rotated(local, degrees());
    return {centre.x + turned.x, centre.y + turned.y};
}
int RectangleOverlayK7::partAt(float x, float y) const {
    for (int part = 1; part <= 3; ++part)
        if (near(partPlace(part), x, y)) return part;
    return 0;
}
void RectangleOverlayK7::moveTo(int part, Point pen) {
    const Point local = fromCentre(pen, placeOf(m_centre, view()), degrees());
    if (part != 3) m_width.overlayValue = asRadius(std::fabs(local.x), view());
    if (part != 2) m_height.overlayValue = asRadius(std::fabs(local.y), view());
}
void RectangleOverlayK7::write(int part) {
    if (part != 3) m_width.SetValue(m_width.overlayValue);
    if (part != 2) m_height.SetValue(m_height.overlayValue);
}
void RectangleOverlayK7::draw(const OverlayPen& pen) const {
    pen.rectangle(placeOf(m_centre, view()), view().length(m_width.overlayValue), view().length(m_height.overlayValue),
                  degrees(), dashed, view().aspect);
    for (int part = 1; part <= 3; ++part) pen.handle(partPlace(part), hovered == part);
}
