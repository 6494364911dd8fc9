#include "Library2/GlDraw.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>
#include <vector>

#include "graphicslib/stroke_text.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

std::atomic<const GlFunctions*> s_replacement{nullptr};

template <class Function>
bool resolve(Function& function, const char* name) {
    function = reinterpret_cast<Function>(find_symbol(name, {"libGL.so.1", "libOpenGL.so.0"}));
    return function != nullptr;
}

bool resolveAll(GlFunctions& gl) {
    return resolve(gl.begin, "glBegin") && resolve(gl.end, "glEnd") && resolve(gl.vertex2f, "glVertex2f") &&
           resolve(gl.color4f, "glColor4f") && resolve(gl.pushMatrix, "glPushMatrix") &&
           resolve(gl.popMatrix, "glPopMatrix");
}

constexpr float DEGREE = 0.017453292f;
constexpr float OUTLINE_PIXELS = 1.3f;  // from the middle of a line
constexpr float HANDLE_PIXELS = 5.0f;
constexpr float POINTER_PIXELS = 20.0f;  // from the middle of a pointer's handle to its tip

bool finite(Point p) { return std::isfinite(p.x) && std::isfinite(p.y); }

}  // namespace

const GlFunctions* glFunctions() {
    if (const GlFunctions* replacement = s_replacement.load()) return replacement;
    static GlFunctions functions;
    static const bool found = resolveAll(functions);
    return found ? &functions : nullptr;
}

void setGlFunctions(const GlFunctions* functions) { s_replacement.store(functions); }

Point rotated(Point point, float degrees) {
    const float c = k7_cos(degrees * DEGREE), s = k7_sin(degrees * DEGREE);
    return {point.x * c - point.y * s, point.x * s + point.y * c};
}

float length(Point p) { return k7_hypot(p.x, p.y); }

OverlayPen::OverlayPen(float hitScale, Pass pass)
    : m_gl(glFunctions()), m_unit(hitScale > 0.0f ? 1.0f / hitScale : 0.2f), m_pass(pass) {
    if (m_gl && m_pass == Pass::Outline) m_gl->color4f(0.0f, 0.0f, 0.0f, 1.0f);
}

void OverlayPen::colour(const OverlayColour& c) const {
    const auto level = [](float component) { return std::clamp(component / FULL_COLOUR, 0.0f, 1.0f); };
    colour(level(c.red), level(c.green), level(c.blue), level(c.alpha));
}

void OverlayPen::colour(float red, float green, float blue, float alpha) const {
    if (m_gl && m_pass == Pass::Lines) m_gl->color4f(red, green, blue, alpha);
}

// Outlines are filled: how wide lines may be is up to the machine's OpenGL, and how wide they are to the host.
void OverlayPen::outline(Point from, Point to) const {
    const float half = pixels(OUTLINE_PIXELS), distance = length(to - from);
    const Point along = distance > 0.0f ? (to - from) * (half / distance) : Point{half, 0.0f};
    const Point across{-along.y, along.x};
    for (const Point corner : {from - along - across, to + along - across, to + along + across, from - along + across})
        m_gl->vertex2f(corner.x, corner.y);
}

void OverlayPen::segments(const Point* points, int count) const {
    if (!m_gl || count == 0) return;
    m_gl->begin(m_pass == Pass::Outline ? GL_QUADS_MODE : GL_LINES_MODE);
    for (int i = 0; i + 1 < count; i += 2) {
        if (!finite(points[i]) || !finite(points[i + 1])) continue;
        if (m_pass == Pass::Outline) {
            outline(points[i], points[i + 1]);
        } else {
            m_gl->vertex2f(points[i].x, points[i].y);
            m_gl->vertex2f(points[i + 1].x, points[i + 1].y);
        }
    }
    m_gl->end();
}

void OverlayPen::square(Point centre, float half) const {
    m_gl->begin(GL_QUADS_MODE);
    m_gl->vertex2f(centre.x - half, centre.y - half);
    m_gl->vertex2f(centre.x + half, centre.y - half);
    m_gl->vertex2f(centre.x + half, centre.y + half);
    m_gl->vertex2f(centre.x - half, centre.y + half);
    m_gl->end();
}

void OverlayPen::line(Point from, Point to) const {
    const Point ends[] = {from, to};
    segments(ends, 2);
}

// Every other stretch of a dash's length is drawn; the last ends at the line's end.
void OverlayPen::dashedLine(Point from, Point to) const {
    const float dx = to.x - from.x, dy = to.y - from.y;
    const float length = k7_hypot(dx, dy);
    const float dash = pixels(DASH_PIXELS);
    if (!(length > 0.0f) || !std::isfinite(length)) return;
    constexpr float MOST_DASHES = 4096.0f;
    const float step = std::max(dash, length / MOST_DASHES);
    const auto at = [&](float distance) {
        return Point{from.x + dx * distance / length, from.y + dy * distance / length};
    };
    for (float start = 0.0f; start < length; start += 2.0f * step) line(at(start), at(std::min(start + step, length)));
}

void OverlayPen::handle(Point centre, bool highlighted) const {
    if (!m_gl || !finite(centre)) return;
    const float grey = highlighted ? 1.0f : 0.5f;
    colour(grey, grey, grey, 1.0f);
    square(centre, pixels(HANDLE_PIXELS + (m_pass == Pass::Outline ? OUTLINE_PIXELS : 0.0f)));
}

void OverlayPen::crosshair(Point centre, bool smallCross) const {
    const auto arms = [&](float inner, float outer) {
        for (const Point d : {Point{1.0f, 0.0f}, Point{-1.0f, 0.0f}, Point{0.0f, 1.0f}, Point{0.0f, -1.0f}})
            line({centre.x + d.x * inner, centre.y + d.y * inner}, {centre.x + d.x * outer, centre.y + d.y * outer});
    };
    arms(pixels(10.0f), pixels(25.0f));
    if (smallCross) arms(pixels(5.0f), pixels(12.5f));
}

// A polygon of sides as long as a dash, at least ten of them.
void OverlayPen::ellipse(Point centre, float radiusX, float radiusY, float rotation, bool dashed) const {
    constexpr float SMALLEST = 5.0f, LONGEST_STEP = 36.0f, SHORTEST_STEP = 0.25f;
    const float widthPixels = 2.0f * radiusX / m_unit;
    if (!(radiusX / m_unit >= SMALLEST) || !(radiusY / m_unit >= SMALLEST) || !std::isfinite(widthPixels)) return;
    const float wanted = 360.0f / (3.14159265f * widthPixels / DASH_PIXELS);
    const int steps = static_cast<int>(std::ceil(360.0f / std::clamp(wanted, SHORTEST_STEP, LONGEST_STEP)));
    const auto at = [&](int i) {
        const float angle = 360.0f * static_cast<float>(i % steps) / static_cast<float>(steps) * DEGREE;
        const Point p = rotated({radiusX * k7_cos(angle), radiusY * k7_sin(angle)}, rotation);
        return Point{centre.x + p.x, centre.y + p.y};
    };
    for (int i = 0; i < steps; i += dashed ? 2 : 1) line(at(i), at(i + 1));
}

void OverlayPen::rectangle(Point centre, float halfWidth, float halfHeight, float rotation, bool dashed,
                           float aspect) const {
    Point corners[4] = {
        {-halfWidth, -halfHeight}, {halfWidth, -halfHeight}, {halfWidth, halfHeight}, {-halfWidth, halfHeight}};
    for (Point& corner : corners) {
        corner = rotated(corner, rotation);
        corner = {corner.x + centre.x, corner.y * (dashed ? aspect : 1.0f) + centre.y};
    }
    for (int i = 0; i < 4; ++i)
        dashed ? dashedLine(corners[i], corners[(i + 1) % 4]) : line(corners[i], corners[(i + 1) % 4]);
}

void OverlayPen::head(Point tip, float angle, float length) const {
    constexpr float HEAD_ANGLE = 150.0f * DEGREE;
    for (const float turn : {HEAD_ANGLE, -HEAD_ANGLE})
        line(tip, {tip.x + length * k7_cos(angle + turn), tip.y + length * k7_sin(angle + turn)});
}

void OverlayPen::arrow(Point from, Point to) const {
    line(from, to);
    head(to, k7_atan2(to.y - from.y, to.x - from.x), pixels(40.0f));
}

void OverlayPen::pointer(Point centre, Point direction, bool highlighted) const {
    const Point tip = centre + direction * pixels(POINTER_PIXELS);
    line(centre, tip);
    head(tip, k7_atan2(direction.y, direction.x), pixels(8.0f));
    handle(centre, highlighted);
}

// Dashes of a light and a dark grey take turns, so that the lines are seen on any picture and hide little of it.
void OverlayPen::grid(Point corner, Point opposite) const {
    const Point size = opposite - corner;
    const auto inside = [&](float x, float y) { return Point{corner.x + x * size.x, corner.y + y * size.y}; };
    if (m_pass == Pass::Lines) {
        for (const float at : {0.25f, 0.5f, 0.75f})
            for (const auto& [from, to] : {std::pair{inside(at, 0), inside(at, 1)}, {inside(0, at), inside(1, at)}}) {
                colour(0.25f, 0.25f, 0.25f, 1.0f);
                line(from, to);
                colour(0.75f, 0.75f, 0.75f, 1.0f);
                dashedLine(from, to);
            }
    }
    colour(0.75f, 0.75f, 0.75f, 1.0f);
    const float inset = pixels(OUTLINE_PIXELS);  // seen where the viewer ends with the picture
    rectangle(inside(0.5f, 0.5f), 0.5f * std::fabs(size.x) - inset, 0.5f * std::fabs(size.y) - inset, 0.0f, false);
}

void OverlayPen::text(Point start, std::string_view text) const {
    if (!finite(start)) return;
    FlatPath strokes;
    append_text(text, {.size = TEXT_PIXELS}, 0.0f, 0.0f, strokes);
    std::vector<Point> ends;
    for (int contour = 0; contour < strokes.contours(); ++contour)
        for (int i = 0; i + 1 < strokes.points(contour); ++i) {
            const float* xy = strokes.xy(contour) + 2 * i;
            ends.push_back(start + Point{xy[0], xy[1]} * m_unit);
            ends.push_back(start + Point{xy[2], xy[3]} * m_unit);
        }
    segments(ends.data(), static_cast<int>(ends.size()));
}

float OverlayPen::textWidth(std::string_view text) const { return pixels(text_width(text, {.size = TEXT_PIXELS})); }
