#include "effects/sundries/FlockPainter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "graphicslib/ink.h"
#include "graphicslib/row_bands.h"
#include "imagelib/imagelib_coverage.h"
#include "k7pi_baselib/portable_math.h"

namespace flock {

namespace {

using ink::Quad;

constexpr float TURN = 6.2831853F;
constexpr float A_STEP = 2;  // pixels from one pose of a blur to the next
constexpr int MOST_POSES = 8;
constexpr int FANNED = 3;          // poses of a wing that beats too fast to be seen
constexpr float FORWARDS = 0.68F;  // half the length of a model at most
constexpr float ACROSS = 0.6F;     // and of its span
constexpr float SOFTNESS = 0.05F;  // of a shadow, in lengths
constexpr float SLIGHTEST = 0.7F;  // pixels: the width of the thinnest limb
constexpr float FACING = 0.04F;    // how far a flank is turned to the eye when it is seen
constexpr int ROUND = 48;

struct Circle {
    float cosine[ROUND], sine[ROUND];
    Circle() {
        for (int i = 0; i < ROUND; ++i) {
            const float angle = TURN * static_cast<float>(i) / ROUND;
            cosine[i] = k7_cos(angle), sine[i] = k7_sin(angle);
        }
    }
};

const float* fixed_colour(Paint paint) {
    static constexpr float COLOURS[][3] = {
        {0, 0, 0}, {0.015F, 0.015F, 0.017F}, {0.38F, 0.27F, 0.08F}, {0.8F, 0.84F, 0.88F},
        {1, 1, 1}, {0.82F, 0.81F, 0.77F}};
    return COLOURS[static_cast<int>(paint)];
}

struct Bend {
    float cosine = 1, sine = 0;
    void set(float angle) { cosine = k7_cos(angle), sine = k7_sin(angle); }
};

// The joints at one moment.
struct Joints {
    Bend arm, hand, sway;
    float fold = 0, bob = 0, step = 0;

    Joints(const Gait& gait, float phase, float glide) {
        const float turn = TURN * (phase - std::floor(phase));
        const float beating = 1 - glide;
        if (gait.beat > 0) {
            const float wave = k7_sin(turn);
            const float angle = gait.spread * glide + beating * (gait.middle + gait.beat * wave);
            arm.set(angle);
            hand.set(angle + beating * gait.hand * k7_sin(turn - gait.lag));
            fold = beating * gait.fold * 0.5F * (1 + k7_cos(turn - 0.3F));
            bob = -beating * gait.bob * wave;
        }
        if (gait.sway > 0) sway.set(turn);
        if (gait.step > 0) step = gait.step * k7_sin(turn);
    }
};

// A place of the model, moved by its joint. `wave` are cosine and sine of its lag along the body.
Point moved(const Part& part, const Gait& gait, const Joints& joints, Point p, bool right, float along) {
    switch (part.joint) {
        case Joint::Wing: {
            const float out = p.y - gait.shoulder, bent = out - gait.wrist;
            if (bent <= 0) {
                p.y = gait.shoulder + out * joints.arm.cosine;
                p.z += out * joints.arm.sine;
            } else {
                p.y = gait.shoulder + gait.wrist * joints.arm.cosine + bent * joints.hand.cosine;
                p.z += gait.wrist * joints.arm.sine + bent * joints.hand.sine;
                p.x -= bent * joints.fold;
            }
            break;
        }
        case Joint::Sway: {
            const float to_tail = 0.5F - p.x;
            p.y += gait.sway * (0.12F + to_tail * to_tail) *
                   (joints.sway.sine * p.lag_cosine - joints.sway.cosine * p.lag_sine);
            break;
        }
        case Joint::Leg: {
            const bool odd = (part.leg % 2 == 0) != right;
            p.x += along * (odd ? joints.step : -joints.step);
            break;
        }
        case Joint::Body:
            break;
    }
    p.z += joints.bob;
    if (right) p.y = -p.y;
    return p;
}

float dot(const float a[3], const float b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

}  // namespace

// ---- One member -----------------------------------------------------------------------------------------------

// Makes the outlines of a member at both ends of the shutter's time, and fills them.
class Painter::Brush {
  public:
    explicit Brush(const Painter& painter) : m_painter(painter), m_gait(painter.m_character.gait) {}

    void paint(const View& view, bool shadow, K7Image* picture, int first, int last) {
        pose(view);
        spreadPoses(view, shadow);
        PixelWindow window = bounds(0, m_now.size());
        limit(window, {0, first, picture->width - 1, last});
        if (window.x0 > window.x1 || window.y0 > window.y1) return;
        if (!shadow && view.opacity >= 1) {
            fill(false, image_row<float>(picture, 0), picture->width, window);
            return;
        }
        // What shows through, or is a shadow, is put together first.
        const int width = window.x1 - window.x0 + 1;
        m_tile.assign(4 * static_cast<std::size_t>(width) * static_cast<std::size_t>(window.y1 - window.y0 + 1), 0.0F);
        fill(shadow, m_tile.data() - 4 * (std::ptrdiff_t(window.y0) * width + window.x0), width, window);
        const float share = view.opacity * (shadow ? m_painter.m_lighting.shadow * (1 - view.haze) : 1);
        const float* from = m_tile.data();
        for (int y = window.y0; y <= window.y1; ++y) {
            float* out = image_row<float>(picture, y) + 4 * std::ptrdiff_t(window.x0);
            for (int x = window.x0; x <= window.x1; ++x, out += 4, from += 4)
                ink::store(out, ink::blended<DrawBlend::over>(share * ink::load(from), ink::load(out)));
        }
    }

  private:
    struct Corner {
        float x, y;
        bool sharp = false;
    };
    // A loop of places, or a smooth one through them.
    struct Piece {
        std::uint32_t begin, count;  // in m_now and m_before
        bool smooth;
        float depth;
        std::uint32_t axis;  // of its shades: two places
        Quad from, to;       // ink
    };

    // One of the poses that a picture is the mean of.
    struct Moment {
        float time;    // 0 when the shutter opens, 1 when it closes
        float dx, dy;  // pixels
    };

    // The way that the fastest part goes is sampled, finely where the character is small; a shadow is spread about its
    // middle, which makes it soft.
    void spreadPoses(const View& view, bool shadow) {
        m_moments.clear();
        if (shadow) {
            const Lighting& light = m_painter.m_lighting;
            const int poses = view.size < 12 ? 3 : 6;
            for (int i = 0; i < poses; ++i) {
                const float angle = TURN * static_cast<float>(i) / static_cast<float>(poses);
                m_moments.push_back({1, view.size * (light.shadow_x + SOFTNESS * k7_cos(angle)) * m_painter.m_wide,
                                     view.size * (light.shadow_y + SOFTNESS * k7_sin(angle))});
            }
            return;
        }
        float way = std::sqrt(view.way_x * view.way_x + view.way_y * view.way_y);
        way += view.size * TURN * view.beaten * (1 - view.glide) * (0.3F * m_gait.beat + m_gait.sway + m_gait.step);
        const float step = std::max(A_STEP, 0.09F * view.size);
        const int most = view.size >= 16 ? MOST_POSES : way > 6 ? 3 : 2;
        const int poses = way > 1 ? std::clamp(static_cast<int>(std::ceil(std::min(way, 1000.0F) / step)), 1, most) : 1;
        for (int i = 0; i < poses; ++i)
            m_moments.push_back({poses == 1 ? 1 : (static_cast<float>(i) + 0.5F) / static_cast<float>(poses), 0, 0});
    }

    // Of places, at all moments; curves may reach a little beyond them.
    PixelWindow bounds(std::size_t begin, std::size_t end) const {
        float x0 = m_now[begin].x, x1 = x0, y0 = m_now[begin].y, y1 = y0, longest = 0;
        const std::vector<Corner>* const ends[] = {&m_now, &m_before};
        for (std::size_t k = 0; k < (m_moments.size() > 1 ? 2 : 1); ++k)
            for (std::size_t i = begin; i < end; ++i) {
                const Corner c = (*ends[k])[i];
                x0 = std::min(x0, c.x), x1 = std::max(x1, c.x);
                y0 = std::min(y0, c.y), y1 = std::max(y1, c.y);
            }
        longest = 0.04F * std::max(x1 - x0, y1 - y0) + 1;
        float left = 0, right = 0, down = 0, up = 0;
        if (m_moments.size() > 0) {
            left = right = m_moments[0].dx, down = up = m_moments[0].dy;
            for (const Moment& moment : m_moments) {
                left = std::min(left, moment.dx), right = std::max(right, moment.dx);
                down = std::min(down, moment.dy), up = std::max(up, moment.dy);
            }
        }
        const auto cut = [](float value) { return static_cast<int>(std::floor(std::clamp(value, -1e6F, 1e6F))); };
        return {cut(x0 + left - longest), cut(y0 + down - longest), cut(x1 + right + longest), cut(y1 + up + longest)};
    }
    static void limit(PixelWindow& window, const PixelWindow& within) {
        window.x0 = std::max(window.x0, within.x0), window.x1 = std::min(window.x1, within.x1);
        window.y0 = std::max(window.y0, within.y0), window.y1 = std::min(window.y1, within.y1);
    }

    // ---- Posing
    void pose(const View& view) {
        m_now.clear(), m_before.clear(), m_pieces.clear();
        const Joints now(m_gait, view.phase, view.glide), before(m_gait, view.phase - view.beaten, view.glide);
        for (const Part& part : m_painter.m_character.parts) {
            if (view.size < part.smallest || view.size >= part.largest) continue;
            const bool fan = m_gait.blurred && part.joint == Joint::Wing;
            for (int side = 0; side < (part.pair ? 2 : 1); ++side) {
                if (part.on_skin && (side == 0 ? view.axes[1][2] : -view.axes[1][2]) < FACING) continue;
                for (int copy = 0; copy < (fan ? FANNED : 1); ++copy) {
                    const float shifted = view.phase + static_cast<float>(copy) / FANNED;
                    if (fan)
                        addPart(part, view, side == 1, Joints(m_gait, shifted, 0), Joints(m_gait, shifted, 0), 0.6F);
                    else
                        addPart(part, view, side == 1, now, before, 1);
                }
            }
        }
        std::stable_sort(m_pieces.begin(), m_pieces.end(),
                         [](const Piece& a, const Piece& b) { return a.depth < b.depth; });
    }

    void addPart(const Part& part, const View& view, bool right, const Joints& now, const Joints& before,
                 float opacity) {
        Piece piece{};
        piece.begin = static_cast<std::uint32_t>(m_now.size());
        if (part.form == Form::Ellipsoid)
            addEllipsoid(part, view, right, now, before, piece);
        else
            addLine(part, view, right, now, before, piece);
        piece.depth += part.bias;
        for (Quad* ink : {&piece.from, &piece.to}) *ink *= part.opacity * opacity;
        m_pieces.push_back(piece);
    }

    // Of the model onto the picture; also how near to the eye.
    Corner project(const View& view, Point p, bool moved_on, float* depth = nullptr) const {
        const float(&a)[3][3] = view.axes;
        const float x = p.x * a[0][0] + p.y * a[1][0] + p.z * a[2][0];
        const float y = p.x * a[0][1] + p.y * a[1][1] + p.z * a[2][1];
        if (depth) *depth = p.x * a[0][2] + p.y * a[1][2] + p.z * a[2][2];
        return {view.x - (moved_on ? 0 : view.way_x) + x * view.size * m_painter.m_wide,
                view.y - (moved_on ? 0 : view.way_y) + y * view.size};
    }

    void addLine(const Part& part, const View& view, bool right, const Joints& now, const Joints& before,
                 Piece& piece) {
        const std::size_t count = part.points.size();
        const float last = static_cast<float>(count - 1);
        std::array<Point, 16> places;
        float sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const float along = static_cast<float>(i) / last;
            places[i] = moved(part, m_gait, now, part.points[i], right, along);
            float depth = 0;
            m_now.push_back(project(view, places[i], true, &depth));
            m_now.back().sharp = places[i].corner;
            m_before.push_back(project(view, moved(part, m_gait, before, part.points[i], right, along), false));
            sum += depth;
        }
        piece.depth = sum / static_cast<float>(count);
        piece.count = static_cast<std::uint32_t>(count);
        float marks = 0, light = 1;
        if (part.form == Form::Limb) {
            thicken(part, view.size, m_now, piece.begin);
            thicken(part, view.size, m_before, piece.begin);
            piece.count *= 2;
        } else {
            piece.smooth = view.size > 28;
            light = lightOn(view, places.data(), count, right, part.joint == Joint::Wing, marks);
        }
        piece.axis = static_cast<std::uint32_t>(m_now.size());
        for (const Point& end : {part.axis_from, part.axis_to}) {
            m_now.push_back(project(view, moved(part, m_gait, now, end, right, 0), true));
            m_before.push_back(project(view, moved(part, m_gait, before, end, right, 0), false));
        }
        piece.from = inkOf(part.paint, part.from, view, marks, light);
        piece.to = inkOf(part.paint, part.to, view, marks, light);
    }

    // A line becomes the loop around it.
    void thicken(const Part& part, float size, std::vector<Corner>& places, std::size_t begin) {
        const std::size_t count = places.size() - begin;
        const float wide = m_painter.m_wide;
        std::array<Corner, 16> other;
        std::array<Corner, 16> line;
        std::copy(places.begin() + static_cast<std::ptrdiff_t>(begin), places.end(), line.begin());
        for (std::size_t i = 0; i < count; ++i) {
            const Corner &a = line[i > 0 ? i - 1 : 0], &b = line[std::min(i + 1, count - 1)];
            float dx = (b.x - a.x) / wide, dy = b.y - a.y;
            const float length = std::sqrt(dx * dx + dy * dy);
            if (length > 0) dx /= length, dy /= length;
            const float along = static_cast<float>(i) / static_cast<float>(count - 1);
            const float half =
                0.5F * std::max(size * (part.thickness + along * (part.thin - part.thickness)), SLIGHTEST);
            other[i] = {line[i].x + dy * half * wide, line[i].y - dx * half};
            places[begin + i] = {line[i].x - dy * half * wide, line[i].y + dx * half};
        }
        for (std::size_t i = count; i-- > 0;) places.push_back(other[i]);
    }

    // The outline of an ellipsoid is the ellipse with the matrix P D P', P the projection and D the squared radii.
    void addEllipsoid(const Part& part, const View& view, bool right, const Joints& now, const Joints& before,
                      Piece& piece) {
        static const Circle circle;
        const Point radii = part.points[1];
        const float r[3] = {radii.x, radii.y, radii.z};
        float xx = 0, xy = 0, yy = 0;
        for (int i = 0; i < 3; ++i) {
            const float x = r[i] * view.axes[i][0], y = r[i] * view.axes[i][1];
            xx += x * x, xy += x * y, yy += y * y;
        }
        const float a = std::sqrt(xx), b = a > 0 ? xy / a : 0, c = std::sqrt(std::max(yy - b * b, 0.0F));
        const float extent = view.size * std::max({radii.x, radii.y, radii.z});
        const int stride = extent < 4 ? 6 : extent < 12 ? 4 : extent < 50 ? 2 : 1;
        const Corner middle = project(view, moved(part, m_gait, now, part.points[0], right, 0), true, &piece.depth);
        const Corner earlier = project(view, moved(part, m_gait, before, part.points[0], right, 0), false);
        for (int i = 0; i < ROUND; i += stride) {
            const float x = view.size * a * circle.cosine[i] * m_painter.m_wide,
                        y = view.size * (b * circle.cosine[i] + c * circle.sine[i]);
            m_now.push_back({middle.x + x, middle.y + y});
            m_before.push_back({earlier.x + x, earlier.y + y});
        }
        piece.count = static_cast<std::uint32_t>(ROUND / stride);
        // Shaded across, towards the light.
        const Lighting& light = m_painter.m_lighting;
        const float lx = light.towards[0], ly = light.towards[1];
        const float reach = view.size * std::sqrt(std::max(lx * lx * xx + 2 * lx * ly * xy + ly * ly * yy, 0.0F));
        piece.axis = static_cast<std::uint32_t>(m_now.size());
        for (const float end : {-1.0F, 1.0F}) {
            const float x = end * reach * lx * m_painter.m_wide, y = end * reach * ly;
            m_now.push_back({middle.x + x, middle.y + y});
            m_before.push_back({earlier.x + x, earlier.y + y});
        }
        piece.from = inkOf(part.paint, part.from, view, 0, 1 - 0.62F * light.shading);
        piece.to = inkOf(part.paint, part.to, view, 0, 1 + 0.45F * light.shading);
    }

    // How brightly a flat part is lit, which may be seen from either side; the lower one of a wing is paler.
    float lightOn(const View& view, const Point* places, std::size_t count, bool right, bool wing, float& marks) const {
        float n[3] = {};  // of the model (Newell's method)
        for (std::size_t i = 0; i < count; ++i) {
            const Point &p = places[i], &q = places[(i + 1) % count];
            n[0] += (p.y - q.y) * (p.z + q.z);
            n[1] += (p.z - q.z) * (p.x + q.x);
            n[2] += (p.x - q.x) * (p.y + q.y);
        }
        float seen[3];
        for (int i = 0; i < 3; ++i) seen[i] = n[0] * view.axes[0][i] + n[1] * view.axes[1][i] + n[2] * view.axes[2][i];
        const float length = std::sqrt(dot(seen, seen));
        if (!(length > 0)) return 1;
        const bool below = wing && (seen[2] < 0) != right;
        const float side = seen[2] < 0 ? -1.0F : 1.0F;
        const float facing = side * dot(seen, m_painter.m_lighting.towards) / length;
        marks = below ? 0.18F : 0;
        return 1 + m_painter.m_lighting.shading * (0.75F * std::max(facing, -0.5F) - 0.38F);
    }

    Quad inkOf(Paint paint, Shade shade, const View& view, float marks, float light) const {
        const Lighting& air = m_painter.m_lighting;
        const float mix = std::min(shade.marks + marks, 1.0F), tone = std::max(shade.tone * light, 0.0F);
        const float* fixed = fixed_colour(paint);
        Quad ink;
        for (int c = 0; c < 3; ++c) {
            const float own = paint == Paint::Own ? view.main[c] + mix * (view.marks[c] - view.main[c]) : fixed[c];
            ink[c] = own * tone + view.haze * (air.haze[c] - own * tone);
        }
        ink[3] = 1;
        return ink;
    }

    // ---- Filling
    void fill(bool shadow, float* origin, int pitch, const PixelWindow& window) {
        for (const Piece& piece : m_pieces) {
            const Quad black = {0, 0, 0, piece.to[3]};
            const Quad from = shadow ? black : piece.from, change = (shadow ? black : piece.to) - from;
            // How far along its axis a pixel is, at the mean of the moments.
            const float middle = m_moments.size() == 1 ? m_moments[0].time : 0.5F;
            const Corner a = at(piece.axis, middle), b = at(piece.axis + 1, middle);
            const float x = b.x - a.x, y = b.y - a.y, squared = x * x + y * y;
            const float gx = squared > 0 ? x / squared : 0, gy = squared > 0 ? y / squared : 0;
            const auto inked = [&](const CoverageRun& run) {
                float* out = origin + 4 * (std::ptrdiff_t(run.y) * pitch + run.x0);
                const float start =
                    gx * (static_cast<float>(run.x0) + 0.5F - a.x) + gy * (static_cast<float>(run.y) + 0.5F - a.y);
                for (int i = 0; i <= run.x1 - run.x0; ++i, out += 4) {
                    const float covered = run.coverage ? run.coverage[i] : 1;
                    if (covered == 0) continue;
                    const float along = std::clamp(start + gx * static_cast<float>(i), 0.0F, 1.0F);
                    ink::store(out, ink::blended<DrawBlend::over>(covered * (from + along * change), ink::load(out)));
                }
            };
            if (m_moments.size() == 1)
                cover(piece, m_moments[0], window, inked);
            else
                coverMean(piece, window, inked);
        }
    }

    template <class Visit>
    void cover(const Piece& piece, const Moment& moment, const PixelWindow& window, Visit visit) {
        m_loop.clear();
        for (std::uint32_t i = 0; i < piece.count; ++i) addCorner(piece, i, moment.time, moment.dx, moment.dy);
        if (m_coverage.set_polygon(static_cast<int>(m_loop.size() / 2), m_loop.data(), 2, window))
            m_coverage.for_runs(visit);
    }

    // The mean coverage of all moments.
    template <class Visit>
    void coverMean(const Piece& piece, const PixelWindow& whole, Visit visit) {
        PixelWindow window = bounds(piece.begin, piece.begin + piece.count);
        limit(window, whole);
        if (window.x0 > window.x1 || window.y0 > window.y1) return;
        const int width = window.x1 - window.x0 + 1;
        m_mean.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(window.y1 - window.y0 + 1), 0.0F);
        const float share = 1 / static_cast<float>(m_moments.size());
        for (const Moment& moment : m_moments)
            cover(piece, moment, window, [&](const CoverageRun& run) {
                float* out = m_mean.data() + std::ptrdiff_t(run.y - window.y0) * width + (run.x0 - window.x0);
                for (int i = 0; i <= run.x1 - run.x0; ++i) out[i] += run.coverage ? share * run.coverage[i] : share;
            });
        for (int y = window.y0; y <= window.y1; ++y)
            visit(CoverageRun{y, window.x0, window.x1, m_mean.data() + std::ptrdiff_t(y - window.y0) * width});
    }

    Corner at(std::uint32_t index, float time) const {
        const Corner &a = m_before[index], &b = m_now[index];
        return {a.x + time * (b.x - a.x), a.y + time * (b.y - a.y)};
    }
    Corner ringed(const Piece& piece, std::uint32_t i, float time) const {
        return at(piece.begin + i % piece.count, time);
    }
    // A place of the loop, and the curve to the next one (Catmull and Rom, 1974).
    void addCorner(const Piece& piece, std::uint32_t i, float time, float dx, float dy) {
        const Corner p = ringed(piece, i, time);
        m_loop.insert(m_loop.end(), {p.x + dx, p.y + dy});
        if (!piece.smooth) return;
        const Corner q = ringed(piece, i + 1, time);
        const float apart = std::fabs(q.x - p.x) + std::fabs(q.y - p.y);
        const int steps = std::min(1 + static_cast<int>(std::min(apart, 1000.0F) / 7), 10);
        if (steps == 1) return;
        const Corner before = isCorner(piece, i) ? p : ringed(piece, i + piece.count - 1, time);
        const Corner after = isCorner(piece, i + 1) ? q : ringed(piece, i + 2, time);
        for (int k = 1; k < steps; ++k) {
            const float t = static_cast<float>(k) / static_cast<float>(steps), u = 1 - t;
            const float wa = -0.5F * t * u * u, wb = 0.5F * t * (t * (3 * t - 5)) + 1,
                        wc = 0.5F * t * (1 + t * (4 - 3 * t)), wd = -0.5F * t * t * u;
            m_loop.push_back(wa * before.x + wb * p.x + wc * q.x + wd * after.x + dx);
            m_loop.push_back(wa * before.y + wb * p.y + wc * q.y + wd * after.y + dy);
        }
    }
    bool isCorner(const Piece& piece, std::uint32_t i) const { return m_now[piece.begin + i % piece.count].sharp; }

    const Painter& m_painter;
    const Gait& m_gait;
    PolygonCoverage m_coverage;
    std::vector<Corner> m_now, m_before;
    std::vector<Piece> m_pieces;
    std::vector<Moment> m_moments;
    std::vector<float> m_loop, m_tile, m_mean;
};

// ---- All of them ----------------------------------------------------------------------------------------------

void Painter::begin(Kind kind, const Lighting& lighting, const K7Image& picture) {
    if (m_kind != kind) m_character = make_character(kind), m_kind = kind;
    m_lighting = lighting;
    m_width = picture.width, m_height = picture.height;
    m_wide = picture.pixel_width > 0 && picture.pixel_height > 0 ? picture.pixel_height / picture.pixel_width : 1;
    m_views.clear();
}

void Painter::add(const View& view) {
    if (std::isfinite(view.x + view.y + view.way_x + view.way_y) && view.size > 0.05F && view.opacity > 0)
        m_views.push_back(view);
}

// The rows that a member may reach; its model lies within so much of its middle, forwards and across.
bool Painter::rowsOf(const View& view, bool shadow, Item& item) const {
    const float steep = view.axes[0][1];
    const float model = FORWARDS * std::fabs(steep) + ACROSS * std::sqrt(std::max(1 - steep * steep, 0.0F));
    const float reach = (model + (shadow ? SOFTNESS : 0)) * view.size + 2;
    const float y = view.y + (shadow ? m_lighting.shadow_y * view.size : 0), y0 = shadow ? y : y - view.way_y;
    const float low = std::min(y, y0) - reach, high = std::max(y, y0) + reach, top = static_cast<float>(m_height - 1);
    if (!(high >= 0 && low <= top)) return false;
    item.first_row = static_cast<int>(std::max(low, 0.0F));
    item.last_row = static_cast<int>(std::min(high, top));
    return true;
}

void Painter::draw(K7Image* picture) const {
    std::vector<Item> items;
    items.reserve(m_views.size());
    for (const bool shadow : {true, false}) {
        if (shadow && !(m_lighting.shadow > 0)) continue;
        for (std::size_t i = 0; i < m_views.size(); ++i) {
            Item item{static_cast<std::uint32_t>(i), shadow, 0, 0};
            if (rowsOf(m_views[i], shadow, item)) items.push_back(item);
        }
    }
    if (items.empty()) return;
    picture->stats_valid = 0;
    // Twice as high as bands are elsewhere: a member is posed for each band that it reaches.
    constexpr int ROWS = 2;
    row_bands::draw(
        items.size(), (m_height + ROWS - 1) / ROWS,
        [&](std::size_t i) {
            return std::pair{items[i].first_row / ROWS, items[i].last_row / ROWS};
        },
        [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
            Brush brush(*this);
            const int top = std::min(ROWS * last + ROWS - 1, m_height - 1);
            for (; begin != end; ++begin)
                brush.paint(m_views[items[*begin].view], items[*begin].shadow, picture, ROWS * first, top);
        });
}

}  // namespace flock
