#include "Library2/GlDraw.h"

#include <algorithm>
#include <atomic>
#include <cmath>

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

OverlayPen::OverlayPen(float hitScale) : m_gl(glFunctions()), m_unit(hitScale > 0.0f ? 1.0f / hitScale : 0.2f) {}

void OverlayPen::colour(const OverlayColour& c) const {
    const auto level = [](float component) { return std::clamp(component / FULL_COLOUR, 0.0f, 1.0f); };
    if (m_gl) m_gl->color4f(level(c.red), level(c.green), level(c.blue), level(c.alpha));
}

void OverlayPen::segments(const Point* points, int count) const {
    if (!m_gl || count == 0) return;
    m_gl->begin(GL_LINES_MODE);
    for (int i = 0; i < count; ++i) m_gl->vertex2f(points[i].x, points[i].y);
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
    if (!m_gl) return;
    const float half = pixels(5.0f);
    const float grey = highlighted ? 1.0f : 0.5f;
    m_gl->color4f(grey, grey, grey, 1.0f);
    m_gl->begin(GL_QUADS_MODE);
    m_gl->vertex2f(centre.x - half, centre.y - half);
    m_gl->vertex2f(centre.x + half, centre.y - half);
    m_gl->vertex2f(centre.x + half, centre.y + half);
    m_gl->vertex2f(centre.x - half, centre.y + half);
    m_gl->end();
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

void OverlayPen::arrow(Point from, Point to) const {
    line(from, to);
    const float angle = k7_atan2(to.y - from.y, to.x - from.x);
    constexpr float HEAD_ANGLE = 150.0f * DEGREE;
    for (const float turn : {HEAD_ANGLE, -HEAD_ANGLE})
        line(to, {to.x + pixels(40.0f) * k7_cos(angle + turn), to.y + pixels(40.0f) * k7_sin(angle + turn)});
}
