#include "effects/weather/Snow.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

using particles::read_colour;
using particles::share;
using particles::signed_draw;
using particles::value;

// ---- Parameters -----------------------------------------------------------------------------------------------

void Snow::readOwn(SnowMotion& motion, SnowLook& look) {
    const FrameShape& f = frame();
    motion.emitter.speed = value(InitialVelocity) / (f.unit_scale * 10) * f.aspect();
    motion.flake_size = value(FlakeSize);
    motion.flake_size_var = share(FlakeSizeVar);
    motion.size_bias = DoBias.value ? value(SizeBias) : 1;
    motion.spin = value(Flakerot);
    motion.look = LookMode.value - 1;
    motion.dry = DrySnow.value - 1;
    motion.wind = particles::read_wind(f, wind);

    look.opacity = value(Opacity) * 0.01f;
    look.shutter = particles::read_shutter(start);
    look.glint = glint.on.value;
    look.glint_colour_mode = ColourMode.value;
    look.glint_probability = share(GlintProbability);
    look.glint_tight = value(GlintTight);
    read_colour(GlintColour, look.glint_colour);
    look.beam = particles::read_beam(f, glint, GlintZone);
}

// ---- Births ---------------------------------------------------------------------------------------------------

void Snow::births() { emit(motion().emitter.steady_count(random()), 1); }

bool Snow::fillNewborn(SnowParticle& flake) {
    constexpr float FADE_FRAMES = 8, FADE_VARIATION = 0;  // the number is drawn all the same
    const SnowMotion& m = motion();
    MTRandom& draw = random();
    MTRandom& own = set().random;
    if (!m.emitter.place(flake, signed_draw(draw) * FADE_VARIATION + FADE_FRAMES, own)) return false;
    m.emitter.drop(flake, draw, own);
    m.tint.give(flake, 1, draw);
    flake.size = m.flake_size + signed_draw(draw) * m.flake_size * m.flake_size_var;
    flake.look = m.look;
    flake.flake_variant = static_cast<int>(FLAKE_VARIANTS * draw.next_float() + 1);
    flake.spin = (1 - draw.next_float()) * m.spin;
    return true;
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
        m.wind.blow(particles, count, speed);
    }
    float amplitude = m.swirl.amplitude;
    if (m.size_bias > 1 && amplitude > 0) amplitude /= m.dry ? 19.75f * m.size_bias + 1 : 1 + m.size_bias / 4;
    swirl(particles, count, amplitude);
}

// ---- Drawing --------------------------------------------------------------------------------------------------

void Snow::show(SnowParticle& p) {
    const SnowLook& l = look();
    const float visible = p.fading(l.opacity * p.color[3]);
    if (!(visible > 0)) return;
    const float size = p.size / frame().unit_scale;
    const float angle = static_cast<float>(stepFrame()) * p.spin;
    switch (p.look + 1) {
        case Point:
            particles::stamp_with_tail(p, l.shutter, 20, visible, [&](float x, float y, float coverage) {
                splats().point(p.color, x, y, coverage);
            });
            break;
        case Streak:
            particles::draw_streak(splats(), p, p.color, l.shutter, visible);
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
    particles::stamp_with_tail(p, look().shutter, 10, coverage, [&](float x, float y, float faded) {
        splats().sprite_rotated(p.color, sprite, x, y, faded, angle);
    });
}

void Snow::showGlint(const SnowParticle& p) {
    const SnowLook& l = look();
    if (!l.glint || !(l.glint_probability > 0) || !(drawRandom().next_float() < l.glint_probability)) return;
    const float c = l.beam.cosine_to(p.position);
    if (!(c > 0)) return;
    const float bright = std::min(k7_pow(c, l.glint_tight) * (l.glint_probability * l.beam.inside(c)), 1.0f);
    if (!(bright > 0)) return;
    float colour[3] = {p.color[0], p.color[1], p.color[2]};
    if (l.glint_colour_mode == BoxColour) std::copy_n(l.glint_colour, 3, colour);
    if (l.glint_colour_mode == RandomColour)
        for (int i = 0; i < 3; ++i) colour[i] = (drawRandom().next_float() + 0.5f) * l.glint_colour[i];
    splats().sprite_rotated(colour, m_sprites.star(2 * p.size / frame().unit_scale), p.position[0], p.position[1],
                            bright, static_cast<float>(stepFrame()) * p.spin);
}
