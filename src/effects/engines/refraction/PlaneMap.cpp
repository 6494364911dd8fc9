#include "effects/engines/refraction/PlaneMap.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "imagelib/imagelib_solvers.h"

namespace {

// With w above 0 where the plane is: below 0 is behind the horizon.
void face(PlaneMap& map, float x, float y) {
    if (map.at(x, y).w < 0)
        for (float& element : map.rows) element = -element;
}

// Points that are finite always have a solution: none is memory that couldn't be had.
PlaneMap solve(const float* from, const float* to) {
    float matrix[16];
    made(solve_homography(from, to, 4, matrix) == 0);
    return {{matrix[0], matrix[1], matrix[3], matrix[4], matrix[5], matrix[7], matrix[12], matrix[13], matrix[15]}};
}

}  // namespace

PlaneView::PlaneView(const std::array<float, 8>& quad, float height) {
    if (!std::all_of(quad.begin(), quad.end(), [](float v) { return std::isfinite(v); })) return;
    const float plane[8] = {0, 0, 0, height, 1, height, 1, 0};
    to_picture = solve(plane, quad.data());
    to_plane = solve(quad.data(), plane);
    face(to_picture, 0.5f, 0.5f * height);
    float x = 0, y = 0;
    for (std::size_t i = 0; i < quad.size(); i += 2) x += 0.25f * quad[i], y += 0.25f * quad[i + 1];
    face(to_plane, x, y);
}
