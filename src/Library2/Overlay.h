// The overlay side of an effect: handles drawn in the host's viewer, and the pen that drags them.
#pragma once

#include <string>
#include <vector>

#include "Library2/Controls.h"
#include "Library2/EffectInfo.h"
#include "Library2/GlDraw.h"

enum class PenEventCode : int { Hover = 0, Down = 1, Motion = 2, Up = 3 };

// How the viewer shows the picture, computed before each draw and pen event.
struct OverlayView {
    int width = 0;  // project size x render scale
    int height = 0;
    float aspect = 1.0f;  // x scale between pen space and image space
    float vertical = 1.0f;
    float hitScale = 0.0f;  // pixels for one image unit

    // Half the side of the square around a handle in which the pen catches it, in image units.
    float hitRadius() const { return hitScale == 0.0f ? 1.0f : 5.0f / hitScale; }
    // From the picture's 0 to 1 to image units, and lengths that are fractions of the half width.
    Point place(double x, double y) const { return {static_cast<float>(x * width), static_cast<float>(y * height)}; }
    float length(double radius) const { return static_cast<float>(radius * 0.5 * width); }
};

// The second base of every effect. Effects without an overlay leave it alone.
class OverlayK7 {
  public:
    virtual ~OverlayK7() = default;
    virtual void Draw();                                          // draws each visible widget, in order, on outlines
    virtual void PenEvent(PenEventCode event, float x, float y);  // passes the event to each widget, in order

    OverlayView view;

  protected:
    virtual EffectInfo& overlayInfo() = 0;
    virtual void PrepareOverlay() {}             // sets the widgets' visibility for the mode in use
    virtual void DrawMore(const OverlayPen&) {}  // what no widget draws, after them
};

// A widget: a member of the effect's info record, declared after the controls it follows. It draws itself from their
// overlay fields, is hit by the pen, and writes them.
//
// A part that lies outside the picture has a pointer at the picture's edge as well, a handle with an arrow towards it
// (OverlayNotes.h). Held by that, the part moves as far as the pen does.
class OverlayControlK7 {
  public:
    OverlayControlK7(EffectInfo* owner, std::initializer_list<ControlK7*> followedControls);
    virtual ~OverlayControlK7() = default;
    OverlayControlK7(const OverlayControlK7&) = delete;
    OverlayControlK7& operator=(const OverlayControlK7&) = delete;

    virtual const char* kind() const = 0;  // for the documentation
    virtual void OnPen(PenEventCode event, float x, float y);
    // Motion and release move the held part to the pen and write the controls; release lets go.
    virtual void Apply(PenEventCode event, float x, float y);
    void Draw(const OverlayPen& pen);
    virtual void drawBehind(const OverlayPen&) const {}  // what lies under all widgets

    OverlayColour colour = OVERLAY_WHITE;  // another one where an effect tells its widgets apart by it
    bool visible = true;
    int grabbed = 0;                         // the part held by the pen; 0 none
    int hovered = 0;                         // the part under the pen
    OverlayK7* overlay = nullptr;            // null: the widget does nothing
    const std::vector<ControlK7*> followed;  // the controls it shows

    virtual int parts() const { return 1; }
    // Where a part is; of one that is a whole outline, the point of it that is nearest to `towards`.
    virtual Point partPlace(int part, Point towards) const = 0;
    virtual bool inPicture(int part) const;            // whether the pen can catch it there
    virtual std::string partName(int part) const;      // the labels of what it moves
    Point lastPen() const { return m_pen; }            // in the picture's coordinates
    bool byPointer() const { return m_byPointer; }     // hovered and grabbed through the pointer
    void takeByPointer(PenEventCode event, int part);  // hover or down, right after OnPen

  protected:
    const OverlayView& view() const { return overlay->view; }
    bool near(Point place, float x, float y) const;  // strictly within the hit square

    virtual int partAt(float x, float y) const;                        // the first part under the pen; 0 none
    virtual std::vector<ControlK7*> partControls(int part) const = 0;  // those that a part moves
    virtual void moveTo(int part, Point pen) = 0;                      // the controls' new overlay fields
    virtual void write(int part);                                      // and to the host
    virtual void draw(const OverlayPen& pen) const = 0;

  private:
    Point inPictureSpace(float x, float y) const;
    Point m_pen{};
    Point m_offset{};  // from the pen to the part that is held by its pointer
    bool m_byPointer = false;
};

// ---- Widgets --------------------------------------------------------------------------------------------------
// The parts of a widget count from 1. Radii are fractions of the half width, as the controls that they follow.

class CrosshairOverlayK7 : public OverlayControlK7 {  // 1: the centre
  public:
    CrosshairOverlayK7(EffectInfo* owner, PositionControlK7& position, bool smallCross = false)
        : OverlayControlK7(owner, {&position}), m_position(position), m_smallCross(smallCross) {}
    const char* kind() const override { return "crosshair"; }
    Point partPlace(int part, Point towards) const override;

  protected:
    std::vector<ControlK7*> partControls(int) const override { return {&m_position}; }
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    PositionControlK7& m_position;
    bool m_smallCross;
};

class LineOverlayK7 : public OverlayControlK7 {  // 1, 2: the ends
  public:
    LineOverlayK7(EffectInfo* owner, PositionControlK7& from, PositionControlK7& to, bool asArrow = false)
        : OverlayControlK7(owner, {&from, &to}), m_ends{&from, &to}, m_asArrow(asArrow) {}
    const char* kind() const override { return "line"; }
    int parts() const override { return 2; }
    Point partPlace(int part, Point towards) const override;

  protected:
    std::vector<ControlK7*> partControls(int part) const override { return {m_ends[part - 1]}; }
    void moveTo(int part, Point pen) override;
    void write(int part) override;  // both ends
    void draw(const OverlayPen& pen) const override;

  private:
    PositionControlK7* m_ends[2];
    bool m_asArrow;
};

class AngleOverlayK7 : public OverlayControlK7 {  // 1: the handle at the end of the radius
  public:
    AngleOverlayK7(EffectInfo* owner, PositionControlK7& centre, FloatControlK7& angle, float radius = 0.1f)
        : OverlayControlK7(owner, {&centre, &angle}), m_centre(centre), m_angle(angle), m_radius(radius) {}
    const char* kind() const override { return "angle"; }
    Point partPlace(int part, Point towards) const override;

  protected:
    std::vector<ControlK7*> partControls(int) const override { return {&m_angle}; }
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    PositionControlK7& m_centre;
    FloatControlK7& m_angle;
    float m_radius;
};

// An outline that is caught anywhere on it: in the viewer as wide as high, but for the aspect of its pixels.
struct OverlayRing {
    Point centre;
    float radius;
    float aspect;

    float distance(Point place) const;  // from the centre, as on a circle
    bool catches(float x, float y, float hitRadius) const;
    bool meets(const OverlayView& view) const;  // whether any of it is in the picture
    Point nearest(Point towards) const;
};

// An ellipse with two radii (1: both, 2: horizontal, 3: vertical), or with one radius a circle of the picture (2:
// anywhere on it): where the viewer's pixels are not square, its vertical radius is the other one times their aspect.
class CircleOverlayK7 : public OverlayControlK7 {
  public:
    CircleOverlayK7(EffectInfo* owner, PositionControlK7& centre, SizeControlK7& radius)
        : OverlayControlK7(owner, {&centre, &radius}),
          m_centre(centre),
          m_radiusX(radius),
          m_radiusY(nullptr),
          m_rotation(nullptr) {}
    CircleOverlayK7(EffectInfo* owner, PositionControlK7& centre, SizeControlK7& radiusX, SizeControlK7& radiusY,
                    FloatControlK7* rotation = nullptr);

    bool dashed = false;
    const char* kind() const override { return "circle"; }
    int parts() const override { return 3; }
    Point partPlace(int part, Point towards) const override;
    bool inPicture(int part) const override;

  protected:
    int partAt(float x, float y) const override;
    std::vector<ControlK7*> partControls(int part) const override;
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    bool round() const { return m_radiusY == nullptr; }
    OverlayRing ring() const;
    float degrees() const { return m_rotation ? static_cast<float>(m_rotation->overlayValue) : 0.0f; }
    PositionControlK7& m_centre;
    SizeControlK7& m_radiusX;
    SizeControlK7* m_radiusY;
    FloatControlK7* m_rotation;
};

// A ring around a circle: 1: the outer ring, whose distance from the circle is the delta.
class DeltaCircleOverlayK7 : public OverlayControlK7 {
  public:
    DeltaCircleOverlayK7(EffectInfo* owner, PositionControlK7& centre, SizeControlK7& radius, SizeControlK7& delta)
        : OverlayControlK7(owner, {&centre, &radius, &delta}), m_centre(centre), m_radius(radius), m_delta(delta) {}
    const char* kind() const override { return "ring"; }
    Point partPlace(int, Point towards) const override { return ring().nearest(towards); }
    bool inPicture(int) const override { return ring().meets(view()); }

  protected:
    int partAt(float x, float y) const override { return ring().catches(x, y, view().hitRadius()) ? 1 : 0; }
    std::vector<ControlK7*> partControls(int) const override { return {&m_delta}; }
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    OverlayRing ring() const;
    PositionControlK7& m_centre;
    SizeControlK7& m_radius;
    SizeControlK7& m_delta;
};

class RectangleOverlayK7 : public OverlayControlK7 {  // 1: corner, 2: right side, 3: top
  public:
    RectangleOverlayK7(EffectInfo* owner, PositionControlK7& centre, SizeControlK7& width, SizeControlK7& height,
                       FloatControlK7* rotation = nullptr);

    bool dashed = false;
    bool heightInHeights = false;  // the height counts half heights of the picture, not half widths
    const char* kind() const override { return "rectangle"; }
    int parts() const override { return 3; }
    Point partPlace(int part, Point towards) const override;

  protected:
    std::vector<ControlK7*> partControls(int part) const override;
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    float degrees() const { return m_rotation ? static_cast<float>(m_rotation->overlayValue) : 0.0f; }
    float halfHeight() const;
    PositionControlK7& m_centre;
    SizeControlK7& m_width;
    SizeControlK7& m_height;
    FloatControlK7* m_rotation;
};
