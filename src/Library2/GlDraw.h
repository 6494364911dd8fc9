// Drawing for overlays: the OpenGL 1.1 functions they need, and the primitives on top.
//
// OpenGL is looked for at the first draw, in what the process already has and then in the system's library; the bundle
// does not link to it. Where there is none, nothing is drawn.
#pragma once

struct GlFunctions {
    void (*begin)(unsigned int mode);
    void (*end)();
    void (*vertex2f)(float x, float y);
    void (*color4f)(float r, float g, float b, float a);
    void (*pushMatrix)();
    void (*popMatrix)();
};

inline constexpr unsigned int GL_LINES_MODE = 1;
inline constexpr unsigned int GL_QUADS_MODE = 7;

// Null where the process has no OpenGL.
const GlFunctions* glFunctions();
// Tests draw into a recorder; null goes back to the system's.
void setGlFunctions(const GlFunctions* functions);

struct Point {
    float x, y;
};

// Components 0 to 65535.
struct OverlayColour {
    float red, green, blue, alpha;
};
inline constexpr float FULL_COLOUR = 65535.0f;
inline constexpr OverlayColour OVERLAY_WHITE{FULL_COLOUR, FULL_COLOUR, FULL_COLOUR, FULL_COLOUR};
inline constexpr OverlayColour OVERLAY_YELLOW{FULL_COLOUR, FULL_COLOUR, 0.0f, FULL_COLOUR};

inline constexpr float DASH_PIXELS = 8.0f;

// Primitives in image units; `hitScale` is pixels for one unit. Each does nothing without OpenGL.
class OverlayPen {
  public:
    explicit OverlayPen(float hitScale);

    void colour(const OverlayColour& colour) const;
    void line(Point from, Point to) const;
    void dashedLine(Point from, Point to) const;
    void handle(Point centre, bool highlighted) const;
    void crosshair(Point centre, bool smallCross) const;
    void ellipse(Point centre, float radiusX, float radiusY, float rotationDegrees, bool dashed) const;
    // A dashed one has the y of its corners multiplied by the aspect.
    void rectangle(Point centre, float halfWidth, float halfHeight, float rotationDegrees, bool dashed,
                   float aspect = 1.0f) const;
    void arrow(Point from, Point to) const;
    float pixels(float count) const { return count * m_unit; }  // screen pixels in image units

  private:
    void segments(const Point* points, int count) const;  // pairs
    const GlFunctions* m_gl;
    float m_unit;  // image units for one pixel
};

// Brackets the drawing of one overlay.
class OverlayMatrix {
  public:
    OverlayMatrix() : m_gl(glFunctions()) {
        if (m_gl) m_gl->pushMatrix();
    }
    ~OverlayMatrix() {
        if (m_gl) m_gl->popMatrix();
    }
    OverlayMatrix(const OverlayMatrix&) = delete;
    OverlayMatrix& operator=(const OverlayMatrix&) = delete;

  private:
    const GlFunctions* m_gl;
};

Point rotated(Point point, float degrees);
