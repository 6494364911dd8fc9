// A packed array of particles of a size that the effect chooses, and the integration that all particle effects share.
//
// A frame is one advance_all(): the dead go, and every live particle is handed to render_particle (the effect's forces
// and drawing) and then moved by advance_particle. Drawing comes before motion, so that a particle is first seen where
// it was born. The set knows no time but its steps; FrameClock reaches other frames.
//
// Memory that cannot be had shows as false or -1, and the particle is missing; nothing ends.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effects/engines/particles/ParticleBase.h"
#include "graphicslib/geometric_transform.h"
#include "imagelib/imagelib_resample.h"
#include "noiselib/mtrandom.h"

class ParticleSetBase : public GeometricTransform {
  public:
    static constexpr std::uint32_t SEED = 1234567;  // of every set

    explicit ParticleSetBase(std::uint32_t seed);
    ~ParticleSetBase() override;
    ParticleSetBase(const ParticleSetBase&) = delete;
    ParticleSetBase& operator=(const ParticleSetBase&) = delete;

    virtual void sort_by_depth();  // ascending z
    virtual bool is_dead(const ParticleBase& particle) const { return particle.life < particle.age; }
    virtual void render_particle(ParticleBase& particle) = 0;
    virtual void advance_particle(ParticleBase& particle);

    bool set_particle_size(std::int32_t bytes);
    // Adds a copy, brought into the set's space by the model transform, once and for all; the caller's record gets age
    // 0 and its id. True also for a particle that the birth mask keeps out.
    bool add_particle(ParticleBase* particle);
    int add_force(const float vector[3]);  // its index, or -1
    bool set_force(int index, const float vector[3]);
    bool set_drag(float value);  // not below 0

    void advance_all();
    void prune();  // removes the dead as advance_all does: the last particle takes the free place
    // What advance_all does to particles with the base's advance_particle, for sets that did all their rendering
    // before: on all row threads, with the same bits.
    void advance_together();
    ParticleBase* get_particles(int* count, bool prune_first);

    int live() const { return last_index + 1; }
    ParticleBase& at(int index) {
        return *reinterpret_cast<ParticleBase*>(particles + static_cast<std::size_t>(index) * stride());
    }
    // The array as records of the effect's own type, whose size is particle_size.
    template <class Particle>
    Particle* records() {
        return reinterpret_cast<Particle*>(particles);
    }

    // A copy of all live particles and the generator, for FrameClock. `restore` is false when there is no memory.
    std::size_t saved_bytes() const;
    void save(std::byte* to) const;
    bool restore(const std::byte* from);

    std::int32_t initial_capacity = 1024;
    std::byte* particles = nullptr;
    std::int32_t capacity = 0;
    std::int32_t particle_size = 0;  // bytes
    std::int32_t last_index = -1;
    float time_step = 1;
    MTRandom random;
    ImagelibKernel mask_kernel{KERNEL_TRIANGLE, EDGE_BLACK};
    float (*forces)[3] = nullptr;
    std::int32_t forces_capacity = 0;
    std::int32_t last_force = -1;
    float drag = 0;         // velocity lost a unit of step
    void* owner = nullptr;  // the effect, for its render_particle
    const K7Image* birth_mask =
        nullptr;  // particles are born where its first three channels sum up to 1; null: anywhere
    float mask_origin[3] = {};
    float mask_scale[6] = {1, 1, 1, 1, 1, 1};  // the first two bring positions to the mask's 0 to 1

  private:
    std::size_t stride() const { return static_cast<std::size_t>(particle_size); }
    bool reserve(std::int32_t count);
    void integrate(ParticleBase& particle, float dt, const float force[3]) const;
    void total_force(float sum[3]) const;
};
