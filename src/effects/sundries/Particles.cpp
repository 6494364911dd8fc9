#include "effects/sundries/Particles.h"

#include <algorithm>
#include <cmath>

#include "noiselib/place_hash.h"

using particles::signed_draw;

namespace {

constexpr float TURN = 6.2831855f;

}  // namespace

ParticlesInfo::ParticlesInfo() {
    declarePresets();
    Emitter.followedByOverlay = true;
    rule(
        Emitter,
        [this] {
            Outline.SetGhosted(Emitter.value != Circle && Emitter.value != Box);
            const bool clip = Emitter.value == BirthClip;
            EmitStart.SetGhosted(clip);
            EmitEnd.SetGhosted(clip || Emitter.value == Point);
        },
        "Emitter Start and Emitter End are greyed where the emitter does not use them, Outline Only unless it is "
        "circle or a box.");
    ghost({&Angle}, Aim, is(Outwards));
    ghost({&TrailRate, &TrailLife, &TrailDrift}, Children, is(Childless));
    ghost({&BlastSize, &BlastLife, &BlastSpeed}, Children, below(Explosions));
    ghost({&Inherit, &ChildSize, &ChildOpacity}, Children, is(Childless));
    scene.inputs = {"street-small.png"};
    scene.settings = {{"Demos", "Fountain"}};
    scene.frame = 40;
    scene.look = {{"Demos", "Sparks"}};
}

// ---- Parameters -----------------------------------------------------------------------------------------------

SimulationTiming Particles::timing() const {
    return {.start = start.at.value, .pre_roll = start.preRoll.value, .animated = start.withAnimation.value};
}

void Particles::readBlocks(ParticlesMotion& motion, ParticlesLook& shown) {
    const FrameShape& f = frame();
    const float unit = f.width / 1000, height = f.height * f.aspect();
    const auto number = [](const FloatControlK7& control) { return static_cast<float>(control.limited()); };
    motion.emitter = Emitter.value;
    motion.outline = Outline.value;
    motion.outwards = Aim.value == Outwards;
    motion.start[0] = static_cast<float>(EmitStart.x) * f.width,
    motion.start[1] = static_cast<float>(EmitStart.y) * height;
    motion.end[0] = static_cast<float>(EmitEnd.x) * f.width, motion.end[1] = static_cast<float>(EmitEnd.y) * height;
    motion.rate = number(Rate);
    motion.burst = BurstSize.value;
    motion.burst_every = BurstEvery.value;
    motion.first_frame = start.at.value;
    motion.life = number(Lifetime);
    motion.life_var = LifeVar.percent();
    motion.speed = number(Speed) * unit;
    motion.speed_var = SpeedVar.percent();
    motion.angle = number(Angle) * particles::DEGREE;
    motion.spread = number(Spread) * particles::DEGREE;
    motion.air_var = AirVar.percent();
    motion.forces = particles::read_forces(f, forces, vortex);
    motion.surface.restitution = Restitution.percent();
    motion.surface.friction = Friction.percent();
    motion.surface.rest = 0.2f * unit;
    motion.surface.walls = static_cast<particles::Obstacles::Walls>(Walls.value - 1);
    motion.bounces = UseBounce.value && bounce.isConnected();
    motion.own_colours = AltColours.value;
    motion.trails = Children.value == Trails || Children.value == Both;
    motion.explosions = Children.value == Explosions || Children.value == Both;
    motion.trail_rate = number(TrailRate);
    motion.trail_life = number(TrailLife);
    motion.trail_drift = number(TrailDrift) * unit;
    motion.blast = BlastSize.value;
    motion.blast_life = number(BlastLife);
    motion.blast_speed = number(BlastSpeed) * unit;
    motion.inherit = Inherit.percent();

    particles::read_look(f, shape, ageing, particles::read_shutter(start), shown.look);
    shown.child_size = ChildSize.percent();
    shown.child_opacity = ChildOpacity.percent();
}

// What is made of the clips, before any step needs it. Where parameters are read at each replayed frame, any of them
// may be needed at an earlier one.
void Particles::background() {
    K7Image* result = output.image.get();
    const bool any = start.withAnimation.value;
    if (any || Emitter.value == BirthClip) m_places.make(*birth.image);
    m_obstacles.begin(*result);
    if (bounce.isConnected() && (any || UseBounce.value))
        m_obstacles.add(*bounce.image);
    else
        m_obstacles.clear();
    if (any || forces.slope->value != 0) {
        m_slopes.make(*turbulence.image, static_cast<float>(result->width) * 0.006f);
        m_slope_print = m_slopes.fingerprint();
    }
    m_colour_print = any || AltColours.value ? particles::picture_fingerprint(colours.image.get()) : 0;
    preparePicture();
    if (ParticlesOnly.value) image_clear(result);
}

std::uint64_t Particles::steeringPictures() const {
    const bool any = start.withAnimation.value;
    std::uint64_t sum = fingerprint(m_colour_print, FINGERPRINT_SEED);
    if (any || Emitter.value == BirthClip) sum = fingerprint(m_places.fingerprint(), sum);
    if (any || UseBounce.value) sum = fingerprint(m_obstacles.fingerprint(), sum);
    if (any || forces.slope->value != 0) sum = fingerprint(m_slope_print, sum);
    return sum;
}

// ---- Births ---------------------------------------------------------------------------------------------------

int Particles::burstNow() const {
    const ParticlesMotion& m = motion();
    const int since = stepFrame() - m.first_frame;
    if (m.burst <= 0) return 0;
    if (m.burst_every > 0 ? since % m.burst_every != 0 : since != 0) return 0;
    return m.burst;
}

void Particles::births() {
    if (!silent()) m_batch.begin(*output.image, look().look, &m_picture);
    m_now = motion().forces.at(static_cast<float>(stepFrame()), noise());
    m_spawning = 0;
    const float rate = motion().rate + random().next_float();
    const int wanted = static_cast<int>(rate) + burstNow();
    emit(std::clamp(wanted, 0, std::max(MOST - liveParticles(), 0)), 1);
}

// A place of the emitter, and the direction away from its middle there. False: there is none.
bool Particles::emitterPlace(float place[2], float outwards[2]) {
    const ParticlesMotion& m = motion();
    const float u = random().next_float(), v = random().next_float(), angle = TURN * random().next_float();
    const float dx = m.end[0] - m.start[0], dy = m.end[1] - m.start[1];
    outwards[0] = k7_cos(angle), outwards[1] = k7_sin(angle);
    float middle[2] = {m.start[0], m.start[1]};
    std::copy_n(m.start, 2, place);
    switch (m.emitter) {
        case Line:
            place[0] += u * dx, place[1] += u * dy;
            if (dx != 0 || dy != 0) {
                const float length = std::sqrt(dx * dx + dy * dy), side = v < 0.5f ? -1.0f : 1.0f;
                outwards[0] = -dy / length * side, outwards[1] = dx / length * side;
            }
            return true;
        case Circle: {
            const float radius = std::sqrt(dx * dx + dy * dy) * (m.outline ? 1 : std::sqrt(u));
            place[0] += radius * outwards[0], place[1] += radius * outwards[1];
            return true;
        }
        case Box: {
            float a = u, b = v;
            if (m.outline) {  // along the sides, one after another
                const float w = std::fabs(dx), h = std::fabs(dy), way = u * 2 * (w + h);
                const bool lying = way < 2 * w;
                a = lying ? (w > 0 ? way / 2 / w : 0) : (v < 0.5f ? 0.0f : 1.0f);
                b = lying ? (v < 0.5f ? 0.0f : 1.0f) : (h > 0 ? (way - 2 * w) / 2 / h : 0);
            }
            place[0] += a * dx, place[1] += b * dy;
            middle[0] += 0.5f * dx, middle[1] += 0.5f * dy;
            break;
        }
        case BirthClip:
            if (!m_places.draw(random(), place)) return false;
            place[1] *= frame().aspect();
            middle[0] = 0.5f * frame().width, middle[1] = 0.5f * frame().height * frame().aspect();
            break;
        default:
            return true;
    }
    const float x = place[0] - middle[0], y = place[1] - middle[1], away = std::sqrt(x * x + y * y);
    if (away > 0) outwards[0] = x / away, outwards[1] = y / away;
    return true;
}

// Births of a frame are spread over it: a particle has already flown a part of its first way.
bool Particles::fillNewborn(ParticlesParticle& p) {
    const ParticlesMotion& m = motion();
    MTRandom& draw = random();
    p = ParticlesParticle();
    p.key = p.family = draw.next_uint32();
    float outwards[2];
    const bool placed = emitterPlace(p.position, outwards);
    const float bend = particles::draw_bend(m.spread, draw);
    const float speed = m.speed * std::max(1 + m.speed_var * signed_draw(draw), 0.0f);
    const float life = m.life * (1 + m.life_var * signed_draw(draw));
    const float flown = draw.next_float();
    if (!placed) return false;
    const float angle = m.outwards ? bend : m.angle + bend;
    const float c = k7_cos(angle), s = k7_sin(angle);
    p.velocity[0] = speed * (m.outwards ? c * outwards[0] - s * outwards[1] : c);
    p.velocity[1] = speed * (m.outwards ? s * outwards[0] + c * outwards[1] : s);
    p.life = std::max(life, 1.0f);
    if (m.own_colours) ownColour(p);
    std::copy_n(p.position, 2, p.previous_position);
    const bool burst = burstNow() > 0;  // together
    for (int i = 0; i < 2; ++i) p.position[i] += p.velocity[i] * (burst ? 1 : flown);
    return true;
}

void Particles::ownColour(ParticlesParticle& p) const {
    const K7Image* from = colours.image.get();
    const auto column = static_cast<int>(std::clamp(p.position[0], 0.0f, static_cast<float>(from->width - 1)));
    const auto row =
        static_cast<int>(std::clamp(p.position[1] / frame().aspect(), 0.0f, static_cast<float>(from->height - 1)));
    std::copy_n(image_row<float>(from, row) + 4L * column, 3, p.color);
}

// ---- Children -------------------------------------------------------------------------------------------------

void Particles::spawnChild(const ParticlesParticle& parent, const float place[2], const float velocity[2], float life) {
    if (liveParticles() + m_spawning >= MOST) return;
    ParticlesParticle p = parent;
    p.key = random().next_uint32();
    p.child = 1;
    p.age = 0;
    p.life = std::max(life, 1.0f);
    for (int i = 0; i < 2; ++i) {
        p.position[i] = p.previous_position[i] = place[i];
        p.velocity[i] = velocity[i] + motion().inherit * parent.velocity[i];
    }
    spawn(p);
    ++m_spawning;
}

void Particles::died(const ParticlesParticle& p) {
    const ParticlesMotion& m = motion();
    if (!m.explosions || p.child) return;
    for (int i = 0; i < m.blast; ++i) {
        const float angle = TURN * random().next_float();
        const float speed = m.blast_speed * std::sqrt(random().next_float());
        const float velocity[2] = {speed * k7_cos(angle), speed * k7_sin(angle)};
        spawnChild(p, p.position, velocity, m.blast_life * (0.5f + 0.5f * random().next_float()));
    }
}

void Particles::spawnTrail(const ParticlesParticle& p) {
    const ParticlesMotion& m = motion();
    const int count = static_cast<int>(m.trail_rate + random().next_float());
    for (int i = 0; i < count; ++i) {
        const float t = random().next_float();
        float place[2], velocity[2];
        for (int axis = 0; axis < 2; ++axis) {
            place[axis] = p.position[axis] + (p.previous_position[axis] - p.position[axis]) * t;
            velocity[axis] = m.trail_drift * signed_draw(random());
        }
        spawnChild(p, place, velocity, m.trail_life * (0.5f + random().next_float()));
    }
}

// ---- Motion ---------------------------------------------------------------------------------------------------

void Particles::applyForces(ParticlesParticle* particles, int count) const {
    const ParticlesMotion& m = motion();
    constexpr int ABREAST = particles::ForceField::ABREAST;
    float x[ABREAST], y[ABREAST], vx[ABREAST], vy[ABREAST], lightness[ABREAST];
    for (int i = 0; i < count; ++i) {
        const ParticlesParticle& p = particles[i];
        x[i] = p.position[0], y[i] = p.position[1];
        vx[i] = p.velocity[0], vy[i] = p.velocity[1];
        lightness[i] = 1 + m.air_var * signed_of(place_hash(p.key, 77));
    }
    m.forces.apply(m_now, noise(), &m_slopes, {x, y, vx, vy, lightness, count});
    for (int i = 0; i < count; ++i) particles[i].velocity[0] = vx[i], particles[i].velocity[1] = vy[i];
}

void Particles::afterForces(ParticlesParticle* particles, int count) {
    if (motion().trails)
        for (int i = 0; i < count; ++i)
            if (!particles[i].child) spawnTrail(particles[i]);
    if (!silent()) m_batch.collect(look().look, count, [&](int i) { return seen(particles[i]); });
}

void Particles::move(ParticlesParticle* particles, int count) const {
    const ParticlesMotion& m = motion();
    if (!m.bounces && m.surface.walls == particles::Obstacles::NONE) return;
    for (int i = 0; i < count; ++i) m_obstacles.bounce(particles[i].position, particles[i].velocity, m.surface);
}

// ---- Drawing --------------------------------------------------------------------------------------------------

particles::Seen Particles::seen(const ParticlesParticle& p) const {
    return {.key = p.key,
            .family = p.family,
            .age = p.age,
            .life = p.life,
            .x = p.position[0],
            .y = p.position[1],
            .way_x = p.previous_position[0] - p.position[0],
            .way_y = p.previous_position[1] - p.position[1],
            .vx = p.velocity[0],
            .vy = p.velocity[1],
            .colour = motion().own_colours ? p.color : nullptr,
            .size = p.child ? look().child_size : 1,
            .opacity = p.child ? look().child_opacity : 1};
}

void Particles::preparePicture() {
    m_picture = MipPicture();
    if (shape.look.value == LookControls::Picture && picture.isConnected())
        m_picture = particles::particle_picture(*picture.image, shape.size.limited() / 1000.0 * picture.image->width,
                                                PreMultiplied.value);
}

void Particles::PrepareOverlay() {
    forces.prepare();
    vortex.prepare();
    const bool clip = Emitter.overlayValue == BirthClip, point = Emitter.overlayValue == Point;
    emitLine.visible = !clip && !point;
    emitPoint.visible = point;
    emitAngle.visible = !clip && !Angle.ghosted();
}
