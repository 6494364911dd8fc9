#include "effects/trails/TrailPathCurve.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_curves.h"
#include "noiselib/place_hash.h"

namespace {

constexpr int MOST_STEPS = 600;  // of a curve between two points

float distance(PathPlace a, PathPlace b) { return std::sqrt((b.x - a.x) * (b.x - a.x) + (b.y - a.y) * (b.y - a.y)); }

PathPlace between(PathPlace a, PathPlace b, float t) { return {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)}; }

// A cubic spline through all points, straight at its ends. Knots are as far apart as the roots of the distances, so
// that it neither overshoots on short ways nor flattens on long ones.
class Spline {
  public:
    explicit Spline(const std::vector<PathPlace>& points) : m_points(points), m_bends(points.size()) {
        const std::size_t count = points.size();
        for (std::size_t i = 0; i + 1 < count; ++i)
            m_gaps.push_back(std::max(std::sqrt(static_cast<double>(distance(points[i], points[i + 1]))), 1e-2));
        // Second derivatives by elimination from the one end and substitution from the other.
        std::vector<double> upper(count, 0.0);
        for (std::size_t i = 1; i + 1 < count; ++i) {
            const double before = m_gaps[i - 1], after = m_gaps[i],
                         pivot = 2.0 * (before + after) - before * upper[i - 1];
            const auto turn = [&](double a, double b, double c) { return 6.0 * ((c - b) / after - (b - a) / before); };
            upper[i] = after / pivot;
            m_bends[i] = {(turn(double(points[i - 1].x), double(points[i].x), double(points[i + 1].x)) -
                           before * m_bends[i - 1].x) /
                              pivot,
                          (turn(double(points[i - 1].y), double(points[i].y), double(points[i + 1].y)) -
                           before * m_bends[i - 1].y) /
                              pivot};
        }
        for (std::size_t i = count - 1; i-- > 1;)
            m_bends[i].x -= upper[i] * m_bends[i + 1].x, m_bends[i].y -= upper[i] * m_bends[i + 1].y;
    }
    // From point i to the next one.
    PathPlace at(std::size_t i, double t) const {
        const double rest = 1.0 - t, square = m_gaps[i] * m_gaps[i] / 6.0;
        const double wa = square * (rest * rest * rest - rest), wb = square * (t * t * t - t);
        const auto mixed = [&](double a, double b, double bend_a, double bend_b) {
            return static_cast<float>(rest * a + t * b + wa * bend_a + wb * bend_b);
        };
        return {mixed(double(m_points[i].x), double(m_points[i + 1].x), m_bends[i].x, m_bends[i + 1].x),
                mixed(double(m_points[i].y), double(m_points[i + 1].y), m_bends[i].y, m_bends[i + 1].y)};
    }

  private:
    struct Bend {
        double x = 0.0, y = 0.0;
    };
    std::vector<PathPlace> m_points;
    std::vector<double> m_gaps;
    std::vector<Bend> m_bends;
};

PathPlace b_spline(PathPlace a, PathPlace b, PathPlace c, PathPlace d, float t) {
    const float rest = 1.0F - t, wa = rest * rest * rest / 6.0F, wd = t * t * t / 6.0F;
    const float wb = 2.0F / 3.0F - t * t * (1.0F - 0.5F * t), wc = 1.0F - wa - wb - wd;
    return {wa * a.x + wb * b.x + wc * c.x + wd * d.x, wa * a.y + wb * b.y + wc * c.y + wd * d.y};
}

// std::floor is a call where the processor lacks it.
int whole_part(float v) {
    const int i = static_cast<int>(v);
    return i - (v < static_cast<float>(i) ? 1 : 0);
}

}  // namespace

std::vector<PathVertex> path_vertices(std::vector<PathPlace> points, PathCurve curve, bool closed, float step) {
    const auto same = [](PathPlace a, PathPlace b) { return distance(a, b) < 1e-2F; };
    points.erase(std::unique(points.begin(), points.end(), same), points.end());
    if (closed && points.size() > 1 && same(points.front(), points.back())) points.pop_back();
    const int count = static_cast<int>(points.size());
    if (count < 2) return {};
    closed = closed && count > 2;
    // Beyond its ends an open line goes on as mirrored at them.
    const auto point = [&](int i) {
        if (closed) return points[static_cast<std::size_t>((i + count) % count)];
        if (i < 0) return between(points[0], points[1], -1.0F);
        const auto last = static_cast<std::size_t>(count - 1);
        return i >= count ? between(points[last], points[last - 1], -1.0F) : points[static_cast<std::size_t>(i)];
    };
    // Points further on hardly bend a closed line where it is used.
    const int around = closed ? 8 : 0;
    std::vector<PathPlace> knots;
    for (int i = -around; i < count + around; ++i)
        knots.push_back(closed ? point((i + count * around) % count) : point(i));
    const Spline spline(knots);
    std::vector<PathVertex> line;
    for (int i = 0; i < (closed ? count : count - 1); ++i) {
        const PathPlace p[4] = {point(i - 1), point(i), point(i + 1), point(i + 2)};
        const auto place = [&](float t) {
            if (curve == PathCurve::Along) return b_spline(p[0], p[1], p[2], p[3], t);
            if (curve == PathCurve::Straight) return between(p[1], p[2], t);
            return spline.at(static_cast<std::size_t>(i + around), static_cast<double>(t));
        };
        const float long_way = curve == PathCurve::Straight ? 1.0F : 1.3F;
        const float wanted = std::min(long_way * distance(p[1], p[2]) / step, static_cast<float>(MOST_STEPS));
        const int steps = std::max(static_cast<int>(wanted), curve == PathCurve::Straight ? 1 : 8);
        for (int k = line.empty() ? 0 : 1; k <= steps; ++k) {
            const PathPlace at = place(static_cast<float>(k) / static_cast<float>(steps));
            const float way = line.empty() ? 0.0F : distance({line.back().x, line.back().y}, at);
            if (line.empty() || way > 1e-3F) line.push_back({at.x, at.y, line.empty() ? 0.0F : line.back().s + way});
        }
    }
    if (closed && line.size() > 1) line.back().x = line.front().x, line.back().y = line.front().y;
    return line.size() < 2 ? std::vector<PathVertex>{} : line;
}

float path_noise(float at, std::uint32_t seed) {
    const int whole = whole_part(at);
    const auto cell = static_cast<std::uint32_t>(whole);
    const float a = signed_of(place_hash(seed, cell)), b = signed_of(place_hash(seed, cell + 1));
    return a + (b - a) * smoother_step(at - static_cast<float>(whole));
}

float grain_noise(float x, float y, std::uint32_t seed) {
    const int ix = whole_part(x), iy = whole_part(y);
    const auto cx = static_cast<std::uint32_t>(ix), cy = static_cast<std::uint32_t>(iy);
    const std::uint32_t low = place_hash(seed, cy), high = place_hash(seed, cy + 1);
    const float u = x - static_cast<float>(ix), su = u * u * (3.0F - 2.0F * u), v = y - static_cast<float>(iy),
                sv = v * v * (3.0F - 2.0F * v);
    const float a = unit_of(place_hash(low, cx)), b = unit_of(place_hash(low, cx + 1)),
                c = unit_of(place_hash(high, cx)), d = unit_of(place_hash(high, cx + 1));
    const float bottom = a + su * (b - a), top = c + su * (d - c);
    return bottom + sv * (top - bottom);
}

void wobble_path(std::vector<PathVertex>& line, float amount, float wave, std::uint32_t seed, double time,
                 bool closed) {
    if (line.size() < 3 || !(amount > 0.0F)) return;
    const double whole = std::floor(time);
    const auto shape = static_cast<std::uint32_t>(static_cast<std::int64_t>(whole));
    const float part = smoother_step(static_cast<float>(time - whole)), length = line.back().s;
    const std::uint32_t now = place_hash(place_hash(seed, 11), shape),
                        next = place_hash(place_hash(seed, 11), shape + 1);
    const auto pushed = [&](float s) {
        const float at = s / wave;
        const float a = path_noise(at, now) + 0.4F * path_noise(2.3F * at, now + 1);
        const float b = path_noise(at, next) + 0.4F * path_noise(2.3F * at, next + 1);
        return amount * (a + part * (b - a)) / 1.4F;
    };
    std::vector<PathVertex> moved = line;
    const float blend = std::min(2.0F * wave, 0.5F * length);  // of a closed line, at its end
    for (std::size_t i = 0; i < line.size(); ++i) {
        const PathVertex &a = line[i == 0 ? (closed ? line.size() - 2 : 0) : i - 1],
                         &b = line[i + 1 == line.size() ? (closed ? 1 : i) : i + 1];
        const float dx = b.x - a.x, dy = b.y - a.y, way = std::sqrt(dx * dx + dy * dy);
        if (!(way > 1e-6F)) continue;
        float push = pushed(line[i].s);
        if (const float left = length - line[i].s; closed && left < blend)
            push += smoother_step(1.0F - left / blend) * (pushed(line[i].s - length) - push);
        moved[i].x -= push * dy / way, moved[i].y += push * dx / way;
    }
    for (std::size_t i = 1; i < moved.size(); ++i)
        moved[i].s = moved[i - 1].s + distance({moved[i - 1].x, moved[i - 1].y}, {moved[i].x, moved[i].y});
    line = std::move(moved);
}

std::vector<PathVertex> path_piece(const std::vector<PathVertex>& line, float from, float to) {
    if (line.empty()) return {};
    from = std::max(from, 0.0F), to = std::min(to, line.back().s);
    if (!(to > from)) return {};
    std::vector<PathVertex> piece;
    const auto add = [&](const PathVertex& a, const PathVertex& b, float s) {
        const float t = b.s > a.s ? (s - a.s) / (b.s - a.s) : 0.0F;
        piece.push_back({a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), s});
    };
    for (std::size_t i = 1; i < line.size(); ++i) {
        const PathVertex &a = line[i - 1], &b = line[i];
        if (b.s <= from) continue;
        if (piece.empty()) add(a, b, from);
        if (b.s >= to) {
            add(a, b, to);
            break;
        }
        piece.push_back(b);
    }
    return piece.size() < 2 ? std::vector<PathVertex>{} : piece;
}
