#include "effects/engines/curves/ControlCurve.h"

#include <algorithm>
#include <cmath>

ControlCurve::ControlCurve(const std::array<CurvePoint, CONTROLS>& controls) : m_points{} {
    const auto finite = [](double v) { return std::isfinite(v) ? v : 0.0; };
    for (int i = 0; i < CONTROLS; ++i) {
        const CurvePoint& point = controls[static_cast<std::size_t>(i)];
        m_points[static_cast<std::size_t>(i) + 1] = {finite(point.x), finite(point.y)};
    }
    std::stable_sort(m_points.begin() + 1, m_points.end() - 1,
                     [](const CurvePoint& a, const CurvePoint& b) { return a.x < b.x; });
    m_points.front() = {0.0, m_points[1].y};
    m_points.back() = {1.0, m_points[POINTS - 2].y};
}

// E. Catmull, R. Rom, "A class of local interpolating splines" (1974), tension one half.
ControlCurve::Span ControlCurve::spanOf(int k, double CurvePoint::*axis) const {
    const auto point = [&](int i) { return m_points[static_cast<std::size_t>(std::clamp(i, 0, POINTS - 1))].*axis; };
    const double p0 = point(k - 1), p1 = point(k), p2 = point(k + 1), p3 = point(k + 2);
    return {-0.5 * p0 + 1.5 * p1 - 1.5 * p2 + 0.5 * p3, p0 - 2.5 * p1 + 2.0 * p2 - 0.5 * p3, 0.5 * (p2 - p0), p1};
}

CurvePoint ControlCurve::at(double u) const {
    const int k = std::clamp(static_cast<int>(std::clamp(u, 0.0, double(SPANS))), 0, SPANS - 1);
    return {spanOf(k, &CurvePoint::x).at(u - k), spanOf(k, &CurvePoint::y).at(u - k)};
}
