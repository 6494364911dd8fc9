#include "effects/Snow.h"

#include <algorithm>
#include <cmath>

using weather::signed_draw;

// ---- Parameters -----------------------------------------------------------------------------------------------

void Snow::readBlocks(SnowMotion& motion, SnowLook& look) {
    constexpr float FADE_FRAMES = 8, FADE_VARIATION = 0;
    const weather::Frame& f = frame();
    const auto value = [](const FloatControlK7& control) { return static_cast<float>(control.value); };
    const auto share = [](const FloatControlK7& control) { return static_cast<float>(control.value) / 100; };
    motion.density = value(Density);
    motion.density_var = motion.density / 10;
    motion.left[0] = static_cast<float>(Left.x) * f.width;
    motion.left[1] = static_cast<float>(Left.y) * f.height;
    motion.right[0] = static_cast<float>(Right.x) * f.width;
    motion.right[1] = static_cast<float>(Right.y) * f.height;
    motion.position_var = f.width * value(PositionVar) * f.pixel_width;
    motion.life = value(Lifetime);
    motion.life_low = motion.life / 10;
    motion.fade_frames = FADE_FRAMES;
    motion.fade_var = FADE_VARIATION;
    motion.initial_speed = value(InitialVelocity) / (f.unit_scale * 10) * f.aspect();
    motion.velocity_var = share(VelocityVar);
    motion.drag = DoFriction.value ? value(Friction) : 0;
    motion.flake_size = value(FlakeSize);
    motion.flake_size_var = share(FlakeSizeVar);
    motion.size_bias = DoBias.value ? value(SizeBias) : 1;
    motion.spin = value(Flakerot);
    motion.colour[0] = SnowColour.red;
    motion.colour[1] = SnowColour.green;
    motion.colour[2] = SnowColour.blue;
    motion.colour_var = share(ColourVar);
    motion.mono_var = share(MonoVar);
    motion.look = LookMode.value - 1;
    motion.dry = DrySnow.value - 1;
    motion.gravity.set(f, DoGravity.value, Gravity.value, GravAngle.value);
    motion.wind.set(f, DoWind.value, WindSource.x, WindSource.y, WindTarget.x, WindTarget.y, WindSpread.value,
                    WindSpeed.value, MultiDirectional.value);
    motion.swirl.set(f, DoTurbulence.value, SwirlDens.value, SwirlAmp.value, SwlMaxTim.value, StartAt.value);

    look.opacity = value(Opacity) * 0.01f;
    look.shutter = std::clamp(share(ShutterTime), 0.0f, 10.0f);
    look.glint = DoGlint.value;
    look.glint_colour_mode = ColourMode.value;
    look.glint_probability = share(GlintProbability);
    look.glint_tight = value(GlintTight);
    look.glint_colour[0] = GlintColour.red;
    look.glint_colour[1] = GlintColour.green;
    look.glint_colour[2] = GlintColour.blue;
    look.beam.set(f, GlintSource.x, GlintSource.y, GlintTarget.x, GlintTarget.y, GlintZone.value);
}

// ---- Births ---------------------------------------------------------------------------------------------------

void Snow::births() {
    constexpr float LEAN = 0.01745f;  // of the mean velocity, times its length
    const SnowMotion& m = motion();
    const float none[3] = {};
    const float left[3] = {m.left[0], m.left[1], 0};
    const float right[3] = {m.right[0], m.right[1], 0};
    const float radii[3] = {m.position_var, m.position_var, 0};
    MTRandom& draw = random();
    MTRandom& own = set().random;

    const int count = weather::birth_count(m.density + signed_draw(draw) * m.density_var + 0.5f);
    SnowParticle flake;
    for (int i = 0; i < count; ++i) {
        flake.set_random_life(m.life, m.life_low, own);
        flake.fade = signed_draw(draw) * m.fade_var + m.fade_frames;
        if (!(flake.life > 0) || !(flake.fade > 0)) continue;
        flake.set_position_on_segment(left, right, radii, own);
        std::copy_n(flake.position, 3, flake.previous_position);

        const float a = signed_draw(draw) * LEAN;
        const float b = m.velocity_var * draw.next_float() + m.initial_speed;
        const float c = 1 + draw.next_float() * m.velocity_var;
        const float mean[3] = {a * c, b * c, 0};
        flake.set_random_velocity(mean, none, own);

        const float grey = m.mono_var * signed_draw(draw);
        for (const int channel : {2, 1, 0})
            flake.color[channel] = grey + m.colour[channel] + signed_draw(draw) * m.colour_var;
        flake.color[3] = 1;
        flake.size = m.flake_size + signed_draw(draw) * m.flake_size * m.flake_size_var;
        flake.look = m.look;
        flake.flake_variant = static_cast<int>(FLAKE_VARIANTS * draw.next_float() + 1);
        flake.spin = (1 - draw.next_float()) * m.spin;
        set().add_particle(&flake);
    }
}

// ---- Forces ---------------------------------------------------------------------------------------------------

// Of wet snow the big flakes sink fastest, of dry snow the small ones.
void Snow::beforeForces(SnowParticle* particles, int count) {
    constexpr float LARGEST = 20;
    const SnowMotion& m = motion();
    if (!(m.size_bias > 1)) return;
    for (int i = 0; i < count; ++i) {
        SnowParticle& p = particles[i];
        p.velocity[1] -= random().next_float() * m.size_bias / (m.dry ? p.size : LARGEST - p.size);
    }
}

void Snow::applyForces(SnowParticle* particles, int count) const {
    const SnowMotion& m = motion();
    if (m.wind.blows()) {
        float speed = m.wind.speed;
        if (m.size_bias > 1) speed /= m.dry ? 20 * m.size_bias + 0.75f : 1 + m.size_bias / 4;
        for (int i = 0; i < count; ++i) m.wind.blow(particles[i].position, speed);
    }
    if (!m.swirl.turns()) return;
    float amplitude = m.swirl.amplitude;
    if (m.size_bias > 1 && amplitude > 0) amplitude /= m.dry ? 19.75f * m.size_bias + 1 : 1 + m.size_bias / 4;
    float x[weather::BLOCK], y[weather::BLOCK];
    for (int i = 0; i < count; ++i) x[i] = particles[i].position[0], y[i] = particles[i].position[1];
    m.swirl.read(noise(), frame(), stepFrame(), x, y, count);
    for (int i = 0; i < count; ++i) {
        const float ramp = m.swirl.strength(particles[i].age);
        particles[i].velocity[0] += x[i] * amplitude * ramp / frame().pixel_width;
        particles[i].velocity[1] += y[i] * amplitude * ramp;
    }
}

// ---- Drawing --------------------------------------------------------------------------------------------------

void Snow::show(SnowParticle& p) {
    const SnowLook& l = look();
    float visible = l.opacity * p.color[3];
    const float left = p.life - p.age;
    if (left < p.fade) visible *= left / p.fade;
    if (left < 0 || !(visible >= 0.0001f)) return;

    const float x = p.position[0];
    const float y = p.position[1];
    const auto tail_x = [&](float t) { return x - (x - p.previous_position[0]) * t + 0.5f; };
    const auto tail_y = [&](float t) { return y - (y - p.previous_position[1]) * t + 0.5f; };
    const float size = p.size / frame().unit_scale;
    const float angle = static_cast<float>(stepFrame()) * p.spin;
    switch (p.look + 1) {
        case Point: {
            splats().point(p.color, x, y, visible);
            const float steps = 20 * l.shutter;
            for (int i = 1; static_cast<float>(i) < steps; ++i) {
                const float f = static_cast<float>(i) / steps;
                splats().point(p.color, tail_x(f * l.shutter), tail_y(f * l.shutter), (1 - f) * visible * 0.05f);
            }
            break;
        }
        case Streak:
            splats().line(p.color, tail_x(l.shutter), tail_y(l.shutter), x, y, visible);
            break;
        case TexturedBlob:
            showSprite(p, m_sprites.textured_blob(size), visible, 0);
            break;
        case Flake:
            showSprite(p, m_sprites.flake(p.flake_variant, size), visible, angle);
            break;
        case Star:
            return showSprite(p, m_sprites.star(size), visible, angle);
        default:
            showSprite(p, m_sprites.soft_blob(size), visible, 0);
    }
    if (p.look + 1 >= SoftBlob) showGlint(p);
}

// The sprite, and fainter ones on the way back to where the particle was.
void Snow::showSprite(const SnowParticle& p, const Sprite* sprite, float coverage, float angle) {
    const float shutter = look().shutter;
    const float x = p.position[0];
    const float y = p.position[1];
    splats().sprite_rotated(p.color, sprite, x, y, coverage, angle);
    const float steps = 10 * shutter;
    for (int i = 1; static_cast<float>(i) < steps; ++i) {
        const float f = static_cast<float>(i) / steps;
        const float t = f * shutter;
        splats().sprite_rotated(p.color, sprite, x - (x - p.previous_position[0]) * t + 0.5f,
                                y - (y - p.previous_position[1]) * t + 0.5f, (1 - f) * coverage * 0.1f, angle);
    }
}

void Snow::showGlint(const SnowParticle& p) {
    const SnowLook& l = look();
    if (!l.glint || !(l.glint_probability > 0) || !(drawRandom().next_float() < l.glint_probability)) return;
    const float c = l.beam.cosine_to(p.position);
    if (!(c > 0)) return;
    const float bright = std::min(weather::power(c, l.glint_tight) * (l.glint_probability * l.beam.inside(c)), 1.0f);
    if (!(bright > 0)) return;
    float colour[3] = {p.color[0], p.color[1], p.color[2]};
    if (l.glint_colour_mode == BoxColour) std::copy_n(l.glint_colour, 3, colour);
    if (l.glint_colour_mode == RandomColour)
        for (int i = 0; i < 3; ++i) colour[i] = (drawRandom().next_float() + 0.5f) * l.glint_colour[i];
    splats().sprite_rotated(colour, m_sprites.star(2 * p.size / frame().unit_scale), p.position[0], p.position[1],
                            bright, static_cast<float>(stepFrame()) * p.spin);
}
