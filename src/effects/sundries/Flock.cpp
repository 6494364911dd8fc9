#include "effects/sundries/Flock.h"

#include <algorithm>
#include <cmath>

#include "effects/engines/particles/Readings.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

using particles::DEGREE;
using particles::read_colour;
using particles::share;

namespace {

constexpr float PI = 3.14159265F;
constexpr float FOREVER = 1e9F;  // frames
constexpr float ARRIVAL = 8;     // frames in which a member comes into sight, or goes
constexpr float FARTHEST = 4;    // times as small as the nearest, and one
constexpr float DEEP = 700;      // units between near and far at full depth
constexpr float BEYOND = 0.13F;  // of the width: where those that come round leave
constexpr float GONE = 1.5F;     // of the width: farther out nothing needs to be exact

float limited(const FloatControlK7& control) { return static_cast<float>(control.limited()); }
float length_of(float x, float y) { return std::sqrt(x * x + y * y); }

// From -pi to pi.
float folded(float angle) { return angle - 2 * PI * std::floor((angle + PI) / (2 * PI)); }

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

FlockInfo::FlockInfo() {
    declarePresets();
    ghost({&Temper}, Attitude, is(Even));
    rule(
        Formation,
        [this] {
            int formation = NoFormation;
            if (Formation.GetValue(-1, &formation)) GroupSize.SetGhosted(formation != Vee && formation != Line);
        },
        "Group Size is greyed but for Vee and Line");
    ghost({&Goal}, GoalUse, is(NoGoal));
    ghost({&GoalRadius, &GoalPull}, GoalUse, is(NoGoal));
    ghost({&Predator, &PredatorReach}, DoPredator, isOff);
    ghost({&WallMargin}, Walls, isNot(TurnBack));
    ghost({&Cycle, &CycleStart, &ShapeTurns, &ShapeFacing, &ShapeTint}, Character, isNot(ShapeClip));
    ghost({&Shadow, &Shading, &Light, &Markings}, Character, is(ShapeClip));
    DoPredator.followedByOverlay = true;
    scene.inputs = {"trees-small.png"};
    scene.settings = {{"Members", "60"}, {"Size", "6"}, {"PreRoll", "60"}};
    scene.plates = {"road.jpg"};
    scene.look = {{"Demos", "Geese in Formation"}, {"PreRoll", "190"}};
}

void Flock::PrepareOverlay() {
    goalWidget.visible = goalCircle.visible = !Goal.ghosted();
    predatorWidget.visible = predatorCircle.visible = !Predator.ghosted();
}

// The frame itself first, then the cycle from its end: hosts are told of the range between the two ends.
void Flock::FramePrepare(FlockInfo& plan, const FrameSpan& frames) const {
    if (plan.Character.value != ShapeClip) return;
    const int now = static_cast<int>(std::floor(frames.current + 0.5));
    for (ClipRecord* clip : {&plan.shapeColour, &plan.shapeMatte}) {
        clip->addFrame(now);
        for (int i = plan.Cycle.value; plan.Cycle.value > 1 && i-- > 0;)
            if (plan.CycleStart.value + i != now) clip->addFrame(plan.CycleStart.value + i);
    }
}

// ---- Parameters -----------------------------------------------------------------------------------------------

void Flock::background() {
    if (BlackBG.value) image_clear(output.image.get());
    m_keep_out.clear();
    m_births.clear();
    if (avoidMatte.isConnected()) m_keep_out.make(*avoidMatte.image);
    if (birthMatte.isConnected()) m_births.make(*birthMatte.image);
}

std::uint64_t Flock::steeringPictures() const {
    const auto of = [](const ClipRecord& clip) {
        return clip.isConnected() ? particles::matte_fingerprint(clip.image.get()) : 0;
    };
    return fingerprint(of(avoidMatte), of(birthMatte));
}

void Flock::readBlocks(FlockMotion& m, FlockLook& look) {
    using flock::WIDTH;
    const flock::Ground ground(*output.image);
    const auto place = [&](const PositionControlK7& control, float out[2]) {
        out[0] = static_cast<float>(control.x) * WIDTH;
        out[1] = static_cast<float>(control.y) * ground.height;
    };
    m.height = ground.height;
    m.size = Size.percent() * WIDTH;
    m.size_spread = SizeVar.percent();
    m.speed = Speed.percent() * WIDTH;
    m.members = Members.value, m.arrive_over = ArriveOver.value, m.begin = Begin.value;
    m.character = Character.value, m.attitude = Attitude.value, m.formation = Formation.value;
    m.group = std::max(GroupSize.value, 2);
    m.temper = m.attitude == Even ? 0 : Temper.percent();
    m.separation = Separation.percent(), m.alignment = Alignment.percent(), m.cohesion = Cohesion.percent();
    m.spacing = limited(Spacing) * m.size, m.sight = limited(Sight) * m.size;
    m.agility = Agility.percent(), m.wander = Wander.percent(), m.level = Level.percent();
    place(FlightPoint, m.flight), place(Goal, m.goal), place(Predator, m.predator);
    m.goal_use = GoalUse.value;
    m.goal_radius = limited(GoalRadius) * 0.5F * WIDTH;
    m.goal_pull = GoalPull.percent();
    m.reach = DoPredator.value ? limited(PredatorReach) * 0.5F * WIDTH : 0;
    m.walls = Walls.value;
    m.margin = WallMargin.percent() * WIDTH;
    const float course = static_cast<float>(Course.value) * DEGREE;
    m.course[0] = k7_cos(course), m.course[1] = k7_sin(course);
    m.course_hold = CourseHold.percent();
    m.avoid = limited(Avoid) * m.size;
    m.depth = Depth.percent() * FARTHEST;
    const float tilt = limited(ViewAngle) * DEGREE;
    m.up[0] = k7_cos(tilt), m.up[1] = k7_sin(tilt);
    m.beats = BeatRate.percent();
    m.glide = Glide.percent();
    m.banking = Banking.percent();

    read_colour(Colour, look.main);
    read_colour(Markings, look.marks);
    look.variance = ColourVar.percent();
    look.opacity = Opacity.percent();
    look.shutter = particles::read_shutter(start);
    look.haze = Haze.percent() * (m.depth > 0 ? 1.0F : 0.0F);
    flock::Lighting& light = look.lighting;
    const float angle = static_cast<float>(Light.value) * DEGREE;
    light.towards[0] = 0.8F * k7_cos(angle), light.towards[1] = 0.8F * k7_sin(angle), light.towards[2] = 0.6F;
    light.shading = Shading.percent();
    light.shadow = Shadow.percent();
    light.shadow_x = -0.16F * k7_cos(angle), light.shadow_y = -0.16F * k7_sin(angle);
    read_colour(HazeColour, light.haze);
    const bool shaped = m.character == ShapeClip;
    m_painter.begin(shaped ? flock::Kind::Starling : static_cast<flock::Kind>(m.character), light, *output.image);
}

float Flock::scaleAt(float near) const { return 1 / (1 + motion().depth * (1 - std::clamp(near, 0.0F, 1.0F))); }

float Flock::deepAt(float scale) const { return DEEP * motion().depth / FARTHEST * scale; }

float Flock::beyond() const { return BEYOND * flock::WIDTH + motion().size; }

float Flock::ownSpeed(const FlockMember& p) const { return motion().speed * scaleAt(p.position[2]); }

bool Flock::walks() const { return motion().character == Beetles || motion().character == Ants; }

float Flock::neighbourReach() const { return std::max({motion().sight, motion().spacing, 1.0F}); }

FrameShape Flock::neighbourFrame() const {
    FrameShape shape = frame();
    shape.width = flock::WIDTH, shape.height = motion().height;
    return shape;
}

// ---- Births ---------------------------------------------------------------------------------------------------

// Members arrive until there are enough of them; those that are too many go.
void Flock::births() {
    const FlockMotion& m = motion();
    const int passed = stepFrame() - start.at.value;
    const float due = m.arrive_over > 0 ? std::min(float(passed + 1) / static_cast<float>(m.arrive_over), 1.0F) : 1;
    const int wanted = static_cast<int>(due * static_cast<float>(m.members));
    const int living = set().live();
    m_shown.clear();
    for (int serial = living; serial < wanted; ++serial) {
        FlockMember member;
        if (!bringIn(member, serial)) break;
        made(set().add_particle(&member));
    }
    for (int i = wanted; i < living; ++i) {
        FlockMember& leaving = set()[i];
        leaving.life = std::min(leaving.life, leaving.age + ARRIVAL);
    }
}

bool Flock::bringIn(FlockMember& p, int serial) const {
    p.serial = serial;
    p.word = place_hash(place_hash(seed(), 0xF10C), static_cast<std::uint32_t>(serial));
    const auto draw = [&](std::uint32_t which) { return unit_of(place_hash(p.word, which)); };
    const FlockMotion& m = motion();
    p.life = FOREVER, p.fade = ARRIVAL;
    p.size = 1 + m.size_spread * (2 * draw(3) - 1);
    p.position[2] = m.depth > 0 ? draw(4) : 0.5F;
    float heading = 2 * PI * draw(5);
    if (m.course_hold > 0 || m.begin == AtTheEdge)
        heading = k7_atan2(m.course[1], m.course[0]) + 0.3F * (draw(5) - 0.5F);
    if (!placeNewborn(p, serial)) return false;
    std::copy_n(p.position, 3, p.previous_position);
    const float speed = ownSpeed(p);
    p.velocity[0] = speed * k7_cos(heading), p.velocity[1] = speed * k7_sin(heading) * (1 - 0.6F * m.level);
    p.yaw = heading;
    p.phase = draw(6);
    p.outbound = draw(7) < 0.5F ? 1 : -1;
    turn(p);
    return true;
}

// Groups begin together.
bool Flock::placeNewborn(FlockMember& p, int serial) const {
    const FlockMotion& m = motion();
    const bool grouped = m.formation == Vee || m.formation == Line;
    const std::uint32_t word =
        grouped ? place_hash(place_hash(seed(), 0x6E), static_cast<std::uint32_t>(serial / m.group)) : p.word;
    const auto draw = [&](std::uint32_t which) { return unit_of(place_hash(word, which)); };
    float& x = p.position[0];
    float& y = p.position[1];
    if (m_births.any()) {
        if (!m_births.place(place_hash(word, 10), x, y)) return false;
    } else if (m.begin == AtFlightPoint) {
        const float angle = 2 * PI * draw(10), off = m.size * std::sqrt(draw(11)) * 2;
        x = m.flight[0] + off * k7_cos(angle), y = m.flight[1] + off * k7_sin(angle);
    } else if (m.begin == AtTheEdge) {
        // On a line across the course, outside.
        const float half =
            0.5F * (std::fabs(m.course[0]) * flock::WIDTH + std::fabs(m.course[1]) * m.height) + 2 * m.size;
        const float along = -half - draw(10) * 0.6F * half;
        const float across =
            (draw(11) - 0.5F) * (std::fabs(m.course[1]) * flock::WIDTH + std::fabs(m.course[0]) * m.height);
        x = 0.5F * flock::WIDTH + along * m.course[0] - across * m.course[1];
        y = 0.5F * m.height + along * m.course[1] + across * m.course[0];
    } else {
        for (std::uint32_t attempt = 0; attempt < 12; ++attempt) {
            x = draw(10 + 2 * attempt) * flock::WIDTH, y = draw(11 + 2 * attempt) * m.height;
            float away[2];
            if (!m_keep_out.any() || m_keep_out.distance(x, y, away) > 0.5F * m.size) break;
        }
    }
    if (grouped) {
        const int rank = serial % m.group;
        const float back =
            m.spacing * (m.formation == Vee ? 0.5F * static_cast<float>(rank) : static_cast<float>(rank));
        x -= back * m.course[0], y -= back * m.course[1];
        y += (rank % 2 == 0 ? 1.0F : -1.0F) * (m.formation == Vee ? 0.3F * back : 0);
    }
    return true;
}

// ---- Motion ---------------------------------------------------------------------------------------------------

void Flock::move(FlockMember* members, int count) const {
    for (int i = 0; i < count; ++i) {
        steer(members[i]);
        turn(members[i]);
        beat(members[i]);
    }
}

void Flock::steer(FlockMember& p) const {
    const FlockMotion& m = motion();
    const float own = ownSpeed(p);
    float* v = p.velocity;
    // A wish beyond its power is followed as far as that goes.
    const float power = m.agility * own * std::max(p.hurry, 0.6F);
    const float wished = std::sqrt(p.wish[0] * p.wish[0] + p.wish[1] * p.wish[1]);
    const float gain = wished > 1 ? power / wished : power;
    v[0] += gain * p.wish[0], v[1] += gain * p.wish[1];

    float speed = length_of(v[0], v[1]);
    const float steepest = 1 - 0.85F * m.level;
    if (std::fabs(v[1]) > steepest * speed) v[1] *= 1 - 0.12F * m.level;
    speed = std::max(length_of(v[0], v[1]), 1e-6F);
    // It sinks faster than it climbs.
    const float sinking = walks() || m.character == Fish ? 0 : -0.25F * v[1] / speed * m.up[0];
    const float usual = own * p.pace * p.hurry * (1 + sinking);
    const float least = walks() ? 0.0F : (m.character == Bees ? 0.15F : 0.5F) * own;
    const float wanted = std::clamp(speed + 0.14F * (usual - speed), least, std::max(2 * own, least));
    v[0] *= wanted / speed, v[1] *= wanted / speed;

    if (m.depth > 0) {
        const float most = 0.6F * m.speed / std::max(deepAt(1), 0.1F * DEEP);
        v[2] = std::clamp(0.95F * v[2] + 0.06F * most * std::clamp(p.wish[2], -3.0F, 3.0F), -most, most);
    } else {
        v[2] = 0;
    }
    if (m_keep_out.any()) {
        // Nobody goes in, and those inside come out.
        float away[2];
        const float distance = m_keep_out.distance(p.position[0] + v[0], p.position[1] + v[1], away);
        const float into = v[0] * away[0] + v[1] * away[1];
        if (distance < 0.3F * m.size * scaleAt(p.position[2]) && into < 0)
            v[0] -= into * away[0], v[1] -= into * away[1];
    }
    // In again on the other side; and nobody gets lost.
    const float width = flock::WIDTH, out = m.walls == ComeRound ? beyond() : GONE * width;
    const auto round = [&](int axis, float extent) {
        float& at = p.position[axis];
        const float whole = extent + 2 * out;
        float jump = 0;
        if (at < -out) jump = whole;
        if (at > extent + out) jump = -whole;
        if (m.walls != ComeRound && jump != 0) {
            v[axis] = jump > 0 ? std::max(v[axis], 0.0F) : std::min(v[axis], 0.0F);
            jump = 0;
        }
        at += jump, p.previous_position[axis] += jump;
    };
    round(0, width), round(1, m.height);
}

// Its heading in space. Level flight that climbs in the picture leads towards or away from the eye, as far as the view
// is tilted; the heading follows the way as fast as it can turn, so that who turns back turns through the depth.
void Flock::turn(FlockMember& p) const {
    const FlockMotion& m = motion();
    const float c = m.up[0], s = m.up[1];
    const float vx = p.velocity[0], vy = p.velocity[1];
    const float towards = -vy * c * s / (s * s + 0.15F) + 0.5F * p.velocity[2] * deepAt(scaleAt(p.position[2]));
    const float across = vy * s - towards * c, rising = vy * c + towards * s;
    const float level = length_of(vx, across);
    const float own = std::max(ownSpeed(p), 1e-4F);
    if (level + std::fabs(rising) < 0.02F * own) return;  // it stands
    const bool newborn = p.age == 0 && p.beaten == 0 && p.bank == 0 && p.pitch == 0;
    const float yaw = k7_atan2(across, vx), pitch = k7_atan2(rising, std::max(level, 0.15F * own));
    const float change = folded(yaw - p.yaw);
    const float fastest = walks() ? 0.35F : 0.22F + m.agility;
    const float turned = newborn ? change : std::clamp(0.4F * change, -fastest, fastest);
    p.yaw = folded(p.yaw + turned);
    p.pitch += newborn ? pitch : 0.25F * (pitch - p.pitch);
    const bool leans = !walks() && m.character != Fish && m.character != Bees;
    const float lean = leans && !newborn ? std::clamp(-9 * turned * m.banking, -1.2F, 1.2F) : 0;
    p.bank += 0.2F * (lean - p.bank);
}

void Flock::beat(FlockMember& p) const {
    const FlockMotion& m = motion();
    const flock::Gait& gait = m_painter.gait();
    const float own = std::max(ownSpeed(p), 1e-4F), speed = length_of(p.velocity[0], p.velocity[1]);
    const float fast = std::clamp(speed / own, 0.0F, 2.0F);
    // Small ones beat faster; climbing takes more, sinking less.
    float rate = m.beats * gait.beats * (1 + 0.35F * (1 - p.size)) * (1 + 0.12F * signed_of(place_hash(p.word, 51)));
    if (gait.with_speed) rate *= walks() ? fast : 0.35F + 0.65F * fast;
    if (gait.beat > 0) rate *= 1 + 0.4F * std::clamp(p.pitch, -0.8F, 1.0F) + 0.15F * (p.hurry - 1);
    p.beaten = rate * (1 - p.glide * 0.85F);
    p.phase += p.beaten;
    p.phase -= 64 * std::floor(p.phase / 64);
    // Gliding comes in spells, and in dives.
    float share = m.glide;
    if (m.attitude == Lazy) share = std::min(share + 0.45F * m.temper, 0.95F);
    if (m.attitude == Angry) share *= std::max(1 - m.temper, 0.0F);
    if (gait.beat > 0 && !gait.blurred) {
        const float spell = 0.5F + 0.9F * noise().noise(unit_of(place_hash(p.word, 52)) * 250, 120.5F,
                                                        static_cast<float>(stepFrame()) / 22);
        const bool still = spell - 0.5F * std::min(p.pitch, 0.3F) > 1 - share && share > 0;
        p.glide += 0.18F * ((still ? 1.0F : 0.0F) - p.glide);
    }
}

// ---- Drawing --------------------------------------------------------------------------------------------------

void Flock::show(FlockMember& p) {
    const FlockMotion& m = motion();
    const FlockLook& l = look();
    const flock::Ground ground(*output.image);
    flock::View seen{};
    seen.x = p.position[0] / ground.per_column, seen.y = p.position[1] / ground.per_row;
    seen.way_x = (p.position[0] - p.previous_position[0]) / ground.per_column * l.shutter;
    seen.way_y = (p.position[1] - p.previous_position[1]) / ground.per_row * l.shutter;
    seen.size = m.size * p.size * scaleAt(p.position[2]) / ground.per_row;
    // Forwards, left and up from yaw, pitch and bank.
    const float c = m.up[0], s = m.up[1];
    const float cy = k7_cos(p.yaw), sy = k7_sin(p.yaw), cp = k7_cos(p.pitch), sp = k7_sin(p.pitch);
    const float cb = k7_cos(p.bank), sb = k7_sin(p.bank);
    const float up[3] = {0, c, s}, level[3] = {cy, sy * s, -sy * c}, side[3] = {-sy, cy * s, -cy * c};
    for (int k = 0; k < 3; ++k) {
        const float above = cp * up[k] - sp * level[k];
        seen.axes[0][k] = cp * level[k] + sp * up[k];
        seen.axes[1][k] = cb * side[k] + sb * above;
        seen.axes[2][k] = cb * above - sb * side[k];
    }
    seen.phase = p.phase, seen.beaten = p.beaten * l.shutter, seen.glide = p.glide;
    if (m_painter.gait().blurred)
        seen.phase = unit_of(place_hash(p.word, static_cast<std::uint32_t>(stepFrame()))), seen.beaten = 0;
    const float tone = 1 + l.variance * signed_of(place_hash(p.word, 61));
    for (int k = 0; k < 3; ++k) seen.main[k] = l.main[k] * tone, seen.marks[k] = l.marks[k] * tone;
    seen.opacity = p.fading(l.opacity) * std::min((p.age + 1) / ARRIVAL, 1.0F);
    seen.haze = l.haze * (1 - std::clamp(p.position[2], 0.0F, 1.0F));
    if (showsShapes())
        m_shown.push_back(seen);
    else
        m_painter.add(seen);
}

void Flock::paint(K7Image& result) {
    if (showsShapes())
        paintShapes(result);
    else
        m_painter.draw(&result);
}
