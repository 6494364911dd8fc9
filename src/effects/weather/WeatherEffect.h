// What Snow, Rain, Smoke and Bubbles share: births along a line, gravity, friction and swirling air, and the controls
// of these, with the same names in all four. An effect reads its own controls in readOwn().
#pragma once

#include "effects/engines/particles/ParticleEffect.h"

namespace weather {

inline constexpr std::uint32_t LOOK_SEED = 1234567;  // of star rotations

// What steers the steps of all of them.
struct WeatherMotion {
    particles::Emitter emitter;
    particles::Tint tint;
    particles::Gravity gravity;
    particles::Swirl swirl;
    float drag = 0;  // velocity lost a frame
};

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
class WeatherEffect : public particles::ParticleEffect<Info, ParticleType, MotionRecord, LookRecord> {
  protected:
    using Particle = ParticleType;
    using Set = ParticleSet<Particle>;

    virtual void readOwn(MotionRecord& motion, LookRecord& look) = 0;
    virtual bool hasSetGravity() const { return true; }  // false: it depends on the particle

    SimulationTiming timing() const override {
        return {.start = this->start.at.value,
                .pre_roll = this->start.preRoll.value,
                .animated = this->start.withAnimation.value};
    }
    // The output begins as a copy of the source.
    void background() override {
        if (this->BlackBG.value) image_clear(this->output.image.get());
    }
    void readBlocks(MotionRecord& motion, LookRecord& look) final {
        const FrameShape& frame = this->frame();
        motion.emitter.set(frame, this->emitter, this->VelocityVar);
        motion.tint.set(this->tint);
        motion.gravity = particles::read_gravity(frame, this->gravity);
        motion.drag = particles::read_drag(this->friction);
        motion.swirl = particles::read_swirl(frame, this->turbulence, this->start);
        readOwn(motion, look);
    }
    void prepareSet(Set& set) override {
        set.set_drag(this->motion().drag);
        float force[3] = {};
        if (hasSetGravity()) this->motion().gravity.force(force);
        set.set_force(0, force);
    }
    // Adds the swirl to velocities.
    void swirl(Particle* particles, int count, float amplitude) const {
        this->swirlWith(this->motion().swirl, particles, count, [&](Particle& p, float x, float y, float grown) {
            p.velocity[0] += x * amplitude * grown / this->frame().pixel_width;
            p.velocity[1] += y * amplitude * grown;
        });
    }
};

}  // namespace weather
