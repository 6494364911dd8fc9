// The overlay side of an effect: handles drawn in the host's viewer, and the pen that drags them.
#pragma once

#include "Library2/Controls.h"
#include "Library2/EffectInfo.h"

enum class PenEventCode : int { Hover = 0, Down = 1, Motion = 2, Up = 3 };

// How the viewer shows the picture, computed before each draw and pen event.
struct OverlayView {
    int width = 0;          // project size x render scale
    int height = 0;
    float aspect = 1.0f;    // x scale between pen space and image space
    float vertical = 1.0f;
    float hitScale = 0.0f;  // pixels for one image unit

    // Half the side of the square around a handle in which the pen catches it, in image units.
    float hitRadius() const { return hitScale == 0.0f ? 1.0f : 5.0f / hitScale; }
};

// The second base of every effect. Effects without an overlay leave it alone.
class OverlayK7 {
  public:
    virtual ~OverlayK7() = default;
    virtual void Draw() {}
    virtual void PenEvent(PenEventCode event, float x, float y);  // passes the event to each widget, in order

    OverlayView view;

  protected:
    virtual EffectInfo& overlayInfo() = 0;
};

// A widget: a member of the effect's info record that draws, is hit, and moves the controls it follows.
class OverlayControlK7 {
  public:
    explicit OverlayControlK7(EffectInfo* owner) { owner->addWidget(this); }
    virtual ~OverlayControlK7() = default;
    OverlayControlK7(const OverlayControlK7&) = delete;
    OverlayControlK7& operator=(const OverlayControlK7&) = delete;

    virtual void OnPen(PenEventCode event, float x, float y) = 0;
    virtual void Apply(PenEventCode event, float x, float y) = 0;
    virtual void Draw() = 0;

    bool visible = true;
    int grabbed = 0;  // the part held by the pen; 0 none
    int hovered = 0;  // the part under the pen
    OverlayK7* overlay = nullptr;             // null: the widget does nothing
    std::vector<ControlK7*> followed;         // the controls it shows

  protected:
    void follow(ControlK7& control) {
        control.followedByOverlay = true;
        followed.push_back(&control);
    }
};
