// Private: clipping against the sides of a box for any kind of number. The walk over pixels clips in doubles, so that
// the pieces of a polygon add up to its area.
#pragma once

namespace exactpoly {

template <class Number, int CAPACITY>
struct Polygon {
    int count = 0;
    Number vertices[CAPACITY][2];

    Polygon() = default;
    Polygon(const Polygon&) = delete;
    Polygon& operator=(const Polygon& other) {  // what is used of it: most shapes are a few corners
        count = other.count;
        for (int i = 0; i < count; ++i) {
            vertices[i][0] = other.vertices[i][0];
            vertices[i][1] = other.vertices[i][1];
        }
        return *this;
    }
    void add(Number x, Number y) {
        if (count >= CAPACITY) return;
        vertices[count][0] = x;
        vertices[count][1] = y;
        ++count;
    }
};

template <class In, class Out, class Number>
void clip_half_plane(const In& in, Out& out, int axis, Number sign, Number limit) {
    out.count = 0;
    if (in.count <= 0) return;
    const auto* previous = in.vertices[in.count - 1];
    Number s_previous = previous[axis] * sign - limit;
    for (int i = 0; i < in.count; ++i) {
        const auto* current = in.vertices[i];
        const Number s = current[axis] * sign - limit;
        if ((s <= 0) != (s_previous <= 0)) {
            const Number t = s_previous / (s_previous - s);
            const int other = 1 - axis;
            Number cut[2];
            cut[axis] = limit * sign;  // what interpolation gives but for rounding
            cut[other] = previous[other] + t * (current[other] - previous[other]);
            out.add(cut[0], cut[1]);
        }
        if (s <= 0) out.add(current[0], current[1]);
        previous = current;
        s_previous = s;
    }
}

// 0: nothing left, 1: clipped in place, 2: inside. `spare` is room to work in.
template <class Shape, class Number>
int clip_to_box(Shape& polygon, Shape& spare, const Number (&low)[2], const Number (&high)[2]) {
    int beyond[2][2] = {};  // axis; below, above
    for (int i = 0; i < polygon.count; ++i)
        for (int axis = 0; axis < 2; ++axis) {
            beyond[axis][0] += polygon.vertices[i][axis] < low[axis];
            beyond[axis][1] += polygon.vertices[i][axis] > high[axis];
        }
    int total = 0, most = 0;
    for (const auto& counts : beyond)
        for (int n : counts) {
            total += n;
            most = n > most ? n : most;
        }
    if (total == 0) return 2;
    if (most == polygon.count) {
        polygon.count = 0;
        return 0;
    }
    Shape *from = &polygon, *to = &spare;
    for (int axis = 0; axis < 2; ++axis)
        for (int side = 0; side < 2; ++side) {
            if (beyond[axis][side] == 0) continue;
            const Number sign = side == 0 ? -1 : 1;
            clip_half_plane(*from, *to, axis, sign, side == 0 ? -low[axis] : high[axis]);
            if (to->count == 0) {
                polygon.count = 0;
                return 0;
            }
            Shape* swap = from;
            from = to;
            to = swap;
        }
    if (from != &polygon) polygon = *from;
    return 1;
}

}  // namespace exactpoly
