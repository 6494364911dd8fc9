#include "graphicslib/line_rasterizer.h"

#include <algorithm>
#include <cmath>

#include "graphicslib/wu_line.h"

namespace {

void interpolate(const float* line, float t, float* attributes) {
    const float* end = line + LineRasterizer::LINE_FLOATS;
    for (int k = 0; k < LineRasterizer::LINE_FLOATS; ++k) attributes[k] = line[k] + t * (end[k] - line[k]);
}

}  // namespace

bool LineRasterizer::set_bounds(int x0, int y0, int x1, int y1) {
    x0 = std::max(x0, 0), y0 = std::max(y0, 0), x1 = std::max(x1, 0), y1 = std::max(y1, 0);
    if (x0 >= x1 || y0 >= y1) return false;
    m_left = x0, m_right = x1 - 1, m_bottom = y0, m_top = y1 - 1;
    m_bounds_set = true;
    return true;
}

bool LineRasterizer::set_mode(int mode) {
    if (mode != ANTIALIASED && mode != PLAIN) return false;
    m_line_mode = mode;
    return true;
}

bool LineRasterizer::draw_line(const float* line, void* argument) {
    if (!m_bounds_set || !line) return false;
    for (const float* end : {line, line + LINE_FLOATS})
        if (!std::isfinite(end[0]) || !std::isfinite(end[1])) return false;
    if (m_line_mode == ANTIALIASED)
        draw_antialiased(line, argument);
    else
        draw_plain(line, argument);
    return true;
}

void LineRasterizer::draw_antialiased(const float* line, void* argument) {
    wu::Line walk;
    if (!wu::prepare(line[0], line[1], line[LINE_FLOATS], line[LINE_FLOATS + 1], walk)) return;
    m_swapped = walk.swapped;
    float attributes[LINE_FLOATS];
    float reached = -1;  // the parameter that `attributes` belong to
    wu::walk(walk, {m_left, m_bottom, m_right, m_top}, [&](int x, int y, float coverage, float t) {
        if (t != reached) interpolate(line, reached = t, attributes);
        pixel(m_user, x, y, coverage, attributes, argument);
    });
}

void LineRasterizer::draw_plain(const float* line, void* argument) {
    const double dx = double(line[LINE_FLOATS]) - line[0], dy = double(line[LINE_FLOATS + 1]) - line[1];
    if (std::fabs(dx) < 0.001 && std::fabs(dy) < 0.001) return;
    m_swapped = std::fabs(dy) > std::fabs(dx);
    const int along = m_swapped ? 1 : 0, across = 1 - along;
    const double start = line[along], end = line[LINE_FLOATS + along], extent = end - start;
    const double low = m_swapped ? m_bottom : m_left, high = m_swapped ? m_top : m_right;
    const double first = std::max(std::ceil(std::min(start, end) - 0.5), low);
    const double last = std::min(std::floor(std::max(start, end) + 0.5) - 1, high);
    const double across_low = m_swapped ? m_left : m_bottom, across_high = m_swapped ? m_right : m_top;
    float attributes[LINE_FLOATS];
    for (double column = first; column <= last; ++column) {
        const double t = std::clamp((column + 0.5 - start) / extent, 0.0, 1.0);
        const double row = std::floor(line[across] + t * (double(line[LINE_FLOATS + across]) - line[across]) + 0.5);
        if (!(row >= across_low && row <= across_high)) continue;
        interpolate(line, static_cast<float>(t), attributes);
        const int a = static_cast<int>(column), b = static_cast<int>(row);
        pixel(m_user, m_swapped ? b : a, m_swapped ? a : b, 1, attributes, argument);
    }
}
