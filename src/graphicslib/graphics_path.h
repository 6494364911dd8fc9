// The path that every LineGraphics carries, and the remapping of parameters along a path.
#pragma once

#include <vector>

struct GraphicsPathK7 {
    float tolerance = 0.05F;  // of a flattened curve
    int segments = 12;        // of a curve
    std::vector<float> points, tangents, parameters;
};

// Turns a parameter x into an output, by mode:
//   1  x / p                       6  (q / p) x
//   2  the table at x              7  x
//   3  (p / 100) x                 8  x p
//   4  (100 / (p + 100)) x         9  (p / q) x
//   5  (100 / (100 - p)) x, p at most 99.9999
// The table is read between entries in even proportion; x counts entries and stops at both ends. Any other mode, and a
// missing table, give 0.
float remap_value(float x, float p, float q, int mode, const float* table, int count);
