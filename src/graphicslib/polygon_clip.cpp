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

PolygonClipper::PolygonClipper(int axis_count, int extra) : axes(axis_count), vertex_floats(2 + extra) {
    std::fill_n(minimum, 3, -1.0F);
    std::fill_n(maximum, 3, 1.0F);
}

bool PolygonClipper::set_extra_floats(int count) {
    if (count < 0 || count > 1024) return false;
    vertex_floats = 2 + count;
    left = nullptr;
    count_left = 0;
    return true;
}

bool PolygonClipper::set_limits(const float* low, const float* high) {
    valid = true;
    for (int axis = 0; axis < axes; ++axis) {
        minimum[axis] = low[axis];
        maximum[axis] = high[axis];
        valid &= low[axis] <= high[axis];
    }
    return valid;
}

bool PolygonClipper::finite(int count, const float* vertices) const {
    const int coordinates = std::min(axes, vertex_floats);
    for (int i = 0; i < count; ++i)
        for (int axis = 0; axis < coordinates; ++axis)
            if (!std::isfinite(vertices[std::ptrdiff_t(i) * vertex_floats + axis])) return false;
    return true;
}

PolygonClip PolygonClipper::clip(int count, const float* vertices) {
    left = nullptr;
    count_left = 0;
    if (!valid || count < 3 || count > 1 << 24 || !vertices || !finite(count, vertices)) return PolygonClip::outside;
    polygon_clip::Side sides[6];
    const int crossed = polygon_clip::crossed_sides(vertices, count, vertex_floats, std::min(axes, vertex_floats),
                                                    minimum, maximum, sides);
    if (crossed == polygon_clip::ALL_OUTSIDE) return PolygonClip::outside;
    if (crossed == 0) {
        left = vertices;
        count_left = count;
        return PolygonClip::inside;
    }
    const float* from = vertices;
    for (int i = 0; i < crossed && count > 0; ++i) {
        // Each run of vertices inside gains two crossings at most, and there are no more runs than vertices outside.
        const int room = 2 * count + 2;
        std::vector<float>& to = buffers[i % 2];
        if (!grow(to, std::max(std::size_t(room), FIRST_CAPACITY) * std::size_t(vertex_floats)))
            return PolygonClip::outside;
        count = polygon_clip::cut(sides[i], from, count, vertex_floats, to.data(), room);
        from = to.data();
    }
    if (count < 3) return PolygonClip::outside;
    left = from;
    count_left = count;
    return PolygonClip::clipped;
}
