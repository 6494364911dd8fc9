#include "imagelib/imagelib_exactpoly.h"

#include <utility>

#include "imagelib/polygon_clip.h"
#include "k7pi_baselib/in_memory.h"

namespace {

constexpr int CAPACITY = ClipPolygon::CAPACITY;

bool count_in_range(const ClipPolygon& polygon) { return polygon.count >= 0 && polygon.count <= CAPACITY; }

void cut(const polygon_clip::Side& side, const ClipPolygon& in, ClipPolygon& out) {
    out.count = polygon_clip::cut(side, in.vertices[0], in.count, 2, out.vertices[0], CAPACITY);
}

}  // namespace

void clip_half_plane(const ClipPolygon& in, ClipPolygon& out, int axis, float sign, float limit) {
    out.count = 0;
    if (count_in_range(in)) cut({axis == 0 ? 0 : 1, sign, limit}, in, out);
}

ClipResult clip_to_box(ClipPolygon& polygon, const ClipBox& box) {
    if (!count_in_range(polygon) || polygon.count == 0) {
        polygon.count = 0;
        return CLIP_NOTHING_LEFT;
    }
    const float low[2] = {box.x_low, box.y_low}, high[2] = {box.x_high, box.y_high};
    polygon_clip::Side sides[6];
    const int crossed = polygon_clip::crossed_sides(polygon.vertices[0], polygon.count, 2, 2, low, high, sides);
    if (crossed == 0) return CLIP_INSIDE;
    ClipPolygon spare;
    ClipPolygon *from = &polygon, *to = &spare;
    for (int i = 0; i < crossed && from->count > 0; ++i) {
        cut(sides[i], *from, *to);
        std::swap(from, to);
    }
    if (crossed == polygon_clip::ALL_OUTSIDE || from->count == 0) {
        polygon.count = 0;
        return CLIP_NOTHING_LEFT;
    }
    if (from != &polygon) polygon = *from;
    return CLIP_CLIPPED;
}

ExactPoly::~ExactPoly() = default;

void ExactPoly::shade(int, int, float) {}

bool ExactPoly::draw(const ClipPolygon& polygon, int x_first, int x_last, int y_first, int y_last) {
    const PixelWindow window{x_first, y_first, x_last, y_last};
    if (!count_in_range(polygon) || !m_coverage.set_polygon(polygon.count, polygon.vertices[0], 2, window))
        return false;
    return in_memory([this] {
        m_coverage.for_runs([this](const CoverageRun& run) {
            for (int x = run.x0; x <= run.x1; ++x) {
                const float area = run.coverage ? run.coverage[x - run.x0] : 1;
                if (area > 0) shade(x, run.y, area);
            }
        });
        return true;
    });
}
