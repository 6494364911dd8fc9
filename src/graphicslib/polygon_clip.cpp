#include "graphicslib/polygon_clip.h"

#include <algorithm>
#include <cmath>

#include "imagelib/polygon_clip.h"
#include "k7pi_baselib/in_memory.h"

namespace {

constexpr std::size_t FIRST_CAPACITY = 32;  // vertices

bool grow(std::vector<float>& buffer, std::size_t floats) {
    return buffer.size() >= floats || in_memory([&] { buffer.resize(floats); });
}

}  // namespace

PolygonClipper::PolygonClipper(int axis_count, int extra) : m_axes(axis_count), m_vertex_floats(2 + extra) {
    std::fill_n(m_minimum, 3, -1.0F);
    std::fill_n(m_maximum, 3, 1.0F);
}

bool PolygonClipper::set_extra_floats(int count) {
    if (count < 0 || count > 1024) return false;
    m_vertex_floats = 2 + count;
    m_left = nullptr;
    m_count_left = 0;
    return true;
}

bool PolygonClipper::set_limits(const float* low, const float* high) {
    m_valid = true;
    for (int axis = 0; axis < m_axes; ++axis) {
        m_minimum[axis] = low[axis];
        m_maximum[axis] = high[axis];
        m_valid &= low[axis] <= high[axis];
    }
    return m_valid;
}

bool PolygonClipper::finite(int count, const float* vertices) const {
    const int coordinates = std::min(m_axes, m_vertex_floats);
    for (int i = 0; i < count; ++i)
        for (int axis = 0; axis < coordinates; ++axis)
            if (!std::isfinite(vertices[std::ptrdiff_t(i) * m_vertex_floats + axis])) return false;
    return true;
}

PolygonClip PolygonClipper::clip(int count, const float* vertices) {
    m_left = nullptr;
    m_count_left = 0;
    if (!m_valid || count < 3 || count > 1 << 24 || !vertices || !finite(count, vertices)) return PolygonClip::outside;
    polygon_clip::Side sides[6];
    const int crossed = polygon_clip::crossed_sides(vertices, count, m_vertex_floats, std::min(m_axes, m_vertex_floats),
                                                    m_minimum, m_maximum, sides);
    if (crossed == polygon_clip::ALL_OUTSIDE) return PolygonClip::outside;
    if (crossed == 0) {
        m_left = vertices;
        m_count_left = count;
        return PolygonClip::inside;
    }
    const float* from = vertices;
    for (int i = 0; i < crossed && count > 0; ++i) {
        // Each run of vertices inside gains two crossings at most, and there are no more runs than vertices outside.
        const int room = 2 * count + 2;
        std::vector<float>& to = m_buffers[i % 2];
        if (!grow(to, std::max(std::size_t(room), FIRST_CAPACITY) * std::size_t(m_vertex_floats)))
            return PolygonClip::outside;
        count = polygon_clip::cut(sides[i], from, count, m_vertex_floats, to.data(), room);
        from = to.data();
    }
    if (count < 3) return PolygonClip::outside;
    m_left = from;
    m_count_left = count;
    return PolygonClip::clipped;
}
