#include "effects/sky/Cumulo.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/engines/particles/Mattes.h"
#include "effects/engines/particles/Readings.h"
#include "k7pi_baselib/portable_math.h"

using particles::read_colour;
using particles::share;
using particles::signed_draw;
using particles::value;

namespace {

// Speeds in widths of the picture: controls count pixels of a picture of this width.
constexpr float SPEED_WIDTH = 720;
constexpr float DEPTHS_A_WIDTH = 1920;  // depths count pixels of a picture of this width
constexpr float SEETHING = 5;   // frames in which a texture changes as much as from one unit of seed to the next
constexpr float LARGEST = 160;  // size; a radius of a tenth of the width
constexpr float STEEPEST = 90;  // degrees; a constraint this wide does not hold anything

// Rounded, within 1 and `most`.
float whole_size(float size, float most = LARGEST) { return std::clamp(std::floor(size + 0.5f), 1.0f, most); }

// A part of life that rises to 1 before the first share of it and falls to 0 after the second.
float come_and_go(float share_of_life, float in, float out) {
    float level = share_of_life < in ? share_of_life / in : 1;
    if (share_of_life > out) level *= 1 - (share_of_life - out) / (1 - out);
    return level;
}

// Of a stamp at a part of the way to where the particle was.
float stamp_weight(float part_of_way) { return 0.1f * (1 - part_of_way); }
constexpr int FIRST_REPEAT = 3;

// A number of frames or births: rounded, and limited.
int whole_count(float number) {
    constexpr float MOST = 1000000;
    return number >= 0.5f ? static_cast<int>(std::min(number + 0.5f, MOST)) : 0;
}

}  // namespace

// ---- Parameters -----------------------------------------------------------------------------------------------

SimulationTiming Cumulo::timing() const {
    return {.start = start.at.value, .pre_roll = start.preRoll.value, .animated = start.withAnimation.value};
}

void Cumulo::background() {
    if (BlackBG.value) image_clear(output.image.get());
}

std::uint64_t Cumulo::steeringPictures() const {
    return UseBirthMatte.value ? particles::matte_fingerprint(birth.image.get()) : 0;
}

void Cumulo::readBlocks(CumuloMotion& motion, CumuloLook& look) {
    readBirths(motion);
    readForces(motion);
    readLook(look);
}

void Cumulo::readBirths(CumuloMotion& m) const {
    const FrameShape& f = frame();
    m.rate = value(Quantity);
    m.probability = share(Continuity);
    m.rate_variance = value(Continuity) / 10;
    m.life = value(Lifetime);
    m.birth[0] = static_cast<float>(Birth.x);
    m.birth[1] = static_cast<float>(Birth.y);
    m.radius = value(BirthRadius) * 0.5f;
    m.widths_a_height = f.width * f.pixel_width / (f.height * f.pixel_height);
    m.depth = share(ZRange) * DEPTHS_A_WIDTH;
    m.size = value(CloudSize);
    m.size_variance = share(CloudSizeVar);
    m.least_size = value(MinSize);
    m.grows = GrowShrink.value;
    m.matte = UseBirthMatte.value ? (InvertBirthMatte.value ? -1 : 1) : 0;
}

void Cumulo::readForces(CumuloMotion& m) const {
    const float wind_x = static_cast<float>(WindTarget.x - WindSource.x);
    const float wind_y = static_cast<float>(WindTarget.y - WindSource.y);
    const float length = std::sqrt(wind_x * wind_x + wind_y * wind_y);
    constexpr float SHORTEST = 1e-5f;
    if (length >= SHORTEST) m.wind[0] = wind_x / length, m.wind[1] = wind_y / length;
    m.wind_speed = UseWind.value ? value(WindSpeed) / SPEED_WIDTH : 0;
    m.z_speed = value(ZSpeed) / SPEED_WIDTH;

    const float strength = UseGravity.value ? value(Gravity) / 100000 : 0;
    const float angle = value(GravityAngle) * particles::DEGREE;
    m.gravity[0] = k7_cos(angle) * strength;
    m.gravity[1] = k7_sin(angle) * strength;
    if (Gravity90toWind.value) {
        const float up = m.wind[0] < 0 ? -strength : strength;
        m.gravity[0] = -m.wind[1] * up;
        m.gravity[1] = m.wind[0] * up;
    }
    m.kept = UseFriction.value ? 1 - share(Friction) : 1;

    m.swirl.density = UseSwirling.value && value(SwirlDensity) > 0.01f ? value(SwirlDensity) : 0;
    m.swirl.amplitude = value(SwirlMagnitude) / 10000;
    m.swirl.ramp = std::max(value(SwirltoMax), 1.0f);

    const bool constrains = UseConstraints.value && value(ContraintAngle) < STEEPEST;
    m.widening = constrains ? k7_tan(value(ContraintAngle) * particles::DEGREE) : -1;
}

void Cumulo::readLook(CumuloLook& l) const {
    const FrameShape& f = frame();
    l.grow_in = share(GrowLife);
    l.shrink_from = 1 - share(ShrinkLife);
    l.fade_in = UseFading.value ? share(InLife) : 0;
    l.fade_out = UseFading.value ? 1 - share(OutLife) : 1;
    l.density = share(Density);
    l.seethe = share(Seethe);
    l.stamps = std::clamp(share(start.shutter), 0.0f, 10.0f) * 10;
    l.perspective = Perspective.value;
    l.camera = value(CameraDistance);
    l.vanish[0] = static_cast<float>(VanishP.x) * f.width - 0.5f;
    l.vanish[1] = static_cast<float>(VanishP.y) * f.height - 0.5f;
    l.squash = f.pixel_width / f.pixel_height;
    l.fluff = value(Fluffiness) / 10;
    l.texture = UseTextured.value ? share(TextureMag) : 0;
    l.cells[0] = value(TextureX) / 5;
    l.cells[1] = value(TextureY) / 5;
    l.lit = UseLight.value;
    l.light[0] = static_cast<float>(LightSource.x - LightTarget.x);
    l.light[1] = static_cast<float>(LightSource.y - LightTarget.y) / motion().widths_a_height;
    l.light[2] = value(ZLightSource);
    l.contrast = (50 - value(Contrast)) / 50;
    l.brightness = value(Brightness) / 50;
    read_colour(CloudColour, l.shadow_colour);
    read_colour(Light, l.light_colour);
}

// ---- Births ---------------------------------------------------------------------------------------------------

void Cumulo::births() {
    m_puffs.clear();
    const CumuloMotion& m = motion();
    if (m.rate < 0.001f || !(random().next_float() < m.probability)) return;
    emit(whole_count(signed_draw(random()) * m.rate_variance + m.rate));
}

// The numbers are drawn in this order, all those before the matte is asked for each try.
bool Cumulo::fillNewborn(CumuloParticle& p) {
    const CumuloMotion& m = motion();
    MTRandom& draw = random();
    p = CumuloParticle();
    p.life = static_cast<float>(whole_count(signed_draw(draw) * m.life / 10 + m.life));
    draw.next_float();  // of a second life, which is not used
    if (p.life < 1) return false;
    place(p, draw);
    if (!allowed(p)) return false;
    p.seed = signed_draw(draw) * 100;
    p.drift[0] = m.wind[0] * m.wind_speed;
    p.drift[1] = m.wind[1] * m.wind_speed;
    p.drift[2] = m.z_speed;
    p.size = whole_size((m.size + m.size * (m.size_variance * signed_draw(draw))) * 4);
    p.least_size = m.grows ? whole_size((m.least_size + m.least_size * draw.next_float()) * 4, p.size) : p.size;
    return true;
}

// On a disc that is round on the screen.
void Cumulo::place(CumuloParticle& p, MTRandom& draw) const {
    constexpr float WHOLE_TURN = 6.2831853f;
    const CumuloMotion& m = motion();
    const float away = std::sqrt(draw.next_float()) * m.radius;
    p.position[2] = m.radius * draw.next_float() * m.depth;
    const float angle = draw.next_float() * WHOLE_TURN;
    p.position[0] = m.birth[0] + k7_cos(angle) * away;
    p.position[1] = m.birth[1] - k7_sin(angle) * away * m.widths_a_height;
    std::copy_n(p.position, 3, p.previous_position);
}

bool Cumulo::allowed(const CumuloParticle& p) const {
    constexpr float BLACK = 0.05f;
    if (motion().matte == 0) return true;
    const float pixel[2] = {p.position[0] * frame().width, p.position[1] * frame().height};
    float there = 0;
    if (!particles::matte_at(birth.image.get(), pixel, &there)) return false;
    return (motion().matte < 0 ? 1 - there : there) > BLACK;
}

// ---- Motion ---------------------------------------------------------------------------------------------------

void Cumulo::move(CumuloParticle* particles, int count) const {
    const CumuloMotion& m = motion();
    for (CumuloParticle* p = particles; p != particles + count; ++p) {
        for (float& v : p->drift)
            if (!(v >= -1 && v <= 1)) v = 0;
        const float push[3] = {m.gravity[0], m.gravity[1], m.z_speed};
        const float wind[3] = {m.wind_speed * m.wind[0], m.wind_speed * m.wind[1], 0};
        for (int i = 0; i < 3; ++i) {
            p->drift[i] = (p->drift[i] + push[i]) * m.kept;
            p->position[i] += p->drift[i] + wind[i];
        }
    }
    swirl(particles, count);
    if (m.widening >= 0)
        for (int i = 0; i < count; ++i) constrain(particles[i]);
}

void Cumulo::swirl(CumuloParticle* particles, int count) const {
    const particles::Swirl& air = motion().swirl;
    if (!air.turns()) return;
    FrameShape unit = frame();
    unit.width = unit.height = 1;  // positions are fractions of the picture
    float x[particles::BLOCK], y[particles::BLOCK];
    for (int i = 0; i < count; ++i) x[i] = particles[i].position[0], y[i] = particles[i].position[1];
    air.read(noise(), unit, stepFrame(), x, y, count);
    for (int i = 0; i < count; ++i) {
        const float push = air.amplitude * air.strength(particles[i].age);
        particles[i].drift[0] += push * x[i];
        particles[i].drift[1] += push * y[i];
    }
}

// Keeps a particle within a cone about the wind: what is outside is driven back towards the axis.
void Cumulo::constrain(CumuloParticle& p) const {
    const CumuloMotion& m = motion();
    const float x = p.position[0] - m.birth[0], y = p.position[1] - m.birth[1];
    const float along = x * m.wind[0] + y * m.wind[1];
    const float across = y * m.wind[0] - x * m.wind[1];  // positive to the left of the wind
    const float limit = std::max(m.widening * along + m.radius, 1e-6f);
    const float over = std::max((std::fabs(across) - limit) / limit, 0.0f);
    const float push = std::min(over * over * limit, limit) * (across > 0 ? -1.0f : 1.0f);
    p.drift[0] -= m.wind[1] * push;
    p.drift[1] += m.wind[0] * push;
}

// ---- Drawing --------------------------------------------------------------------------------------------------

void Cumulo::show(CumuloParticle& p) {
    const CumuloLook& l = look();
    const float part = p.age / p.life;
    if (!(part >= 0 && part <= 1)) return;
    const float amount = come_and_go(part, l.fade_in, l.fade_out) * l.density;
    if (!(amount > 0)) return;
    float size = p.least_size + (p.size - p.least_size) * come_and_go(part, l.grow_in, l.shrink_from);
    const FrameShape& f = frame();
    float here[2] = {p.position[0] * f.width - 0.5f, p.position[1] * f.height - 0.5f};
    float before[2] = {p.previous_position[0] * f.width - 0.5f, p.previous_position[1] * f.height - 0.5f};
    if (l.perspective) {
        if (!(p.position[2] < l.camera)) return;  // behind the camera
        const float nearer = 100 / (l.camera - p.position[2]);
        size *= nearer;
        for (int i = 0; i < 2; ++i) {
            here[i] = l.vanish[i] + nearer * (here[i] - l.vanish[i]);
            before[i] = l.vanish[i] + nearer * (before[i] - l.vanish[i]);
        }
    }
    Puff puff{.x = here[0],
              .y = here[1],
              .radius = std::max(f.width * whole_size(size) / 1600, 2.0f),
              .amount = amount,
              .depth = l.seethe * (p.seed + p.age / SEETHING),
              .once = false};
    add(puff);
    // Stamps towards where it was, ever closer together: from the third on they lie on the puff itself.
    puff.once = true;
    float part_of_way = 1;
    for (int i = 1; i < FIRST_REPEAT && static_cast<float>(i) < l.stamps; ++i) {
        part_of_way /= l.stamps;
        puff.x = here[0] + part_of_way * (before[0] - here[0]);
        puff.y = here[1] + part_of_way * (before[1] - here[1]);
        puff.amount = amount * stamp_weight(part_of_way);
        add(puff);
    }
}

void Cumulo::add(const Puff& puff) {
    int first = 0, last = 0;
    if (!puff.rows(look().squash, static_cast<int>(frame().height), &first, &last)) return;
    splats().painted(&paintOne, this, static_cast<int>(m_puffs.size()), first, last);
    m_puffs.push_back(puff);
}

void Cumulo::paint(K7Image& result) {
    const CumuloLook& l = look();
    m_puff_look.set_fluff(l.fluff);
    if (l.lit)
        m_puff_look.set_light(l.light[0], l.light[1], l.light[2], l.contrast, l.brightness);
    else
        m_puff_look.set_even_light();
    m_puff_look.set_colours(l.shadow_colour, l.light_colour);
    m_puff_look.set_texture(l.texture, l.cells[0], l.cells[1]);
    std::vector<float> repeats;
    float part_of_way = 1;
    for (int i = 1; static_cast<float>(i) < l.stamps; ++i) {
        part_of_way /= l.stamps;
        if (i >= FIRST_REPEAT) repeats.push_back(stamp_weight(part_of_way));
    }
    m_puff_look.set_repeats(std::move(repeats));
    ParticleEffect::paint(result);
}

void Cumulo::paintOne(const void* effect, int item, K7Image* image, int first, int last) {
    const auto& self = *static_cast<const Cumulo*>(effect);
    paint_puff(self.m_puffs[static_cast<std::size_t>(item)], self.m_puff_look, self.noise(), self.look().squash, image,
               first, last);
}

void Cumulo::PrepareOverlay() {
    vanishWidget.visible = !VanishP.ghosted();
    windWidget.visible = !WindSource.ghosted();
    lightWidget.visible = !LightSource.ghosted();
}
