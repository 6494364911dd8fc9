// The overlay side of an effect: handles drawn in the host's viewer, and the pen that drags them.
#pragma once

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
    virtual void Draw();                                          // draws each visible widget, in order
    virtual void PenEvent(PenEventCode event, float x, float y);  // passes the event to each widget, in order

    OverlayView view;

  protected:
    virtual EffectInfo& overlayInfo() = 0;
    virtual void PrepareOverlay() {}             // sets the widgets' visibility for the mode in use
    virtual void DrawMore(const OverlayPen&) {}  // what no widget draws, after them
};

// A widget: a member of the effect's info record, declared after the controls it follows. It draws itself from their
// overlay fields, is hit by the pen, and writes them.
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

    OverlayColour colour = OVERLAY_WHITE;
    bool visible = true;
    int grabbed = 0;                         // the part held by the pen; 0 none
    int hovered = 0;                         // the part under the pen
    OverlayK7* overlay = nullptr;            // null: the widget does nothing
    const std::vector<ControlK7*> followed;  // the controls it shows

  protected:
    const OverlayView& view() const { return overlay->view; }
    bool near(Point place, float x, float y) const;  // strictly within the hit square

    virtual int partAt(float x, float y) const = 0;  // the first part under the pen; 0 none
    virtual void moveTo(int part, Point pen) = 0;    // the controls' new overlay fields
    virtual void write(int part) = 0;                // and to the host
    virtual void draw(const OverlayPen& pen) const = 0;
};

// ---- Widgets --------------------------------------------------------------------------------------------------
// The parts of a widget count from 1. Radii are fractions of the half width, as the controls that they follow.

class CrosshairOverlayK7 : public OverlayControlK7 {  // 1: the centre
  public:
    CrosshairOverlayK7(EffectInfo* owner, PositionControlK7& position, bool smallCross = false)
        : OverlayControlK7(owner, {&position}), m_position(position), m_smallCross(smallCross) {}
    const char* kind() const override { return "crosshair"; }

  protected:
    int partAt(float x, float y) const override;
    void moveTo(int part, Point pen) override;
    void write(int part) override;
    void draw(const OverlayPen& pen) const override;

  private:
    PositionControlK7& m_position;
    bool m_smallCross;
};

class LineOverlayK7 : public OverlayControlK7 {  // 1, 2: the ends
  public:
    LineOverlayK7(EffectInfo* owner, PositionControlK7& from, PositionControlK7& to, bool asArrow = false)
        : OverlayControlK7(owner, {&from, &to}), m_from(from), m_to(to), m_asArrow(asArrow) {}
    const char* kind() const override { return "line"; }

  protected:
    int partAt(float x, float y) const override;
    void moveTo(int part, Point pen) override;
    void write(int part) override;
    void draw(const OverlayPen& pen) const override;

  private:
    PositionControlK7& m_from;
    PositionControlK7& m_to;
    bool m_asArrow;
};

class AngleOverlayK7 : public OverlayControlK7 {  // 1: the handle at the end of the radius
  public:
    AngleOverlayK7(EffectInfo* owner, PositionControlK7& centre, FloatControlK7& angle, float radius = 0.1f)
        : OverlayControlK7(owner, {&centre, &angle}), m_centre(centre), m_angle(angle), m_radius(radius) {}
    const char* kind() const override { return "angle"; }

  protected:
    int partAt(float x, float y) const override;
    void moveTo(int part, Point pen) override;
    void write(int part) override;
    void draw(const OverlayPen& pen) const override;

  private:
    Point handlePlace() const;
    PositionControlK7& m_centre;
    FloatControlK7& m_angle;
    float m_radius;
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

  protected:
    int partAt(float x, float y) const override;
    void moveTo(int part, Point pen) override;
    void write(int part) override;
    void draw(const OverlayPen& pen) const override;

  private:
    bool round() const { return m_radiusY == nullptr; }
    float degrees() const { return m_rotation ? static_cast<float>(m_rotation->overlayValue) : 0.0f; }
    Point partPlace(int part) const;
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

  protected:
    int partAt(float x, float y) const override;
    void moveTo(int part, Point pen) override;
    void write(int part) override;
    void draw(const OverlayPen& pen) const override;

  private:
    PositionControlK7& m_centre;
    SizeControlK7& m_radius;
    SizeControlK7& m_delta;
};

class RectangleOverlayK7 : public OverlayControlK7 {  // 1: corner, 2: right side, 3: top
  public:
    RectangleOverlayK7(EffectInfo* owner, PositionControlK7& centre, SizeControlK7& width, SizeControlK7& height,
                       FloatControlK7* rotation = nullptr);

    bool dashed = false;
    const char* kind() const override { return "rectangle"; }

  protected:
    int partAt(float x, float y) const override;
    void moveTo(int part, Point pen) override;
    void write(int part) override;
    void draw(const OverlayPen& pen) const override;

  private:
    float degrees() const { return m_rotation ? static_cast<float>(m_rotation->overlayValue) : 0.0f; }
    Point partPlace(int part) const;
    PositionControlK7& m_centre;
    SizeControlK7& m_width;
    SizeControlK7& m_height;
    FloatControlK7* m_rotation;
};
