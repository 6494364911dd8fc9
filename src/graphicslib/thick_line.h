// Turns a polyline in pixels into polygons of a given width.
//
// Neighbouring segments meet on the line through both corners of their offset lines, so that a translucent stroke does
// not darken at its joins. Where a segment is too short for the inner corner both keep their own (and overlap).
#pragma once

#include <array>
#include <cstdint>
#include <vector>

struct StrokeStyle {
    enum Join : std::uint8_t { MITRE, BEVEL, ROUND };  // a mitre farther out than MITRE_LIMIT is bevelled
    enum Cap : std::uint8_t { BUTT, SQUARE, ROUND_CAP };
    Join join = MITRE;
    Cap cap = BUTT;
};

namespace thick {

inline constexpr int FLOATS = 17;         // of a vertex: x and y first
inline constexpr float MITRE_LIMIT = 4;   // half widths
inline constexpr float FLATNESS = 0.03F;  // how far the chord of a round join or cap may lie from its arc, in pixels
using Vertex = std::array<float, FLOATS>;

// emit(count, vertices, context) for each polygon, of up to MOST_CORNERS vertices, either way round; false stops.
// `ring`: the last vertex repeats the first, and both ends join.
inline constexpr int MOST_CORNERS = 68;
using Emit = bool (*)(int count, const Vertex* vertices, void* context);
bool thicken(const std::vector<Vertex>& line, bool ring, float half_width, StrokeStyle style, Emit emit, void* context);

}  // namespace thick
