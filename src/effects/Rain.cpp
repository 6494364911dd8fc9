#include "effects/Rain.h"

#include <algorithm>
#include <cmath>

using weather::signed_draw;

// ---- Parameters -----------------------------------------------------------------------------------------------

void Rain::readBlocks(RainMotion& motion, RainLook& look) {
    const weather::Frame& f = frame();
    const auto value = [](const FloatControlK7& control) { return static_cast<float>(control.value); };
    const auto share = [](const FloatControlK7& control) { return static_cast<float>(control.value) / 100; };
    motion.density = value(Density);
    motion.left[0] = static_cast<float>(Left.x) * f.width;
    motion.left[1] = static_cast<float>(Left.y) * f.height;
    motion.right[0] = static_cast<float>(Right.x) * f.width;
    motion.right[1] = static_cast<float>(Right.y) * f.height;
    motion.position_var = f.width * value(PositionVar) * f.pixel_width;
    motion.life = value(Lifetime);
    motion.life_low = motion.life / 10;
    motion.extinction = value(Extinction);
    motion.fade_var = motion.extinction / 10;
    motion.initial_speed = value(InitialVelocity) / f.unit_scale;
    motion.velocity_var = share(VelocityVar);
    motion.drag = DoFriction.value ? value(Friction) : 0;
    motion.intensity = share(InitIntensity);
    motion.colour[0] = RainColour.red;
    motion.colour[1] = RainColour.green;
    motion.colour[2] = RainColour.blue;
    motion.colour_var = share(ColourVar);
    motion.mono_var = share(MonoVar);
    motion.damping = share(PuddleDamping);
    motion.bounces = Bounces.value;
    motion.birth_matte = UseBirthMatte.value;
    motion.puddles = PuddleBounce.value;
    motion.gravity.set(f, DoGravity.value, Gravity.value, GravAngle.value);
    motion.wind.set(f, DoWind.value, WindSource.x, WindSource.y, WindTarget.x, WindTarget.y, WindSpread.value,
                    WindSpeed.value, false);
    motion.swirl.set(f, DoTurbulence.value, SwirlDens.value, SwirlAmp.value, SwlMaxTim.value, StartAt.value);

    look.opacity = value(Opacity) * 0.01f;
    look.streak = std::clamp(share(StreakScale), 0.0f, 5.0f);
    look.condensation = share(Condensation);
    look.lit = DoLight.value && LightInten.value > 0;
    look.light_intensity = share(LightInten);
    look.least_brightness = value(MinBright) * 0.01f;
    look.light_colour[0] = LightColour.red;
    look.light_colour[1] = LightColour.green;
    look.light_colour[2] = LightColour.blue;
    look.light.set(f, LightSource.x, LightSource.y, LightTarget.x, LightTarget.y, LightSpread.value);
}

std::uint64_t Rain::matteState() const {
    std::uint64_t sum = 0;
    if (UseBirthMatte.value) sum = fingerprint(weather::matte_fingerprint(birth.image.get()), sum);
    if (PuddleBounce.value) sum = fingerprint(weather::matte_fingerprint(bounce.image.get()), sum);
    return sum;
}

// ---- Births ---------------------------------------------------------------------------------------------------

// Between about none and the density from frame to frame: rain comes in gusts.
void Rain::births() {
    constexpr float LEAN = 0.01745f;  // of the mean velocity, times its length
    constexpr int TRIES = 10;         // for a place that the matte allows, a birth
    const RainMotion& m = motion();
    const float none[3] = {};
    const float left[3] = {m.left[0], m.left[1], 0};
    const float right[3] = {m.right[0], m.right[1], 0};
    const float radii[3] = {m.position_var, m.position_var, 0};
    const K7Image* matte = m.birth_matte ? birth.image.get() : nullptr;
    MTRandom& draw = random();
    MTRandom& own = set().random;

    const float fewer = draw.next_float() * m.density / 10;
    const float more = draw.next_float() * m.density;
    const int count = weather::birth_count(0.5f - fewer + more);
    RainParticle drop;
    int born = 0;
    for (int tries = 0; born < count && tries < count * TRIES; ++tries) {
        drop.set_random_life(m.life, m.life_low, own);
        drop.fade = m.extinction + signed_draw(draw) * m.fade_var;
        if (!(drop.life > 0) || !(drop.fade > 0)) continue;
        drop.set_position_on_segment(left, right, radii, own);
        float allowed = 1;
        if (matte && !(weather::matte_at(matte, drop.position, &allowed) && allowed > 0)) continue;
        std::copy_n(drop.position, 3, drop.previous_position);

        const float a = signed_draw(draw) * LEAN;
        const float b = m.velocity_var * draw.next_float() + m.initial_speed;
        const float c = 1 + draw.next_float() * m.velocity_var;
        const float mean[3] = {a * c, b * c, 0};
        drop.set_random_velocity(mean, none, own);

        const float grey = m.mono_var * signed_draw(draw);
        for (const int channel : {2, 1, 0})
            drop.color[channel] = grey + m.colour[channel] + signed_draw(draw) * m.colour_var;
        drop.color[3] = m.intensity;
        set().add_particle(&drop);
        ++born;
    }
}

// ---- Forces ---------------------------------------------------------------------------------------------------

void Rain::applyForces(RainParticle* particles, int count) const {
    const RainMotion& m = motion();
    if (m.wind.blows())
        for (int i = 0; i < count; ++i) m.wind.blow(particles[i].position, m.wind.speed);
    if (!m.swirl.turns()) return;
    float x[weather::BLOCK], y[weather::BLOCK];
    for (int i = 0; i < count; ++i) x[i] = particles[i].position[0], y[i] = particles[i].position[1];
    m.swirl.read(noise(), frame(), stepFrame(), x, y, count);
    for (int i = 0; i < count; ++i) {
        const float ramp = m.swirl.strength(particles[i].age);
        particles[i].velocity[0] += x[i] * m.swirl.amplitude * ramp / frame().pixel_width;
        particles[i].velocity[1] += y[i] * m.swirl.amplitude * ramp;
    }
}

void Rain::afterForces(RainParticle* particles, int count) {
    if (!motion().puddles) return;
    for (int i = 0; i < count; ++i) bounceOffPuddles(particles[i]);
}

// A drop over a puddle turns its fall around for one frame; the next one finds a factor below 0 and puts it back to 1.
void Rain::bounceOffPuddles(RainParticle& p) {
    const RainMotion& m = motion();
    float sideways = 0;
    float puddle = 0;
    if (weather::matte_at(bounce.image.get(), p.position, &puddle)) {
        if (!(puddle > 0) || p.bounce_factor <= 0) {
            p.bounce_factor = 1;
        } else if (p.bounce_count == 0) {
            p.bounce_count = 1;
            p.bounce_factor = -random().next_float() * m.damping;
            sideways = signed_draw(random()) * p.bounce_factor * 2;
        } else if (p.velocity[1] < 0 && p.bounce_count <= m.bounces) {
            p.bounce_factor = -random().next_float() * m.damping / static_cast<float>(p.bounce_count);
            ++p.bounce_count;
        }
    }
    p.velocity[0] += sideways;
    p.velocity[1] *= p.bounce_factor;
}

// ---- Drawing --------------------------------------------------------------------------------------------------

// A line of the drop's last step, or of a part or a multiple of it.
void Rain::show(RainParticle& p) {
    constexpr float QUARTER_TURN = 1.5707800388336182f;
    const RainLook& l = look();
    float colour[4] = {p.color[0], p.color[1], p.color[2], p.color[3]};
    if (l.lit) {
        const float c = l.light.cosine_to(p.position);
        float bright = l.least_brightness;
        if (c > 0) bright += l.light_intensity * l.light.inside(c);
        for (int i = 0; i < 3; ++i) colour[i] = bright * (colour[i] + l.light_colour[i]);
        colour[3] = bright * (colour[3] + 1);
    }
    const float q = std::min(p.age / std::max(p.fade, 1.0f) + l.condensation, 1.0f);
    float visible = std::min(weather::sine(q * QUARTER_TURN) * colour[3] * l.opacity, 1.0f);
    const float left = p.life - p.age;
    if (left < p.fade) visible *= left / p.fade;
    if (left < 0 || !(visible >= 0.0001f)) return;
    const float x = p.position[0];
    const float y = p.position[1];
    splats().line(colour, x - (x - p.previous_position[0]) * l.streak + 0.5f,
                  y - (y - p.previous_position[1]) * l.streak + 0.5f, x, y, visible);
}
