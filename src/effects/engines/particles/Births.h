// How particles are born: their number, life, position, velocity and colour. Plain records of 4-byte fields
// for Motion blocks, like those of Forces.h.
//
// `draw` is the generator of the frames and `own` that of the particle set. The order of draws from each is part of the
// picture.
#pragma once

#include <algorithm>

#include "effects/engines/particles/FadingParticle.h"
#include "effects/engines/particles/Forces.h"
#include "effects/engines/particles/Readings.h"

namespace particles {

// An angle about the middle of a spread, in radians: narrow spreads have soft edges, wide ones are even all around.
inline float draw_bend(float spread, MTRandom& draw) {
    const float even = std::clamp((spread - 2) / 2, 0.0f, 1.0f);
    const float first = signed_draw(draw), second = signed_draw(draw);
    return spread * (even * 0.5f * first + (1 - even) * 0.3f * (first + second));
}

// A line between two places; particles are born around it.
struct Emitter {
    float left[3] = {}, right[3] = {};  // the ends, pixels
    float radii[3] = {};                // of the ellipsoid about a place on the line, pixels
    float density = 0;                  // births a frame
    float life = 0;                     // the longest, frames; the shortest is a tenth
    float speed = 0;                    // pixels a frame; set by the effect, whose units differ
    float velocity_var = 0;

    void set(const FrameShape& frame, const EmitterControls& controls, const FloatControlK7& variance) {
        left[0] = static_cast<float>(controls.left.x) * frame.width;
        left[1] = static_cast<float>(controls.left.y) * frame.height;
        right[0] = static_cast<float>(controls.right.x) * frame.width;
        right[1] = static_cast<float>(controls.right.y) * frame.height;
        radii[0] = radii[1] = frame.width * value(controls.spread) * frame.pixel_width;
        density = value(controls.density);
        life = value(controls.lifetime);
        velocity_var = share(variance);
    }

    // Births of a frame, near the density.
    int steady_count(MTRandom& draw) const { return birth_count(density + signed_draw(draw) * (density / 10) + 0.5f); }
    // The same in gusts, from hardly any up to the density.
    int gusty_count(MTRandom& draw) const {
        const float fewer = draw.next_float() * density / 10;
        const float more = draw.next_float() * density;
        return birth_count(0.5f - fewer + more);
    }

    // Gives a particle its life and its place. False where it would not live, or not be seen.
    bool place(FadingParticle& p, float fade, MTRandom& own) const {
        p.set_random_life(life, life / 10, own);
        p.fade = fade;
        if (!(p.life > 0) || !(fade > 0)) return false;
        p.set_position_on_segment(left, right, radii, own);
        std::copy_n(p.position, 3, p.previous_position);
        return true;
    }

    // Gives a particle a velocity that is almost vertical: up, or down where the speed is negative.
    void drop(FadingParticle& p, MTRandom& draw, MTRandom& own) const {
        constexpr float LEAN = 0.01745f;  // of the mean velocity, times its length
        const float a = signed_draw(draw) * LEAN;
        const float b = velocity_var * draw.next_float() + speed;
        const float c = 1 + draw.next_float() * velocity_var;
        setVelocity(p, a * c, b * c, own);
    }
    // Gives a particle a velocity along a direction, at the speed or more.
    void send(FadingParticle& p, const float direction[2], MTRandom& draw, MTRandom& own) const {
        const float h = 1 + draw.next_float() * velocity_var;
        const float fast = h * speed * (1 + draw.next_float());
        setVelocity(p, fast * direction[0], fast * direction[1], own);
    }

  private:
    static constexpr int MOST_BIRTHS = 1000000;  // a frame

    // A number of births as a count: truncated, and limited.
    static int birth_count(float births) {
        return births >= 1 ? static_cast<int>(std::min(births, static_cast<float>(MOST_BIRTHS))) : 0;
    }
    static void setVelocity(FadingParticle& p, float x, float y, MTRandom& own) {
        const float mean[3] = {x, y, 0};
        constexpr float NO_SPREAD[3] = {};
        p.set_random_velocity(mean, NO_SPREAD, own);
    }
};

// A colour, and how far particles differ from it.
struct Tint {
    float colour[3] = {};
    float variance = 0;  // of each channel
    float mono = 0;      // of all three together

    void set(const TintControls& controls) {
        read_colour(controls.colour, colour);
        variance = share(controls.variance);
        mono = share(controls.mono);
    }
    void give(FadingParticle& p, float alpha, MTRandom& draw) const {
        const float grey = mono * signed_draw(draw);
        for (const int channel : {2, 1, 0}) p.color[channel] = grey + colour[channel] + signed_draw(draw) * variance;
        p.color[3] = alpha;
    }
};

}  // namespace particles
