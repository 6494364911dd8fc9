// A curve through six control points, as the night looks shape their tables with it.
//
// The points are put in order of their x, an anchor at x = 0 and one at x = 1 take the heights of the outermost points,
// and a Catmull-Rom spline runs through the eight. A table walks along the spline by its parameter, not by x: each of
// the seven spans fills a seventh of the table, and x of a point only decides where in the order it comes.
#pragma once

#include <array>

struct CurvePoint {
    double x, y;
};

class ControlCurve {
  public:
    static constexpr int CONTROLS = 6, POINTS = 8, SPANS = POINTS - 1;
    explicit ControlCurve(const std::array<CurvePoint, CONTROLS>& controls);  // what is not finite counts as 0

    CurvePoint at(double u) const;  // 0 to SPANS
    // `write(i, y)` for each entry of a table, y limited to 0 to 1.
    template <class Write>
    void tabulate(int entries, Write&& write) const {
        Span span{};
        int current = -1;
        for (int i = 0; i < entries; ++i) {
            const double u = i * SPANS / (entries - 0.99999);
            const int k = static_cast<int>(u);
            if (k != current) span = spanOf(current = k, &CurvePoint::y);
            write(i, static_cast<float>(limited(span.at(u - k))));
        }
    }

  private:
    struct Span {  // a cubic
        double a, b, c, d;
        double at(double f) const { return d + f * (c + f * (b + f * a)); }
    };
    Span spanOf(int k, double CurvePoint::*axis) const;
    static double limited(double v) { return v > 0.0 ? (v < 1.0 ? v : 1.0) : 0.0; }

    std::array<CurvePoint, POINTS> m_points;
};
