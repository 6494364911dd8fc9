// What an overlay shows beside its widgets: pointers to parts that lie outside the picture, and names.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "Library2/Overlay.h"

// A handle near the picture's edge, on the way from the picture's middle to a part that lies outside.
struct OverlayPointer {
    OverlayControlK7* widget;
    int part;
    Point at;
    Point direction;  // to the part, of unit length
};

// Of all visible widgets' parts outside the picture, in the widgets' order. Those that would lie on each other stand
// side by side. None in a view without a picture.
std::vector<OverlayPointer> edgePointers(std::span<OverlayControlK7* const> widgets, const OverlayView& view);
// The first that the pen catches.
std::optional<OverlayPointer> pointerAt(std::span<const OverlayPointer> pointers, const OverlayView& view, Point pen);
void drawPointers(std::span<const OverlayPointer> pointers, const OverlayPen& pen);

// The name of each part under the pen or held by it, beside the part or its pointer, and within the picture if that is.
void drawNames(std::span<OverlayControlK7* const> widgets, std::span<const OverlayPointer> pointers,
               const OverlayView& view, const OverlayPen& pen);
