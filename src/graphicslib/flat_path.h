// Paths of lines and curves, flattened as they are given, with the length along them.
//
// Units are whatever the coordinates are in, mostly pixels. Coordinates that are not finite are refused: the path stays
// as it was.
#pragma once

#include <cstddef>
#include <vector>

class FlatPath {
  public:
    // How far a chord may lie from its curve, above 0.
    explicit FlatPath(float flatness = 0.05F) : m_tolerance(flatness > 0 ? flatness : 0.05F) {}

    void clear();
    // Begins a contour.
    bool move_to(float x, float y);
    // These go on from the last point; without one they begin there.
    bool line_to(float x, float y);
    bool quad_to(float cx, float cy, float x, float y);
    bool cubic_to(float cx0, float cy0, float cx1, float cy1, float x, float y);
    // Goes back to the contour's first point, and marks it as a ring.
    void close();
    // A contour of its own through the points x, y, x, y: a centripetal Catmull-Rom curve, which neither overshoots
    // nor loops between points that lie unevenly (C. Yuksel, S. Schaefer, J. Keyser, "Parameterization and applications
    // of Catmull-Rom curves", 2011).
    bool spline_through(int count, const float* xy, bool closed);

    int contours() const { return static_cast<int>(m_parts.size()); }
    bool closed(int contour) const { return part(contour).closed; }
    int points(int contour) const { return static_cast<int>(part(contour).end - part(contour).begin); }
    // x, y of the contour's points; a ring ends on its first.
    const float* xy(int contour) const { return m_coordinates.data() + 2 * part(contour).begin; }
    float length(int contour) const;
    float length() const;  // of all contours

    struct Place {
        float x, y;
        float dx, dy;  // the direction there, of unit length; 0 where the contour has no length
    };
    // At a distance along a contour, limited to its ends. The contour has a point at least.
    Place at(int contour, float distance) const;
    // The part between two distances along the whole path, contour after contour; it keeps no rings. For writing on,
    // and for dashes.
    FlatPath between(float from, float to) const;

  private:
    struct Part {
        std::size_t begin, end;  // points
        bool closed;
    };
    const Part& part(int contour) const { return m_parts[static_cast<std::size_t>(contour)]; }
    bool has_point() const { return !m_parts.empty() && !m_parts.back().closed; }
    void last_point(float& x, float& y) const;
    void push(float x, float y);

    float m_tolerance;
    std::vector<float> m_coordinates;
    std::vector<double> m_distances;  // of each point from its contour's first
    std::vector<Part> m_parts;
};
