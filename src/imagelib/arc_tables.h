// Private to the averages along arcs: what the processor and CUDA devices work with alike.
#pragma once

#include "imagelib/imagelib_arcs.h"

struct ArcTables {
    std::vector<float> filter;          // of ArcSource
    std::vector<float> cosines, sines;  // of ArcSource; whole chunks, so longer than the columns
};
bool make_arc_tables(const ArcGeometry& circles, const TurnTable& turn, ArcTables& tables);  // false: no memory

// The circles that arcs within a range are averaged on: rows [first, end) of the table.
struct ArcRows {
    int first, end;
};
ArcRows rows_of_arcs(const ArcGeometry& circles, const ArcRange& range);

inline ArcShape shape_of_arcs(const ArcGeometry& circles, const ArcLengths& lengths) {
    return {lengths, circles.cx, circles.cy, circles.pixel_width, circles.pixel_height, circles.max_distance};
}
