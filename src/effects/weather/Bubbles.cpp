#include "effects/weather/Bubbles.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

using particles::read_colour;
using particles::share;
using particles::signed_draw;
using particles::value;

namespace {

constexpr float LARGEST = 40, SMALLEST = 2;  // pixels
constexpr float ON_MATTE = 0.5f;
constexpr float LONGEST_AFTERLIFE = 10000;  // frames

}  // namespace

// ---- Parameters -----------------------------------------------------------------------------------------------

void Bubbles::readOwn(BubblesMotion& motion, BubblesLook& look) {
    const FrameShape& f = frame();
    motion.emitter.speed = value(InitialVelocity) / (f.unit_scale * 100) * f.aspect();
    motion.direction[0] = k7_cos(value(VelDir) * particles::DEGREE);
    motion.direction[1] = k7_sin(value(VelDir) * particles::DEGREE);
    const float size = value(BubbleSize);
    const float spread = share(BubbleSizeVar) * size;
    switch (GrowthMode.value) {
        case Shrinking:
            motion.size = 2 * size, motion.size_spread = spread;
            break;
        case LinearGrowth:
            motion.size = 0.125f * size, motion.size_spread = 0.25f * spread;
            break;
        default:
            motion.size = 0.5f * size, motion.size_spread = spread;
    }
    motion.rise = GrowthMode.value == VariableGrowth ? 1.5f * 0.025f : 0;
    motion.burst_probability = share(BurstProbability);
    motion.afterlife = Afterlife.value > 0 ? std::min(value(Afterlife), LONGEST_AFTERLIFE) : 0;
    motion.bursts = BubblesBurst.value;
    motion.congregates = Congregate.value;
    motion.birth_matte = UseBirthMatte.value;

    look.opacity = value(Opacity) * 0.01f;
    look.shutter = particles::read_shutter(start);
    look.time_to_full_size = std::max(value(TimeMaxSize), 1.0f);
    look.growth = GrowthMode.value;
    look.light = light.beam.on.value && light.intensity.value > 0;
    look.light_level = share(light.intensity);
    look.least_level = share(light.least);
    look.light_height = value(*light.height) * f.width;
    look.tightness = value(light.tightness);
    look.exponent = value(*light.highlight);
    read_colour(light.colour, look.light_colour);
    look.beam = particles::read_beam(f, light.beam, light.spread);
    look.droplets = share(BurstQuantity);
    look.scatter = std::clamp(value(BurstExtent) / f.unit_scale, 0.0f, 1000.0f);
    look.mirror = DoReflections.value ? share(RefIntensity) : 0;
}

std::uint64_t Bubbles::steeringPictures() const {
    const std::uint64_t born = UseBirthMatte.value ? particles::matte_fingerprint(birth.image.get()) : 0;
    const bool steers = BubblesBurst.value || Congregate.value;
    return fingerprint(steers ? particles::matte_fingerprint(burst_clip.image.get()) : 0, born);
}

// ---- Births ---------------------------------------------------------------------------------------------------

void Bubbles::births() {
    m_bubbles.clear();
    const int count = motion().emitter.steady_count(random());
    const int born = emit(count);
    if (born < count && motion().birth_matte && !silent())
        Trace(TRACE_WARN, "Tried many times to create a bubble. Probability of success too low - check Birth Matte\n");
}

bool Bubbles::fillNewborn(BubblesParticle& p) {
    constexpr float FADE_FRAMES = 8, FADE_VARIATION = 0;  // the number is drawn all the same
    const BubblesMotion& m = motion();
    MTRandom& draw = random();
    MTRandom& own = set().random;
    if (!m.emitter.place(p, signed_draw(draw) * FADE_VARIATION + FADE_FRAMES, own)) return false;
    if (m.birth_matte && !particles::matte_allows(birth.image.get(), p.position)) return false;
    m.emitter.send(p, m.direction, draw, own);
    m.tint.give(p, 1, draw);
    p.size = std::clamp(m.size + signed_draw(draw) * m.size_spread, SMALLEST, LARGEST);
    return true;
}

// ---- Forces ---------------------------------------------------------------------------------------------------

void Bubbles::beforeForces(BubblesParticle* particles, int count) {
    const BubblesMotion& m = motion();
    const K7Image* matte = burst_clip.image.get();
    for (int i = 0; i < count; ++i) {
        BubblesParticle& p = particles[i];
        float there = 0;
        const bool inside = (m.congregates || m.bursts) && particles::matte_at(matte, p.position, &there);
        if (!m.congregates) {
            p.velocity[0] += m.gravity.strength * m.gravity.direction[0];
            p.velocity[1] += m.gravity.strength * m.gravity.direction[1];
        } else if (inside) {
            gather(p, there > ON_MATTE);
        }
        if (m.bursts && !p.phase) burst(p, inside && there > ON_MATTE);
    }
}

// Bubbles come to rest on the matte, and die soon after it has left them.
void Bubbles::gather(BubblesParticle& p, bool on_matte) const {
    if (on_matte) {
        p.stuck = 1;
        for (float& v : p.velocity) v *= 0.01f;
    } else if (p.stuck == 1) {
        p.stuck = 2;
        p.age = p.life - motion().afterlife;
    }
}

void Bubbles::burst(BubblesParticle& p, bool on_matte) {
    if (!on_matte && p.age != p.life - 1) return;
    if (!(random().next_float() < motion().burst_probability)) return;
    if (!motion().congregates || p.stuck == 1) p.phase = 1;
    p.age = p.life - static_cast<float>(static_cast<int>(random().next_float() * motion().afterlife + 1));
    p.burst_seed = random().next_uint32();
}

void Bubbles::applyForces(BubblesParticle* particles, int count) const {
    const BubblesMotion& m = motion();
    swirlWith(m.swirl, particles, count, [&](BubblesParticle& p, float x, float y, float grown) {
        const float push = m.swirl.amplitude * grown;
        p.velocity[0] += x * push / frame().pixel_width;
        p.velocity[1] += y * push * (1 - m.rise * p.size);
    });
}

// ---- Drawing --------------------------------------------------------------------------------------------------

float Bubbles::radiusOf(const BubblesParticle& p) const {
    const float scale = frame().unit_scale;
    const float grown = std::min(p.age / look().time_to_full_size, 1.0f);
    float radius = p.size;
    if (look().growth == Shrinking) radius -= LARGEST * grown;
    if (look().growth == VariableGrowth) radius += grown * LARGEST / (2 * scale);
    if (look().growth == LinearGrowth) radius += grown * LARGEST / (4 * scale);
    return std::clamp(radius / scale, SMALLEST, LARGEST);
}

// The skin brightens in the beam; the highlight is where a mirror would show the light.
void Bubbles::lightUp(const BubblesParticle& p, Bubble& bubble) {
    const BubblesLook& l = look();
    if (!l.light) return;
    const float c = l.beam.cosine_to(p.position);
    const float lit = c > 0 ? l.beam.inside(c) * l.light_level : 0;
    const float level = (lit + l.least_level) * 0.5f;
    for (float& channel : bubble.colour) channel *= level;
    bubble.coverage = std::min(bubble.coverage * level, 1.0f);
    if (!(c > 0)) return;
    const float way[3] = {l.beam.source[0] - p.position[0], l.beam.source[1] - p.position[1], l.light_height};
    const float length = std::sqrt(way[0] * way[0] + way[1] * way[1] + way[2] * way[2]);
    const float half[3] = {way[0] / length, way[1] / length, way[2] / length + 1};
    const float half_length = std::sqrt(half[0] * half[0] + half[1] * half[1] + half[2] * half[2]);
    if (!(length > 0 && half_length > 0)) return;
    for (int i = 0; i < 3; ++i) bubble.gloss.half[i] = half[i] / half_length;
    bubble.gloss.powers = m_powers.of(l.exponent);
    const float strength = k7_pow(level, l.tightness);
    for (int i = 0; i < 3; ++i) bubble.gloss.strength[i] = strength * l.light_colour[i];
}

void Bubbles::show(BubblesParticle& p) {
    const BubblesLook& l = look();
    const float visible = p.fading(l.opacity * p.color[3]);
    if (!(visible > 0 && std::isfinite(visible))) return;

    Bubble bubble;
    bubble.sprite = m_sprites.get(radiusOf(p));
    bubble.x = p.position[0];
    bubble.y = p.position[1];
    bubble.tail_x = p.tail(0, l.shutter);
    bubble.tail_y = p.tail(1, l.shutter);
    std::copy_n(p.color, 3, bubble.colour);
    bubble.coverage = visible;
    lightUp(p, bubble);
    if (p.phase) {
        bubble.bursting = true;
        bubble.seed = p.burst_seed;
        bubble.droplets = l.droplets;
        bubble.scatter = l.scatter;
    }
    int first = 0, last = 0;
    if (!bubble.rows(frame().height, &first, &last)) return;
    splats().painted(&paintOne, this, static_cast<int>(m_bubbles.size()), first, last);
    m_bubbles.push_back(bubble);
}

void Bubbles::paint(K7Image& result) {
    const bool mirrors = look().mirror > 0 && !m_bubbles.empty();
    m_mirrored.make(mirrors ? reflection.image.get() : nullptr);
    WeatherEffect::paint(result);
}

void Bubbles::paintOne(const void* effect, int item, K7Image* image, int first, int last) {
    const auto& self = *static_cast<const Bubbles*>(effect);
    const Bubble& bubble = self.m_bubbles[static_cast<std::size_t>(item)];
    paint_bubble(bubble, self.m_mirrored.at(bubble.sprite->radius()), self.look().mirror, image, first, last);
}
