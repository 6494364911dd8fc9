// What Snow, Rain, Smoke and Bubbles share: the road of a frame, and a step of the simulation.
//
// A step is: births; then, for every particle in the order of the array, what the forces do to it, its drawing, and its
// motion. No particle looks at another, so the step is done in phases over all particles, of which those without random
// numbers run on all row threads. Sprites are collected and drawn at the end. renderParticle is the same for one
// particle; both give the same bits.
//
// Numbers that only the drawing needs come from a generator of their own that is seeded for each frame. Silent frames
// therefore leave exactly the state that drawn ones leave.
//
// An effect declares its Info (with the controls of births, gravity, friction and turbulence, and StartAt, PreRoll,
// WithAnimation and BlackBG), a particle of WeatherParticle, a Motion block of WeatherMotion with everything that
// steers steps (a plain record of 4-byte fields: its bytes are compared) and a Look block with what only drawing reads.
// What all of them have is read here, so that an effect reads what is its own.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <type_traits>

#include "Library2/PluginK7.h"
#include "effects/engines/particles/Births.h"
#include "effects/engines/particles/Forces.h"
#include "effects/engines/particles/Mattes.h"
#include "effects/engines/particles/ParticleSetBase.h"
#include "effects/engines/particles/WeatherParticle.h"
#include "effects/engines/replay/FrameClock.h"
#include "effects/engines/sprites/Splats.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace weather {

inline constexpr std::uint32_t SEED = 1234567;  // of the frame generator, of looks and of noise
inline constexpr int BLOCK = Swirl::ABREAST;    // particles that a row thread takes at once

// What steers the steps of all of them.
struct WeatherMotion {
    Emitter emitter;
    Tint tint;
    Gravity gravity;
    Swirl swirl;
    float drag = 0;  // velocity lost a frame
};

template <class Info, class ParticleType, class MotionBlock, class LookBlock>
class WeatherEffect : public Effect<Info>, protected ClockedSimulation {
  public:
    using Particle = ParticleType;
    using Motion = MotionBlock;
    using Look = LookBlock;
    static_assert(alignof(Motion) == 4 && std::is_trivially_copyable_v<Motion>, "fields of 4 bytes leave no gaps");

    void ProcessFrame() override;
    void MarkRestart() override { m_clock.mark_restart(); }
    void ControlChanged(ControlK7&) override { m_clock.recheck(); }

    // All that happens to one particle before it moves.
    void renderParticle(Particle& particle) {
        beforeForces(&particle, 1);
        applyForces(&particle, 1);
        afterForces(&particle, 1);
        if (!m_silent) show(particle);
        endOfStep(particle);
    }

    class Set final : public ParticleSetBase {
      public:
        Set() : ParticleSetBase(SEED) {
            set_particle_size(sizeof(Particle));
            constexpr float none[3] = {};
            add_force(none);  // gravity
        }
        void render_particle(ParticleBase& particle) override {
            static_cast<WeatherEffect*>(owner)->renderParticle(static_cast<Particle&>(particle));
        }
    };

    // The step as the set's own walk, instead of in phases. For tests.
    bool walksOneByOne = false;
    const FrameClock& clock() const { return m_clock; }
    FrameClock& clock() { return m_clock; }
    int liveParticles() const { return m_set ? m_set->live() : 0; }

  protected:
    // ---- What an effect gives
    virtual void readBlocks(Motion& motion, Look& look) = 0;             // what is its own, from the controls
    virtual void births() = 0;                                           // adds this frame's particles
    virtual bool fillNewborn(Particle& particle) = 0;                    // false: not born after all
    virtual void applyForces(Particle* particles, int count) const = 0;  // on row threads, count at most BLOCK
    virtual void show(Particle& particle) = 0;                           // collects what is drawn
    virtual void beforeForces(Particle*, int) {}  // numbers that forces draw, in the array's order
    virtual void afterForces(Particle*, int) {}
    virtual const Gravity* setGravity() const { return &m_motion.gravity; }  // null: no force of the set
    virtual std::uint32_t seed() const { return SEED; }                      // of the frame generator and the noise
    virtual std::uint64_t matteState() const { return 0; }                   // fingerprint of mattes in use
    virtual void background();
    virtual void paint(K7Image& result) { m_splats.draw(&result); }

    // ---- What it does with it
    static constexpr int TRIES = 10;  // for a place that a matte allows
    int bear(int count, int tries = TRIES);
    template <class Push>
    void swirlWith(Particle* particles, int count, Push push) const;
    void swirl(Particle* particles, int count, float amplitude) const {
        swirlWith(particles, count, [&](Particle& p, float x, float y, float grown) {
            p.velocity[0] += x * amplitude * grown / m_frame.pixel_width;
            p.velocity[1] += y * amplitude * grown;
        });
    }

    // ---- What it finds
    const Frame& frame() const { return m_frame; }
    const Motion& motion() const { return m_motion; }
    const Look& look() const { return m_look; }
    int stepFrame() const { return m_step_frame; }  // the frame being stepped
    bool silent() const { return m_silent; }        // without drawing
    Set& set() { return *m_set; }
    MTRandom& random() { return m_random; }  // of the frames
    MTRandom& drawRandom() { return m_draw_random; }
    const SolidNoise& noise() const { return m_noise; }
    Splats& splats() { return m_splats; }

  private:
    std::uint64_t readParameters(int frame) final;
    void restart() final;
    bool step(int frame, bool silent) final;
    std::size_t stateBytes() const final { return sizeof m_random + sizeof m_noise_seed + m_set->saved_bytes(); }
    void saveState(std::byte* to) const final {
        std::memcpy(to, static_cast<const void*>(&m_random), sizeof m_random);
        std::memcpy(to + sizeof m_random, &m_noise_seed, sizeof m_noise_seed);
        m_set->save(to + sizeof m_random + sizeof m_noise_seed);
    }
    bool restoreState(const std::byte* from) final {
        if (!m_set) restart();
        std::memcpy(static_cast<void*>(&m_random), from, sizeof m_random);
        std::uint32_t noise_seed;
        std::memcpy(&noise_seed, from + sizeof m_random, sizeof noise_seed);
        seedNoise(noise_seed);
        return m_set->restore(from + sizeof m_random + sizeof noise_seed);
    }
    void seedNoise(std::uint32_t seed) {
        if (m_noise_seed != seed) m_noise = SolidNoise(seed);
        m_noise_seed = seed;
    }
    bool wantsAbort() const final { return this->abortRequested() != 0; }
    void stepInPhases();
    static void endOfStep(Particle& particle) { std::copy_n(particle.position, 3, particle.previous_position); }

    Frame m_frame{K7Image{}};
    Motion m_motion{};
    Look m_look{};
    int m_target = 0;  // of this render
    int m_step_frame = 0;
    bool m_silent = false;
    bool m_parameters_moved = false;
    std::unique_ptr<Set> m_set;
    MTRandom m_random{SEED}, m_draw_random{SEED};
    SolidNoise m_noise{SEED};
    std::uint32_t m_noise_seed = SEED;
    Splats m_splats;
    FrameClock m_clock;
};

// ---- The road of a frame --------------------------------------------------------------------------------------

template <class Info, class ParticleType, class MotionBlock, class LookBlock>
void WeatherEffect<Info, ParticleType, MotionBlock, LookBlock>::ProcessFrame() {
    K7Image* result = this->output.image.get();
    if (!result || result->channels != 4 || result->sample_type != SAMPLE_F32 || this->abortRequested()) return;
    constexpr double LAST = 1e9;
    const double shown = std::floor(this->currentFrame);
    const int frame_number = std::isfinite(shown) ? static_cast<int>(std::clamp(shown, -LAST, LAST)) : 0;
    background();
    const int start = this->StartAt.value;
    if (frame_number < start) return;

    m_frame = Frame(*result);
    m_target = frame_number + std::clamp(this->PreRoll.value, 0, 999999);
    m_splats.begin(result->width, result->height);
    FrameClock::Request request;
    request.start = start;
    request.target = m_target;
    request.animated = this->WithAnimation.value;
    request.shape = fingerprint(&m_frame, sizeof m_frame);
    request.inputs = matteState();
    m_parameters_moved = false;
    if (m_clock.run(*this, request)) {
        const StageTimer timer("Particles drawn");
        paint(*result);
    }
    if (m_parameters_moved) this->fetchParametersAt(this->currentFrame);
    if (!this->doAlpha) image_copy_channels(this->primary()->image.get(), result, 8);
}

// The output begins as a copy of the source.
template <class Info, class ParticleType, class MotionBlock, class LookBlock>
void WeatherEffect<Info, ParticleType, MotionBlock, LookBlock>::background() {
    if (this->BlackBG.value) image_clear(this->output.image.get());
}

// Frames of the simulation run ahead of the host's by the pre-roll; parameters are those that the host shows then.
template <class Info, class ParticleType, class MotionBlock, class LookBlock>
std::uint64_t WeatherEffect<Info, ParticleType, MotionBlock, LookBlock>::readParameters(int frame_number) {
    if (frame_number != m_target || m_parameters_moved) {
        this->fetchParametersAt(this->currentFrame + (frame_number - m_target));
        m_parameters_moved = frame_number != m_target;
    }
    m_motion = Motion{};
    m_look = Look{};
    m_motion.emitter.set(m_frame, this->Left, this->Right, this->PositionVar, this->Density, this->Lifetime,
                         this->VelocityVar);
    m_motion.gravity.set(m_frame, this->DoGravity.value, this->Gravity.value, this->GravAngle.value);
    m_motion.drag = this->DoFriction.value ? value(this->Friction) : 0;
    m_motion.swirl.set(m_frame, this->DoTurbulence.value, this->SwirlDens.value, this->SwirlAmp.value,
                       this->SwlMaxTim.value, this->StartAt.value);
    readBlocks(m_motion, m_look);
    return fingerprint(&m_motion, sizeof m_motion, seed());
}

template <class Info, class ParticleType, class MotionBlock, class LookBlock>
void WeatherEffect<Info, ParticleType, MotionBlock, LookBlock>::restart() {
    m_random = MTRandom(seed());
    seedNoise(seed());
    m_set = std::make_unique<Set>();
}

// ---- A step ---------------------------------------------------------------------------------------------------

template <class Info, class ParticleType, class MotionBlock, class LookBlock>
bool WeatherEffect<Info, ParticleType, MotionBlock, LookBlock>::step(int frame_number, bool silent) {
    m_step_frame = frame_number;
    m_silent = silent;
    m_draw_random = MTRandom(seed() + static_cast<std::uint32_t>(frame_number));
    m_set->set_drag(m_motion.drag);
    float force[3] = {};
    if (const Gravity* gravity = setGravity()) gravity->force(force);
    m_set->set_force(0, force);
    births();
    if (this->abortRequested()) return false;
    Trace(TRACE_TRACE, "Alive = %d\n", m_set->live());
    m_set->owner = this;
    if (walksOneByOne)
        m_set->advance_all();
    else
        stepInPhases();
    return true;
}

template <class Info, class ParticleType, class MotionBlock, class LookBlock>
void WeatherEffect<Info, ParticleType, MotionBlock, LookBlock>::stepInPhases() {
    m_set->prune();
    auto* particles = m_set->template records<Particle>();
    const int count = m_set->live();
    beforeForces(particles, count);
    for_rows_float((count + BLOCK - 1) / BLOCK, [&](int first, int last) {
        for (int block = first; block <= last; ++block)
            applyForces(particles + block * BLOCK, std::min(BLOCK, count - block * BLOCK));
    });
    afterForces(particles, count);
    for (int i = 0; i < count; ++i) {
        if (!m_silent) show(particles[i]);
        endOfStep(particles[i]);
    }
    m_set->advance_together();
}

// Adds newborn particles to the set until there are that many, or that many tries were made for each. How many were
// born.
template <class Info, class ParticleType, class MotionBlock, class LookBlock>
int WeatherEffect<Info, ParticleType, MotionBlock, LookBlock>::bear(int count, int tries) {
    Particle newborn;
    int born = 0;
    for (int made = 0; born < count && made < tries * count; ++made) {
        if (!fillNewborn(newborn)) continue;
        m_set->add_particle(&newborn);
        ++born;
    }
    return born;
}

// Calls push(particle, x, y, grown) with the swirl's noise at the place of each particle and the share of the amplitude
// that it has at the particle's age.
template <class Info, class ParticleType, class MotionBlock, class LookBlock>
template <class Push>
void WeatherEffect<Info, ParticleType, MotionBlock, LookBlock>::swirlWith(Particle* particles, int count,
                                                                          Push push) const {
    const Swirl& swirl = m_motion.swirl;
    if (!swirl.turns()) return;
    float x[BLOCK], y[BLOCK];
    for (int i = 0; i < count; ++i) x[i] = particles[i].position[0], y[i] = particles[i].position[1];
    swirl.read(m_noise, m_frame, m_step_frame, x, y, count);
    for (int i = 0; i < count; ++i) push(particles[i], x[i], y[i], swirl.strength(particles[i].age));
}

}  // namespace weather
