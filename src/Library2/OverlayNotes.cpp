#include "Library2/OverlayNotes.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float INSET_PIXELS = 24.0f;    // from the edge to the middle of a pointer's handle
constexpr float SPACING_PIXELS = 28.0f;  // between pointers
constexpr float NAME_PIXELS = 11.0f;     // from a part to its name
constexpr float NAME_LINE_PIXELS = 16.0f;

// The rectangle around the picture's middle on whose border pointers stand.
struct PointerFrame {
    Point middle, half;

    explicit PointerFrame(const OverlayView& view)
        : middle(view.place(0.5, 0.5)), half{inset(middle.x, view), inset(middle.y, view)} {}

    Point limited(Point p) const {
        return {std::clamp(p.x, middle.x - half.x, middle.x + half.x),
                std::clamp(p.y, middle.y - half.y, middle.y + half.y)};
    }
    Point onBorder(Point target) const {
        const Point way = target - middle;
        const float across = std::fabs(way.x) / half.x, up = std::fabs(way.y) / half.y;
        const float farther = std::max(across, up);
        return farther > 0.0f ? limited(middle + way * (1.0f / farther)) : middle;
    }
    // Along the side on which a place of the border lies.
    Point sideways(Point place) const {
        const bool onUpright = std::fabs(place.x - middle.x) * half.y >= std::fabs(place.y - middle.y) * half.x;
        return onUpright ? Point{0.0f, 1.0f} : Point{1.0f, 0.0f};
    }

  private:
    static float inset(float half, const OverlayView& view) {
        return std::max(half - INSET_PIXELS * pixel(view), 0.5f * half);
    }
    static float pixel(const OverlayView& view) { return view.hitScale > 0.0f ? 1.0f / view.hitScale : 0.2f; }
};

Point unitVector(Point way) {
    const float distance = length(way);
    return distance > 0.0f && std::isfinite(distance) ? way * (1.0f / distance) : Point{1.0f, 0.0f};
}

// The nearest free place beside one that may be taken, in turn to either side of it; closer together where the side of
// the frame is too short.
Point freePlace(Point wanted, const PointerFrame& frame, std::span<const OverlayPointer> taken, float widest) {
    const Point side = frame.sideways(wanted);
    for (const float spacing : {widest, 0.75f * widest, 0.5f * widest})
        for (int step = 0; step <= 2 * static_cast<int>(taken.size()); ++step)
            for (const float sign : {1.0f, -1.0f}) {
                const Point place = frame.limited(wanted + side * (sign * static_cast<float>(step) * spacing));
                const auto collides = [&](const OverlayPointer& other) {
                    return length(other.at - place) < 0.95f * spacing;
                };
                if (std::ranges::none_of(taken, collides)) return place;
            }
    return wanted;
}

}  // namespace

std::vector<OverlayPointer> edgePointers(std::span<OverlayControlK7* const> widgets, const OverlayView& view) {
    std::vector<OverlayPointer> pointers;
    if (view.width <= 0 || view.height <= 0) return pointers;
    const PointerFrame frame(view);
    const float spacing = view.hitScale > 0.0f ? SPACING_PIXELS / view.hitScale : 0.0f;
    for (OverlayControlK7* widget : widgets) {
        if (!widget->visible || !widget->overlay) continue;
        for (int part = 1; part <= widget->parts(); ++part) {
            const bool held = widget->byPointer() && widget->grabbed == part;
            if (widget->inPicture(part)) continue;
            const Point target = widget->partPlace(part, held ? widget->lastPen() : frame.middle);
            const Point wanted = held ? frame.limited(widget->lastPen()) : frame.onBorder(target);
            const Point at = held ? wanted : freePlace(wanted, frame, pointers, spacing);
            pointers.push_back({widget, part, at, unitVector(target - at)});
        }
    }
    return pointers;
}

std::optional<OverlayPointer> pointerAt(std::span<const OverlayPointer> pointers, const OverlayView& view, Point pen) {
    const float reach = 2.0f * view.hitRadius();
    for (const OverlayPointer& pointer : pointers) {
        const Point off = pen - pointer.at;
        if (std::fabs(off.x) < reach && std::fabs(off.y) < reach) return pointer;
    }
    return std::nullopt;
}

void drawPointers(std::span<const OverlayPointer> pointers, const OverlayPen& pen) {
    for (const OverlayPointer& pointer : pointers) {
        pen.colour(pointer.widget->colour);
        pen.pointer(pointer.at, pointer.direction,
                    pointer.widget->byPointer() && pointer.widget->hovered == pointer.part);
    }
}

void drawNames(std::span<OverlayControlK7* const> widgets, std::span<const OverlayPointer> pointers,
               const OverlayView& view, const OverlayPen& pen) {
    const Point size = view.place(1.0, 1.0);
    const float gap = pen.pixels(NAME_PIXELS), capital = pen.pixels(OverlayPen::TEXT_PIXELS);
    int shown = 0;
    for (const OverlayControlK7* widget : widgets) {
        const int part = widget->grabbed ? widget->grabbed : widget->hovered;
        if (part == 0 || !widget->visible || !widget->overlay) continue;
        Point anchor = widget->partPlace(part, widget->lastPen());
        if (widget->byPointer())
            for (const OverlayPointer& pointer : pointers)
                if (pointer.widget == widget && pointer.part == part) anchor = pointer.at;
        const std::string name = widget->partName(part);
        Point start = anchor + Point{gap, 0.8f * gap};
        if (anchor.x >= 0.0f && anchor.x <= size.x && anchor.y >= 0.0f && anchor.y <= size.y) {
            const float width = pen.textWidth(name);
            if (start.x + width > size.x) start.x = anchor.x - gap - width;
            if (start.y + capital > size.y - 0.5f * gap) start.y = anchor.y - gap - capital;
        }
        start.y -= pen.pixels(NAME_LINE_PIXELS) * static_cast<float>(shown++);
        pen.colour(OVERLAY_WHITE);
        pen.text(start, name);
    }
}
