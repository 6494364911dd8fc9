#include "imagelib/polygon_clip.h"

#include <algorithm>
#include <cstddef>

namespace polygon_clip {
namespace {

float distance(const Side& side, const float* vertex) { return vertex[side.axis] * side.sign - side.limit; }

void crossing(const Side& side, const float* inside, const float* outside, int floats, float* result) {
    const double d0 = distance(side, inside), d1 = distance(side, outside);
    const auto t = static_cast<float>(d0 / (d0 - d1));
    for (int k = 0; k < floats; ++k) result[k] = inside[k] + t * (outside[k] - inside[k]);
    result[side.axis] = side.limit * side.sign;  // exactly on the side
}

}  // namespace

int cut(const Side& side, const float* from, int count, int floats, float* to, int room) {
    if (count < 1) return 0;
    int kept = 0;
    const auto next = [&] { return kept < room ? to + std::ptrdiff_t(kept++) * floats : nullptr; };
    const float* previous = from + std::ptrdiff_t(count - 1) * floats;
    bool previous_inside = distance(side, previous) <= 0;
    for (int i = 0; i < count; ++i) {
        const float* current = from + std::ptrdiff_t(i) * floats;
        const bool current_inside = distance(side, current) <= 0;
        if (current_inside != previous_inside)
            if (float* vertex = next())
                crossing(side, current_inside ? current : previous, current_inside ? previous : current, floats,
                         vertex);
        if (current_inside)
            if (float* vertex = next()) std::copy_n(current, floats, vertex);
        previous = current;
        previous_inside = current_inside;
    }
    return kept;
}

int crossed_sides(const float* vertices, int count, int floats, int axes, const float* low, const float* high,
                  Side sides[6]) {
    int crossed = 0;
    for (int axis = 0; axis < axes; ++axis)
        for (const Side& side : {Side{axis, -1, -low[axis]}, Side{axis, 1, high[axis]}}) {
            int beyond = 0;
            for (int i = 0; i < count; ++i) beyond += distance(side, vertices + std::ptrdiff_t(i) * floats) > 0;
            if (beyond == count) return ALL_OUTSIDE;
            if (beyond > 0) sides[crossed++] = side;
        }
    return crossed;
}

}  // namespace polygon_clip
