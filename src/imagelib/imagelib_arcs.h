// Averages of a picture along arcs around a centre: a rotary blur.
//
// The picture is read once along circles, one for each unit of radius, with a B-spline; beyond its edges the nearest
// pixel of the edge is seen. A picture of one colour keeps it. The running sums of each circle give the mean over an
// arc of any length from four reads, so the cost does not depend on the angle. (Summed tables: F. C. Crow, "Summed-area
// tables for texture mapping", SIGGRAPH 1984.)
//
// Distances are in units of pixel_width and pixel_height, angles in radians. A NaN counts as 0, and a sample above 1e30
// as 1e30, so that neither spoils a whole circle.
#pragma once

#include <memory>
#include <vector>

#include "imagelib/aligned_block.h"
#include "imagelib/arc_average_simd.h"
#include "imagelib/imagelib.h"

// Sine and cosine of one turn in 32000 steps, from half a turn back on. It costs more to build than to use: keep it.
class TurnTable {
  public:
    static constexpr int ENTRIES = 32000;
    TurnTable();
    bool valid() const { return m_sine && m_cosine; }  // false: no memory
    const float* sine() const { return m_sine.get(); }
    const float* cosine() const { return m_cosine.get(); }

  private:
    std::unique_ptr<float[]> m_sine, m_cosine;
};

// The circles around a point of a picture. They are turned into rows of as many columns as the outermost one is long.
struct ArcGeometry {
    float cx, cy, pixel_width, pixel_height;
    float max_distance = 0;  // of a corner of the picture from the centre
    int columns = 0, rows = 0;
    double period = 0;  // columns of a turn, of which `columns` are whole

    bool valid() const { return rows > 0; }
    // The largest position on a circle. It lies within the column behind the whole ones, even where the period rounds
    // up to the next.
    float last_position() const;
};
// Around (cx, cy), in pixels from the first sample of row 0. Not valid: pixels without a size, or the centre is so far
// away that the circles would take 2 GB.
ArcGeometry arc_geometry(const K7Image& layout, float cx, float cy);

// The radii, from and to, between which arcs change the picture.
struct ArcRange {
    float smallest, largest;
};
ArcRange range_of_arcs(const ArcLengths& lengths, float max_distance);

// Shorter arcs, in radians, show the picture itself.
inline constexpr float SHORTEST_ARC = 0.00005f;

class ImagelibCircles {
  public:
    explicit ImagelibCircles(const ArcGeometry& geometry);
    ImagelibCircles(const K7Image& layout, float cx, float cy) : ImagelibCircles(arc_geometry(layout, cx, cy)) {}
    bool valid() const { return m_sums != nullptr; }  // false: no memory, or the geometry is not
    float max_distance() const { return m_geometry.max_distance; }

    // Sums the circles with radii from `smallest` to `largest` and those beside them. Float RGBA of the layout's size.
    // False when there is no memory, or an end was asked for.
    bool unwrap(const K7Image& source, const TurnTable& turn, float smallest, float largest,
                const StopRequested& stop = {});
    // Each pixel becomes the mean along its arc, which begins there and goes against `lengths.angle`. The luminance
    // 0.3 R + 0.5 G + 0.2 B of a matte, limited to 0 to 1, scales the arc. All images float RGBA of the layout's size;
    // unwrap() has summed the circles that the arcs lie on.
    bool average(const K7Image& source, const K7Image* matte, const ArcLengths& lengths, K7Image& destination) const;

  private:
    ArcGeometry m_geometry;
    CircleSums m_table{};
    AlignedBlock<float, true> m_sums;
    std::vector<float> m_means;
};
