// Private: turns a polyline in pixels into polygons of a given width.
//
// Neighbouring segments meet on the line through both corners of their offset lines, so that a translucent stroke does
// not darken at its joins. Where a segment is too short for the inner corner both keep their own (and overlap); where
// the outer corner is farther out than MITRE_LIMIT half widths the join is bevelled.
#pragma once

#include <array>
#include <vector>

namespace thick {

inline constexpr int FLOATS = 17;  // of a vertex: x and y first
inline constexpr float MITRE_LIMIT = 4;
using Vertex = std::array<float, FLOATS>;

// emit(count, vertices, context) for each polygon; false stops. `ring`: the last vertex repeats the first, and both
// ends join.
using Emit = bool (*)(int count, const Vertex* vertices, void* context);
bool thicken(const std::vector<Vertex>& line, bool ring, float half_width, Emit emit, void* context);

}  // namespace thick
