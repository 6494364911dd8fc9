// A clocked effect whose simulation is a set of particles: Snow and its relatives, and all others that spawn, move and
// draw them.
//
// A step goes in phases over all particles, in the order of the array:
//   births()          spawns this frame's particles; then died() is called for those whose life has ended
//   beforeForces()    forces that draw random numbers
//   applyForces()     on row threads, a block of particles each
//   beforeLooking()   where neighbourReach() is above 0, and
//   lookAround()      on row threads: forces of neighbours
//   afterForces()     what needs the result, and children of living particles
//   show()            collects drawing; left out of silent steps
//   move()            on row threads: motion that the set does not know
//   the set's motion  on row threads
// A phase on threads changes nothing but its own particles and draws no random numbers, so that the bits are those of
// one thread. Children are queued by spawn() and join the set in the order of the calls: those of the dead at once, so
// that no frame lacks them, the others after the motion, so that they are first drawn where they were spawned.
//
// An effect declares its Info, a particle of FadingParticle, a Motion record with everything that steers steps (plain,
// of 4-byte fields: its bytes are compared) and a Look record with what only drawing reads.
#pragma once

#include <algorithm>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "effects/engines/particles/Births.h"
#include "effects/engines/particles/FadingParticle.h"
#include "effects/engines/particles/Forces.h"
#include "effects/engines/particles/Mattes.h"
#include "effects/engines/particles/NeighbourGrid.h"
#include "effects/engines/particles/ParticleSet.h"
#include "effects/engines/replay/ClockedEffect.h"
#include "effects/engines/sprites/Splats.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace particles {

inline constexpr int BLOCK = Swirl::ABREAST;  // particles that a row thread takes at once

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
class ParticleEffect : public ClockedEffect<Info> {
  public:
    using Particle = ParticleType;
    using Motion = MotionRecord;
    using Look = LookRecord;
    using Set = ParticleSet<Particle>;
    static_assert(std::is_base_of_v<FadingParticle, Particle>);
    static_assert(alignof(Motion) == 4 && std::is_trivially_copyable_v<Motion>, "fields of 4 bytes leave no gaps");

    // All that happens to one particle before it moves; neighbours and children aside.
    void renderParticle(Particle& particle) {
        beforeForces(&particle, 1);
        applyForces(&particle, 1);
        afterForces(&particle, 1);
        if (!this->silent()) show(particle);
        endOfStep(particle);
        move(&particle, 1);
    }
    // Takes the step particle by particle instead of in phases: the slow reference for tests.
    bool walksOneByOne = false;
    int liveParticles() const { return m_set ? m_set->live() : 0; }

  protected:
    // Neighbours of a particle, as all of them were after applyForces. `grid` gives their indices.
    struct Neighbours {
        const Particle* particles;
        const NeighbourGrid& grid;
    };

    // ---- What an effect gives
    virtual void readBlocks(Motion& motion, Look& look) = 0;  // from the controls
    virtual void prepareSet(Set& set) { set.set_drag(0); }    // drag and force 0, before each step
    virtual void births() = 0;                                // spawns this frame's particles, mostly by emit()
    virtual bool fillNewborn(Particle& particle) = 0;         // false: not born after all
    virtual void died(const Particle&) {}
    virtual void beforeForces(Particle*, int /*count*/) {}
    virtual void applyForces(Particle*, int /*count*/) const {}          // count at most BLOCK
    virtual float neighbourReach() const { return 0; }                   // pixels; 0: particles don't see each other
    virtual FrameShape neighbourFrame() const { return this->frame(); }  // where positions are not pixels: what is
    virtual void beforeLooking(const Particle*, int /*count*/, NeighbourGrid&) {}
    virtual void lookAround(Particle*, int /*first*/, int /*count*/, const Neighbours&) const {}  // as applyForces
    virtual void afterForces(Particle*, int /*count*/) {}
    virtual bool showsByDepth() const { return false; }  // farthest first, instead of in the array's order
    virtual void show(Particle& particle) = 0;
    virtual void move(Particle*, int /*count*/) const {}  // as applyForces
    virtual void paint(K7Image& result) { m_splats.draw(&result); }

    // ---- What it does with it
    static constexpr int TRIES = 10;  // for a place that a matte allows
    int emit(int count, int tries = TRIES);
    // Queues a child. Not from phases on threads, and not from show(), which silent steps leave out.
    void spawn(const Particle& child);
    // Calls push(particle, x, y, grown) with the swirl's noise at the position of each particle and the part of the
    // amplitude that it has at the particle's age. count at most BLOCK.
    template <class Push>
    void swirlWith(const Swirl& swirl, Particle* particles, int count, Push push) const;

    // ---- What it finds
    const Motion& motion() const { return m_motion; }
    const Look& look() const { return m_look; }
    Set& set() { return *m_set; }
    const SolidNoise& noise() const { return m_noise; }
    Splats& splats() { return m_splats; }

  private:
    std::uint64_t readControls() final;
    void begin() final;
    bool advance() final;
    void state(StateWalk& walk) final;
    void finish(K7Image& result) final {
        const StageTimer timer("Particles drawn");
        paint(result);
    }

    void walkOneByOne();
    void stepInPhases();
    void lookAroundAll();
    void showAll();
    void addSpawned();
    template <class Work>
    void onBlocks(Work work);
    void seedNoise(std::uint32_t seed);
    static void endOfStep(Particle& particle) { std::copy_n(particle.position, 3, particle.previous_position); }

    Motion m_motion{};
    Look m_look{};
    std::unique_ptr<Set> m_set;
    SolidNoise m_noise{ClockedEffect<Info>::SEED};
    std::uint32_t m_noise_seed = ClockedEffect<Info>::SEED;
    std::vector<Particle> m_spawned;  // queue of children; empty between steps
    std::vector<Particle> m_as_seen;  // copy of all particles that neighbours look at
    NeighbourGrid m_neighbours;
    std::vector<std::int32_t> m_depth_order;
    Splats m_splats;
};

// ---- Parameters and state -------------------------------------------------------------------------------------

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
std::uint64_t ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::readControls() {
    m_motion = Motion{};
    m_look = Look{};
    readBlocks(m_motion, m_look);
    return fingerprint(&m_motion, sizeof m_motion);
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::begin() {
    seedNoise(this->seed());
    auto set = std::make_unique<Set>();
    constexpr float NONE[3] = {};
    made(set->add_force(NONE) == 0);  // for prepareSet
    m_set = std::move(set);
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::state(StateWalk& walk) {
    if (!m_set) begin();
    std::uint32_t noise_seed = m_noise_seed;
    walk.value(noise_seed);
    seedNoise(noise_seed);
    m_set->walkState(walk);
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::seedNoise(std::uint32_t seed) {
    if (m_noise_seed != seed) m_noise = SolidNoise(seed);
    m_noise_seed = seed;
}

// ---- A step ---------------------------------------------------------------------------------------------------

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
bool ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::advance() {
    if (!this->silent()) {
        const FrameShape& frame = this->frame();
        m_splats.begin(static_cast<int>(frame.width), static_cast<int>(frame.height));
    }
    m_spawned.clear();  // of a step for which there was no memory
    prepareSet(*m_set);
    births();
    if (this->abortRequested()) return false;
    Trace(TRACE_TRACE, "Alive = %d\n", m_set->live());
    m_set->prune([this](const Particle& particle) { died(particle); });
    addSpawned();
    if (walksOneByOne)
        walkOneByOne();
    else
        stepInPhases();
    addSpawned();
    return true;
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::walkOneByOne() {
    m_set->advance_all([this](Particle& particle) { renderParticle(particle); });
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::stepInPhases() {
    Particle* particles = m_set->records();
    const int count = m_set->live();
    beforeForces(particles, count);
    onBlocks([&](int first, int size) { applyForces(particles + first, size); });
    if (neighbourReach() > 0) lookAroundAll();
    afterForces(particles, count);
    if (!this->silent()) showAll();
    onBlocks([&](int first, int size) {
        std::for_each_n(particles + first, size, endOfStep);
        move(particles + first, size);
    });
    m_set->move_all();
}

// Calls work(first particle, how many) for blocks of particles, on all row threads.
template <class Info, class ParticleType, class MotionRecord, class LookRecord>
template <class Work>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::onBlocks(Work work) {
    const int count = m_set->live();
    for_rows_float((count + BLOCK - 1) / BLOCK, [&](int first, int last) {
        for (int at = first * BLOCK; at < std::min((last + 1) * BLOCK, count); at += BLOCK)
            work(at, std::min(BLOCK, count - at));
    });
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::lookAroundAll() {
    Particle* particles = m_set->records();
    const int count = m_set->live();
    m_as_seen.assign(particles, particles + count);
    m_neighbours.build(m_as_seen.data(), count, neighbourReach(), neighbourFrame());
    beforeLooking(m_as_seen.data(), count, m_neighbours);
    const Neighbours around{m_as_seen.data(), m_neighbours};
    onBlocks([&](int first, int size) { lookAround(particles + first, first, size, around); });
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::showAll() {
    if (showsByDepth()) {
        m_set->depth_order(m_depth_order);
        for (const std::int32_t index : m_depth_order) show((*m_set)[index]);
    } else {
        for (int i = 0; i < m_set->live(); ++i) show((*m_set)[i]);
    }
}

// ---- Births ---------------------------------------------------------------------------------------------------

// Adds newborn particles to the set until there are that many, or that many tries were made for each. How many were
// born.
template <class Info, class ParticleType, class MotionRecord, class LookRecord>
int ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::emit(int count, int tries) {
    Particle newborn;
    int born = 0;
    for (int tried = 0; born < count && tried < tries * count; ++tried) {
        if (!fillNewborn(newborn)) continue;
        made(m_set->add_particle(&newborn));
        ++born;
    }
    return born;
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::spawn(const Particle& child) {
    m_spawned.push_back(child);
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::addSpawned() {
    for (Particle& child : m_spawned) made(m_set->add_particle(&child));
    m_spawned.clear();
}

template <class Info, class ParticleType, class MotionRecord, class LookRecord>
template <class Push>
void ParticleEffect<Info, ParticleType, MotionRecord, LookRecord>::swirlWith(const Swirl& swirl, Particle* particles,
                                                                             int count, Push push) const {
    if (!swirl.turns()) return;
    float x[BLOCK], y[BLOCK];
    for (int i = 0; i < count; ++i) x[i] = particles[i].position[0], y[i] = particles[i].position[1];
    swirl.read(m_noise, this->frame(), this->stepFrame(), x, y, count);
    for (int i = 0; i < count; ++i) push(particles[i], x[i], y[i], swirl.strength(particles[i].age));
}

}  // namespace particles
