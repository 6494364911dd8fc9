#include "effects/engines/particles/ParticleLook.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace particles {

namespace {

constexpr float TURN = 6.2831855f;
constexpr int MOST_STEPS = 6;  // that one particle is blurred in

// What a particle's number is asked for.
enum Draw : std::uint32_t { SIZE = 1, ANGLE, SPIN, TUMBLE, TUMBLE_SPEED, HUE, LIGHT, PHASE, PACE };

std::uint32_t word(const Seen& seen, std::uint32_t draw) { return place_hash(seen.key, draw); }

float fraction(float v) { return v - std::floor(v); }

}  // namespace

// Hues are turned about the axis of greys, which keeps the sum of the channels.
void ParticleLook::set_colours(const float (&stages)[STAGES][3], float hue_var) {
    for (int hue = 0; hue < HUES; ++hue) {
        const float angle = hue_var * 0.5f * TURN * (2 * (static_cast<float>(hue) + 0.5f) / HUES - 1);
        const float c = k7_cos(angle), s = k7_sin(angle) * 0.57735027f, a = (1 - c) / 3;
        for (int stage = 0; stage < STAGES; ++stage) {
            const float* from = stages[stage];
            for (int i = 0; i < 3; ++i) {
                const float here = from[i], next = from[(i + 1) % 3], last = from[(i + 2) % 3];
                colours[hue][stage][i] = std::max((c + a) * here + (a - s) * next + (a + s) * last, 0.0f);
            }
        }
    }
}

LookSprites::Kind ParticleLook::kind(const MipPicture* picture) const {
    constexpr float CRISP = 0.25f;
    return {look, blend,
            look == SpriteLook::blob || look == SpriteLook::picture ? softness
            : look == SpriteLook::streak                            ? 0.9f
                                                                    : CRISP,
            picture};
}

int ParticleLook::count(const Seen& seen) const {
    if (swept() || look == SpriteLook::streak || !(shutter > 0)) return 1;
    const float way = std::sqrt(seen.way_x * seen.way_x + seen.way_y * seen.way_y) * shutter;
    const float step = std::max(0.6f * radius(seen), 1.0f);
    return std::clamp(static_cast<int>(std::min(way / step, 100.0f)), 1, MOST_STEPS);
}

float ParticleLook::radius(const Seen& seen) const {
    const float u = unit_of(word(seen, SIZE));
    const float own = 1 - size_var + size_var * 3 * u * u;  // many small ones, few large, 1 on average
    const float t = std::clamp(seen.age / std::max(seen.life, 1e-3f), 0.0f, 1.0f);
    return size * seen.size * own * (size_birth + (size_death - size_birth) * t);
}

float ParticleLook::visibility(const Seen& seen) const {
    const float t = std::clamp(seen.age / std::max(seen.life, 1e-3f), 0.0f, 1.0f);
    float visible = opacity * seen.opacity;
    if (t < fade_in) visible *= t / fade_in;
    if (1 - t < fade_out) visible *= (1 - t) / fade_out;
    if (twinkle > 0) {
        const float pace = 0.6f + 0.8f * unit_of(word(seen, PACE));
        const float flash = seen.age * twinkle_rate * pace + 16 * unit_of(word(seen, PHASE));
        const float f = fraction(flash), bell = 4 * f * (1 - f);
        const float strength =
            unit_of(place_hash(word(seen, PHASE), static_cast<std::uint32_t>(static_cast<int>(std::min(flash, 1e9f)))));
        visible *= 1 - twinkle + twinkle * bell * bell * (0.25f + 0.75f * strength);
    }
    return visible;
}

void ParticleLook::colour(const Seen& seen, float out[3]) const {
    const auto& stages = colours[place_hash(seen.family, HUE) % HUES];
    const float t = std::clamp(seen.age / std::max(seen.life, 1e-3f), 0.0f, 1.0f) * (STAGES - 1);
    const int stage = std::min(static_cast<int>(t), STAGES - 2);
    const float light = gain * (1 + light_var * signed_of(word(seen, LIGHT)));
    for (int i = 0; i < 3; ++i) {
        const float birth = seen.colour ? seen.colour[i] : stages[0][i];
        const auto at = [&](int s) { return s == 0 ? birth : birth + (stages[s][i] - birth) * change; };
        out[i] = (at(stage) + (at(stage + 1) - at(stage)) * (t - static_cast<float>(stage))) * light;
    }
}

void ParticleLook::turn(const Seen& seen, LookSprite& sprite) const {
    if (along_way) {
        const float speed = std::sqrt(seen.vx * seen.vx + seen.vy * seen.vy);
        if (speed > 1e-6f) sprite.cosine = seen.vx / speed, sprite.sine = seen.vy / speed;
    } else {
        const float own = signed_of(word(seen, SPIN));
        const float angle = TURN * unit_of(word(seen, ANGLE)) + spin * own * seen.age;
        sprite.cosine = k7_cos(angle);
        sprite.sine = k7_sin(angle);
    }
    if (tumble != 0) {
        const float pace = 0.5f + unit_of(word(seen, TUMBLE_SPEED));
        sprite.squash = k7_cos(TURN * unit_of(word(seen, TUMBLE)) + tumble * pace * seen.age);
        const float facing = 0.68f + 0.32f * sprite.squash;  // backs are in shadow
        for (float& channel : sprite.colour) channel *= facing;
    }
}

void ParticleLook::show(const Seen& seen, LookSprite* sprites, int count) const {
    LookSprite s;
    s.x = seen.x;
    s.y = seen.y;
    s.radius = radius(seen);
    s.opacity = visibility(seen);
    s.depth = blend == DrawBlend::over ? word(seen, SIZE) : 0;  // large ones are near
    if (!(s.opacity > 1e-4f) || !(s.radius > 1e-3f)) {
        std::fill_n(sprites, count, LookSprite());
        return;
    }
    colour(seen, s.colour);
    if (look == SpriteLook::streak) {
        const float frames = std::min(length, seen.age + 1);
        s.way_x = -seen.vx * frames;
        s.way_y = -seen.vy * frames;
    } else if (swept()) {
        s.way_x = seen.way_x * shutter;
        s.way_y = seen.way_y * shutter;
    } else {
        turn(seen, s);
    }
    s.opacity /= static_cast<float>(count);
    for (int i = 0; i < count; ++i) {
        const float back = count > 1 ? shutter * static_cast<float>(i) / static_cast<float>(count) : 0;
        sprites[i] = s;
        sprites[i].x += seen.way_x * back;
        sprites[i].y += seen.way_y * back;
    }
}

}  // namespace particles
