#include "effects/weather/Rain.h"

#include <algorithm>
#include <cmath>

using particles::read_colour;
using particles::share;
using particles::signed_draw;
using particles::value;

// ---- Parameters -----------------------------------------------------------------------------------------------

void Rain::readOwn(RainMotion& motion, RainLook& look) {
    const FrameShape& f = frame();
    motion.extinction = value(Extinction);
    motion.emitter.speed = value(InitialVelocity) / f.unit_scale;
    motion.intensity = share(InitIntensity);
    motion.damping = share(PuddleDamping);
    motion.bounces = Bounces.value;
    motion.birth_matte = UseBirthMatte.value;
    motion.puddles = PuddleBounce.value;
    motion.floor = PuddleBounce.value && !bounce.isConnected();
    motion.wind = particles::read_wind(f, wind);

    look.opacity = value(Opacity) * 0.01f;
    look.streak = particles::read_shutter(start);
    look.condensation = share(Condensation);
    look.lit = light.beam.on.value && light.intensity.value > 0;
    look.light_intensity = share(light.intensity);
    look.least_brightness = value(light.least) * 0.01f;
    read_colour(light.colour, look.light_colour);
    look.light = particles::read_beam(f, light.beam, light.spread);
}

std::uint64_t Rain::steeringPictures() const {
    std::uint64_t sum = 0;
    if (UseBirthMatte.value) sum = fingerprint(particles::matte_fingerprint(birth.image.get()), sum);
    if (PuddleBounce.value && bounce.isConnected())
        sum = fingerprint(particles::matte_fingerprint(bounce.image.get()), sum);
    return sum;
}

// ---- Births ---------------------------------------------------------------------------------------------------

// Between about none and the density from frame to frame: rain comes in gusts.
void Rain::births() { emit(motion().emitter.gusty_count(random())); }

bool Rain::fillNewborn(RainParticle& drop) {
    const RainMotion& m = motion();
    MTRandom& draw = random();
    MTRandom& own = set().random;
    if (!m.emitter.place(drop, m.extinction + signed_draw(draw) * (m.extinction / 10), own)) return false;
    if (m.birth_matte && birth.image && !particles::matte_allows(birth.image.get(), drop.position)) return false;
    m.emitter.drop(drop, draw, own);
    m.tint.give(drop, m.intensity, draw);
    return true;
}

// ---- Forces ---------------------------------------------------------------------------------------------------

void Rain::applyForces(RainParticle* particles, int count) const {
    const RainMotion& m = motion();
    m.wind.blow(particles, count, m.wind.speed);
    swirl(particles, count, m.swirl.amplitude);
}

void Rain::afterForces(RainParticle* particles, int count) {
    if (!motion().puddles) return;
    for (int i = 0; i < count; ++i) bounceOffPuddles(particles[i]);
}

// The matte at a drop; false outside. Without a matte all below the frame is one puddle, and a drop that has fallen
// into it bounces from the frame's bottom.
bool Rain::overPuddle(RainParticle& p, float* puddle) const {
    if (!motion().floor) return particles::matte_at(bounce.image.get(), p.position, puddle);
    *puddle = p.position[1] < 0 ? 1.0f : 0.0f;
    if (*puddle > 0 && p.velocity[1] < 0 && p.bounce_count <= motion().bounces) p.position[1] = 0;
    return true;
}

// A drop over a puddle reverses its fall for one frame; the next frame finds a factor below 0 and restores it to 1.
void Rain::bounceOffPuddles(RainParticle& p) {
    const RainMotion& m = motion();
    float sideways = 0;
    float puddle = 0;
    if (overPuddle(p, &puddle)) {
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

// A line along the drop's last step, shortened or lengthened.
void Rain::show(RainParticle& p) {
    const RainLook& l = look();
    float colour[4] = {p.color[0], p.color[1], p.color[2], p.color[3]};
    if (l.lit) {
        const float c = l.light.cosine_to(p.position);
        float bright = l.least_brightness;
        if (c > 0) bright += l.light_intensity * l.light.inside(c);
        for (int i = 0; i < 3; ++i) colour[i] = bright * (colour[i] + l.light_colour[i]);
        colour[3] = bright * (colour[3] + 1);
    }
    const float visible = p.fading(std::min(p.condensed(l.condensation) * colour[3] * l.opacity, 1.0f));
    if (visible > 0) particles::draw_streak(splats(), p, colour, l.streak, visible);
}
