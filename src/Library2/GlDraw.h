// Drawing for overlays: the OpenGL 1.1 functions they need, and the primitives on top.
//
// OpenGL is looked for at the first draw, in what the process already has and then in the system's library; the bundle
// does not link to it. Where there is none, nothing is drawn.
#pragma once

#include <string_view>

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
constexpr Point operator+(Point a, Point b) { return {a.x + b.x, a.y + b.y}; }
constexpr Point operator-(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
constexpr Point operator*(Point a, float factor) { return {a.x * factor, a.y * factor}; }
float length(Point p);

// Components 0 to 65535.
struct OverlayColour {
    float red, green, blue, alpha;
};
inline constexpr float FULL_COLOUR = 65535.0f;
inline constexpr OverlayColour OVERLAY_WHITE{FULL_COLOUR, FULL_COLOUR, FULL_COLOUR, FULL_COLOUR};
inline constexpr OverlayColour OVERLAY_YELLOW{FULL_COLOUR, FULL_COLOUR, 0.0f, FULL_COLOUR};

inline constexpr float DASH_PIXELS = 8.0f;

// Primitives in image units; `hitScale` is pixels for one unit. Each does nothing without OpenGL.
//
// What is drawn is seen on any picture because it lies on a dark outline: the same calls are made twice, first with a
// pen of the outline, whatever colour they ask for, and then with one of the lines.
class OverlayPen {
  public:
    enum class Pass { Outline, Lines };
    explicit OverlayPen(float hitScale, Pass pass = Pass::Lines);

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
    // A handle with an arrow in a direction of unit length, for one that lies out there.
    void pointer(Point centre, Point direction, bool highlighted) const;
    // The frame of a graph, and the lines at every quarter of it, in greys.
    void grid(Point corner, Point opposite) const;
    // ASCII, from the left end of its base line.
    void text(Point start, std::string_view text) const;
    float textWidth(std::string_view text) const;

    float pixels(float count) const { return count * m_unit; }  // screen pixels in image units

    static constexpr float TEXT_PIXELS = 9.0f;  // height of a capital

  private:
    void colour(float red, float green, float blue, float alpha) const;
    void segments(const Point* points, int count) const;  // pairs
    void outline(Point from, Point to) const;
    void square(Point centre, float half) const;
    void head(Point tip, float angle, float length) const;
    const GlFunctions* m_gl;
    float m_unit;  // image units for one pixel
    Pass m_pass;
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
