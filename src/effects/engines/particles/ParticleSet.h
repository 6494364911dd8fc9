// A packed array of an effect's particles, and the integration that all particle effects share.
//
// A frame is one advance_all(render): the dead go, and every live particle is handed to `render` (the effect's forces
// and drawing) and then moved. Drawing comes before motion, so that a particle is first seen where it was born. Effects
// that do the same in phases over all particles call prune() and move_all(). The set knows no time but its steps;
// FrameClock reaches other frames.
//
// The array grows by doubling, never shrinks, and has no gaps: the last particle takes the place of one that died.
// Memory that cannot be had shows as false or -1 where something is added, and as an exception elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include "effects/engines/particles/ParticleBase.h"
#include "effects/engines/replay/StateWalk.h"
#include "imagelib/imagelib_resample.h"
#include "noiselib/mtrandom.h"

// What does not depend on the effect's record.
class ParticleSetBase {
  public:
    static constexpr std::uint32_t SEED = 1234567;  // of every set

    ParticleSetBase(const ParticleSetBase&) = delete;
    ParticleSetBase& operator=(const ParticleSetBase&) = delete;

    int add_force(const float vector[3]);  // its index, or -1
    bool set_force(int index, const float vector[3]);
    bool set_drag(float value);  // not below 0

    static bool is_dead(const ParticleBase& particle) { return particle.life < particle.age; }
    void advance_particle(ParticleBase& particle);  // ages and moves it by one step
    void move_all();                                // all of them, on all row threads, with the same bits

    void sort_by_depth();  // ascending z, which changes the state
    // The same order as indices of particles, farthest (lowest z) first, of equal ones the oldest, then by index; for
    // drawing, which must leave the state alone.
    void depth_order(std::vector<std::int32_t>& order) const;

    int live() const { return last_index + 1; }
    void walkState(StateWalk& walk);  // the live particles and the generator

    std::int32_t initial_capacity = 1024;
    std::int32_t capacity = 0;
    std::int32_t last_index = -1;
    float time_step = 1;
    MTRandom random;
    ImagelibKernel mask_kernel{KERNEL_TRIANGLE, EDGE_BLACK};
    float (*forces)[3] = nullptr;
    std::int32_t forces_capacity = 0;
    std::int32_t last_force = -1;
    float drag = 0;  // velocity lost a unit of step
    // Particles are born where the mask's first three channels sum up to 1; null: anywhere.
    const K7Image* birth_mask = nullptr;
    float mask_origin[3] = {};
    float mask_scale[6] = {1, 1, 1, 1, 1, 1};  // the first two bring positions to the mask's 0 to 1

  protected:
    ParticleSetBase(std::size_t particle_bytes, std::uint32_t seed);
    ~ParticleSetBase();

    bool add(ParticleBase* particle);
    ParticleBase& at(int index) { return *reinterpret_cast<ParticleBase*>(record(index)); }
    const ParticleBase& at(int index) const { return *reinterpret_cast<const ParticleBase*>(record(index)); }
    // The last particle takes the place of this one.
    void remove(std::int32_t index) {
        if (index < last_index) std::memcpy(record(index), record(last_index), m_particle_bytes);
        --last_index;
    }

    std::byte* m_particles = nullptr;
    const std::size_t m_particle_bytes;

  private:
    std::byte* record(int index) const { return m_particles + static_cast<std::size_t>(index) * m_particle_bytes; }
    bool reserve(std::int32_t count);
    void integrate(ParticleBase& particle, float dt, const float force[3]) const;
    void total_force(float sum[3]) const;
};

template <class Particle>
class ParticleSet : public ParticleSetBase {
    static_assert(std::is_base_of_v<ParticleBase, Particle> && std::is_trivially_copyable_v<Particle> &&
                      !std::is_polymorphic_v<Particle>,
                  "particles are copied byte by byte");

  public:
    explicit ParticleSet(std::uint32_t seed = SEED) : ParticleSetBase(sizeof(Particle), seed) {}

    // Adds a copy; the caller's record gets age 0 and its id. True also for a particle that the birth mask keeps out.
    bool add_particle(Particle* particle) { return add(particle); }

    Particle& operator[](int index) { return static_cast<Particle&>(at(index)); }
    Particle* records() { return reinterpret_cast<Particle*>(m_particles); }
    Particle* get_particles(int* count, bool prune_first) {
        if (prune_first) prune();
        if (count) *count = live();
        return records();
    }

    // Removes the dead in the order of the array, after died(particle) was called for each.
    template <class Died>
    void prune(Died died) {
        for (std::int32_t i = 0; i <= last_index; ++i)
            while (i <= last_index && is_dead(at(i))) {
                died((*this)[i]);
                remove(i);
            }
    }
    void prune() {
        prune([](const Particle&) {});
    }

    // One step, particle by particle.
    template <class Render>
    void advance_all(Render render) {
        for (std::int32_t i = 0; i <= last_index; ++i) {
            while (i <= last_index && is_dead(at(i))) remove(i);
            if (last_index < i) break;
            render((*this)[i]);
            advance_particle(at(i));
        }
    }
};
