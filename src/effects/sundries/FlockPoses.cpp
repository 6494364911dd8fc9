#include "effects/sundries/FlockPoses.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

namespace flock {

namespace {

using ink::Quad;

constexpr float TURN = 6.2831853F;
// Pixels from one pose of a blur to the next: finer where a member is small
constexpr float LEAST_STEP = 2, MOST_STEP = 4, STEP = 0.09F;  // the last in lengths
constexpr int MOST_POSES = 16;
constexpr int FANNED = 3;          // poses of a wing that beats too fast to be seen
constexpr float FAN_INK = 0.6F;    // opacity of each
constexpr float SLIGHTEST = 0.7F;  // pixels: the width of the thinnest limb
constexpr float FACING = 0.04F;    // how far a flank is turned to the eye when it is seen
constexpr float SMOOTHED = 28;     // pixels: from this size on outlines are curves
constexpr float FARTHEST = 1e6F;   // pixels
constexpr int ROUND = 48;
constexpr int MOST_LINE = 16;

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

// To the right, up and towards the eye.
struct Space {
    float x = 0, y = 0, z = 0;
};
Space operator+(Space a, Space b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Space operator-(Space a, Space b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Space operator*(float s, Space a) { return {s * a.x, s * a.y, s * a.z}; }
Space cross(Space a, Space b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }

}  // namespace

// ---- The model ------------------------------------------------------------------------------------------------

PoseMaker::Weights PoseMaker::weightsOf(const Part& part, const Point& p, float along) const {
    const Gait& gait = m_character.gait;
    switch (part.joint) {
        case Joint::Wing: {
            const float out = p.y - gait.shoulder;
            return {p.x, gait.shoulder, p.z, std::min(out, gait.wrist), std::max(out - gait.wrist, 0.0F)};
        }
        case Joint::Sway: {
            const float to_tail = 0.5F - p.x, far = gait.sway * (0.12F + to_tail * to_tail);
            return {p.x, p.y, p.z, far * p.lag_cosine, -far * p.lag_sine};
        }
        case Joint::Leg:
            return {p.x, p.y, p.z, part.leg % 2 == 0 ? along : -along, 0};
        case Joint::Body:
            break;
    }
    return {p.x, p.y, p.z, 0, 0};
}

PoseMaker::PoseMaker(Kind kind) : m_character(make_character(kind)) {
    for (const Part& part : m_character.parts) {
        Shape shape{.part = &part, .places = {}, .sharp = {}, .mean = {}, .axis_from = {}, .axis_to = {}, .turns = {}};
        const std::size_t count = part.form == Form::Ellipsoid ? 1 : part.points.size();
        for (std::size_t i = 0; i < count; ++i) {
            const float along = count > 1 ? static_cast<float>(i) / static_cast<float>(count - 1) : 0;
            shape.places.push_back(weightsOf(part, part.points[i], along));
            shape.sharp.push_back(part.points[i].corner ? 1 : 0);
            for (int k = 0; k < AXES; ++k)
                shape.mean[std::size_t(k)] += shape.places.back()[std::size_t(k)] / static_cast<float>(count);
        }
        shape.axis_from = weightsOf(part, part.axis_from, 0), shape.axis_to = weightsOf(part, part.axis_to, 0);
        for (int a = 0; a < AXES; ++a)
            for (int b = a + 1; b < AXES; ++b) {
                const auto from_mean = [&](std::size_t i, int k) {
                    return shape.places[i % count][std::size_t(k)] - shape.mean[std::size_t(k)];
                };
                float area = 0;
                for (std::size_t i = 0; i < count; ++i)
                    area += from_mean(i, a) * from_mean(i + 1, b) - from_mean(i, b) * from_mean(i + 1, a);
                if (std::fabs(area) > 1e-6F) shape.turns.push_back({a, b, area});
            }
        m_shapes.push_back(std::move(shape));
    }
}

// The joints at one moment.
struct PoseMaker::Joints {
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

// ---- One member -----------------------------------------------------------------------------------------------

// The axes of one joint of one side.
struct PoseMaker::Stance {
    Space now[AXES];
    Quad seen[AXES];

    Space inSpace(const Weights& weights) const {
        Space sum;
        for (int k = 0; k < AXES; ++k) sum = sum + weights[std::size_t(k)] * now[k];
        return sum;
    }
    Corner at(Corner origin, const Weights& weights) const {
        for (int k = 0; k < AXES; ++k) origin += weights[std::size_t(k)] * seen[k];
        return origin;
    }
};

class PoseMaker::Poser {
  public:
    Poser(const PoseMaker& maker, const View& view, const Lighting& lighting, float wide, Poses& poses)
        : m_maker(maker),
          m_gait(maker.m_character.gait),
          m_view(view),
          m_lighting(lighting),
          m_wide(wide),
          m_poses(poses) {
        for (int i = 0; i < 3; ++i) m_axes[i] = {view.axes[i][0], view.axes[i][1], view.axes[i][2]};
    }

    void add() {
        const Joints now(m_gait, m_view.phase, m_view.glide);
        const Joints before(m_gait, m_view.phase - m_view.beaten, m_view.glide);
        setOrigin(now, before);
        for (int joint = 0; joint < 4; ++joint)
            for (const bool right : {false, true})
                setStance(static_cast<Joint>(joint), right, now, before, m_stances[joint][right ? 1 : 0]);
        const auto first = static_cast<std::uint32_t>(m_poses.pieces.size());
        for (const Shape& shape : m_maker.m_shapes) {
            const Part& part = *shape.part;
            if (m_view.size < part.smallest || m_view.size >= part.largest) continue;
            for (int side = 0; side < (part.pair ? 2 : 1); ++side) {
                if (part.on_skin && (side == 0 ? m_axes[1].z : -m_axes[1].z) < FACING) continue;
                if (m_gait.blurred && part.joint == Joint::Wing)
                    addFan(shape, side == 1);
                else
                    addPiece(shape, side == 1, m_stances[static_cast<int>(part.joint)][side], 1);
            }
        }
        finish(first);
    }

  private:
    Quad seen(Space now, Space before) const {
        const float across = m_view.size * m_wide, up = m_view.size;
        return Quad{across * now.x, up * now.y, across * before.x, up * before.y};
    }

    void setOrigin(const Joints& now, const Joints& before) {
        m_bob = now.bob * m_axes[2].z;
        m_origin = Quad{m_view.x, m_view.y, m_view.x - m_view.way_x, m_view.y - m_view.way_y} +
                   seen(now.bob * m_axes[2], before.bob * m_axes[2]);
    }

    void setStance(Joint joint, bool right, const Joints& now, const Joints& before, Stance& stance) const {
        Space moved[2][AXES];
        const float side = right ? -1.0F : 1.0F;
        const Joints* const joints[] = {&now, &before};
        for (int i = 0; i < 2; ++i) {
            Space* out = moved[i];
            const Joints& at = *joints[i];
            out[0] = m_axes[0], out[1] = side * m_axes[1], out[2] = m_axes[2];
            if (joint == Joint::Wing) {
                out[3] = at.arm.cosine * out[1] + at.arm.sine * out[2];
                out[4] = at.hand.cosine * out[1] + at.hand.sine * out[2] - at.fold * out[0];
            } else if (joint == Joint::Sway) {
                out[3] = at.sway.sine * m_axes[1], out[4] = at.sway.cosine * m_axes[1];
            } else if (joint == Joint::Leg) {
                out[3] = side * at.step * out[0];
            }
        }
        for (int k = 0; k < AXES; ++k) stance.now[k] = moved[0][k], stance.seen[k] = seen(moved[0][k], moved[1][k]);
    }

    void addFan(const Shape& shape, bool right) {
        for (int copy = 0; copy < FANNED; ++copy) {
            const Joints joints(m_gait, m_view.phase + static_cast<float>(copy) / FANNED, 0);
            Stance stance;
            setStance(Joint::Wing, right, joints, joints, stance);
            addPiece(shape, right, stance, FAN_INK);
        }
    }

    void addPiece(const Shape& shape, bool right, const Stance& stance, float opacity) {
        const Part& part = *shape.part;
        Piece piece{};
        piece.begin = static_cast<std::uint32_t>(m_poses.corners.size());
        piece.depth = stance.inSpace(shape.mean).z + m_bob + part.bias;
        float marks = 0, light = 1;
        if (part.form == Form::Ellipsoid) {
            addEllipsoid(part, stance.at(m_origin, shape.mean), piece);
        } else {
            addPlaces(shape, stance);
            if (part.form == Form::Limb) {
                thicken(part, piece.begin);
            } else {
                if (m_view.size > SMOOTHED) piece.sharp = shape.sharp.data();
                light = lightOn(shape, stance, right, marks);
            }
            piece.axis_from = stance.at(m_origin, shape.axis_from), piece.axis_to = stance.at(m_origin, shape.axis_to);
            piece.from = inkOf(part.paint, part.from, marks, light);
            piece.to = inkOf(part.paint, part.to, marks, light);
        }
        piece.count = static_cast<std::uint32_t>(m_poses.corners.size()) - piece.begin;
        for (Quad* ink : {&piece.from, &piece.to}) *ink *= part.opacity * opacity;
        measure(piece);
        m_poses.pieces.push_back(piece);
    }

    void addPlaces(const Shape& shape, const Stance& stance) {
        for (const Weights& weights : shape.places) m_poses.corners.push_back(stance.at(m_origin, weights));
    }

    // A line becomes the loop around it.
    void thicken(const Part& part, std::uint32_t begin) {
        std::vector<Corner>& corners = m_poses.corners;
        const std::size_t count = corners.size() - begin;
        std::array<Corner, MOST_LINE> line;
        std::copy_n(corners.begin() + begin, count, line.begin());
        corners.resize(begin + 2 * count);
        for (std::size_t i = 0; i < count; ++i) {
            const Quad along = line[std::min(i + 1, count - 1)] - line[i > 0 ? i - 1 : 0];
            const float at = static_cast<float>(i) / static_cast<float>(count - 1);
            const float half =
                0.5F * std::max(m_view.size * (part.thickness + at * (part.thin - part.thickness)), SLIGHTEST);
            Quad out{};
            for (int k = 0; k < 4; k += 2) {
                const float dx = along[k] / m_wide, dy = along[k + 1], length = std::sqrt(dx * dx + dy * dy);
                const float gain = length > 0 ? half / length : 0;
                out[k] = dy * gain * m_wide, out[k + 1] = -dx * gain;
            }
            corners[begin + i] = line[i] - out;
            corners[begin + 2 * count - 1 - i] = line[i] + out;
        }
    }

    // The outline of an ellipsoid is the ellipse with the matrix P D P', P the projection and D the squared radii.
    void addEllipsoid(const Part& part, Corner middle, Piece& piece) {
        static const Circle circle;
        const Point radii = part.points[1];
        const float r[3] = {radii.x, radii.y, radii.z};
        float xx = 0, xy = 0, yy = 0;
        for (int i = 0; i < 3; ++i) {
            const float x = r[i] * m_axes[i].x, y = r[i] * m_axes[i].y;
            xx += x * x, xy += x * y, yy += y * y;
        }
        const float a = std::sqrt(xx), b = a > 0 ? xy / a : 0, c = std::sqrt(std::max(yy - b * b, 0.0F));
        const float extent = m_view.size * std::max({radii.x, radii.y, radii.z});
        const int stride = extent < 4 ? 6 : extent < 12 ? 4 : extent < 50 ? 2 : 1;
        const Quad with_cosine = seen({a, b, 0}, {a, b, 0}), with_sine = seen({0, c, 0}, {0, c, 0});
        for (int i = 0; i < ROUND; i += stride)
            m_poses.corners.push_back(middle + circle.cosine[i] * with_cosine + circle.sine[i] * with_sine);
        // Shaded across, towards the light.
        const float lx = m_lighting.towards[0], ly = m_lighting.towards[1];
        const float reach = std::sqrt(std::max(lx * lx * xx + 2 * lx * ly * xy + ly * ly * yy, 0.0F));
        const Space end{reach * lx, reach * ly, 0};
        piece.axis_from = middle - seen(end, end), piece.axis_to = middle + seen(end, end);
        piece.from = inkOf(part.paint, part.from, 0, 1 - 0.62F * m_lighting.shading);
        piece.to = inkOf(part.paint, part.to, 0, 1 + 0.45F * m_lighting.shading);
    }

    // How brightly a flat part is lit, which may be seen from either side; the lower one of a wing is paler.
    float lightOn(const Shape& shape, const Stance& stance, bool right, float& marks) const {
        Space n;
        for (const Turn& turn : shape.turns) n = n + turn.area * cross(stance.now[turn.a], stance.now[turn.b]);
        const float length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
        if (!(length > 0)) return 1;
        const bool below = shape.part->joint == Joint::Wing && (n.z < 0) != right;
        const float side = n.z < 0 ? -1.0F : 1.0F;
        const float* towards = m_lighting.towards;
        const float facing = side * (n.x * towards[0] + n.y * towards[1] + n.z * towards[2]) / length;
        marks = below ? 0.18F : 0;
        return 1 + m_lighting.shading * (0.75F * std::max(facing, -0.5F) - 0.38F);
    }

    Quad inkOf(Paint paint, Shade shade, float marks, float light) const {
        const float mix = std::min(shade.marks + marks, 1.0F), tone = std::max(shade.tone * light, 0.0F);
        const float* fixed = fixed_colour(paint);
        Quad ink;
        for (int c = 0; c < 3; ++c) {
            const float own =
                paint == Paint::Own ? m_view.main[c] + mix * (m_view.marks[c] - m_view.main[c]) : fixed[c];
            ink[c] = own * tone + m_view.haze * (m_lighting.haze[c] - own * tone);
        }
        ink[3] = 1;
        return ink;
    }

    // How far it reaches, and how finely its way is sampled: by the corner that goes farthest.
    void measure(Piece& piece) const {
        const Corner* corner = m_poses.corners.data() + piece.begin;
        Quad low = corner[0], high = low;
        float way = 0;
        for (std::uint32_t i = 0; i < piece.count; ++i) {
            const Quad at = corner[i];
            low = at < low ? at : low, high = at > high ? at : high;
            const float dx = at[0] - at[2], dy = at[1] - at[3];
            way = std::max(way, dx * dx + dy * dy);
        }
        way = std::sqrt(std::min(way, FARTHEST));
        const float step = std::clamp(STEP * m_view.size, LEAST_STEP, MOST_STEP);
        const int most = m_view.size >= 16 ? MOST_POSES : way > 6 ? 3 : 2;
        piece.moments = way > 1 ? std::clamp(static_cast<int>(std::ceil(way / step)), 1, most) : 1;
        // Curves may reach a little beyond their places.
        const float wider = piece.sharp ? 0.04F * std::max(high[0] - low[0], high[1] - low[1]) + 1 : 0;
        piece.left = low[0] - wider, piece.bottom = low[1] - wider;
        piece.right = high[0] + wider, piece.top = high[1] + wider;
        if (piece.moments == 1) return;
        piece.left = std::min(piece.left, low[2] - wider), piece.bottom = std::min(piece.bottom, low[3] - wider);
        piece.right = std::max(piece.right, high[2] + wider), piece.top = std::max(piece.top, high[3] + wider);
    }

    // The farthest first; those at the same depth keep the order of the model.
    void finish(std::uint32_t first) {
        Piece* const begin = m_poses.pieces.data() + first;
        const std::size_t count = m_poses.pieces.size() - first;
        Poses::Member member{.begin = first,
                             .count = static_cast<std::uint32_t>(count),
                             .left = FARTHEST,
                             .bottom = FARTHEST,
                             .right = -FARTHEST,
                             .top = -FARTHEST,
                             .size = m_view.size,
                             .opacity = m_view.opacity,
                             .haze = m_view.haze};
        bool near = true;
        for (std::size_t i = 0; i < count; ++i) {
            const Piece piece = begin[i];
            near &=
                piece.left > -FARTHEST && piece.bottom > -FARTHEST && piece.right < FARTHEST && piece.top < FARTHEST;
            member.left = std::min(member.left, piece.left), member.bottom = std::min(member.bottom, piece.bottom);
            member.right = std::max(member.right, piece.right), member.top = std::max(member.top, piece.top);
            std::size_t at = i;
            for (; at > 0 && begin[at - 1].depth > piece.depth; --at) begin[at] = begin[at - 1];
            begin[at] = piece;
        }
        if (!near) member.count = 0;
        m_poses.members.push_back(member);
    }

    const PoseMaker& m_maker;
    const Gait& m_gait;
    const View& m_view;
    const Lighting& m_lighting;
    float m_wide;
    Poses& m_poses;
    Space m_axes[3];
    Corner m_origin{};
    float m_bob = 0;  // towards the eye
    Stance m_stances[4][2];
};

void PoseMaker::add(const View& view, const Lighting& lighting, float wide, Poses& poses) const {
    Poser(*this, view, lighting, wide, poses).add();
}

}  // namespace flock
