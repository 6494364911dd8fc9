#include "effects/engines/particles/ParticleSetBase.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "imagelib/imagelib.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int BLOCK = 512;  // particles that a row thread takes at once

int compare_depth(const void* a, const void* b) {
    const float first = static_cast<const ParticleBase*>(a)->position[2];
    const float second = static_cast<const ParticleBase*>(b)->position[2];
    return first < second ? -1 : first > second ? 1 : 0;
}

}  // namespace

ParticleSetBase::ParticleSetBase(std::uint32_t seed) : random(seed) {}

ParticleSetBase::~ParticleSetBase() {
    if (particles) k7_free(particles);
    if (forces) k7_free(forces);
}

void ParticleSetBase::sort_by_depth() {
    if (particles && particle_size != 0 && last_index >= 0)
        std::qsort(particles, static_cast<std::size_t>(live()), stride(), compare_depth);
}

bool ParticleSetBase::set_particle_size(std::int32_t bytes) {
    if (bytes < 1) return false;
    particle_size = bytes;
    return true;
}

bool ParticleSetBase::reserve(std::int32_t count) {
    if (count <= capacity) return true;
    std::int64_t larger = capacity > 0 ? capacity : std::max(initial_capacity, 1);
    while (larger < count) larger *= 2;
    if (larger > std::numeric_limits<std::int32_t>::max()) return false;
    void* grown = k7_realloc(particles, static_cast<std::size_t>(larger) * stride(), __FILE__, __LINE__);
    if (!grown) return false;
    particles = static_cast<std::byte*>(grown);
    capacity = static_cast<std::int32_t>(larger);
    return true;
}

bool ParticleSetBase::add_particle(ParticleBase* particle) {
    if (!particle || particle_size == 0) return false;
    if (birth_mask) {
        float sample[3] = {};
        image_sample_unit(birth_mask, (particle->position[0] - mask_origin[0]) * mask_scale[0],
                          (particle->position[1] - mask_origin[1]) * mask_scale[1], sample, 3, &mask_kernel);
        if (sample[0] + sample[1] + sample[2] < 1) return true;
    }
    if (last_index == std::numeric_limits<std::int32_t>::max() - 1 || !reserve(last_index + 2)) return false;
    ++last_index;
    particle->age = 0;
    particle->id = last_index;
    ParticleBase& added = at(last_index);
    std::memcpy(static_cast<void*>(&added), static_cast<const void*>(particle), stride());
    if (model() == Matrix4::identity()) return true;
    float place[4];
    transform_homogeneous(model(), added.position, place);
    std::copy_n(place, 3, added.position);
    transform_direction(added.velocity, added.velocity);
    return true;
}

int ParticleSetBase::add_force(const float vector[3]) {
    const std::int32_t index = last_force + 1;
    if (index >= forces_capacity) {
        const std::int32_t larger = forces_capacity > 0 ? 2 * forces_capacity : 2;
        void* grown = k7_realloc(forces, static_cast<std::size_t>(larger) * sizeof *forces, __FILE__, __LINE__);
        if (!grown) return -1;
        forces = static_cast<float(*)[3]>(grown);
        forces_capacity = larger;
    }
    last_force = index;
    std::copy_n(vector, 3, forces[index]);
    return index;
}

bool ParticleSetBase::set_force(int index, const float vector[3]) {
    if (index < 0 || index > last_force) return false;
    std::copy_n(vector, 3, forces[index]);
    return true;
}

bool ParticleSetBase::set_drag(float value) {
    if (!(value >= 0)) return false;
    drag = value;
    return true;
}

// ---- Steps ----------------------------------------------------------------------------------------------------

void ParticleSetBase::advance_all() {
    for (std::int32_t i = 0; i <= last_index; ++i) {
        while (i <= last_index && is_dead(at(i))) {
            if (i < last_index) std::memcpy(static_cast<void*>(&at(i)), static_cast<void*>(&at(last_index)), stride());
            --last_index;
        }
        if (last_index < i) break;
        render_particle(at(i));
        advance_particle(at(i));
    }
}

void ParticleSetBase::prune() {
    for (std::int32_t i = 0; i <= last_index; ++i) {
        while (i <= last_index && is_dead(at(i))) {
            if (i < last_index) std::memcpy(static_cast<void*>(&at(i)), static_cast<void*>(&at(last_index)), stride());
            --last_index;
        }
    }
}

ParticleBase* ParticleSetBase::get_particles(int* count, bool prune_first) {
    if (prune_first) prune();
    if (count) *count = std::max(live(), 0);
    return reinterpret_cast<ParticleBase*>(particles);
}

void ParticleSetBase::total_force(float sum[3]) const {
    std::fill_n(sum, 3, 0.0f);
    for (std::int32_t f = 0; f <= last_force; ++f)
        for (int i = 0; i < 3; ++i) sum[i] += forces[f][i];
}

// The velocity is added whole whatever the step's length: the first step of a particle is short in age and in what
// forces do to it, not in way.
void ParticleSetBase::integrate(ParticleBase& particle, float dt, const float force[3]) const {
    particle.age += dt;
    const float loss = drag * dt;
    for (int i = 0; i < 3; ++i) {
        float& v = particle.velocity[i];
        particle.position[i] += v;
        v -= v * loss;
        v += force[i] * dt;
    }
}

// The births of one frame take a random part of it as their first step, so that they do not arrive as pulses.
void ParticleSetBase::advance_particle(ParticleBase& particle) {
    const float dt = particle.age == 0 ? random.next_float() * time_step : time_step;
    float force[3];
    total_force(force);
    integrate(particle, dt, force);
}

void ParticleSetBase::advance_together() {
    const int count = live();
    if (count <= 0) return;
    float force[3];
    total_force(force);
    const std::unique_ptr<bool[]> newborn(new (std::nothrow) bool[static_cast<std::size_t>(count)]);
    if (!newborn) {
        for (int i = 0; i < count; ++i) advance_particle(at(i));
        return;
    }
    for (int i = 0; i < count; ++i) {
        newborn[static_cast<std::size_t>(i)] = at(i).age == 0;
        if (newborn[static_cast<std::size_t>(i)]) integrate(at(i), random.next_float() * time_step, force);
    }
    for_rows_float((count + BLOCK - 1) / BLOCK, [&](int first, int last) {
        for (int i = first * BLOCK; i < std::min((last + 1) * BLOCK, count); ++i)
            if (!newborn[static_cast<std::size_t>(i)]) integrate(at(i), time_step, force);
    });
}

// ---- Copies ---------------------------------------------------------------------------------------------------

namespace {

struct SavedHead {
    MTRandom random;
    std::int32_t live, particle_size;
};

}  // namespace

std::size_t ParticleSetBase::saved_bytes() const {
    return sizeof(SavedHead) + static_cast<std::size_t>(live()) * stride();
}

void ParticleSetBase::save(std::byte* to) const {
    const SavedHead head{random, live(), particle_size};
    std::memcpy(to, static_cast<const void*>(&head), sizeof head);
    if (live() > 0) std::memcpy(to + sizeof head, particles, static_cast<std::size_t>(live()) * stride());
}

bool ParticleSetBase::restore(const std::byte* from) {
    SavedHead head{MTRandom(0), 0, 0};
    std::memcpy(static_cast<void*>(&head), from, sizeof head);
    particle_size = head.particle_size;
    if (!reserve(head.live)) return false;
    last_index = head.live - 1;
    random = head.random;
    if (head.live > 0) std::memcpy(particles, from + sizeof head, static_cast<std::size_t>(head.live) * stride());
    return true;
}
