// The line that Q_TrailPath draws: a curve through or along its points, as short straight pieces.
//
// Lengths are in widths of a pixel; y runs upwards from the lower edge of the picture.
#pragma once

#include <cstdint>
#include <vector>

struct PathPlace {
    float x, y;
};

enum class PathCurve {
    Through = 1,  // cubic spline with continuous curvature and centripetal knots (E. T. Y. Lee, "Choosing nodes in
                  // parametric curve interpolation", 1989)
    Along = 2,    // uniform cubic B-spline, whose ends are at the first and the last point
    Straight = 3
};

struct PathVertex {
    float x, y;
    float s;  // length of the line up to here
};

// Pieces are about a step long; of very long curves, longer. Points on top of their predecessors are left out. Empty
// for fewer than two points. A closed line ends where it begins.
std::vector<PathVertex> path_vertices(std::vector<PathPlace> points, PathCurve curve, bool closed, float step);

// Pushes the line to its sides, by `amount` at most, in waves about `wave` long. Whole numbers of `time` are random
// shapes that have nothing to do with each other; between them one becomes the next. Ends of closed lines stay
// together.
void wobble_path(std::vector<PathVertex>& line, float amount, float wave, std::uint32_t seed, double time, bool closed);

// The piece from one length to another, both limited to the line. Empty where nothing is left.
std::vector<PathVertex> path_piece(const std::vector<PathVertex>& line, float from, float to);

// Smooth noise, -1 to 1, whose knots are at whole numbers.
float path_noise(float at, std::uint32_t seed);
// And of two dimensions, 0 to 1.
float grain_noise(float x, float y, std::uint32_t seed);
