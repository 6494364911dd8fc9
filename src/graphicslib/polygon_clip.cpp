#include "graphicslib/polygon_clip.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

constexpr std::size_t FIRST_CAPACITY = 32;  // vertices

bool grow(std::vector<float>& buffer, std::size_t floats) {
    if (buffer.size() >= floats) return true;
    try {
        buffer.resize(floats);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
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

// From the inner to the outer vertex, so that two polygons that share an edge are cut at the same point.
void PolygonClipper::add_crossing(const Side& side, const float* inside, const float* outside, float* crossing) const {
    const double d0 = distance(side, inside), d1 = distance(side, outside);
    const auto t = static_cast<float>(d0 / (d0 - d1));
    for (int k = 0; k < vertex_floats; ++k) crossing[k] = inside[k] + t * (outside[k] - inside[k]);
    crossing[side.axis] = side.limit * side.sign;
}

bool PolygonClipper::cut(const Side& side, const std::vector<float>& from, int& count, std::vector<float>& to) const {
    // Each run of vertices inside gains two crossings at most, and there are no more runs than vertices outside.
    if (!grow(to, (std::size_t(count) * 2 + 2) * std::size_t(vertex_floats))) return false;
    float* out = to.data();
    const float* previous = from.data() + std::ptrdiff_t(count - 1) * vertex_floats;
    bool previous_inside = distance(side, previous) <= 0;
    for (int i = 0; i < count; ++i) {
        const float* current = from.data() + std::ptrdiff_t(i) * vertex_floats;
        const bool current_inside = distance(side, current) <= 0;
        if (current_inside != previous_inside) {
            add_crossing(side, current_inside ? current : previous, current_inside ? previous : current, out);
            out += vertex_floats;
        }
        if (current_inside) out = std::copy_n(current, vertex_floats, out);
        previous = current;
        previous_inside = current_inside;
    }
    count = static_cast<int>((out - to.data()) / vertex_floats);
    return true;
}

PolygonClip PolygonClipper::clip(int count, const float* vertices) {
    left = nullptr;
    count_left = 0;
    if (!valid || count < 3 || count > 1 << 24 || !vertices || !finite(count, vertices)) return PolygonClip::outside;
    Side crossed[6];
    int crossings = 0;
    for (int axis = 0; axis < std::min(axes, vertex_floats); ++axis)
        for (const Side side : {Side{axis, -1, -minimum[axis]}, Side{axis, 1, maximum[axis]}}) {
            int beyond = 0;
            for (int i = 0; i < count; ++i) beyond += distance(side, vertices + std::ptrdiff_t(i) * vertex_floats) > 0;
            if (beyond == count) return PolygonClip::outside;
            if (beyond > 0) crossed[crossings++] = side;
        }
    if (crossings == 0) {
        left = vertices;
        count_left = count;
        return PolygonClip::inside;
    }
    const std::size_t floats = std::size_t(count) * std::size_t(vertex_floats);
    if (!grow(buffers[0], std::max(3 * floats, FIRST_CAPACITY * std::size_t(vertex_floats))))
        return PolygonClip::outside;
    std::copy_n(vertices, floats, buffers[0].data());
    int current = 0;
    for (int i = 0; i < crossings && count > 0; ++i, current = 1 - current)
        if (!cut(crossed[i], buffers[current], count, buffers[1 - current])) return PolygonClip::outside;
    if (count < 3) return PolygonClip::outside;
    left = buffers[current].data();
    count_left = count;
    return PolygonClip::clipped;
}
