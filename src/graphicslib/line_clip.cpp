#include "graphicslib/line_clip.h"

#include <algorithm>
#include <cmath>

namespace {

// One side: distances of both ends, at or below 0 inside. False when the segment is gone.
bool cut(double d0, double d1, double& t0, double& t1) {
    if (d0 <= 0 && d1 <= 0) return true;
    if (d0 > 0 && d1 > 0) return false;
    const double t = d0 / (d0 - d1);
    if (d0 > 0)
        t0 = std::max(t0, t);
    else
        t1 = std::min(t1, t);
    return t0 <= t1;
}

void interpolate(const float* a, const float* b, float t, float* result, int floats) {
    for (int k = 0; k < floats; ++k) result[k] = a[k] + t * (b[k] - a[k]);
}

bool all_finite(const float* values, int count) {
    return std::all_of(values, values + count, [](float value) { return std::isfinite(value); });
}

}  // namespace

bool LineClipBox::set_box(const float low[3], const float high[3]) {
    m_valid = true;
    for (int axis = 0; axis < 3; ++axis) {
        m_minimum[axis] = low[axis];
        m_maximum[axis] = high[axis];
        m_valid &= low[axis] <= high[axis];
    }
    return m_valid;
}

float LineClipBox::distance(int plane, const float point[4]) const {
    const int axis = plane / 2;
    return plane % 2 == 0 ? point[3] * m_minimum[axis] - point[axis] : point[axis] - point[3] * m_maximum[axis];
}

unsigned LineClipBox::outcode(const float point[4]) const {
    unsigned code = 0;
    for (int plane = 0; plane < 6; ++plane)
        if ((m_planes >> plane & 1U) != 0 && !(distance(plane, point) <= 0)) code |= 1U << plane;
    return code;
}

bool LineClipBox::clip_segment(const float a[4], const float b[4], float& t0, float& t1) const {
    t0 = 0, t1 = 1;
    if (!m_valid || !all_finite(a, 4) || !all_finite(b, 4)) return false;
    const unsigned code_a = outcode(a), code_b = outcode(b);
    if ((code_a & code_b) != 0) return false;
    double from = 0, to = 1;
    for (int plane = 0; plane < 6; ++plane)
        if (((code_a | code_b) >> plane & 1U) != 0 && !cut(distance(plane, a), distance(plane, b), from, to))
            return false;
    t0 = static_cast<float>(from);
    t1 = static_cast<float>(to);
    return true;
}

bool LineClipBox::clip_point(const float point[4], bool draw, bool& visible) {
    visible = false;
    if (!m_valid || !all_finite(point, 4) || (draw && m_first_point_pending)) {
        m_first_point_pending = true;
        return false;
    }
    if (!draw) {
        visible = outcode(point) == 0;
        if (visible) on_move(point);
    } else {
        float t0, t1;
        visible = clip_segment(m_previous, point, t0, t1);
        float cut_point[4];
        if (visible && outcode(m_previous) != 0) {
            interpolate(m_previous, point, t0, cut_point, 4);
            on_move(cut_point);
        }
        if (visible && t1 < 1) {
            interpolate(m_previous, point, t1, cut_point, 4);
            on_draw(cut_point);
        } else if (visible) {
            on_draw(point);
        }
    }
    std::copy_n(point, 4, m_previous);
    m_first_point_pending = false;
    return true;
}

bool LineClipRect::set_rect(float x0, float y0, float x1, float y1) {
    m_minimum[0] = x0, m_minimum[1] = y0;
    m_maximum[0] = x1, m_maximum[1] = y1;
    m_valid = x0 <= x1 && y0 <= y1;
    return m_valid;
}

bool LineClipRect::clip(const float* line, float* clipped, int floats) const {
    return offset_and_clip(line, 0, 0, clipped, floats);
}

bool LineClipRect::offset_and_clip(const float* line, float dx, float dy, float* clipped, int floats) const {
    if (!m_valid || floats < 2) return false;
    const float offset[2] = {dx, dy};
    float a[2], b[2];
    for (int axis = 0; axis < 2; ++axis) {
        a[axis] = line[axis] + offset[axis];
        b[axis] = line[floats + axis] + offset[axis];
    }
    if (!all_finite(a, 2) || !all_finite(b, 2)) return false;
    double t0 = 0, t1 = 1;
    for (int axis = 0; axis < 2; ++axis) {
        const double low = m_minimum[axis], high = m_maximum[axis];
        if ((m_planes >> (2 * axis) & 1U) != 0 && !cut(low - a[axis], low - b[axis], t0, t1)) return false;
        if ((m_planes >> (2 * axis + 1) & 1U) != 0 && !cut(a[axis] - high, b[axis] - high, t0, t1)) return false;
    }
    const auto from = static_cast<float>(t0), to = static_cast<float>(t1);
    for (int k = 0; k < floats; ++k) {
        const float start = k < 2 ? a[k] : line[k], end = k < 2 ? b[k] : line[floats + k];
        clipped[k] = from == 0 ? start : start + from * (end - start);
        clipped[floats + k] = to == 1 ? end : start + to * (end - start);
    }
    return true;
}
