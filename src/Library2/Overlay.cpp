#include "Library2/Overlay.h"

#include <algorithm>
#include <cmath>

#include "Library2/OverlayNotes.h"

// ---- The overlay of an effect ---------------------------------------------------------------------------------

void OverlayK7::Draw() {
    const OverlayMatrix matrix;
    PrepareOverlay();
    const auto& widgets = overlayInfo().widgets();
    const auto pointers = edgePointers(widgets, view);
    const auto eachVisible = [&](auto&& action) {
        for (OverlayControlK7* widget : widgets)
            if (widget->visible && widget->overlay) action(*widget);
    };
    using enum OverlayPen::Pass;
    for (const auto pass : {Outline, Lines}) {
        const OverlayPen pen(view.hitScale, pass);
        eachVisible([&](const OverlayControlK7& widget) { widget.drawBehind(pen); });
    }
    for (const auto pass : {Outline, Lines}) {
        const OverlayPen pen(view.hitScale, pass);
        eachVisible([&](OverlayControlK7& widget) { widget.Draw(pen); });
        DrawMore(pen);
        drawPointers(pointers, pen);
    }
    for (const auto pass : {Outline, Lines}) drawNames(widgets, pointers, view, OverlayPen(view.hitScale, pass));
}

// The pointers at the edge are asked only where no widget has caught the pen, so that of parts that lie in the same
// direction no two are taken.
void OverlayK7::PenEvent(PenEventCode event, float x, float y) {
    PrepareOverlay();
    const auto& widgets = overlayInfo().widgets();
    bool caught = false;
    for (OverlayControlK7* widget : widgets)
        if (widget->visible || widget->grabbed) {
            widget->OnPen(event, x, y);
            caught = caught || widget->hovered != 0;
        }
    if (caught || (event != PenEventCode::Hover && event != PenEventCode::Down)) return;
    if (const auto pointer = pointerAt(edgePointers(widgets, view), view, {x, y}))
        pointer->widget->takeByPointer(event, pointer->part);
}

// ---- What all widgets share -----------------------------------------------------------------------------------

namespace {

// Beyond this no viewer reaches; what is farther, or no number, is no place.
constexpr float FARTHEST_PEN = 1e9f;

bool isPlace(Point p) { return std::fabs(p.x) < FARTHEST_PEN && std::fabs(p.y) < FARTHEST_PEN; }

}  // namespace

OverlayControlK7::OverlayControlK7(EffectInfo* owner, std::initializer_list<ControlK7*> followedControls)
    : followed(followedControls) {
    for (ControlK7* control : followed) control->followedByOverlay = true;
    owner->addWidget(this);
}

bool OverlayControlK7::near(Point place, float x, float y) const {
    const float r = view().hitRadius();
    return x > place.x - r && x < place.x + r && y > place.y - r && y < place.y + r;
}

// Where the aspect comes from the screen's pixels, positions already are the picture's.
Point OverlayControlK7::inPictureSpace(float x, float y) const {
    return {bundleState().quirks->squaredOverlayAspect ? x : x * view().aspect, y};
}

bool OverlayControlK7::inPicture(int part) const {
    const OverlayView& v = view();
    const float reach = 0.5f * v.hitRadius();
    const Point place = partPlace(part, {});
    return place.x > -reach && place.x < static_cast<float>(v.width) + reach && place.y > -reach &&
           place.y < static_cast<float>(v.height) + reach;
}

int OverlayControlK7::partAt(float x, float y) const {
    for (int part = 1; part <= parts(); ++part)
        if (near(partPlace(part, {x, y}), x, y)) return part;
    return 0;
}

std::string OverlayControlK7::partName(int part) const {
    std::string name;
    for (const ControlK7* control : partControls(part)) {
        const std::string& label = control->label();
        const auto first = label.find_first_not_of(' ');
        if (first == std::string::npos) continue;
        name += (name.empty() ? "" : ", ") + label.substr(first, label.find_last_not_of(' ') - first + 1);
    }
    return name;
}

void OverlayControlK7::write(int part) {
    for (const ControlK7* control : partControls(part)) control->writeOverlay();
}

void OverlayControlK7::OnPen(PenEventCode event, float x, float y) {
    if (!overlay) return;
    if (isPlace({x, y})) m_pen = inPictureSpace(x, y);
    switch (event) {
        case PenEventCode::Hover:
            hovered = visible ? partAt(x, y) : 0;
            m_byPointer = false;
            break;
        case PenEventCode::Down:
            hovered = grabbed = partAt(x, y);
            m_byPointer = false;
            m_offset = {};
            break;
        case PenEventCode::Motion:
        case PenEventCode::Up:
            break;
    }
    Apply(event, x, y);
}

void OverlayControlK7::takeByPointer(PenEventCode event, int part) {
    hovered = part;
    m_byPointer = true;
    if (event != PenEventCode::Down) return;
    grabbed = part;
    m_offset = partPlace(part, m_pen) - m_pen;
}

void OverlayControlK7::Apply(PenEventCode event, float x, float y) {
    if (event != PenEventCode::Motion && event != PenEventCode::Up) return;
    if (grabbed != 0 && view().width > 0 && view().height > 0 && isPlace({x, y})) {
        moveTo(grabbed, inPictureSpace(x, y) + m_offset);
        write(grabbed);
    }
    if (event == PenEventCode::Up) grabbed = 0;
}

void OverlayControlK7::Draw(const OverlayPen& pen) {
    if (!overlay) return;
    pen.colour(colour);
    draw(pen);
}
