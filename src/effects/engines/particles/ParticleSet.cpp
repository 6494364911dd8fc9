#include "effects/engines/particles/ParticleSet.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>

#include "Library2/Made.h"
#include "imagelib/imagelib.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr int BLOCK = 512;  // particles that a row thread takes at once

// Floats in their order as whole numbers, NaN at the ends; -0 and 0 are the same.
std::uint32_t ordered(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value + 0.0f);
    return (bits >> 31) != 0 ? ~bits : bits | 0x80000000U;
}

}  // namespace

ParticleSetBase::ParticleSetBase(std::size_t bytes, std::uint32_t seed) : random(seed), m_particle_bytes(bytes) {}

ParticleSetBase::~ParticleSetBase() {
    if (m_particles) k7_free(m_particles);
    if (forces) k7_free(forces);
}

bool ParticleSetBase::reserve(std::int32_t count) {
    if (count <= capacity) return true;
    std::int64_t larger = capacity > 0 ? capacity : std::max(initial_capacity, 1);
    while (larger < count) larger *= 2;
    if (larger > std::numeric_limits<std::int32_t>::max()) return false;
    void* grown = k7_realloc(m_particles, static_cast<std::size_t>(larger) * m_particle_bytes, __FILE__, __LINE__);
    if (!grown) return false;
    m_particles = static_cast<std::byte*>(grown);
    capacity = static_cast<std::int32_t>(larger);
    return true;
}

bool ParticleSetBase::add(ParticleBase* particle) {
    if (!particle) return false;
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
    std::memcpy(record(last_index), static_cast<const void*>(particle), m_particle_bytes);
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

void ParticleSetBase::total_force(float sum[3]) const {
    std::fill_n(sum, 3, 0.0f);
    for (std::int32_t f = 0; f <= last_force; ++f)
        for (int i = 0; i < 3; ++i) sum[i] += forces[f][i];
}

// The whole velocity is added whatever the step's length: the first step of a particle is short in age and in what
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

// Particles born in one frame take a random part of it as their first step, so that they do not come in pulses.
void ParticleSetBase::advance_particle(ParticleBase& particle) {
    const float dt = particle.age == 0 ? random.next_float() * time_step : time_step;
    float force[3];
    total_force(force);
    integrate(particle, dt, force);
}

void ParticleSetBase::move_all() {
    const int count = live();
    if (count <= 0) return;
    float force[3];
    total_force(force);
    const auto newborn = std::make_unique_for_overwrite<bool[]>(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        newborn[static_cast<std::size_t>(i)] = at(i).age == 0;
        if (newborn[static_cast<std::size_t>(i)]) integrate(at(i), random.next_float() * time_step, force);
    }
    for_rows_float((count + BLOCK - 1) / BLOCK, [&](int first, int last) {
        for (int i = first * BLOCK; i < std::min((last + 1) * BLOCK, count); ++i)
            if (!newborn[static_cast<std::size_t>(i)]) integrate(at(i), time_step, force);
    });
}

// ---- Depth ----------------------------------------------------------------------------------------------------

void ParticleSetBase::depth_order(std::vector<std::int32_t>& order) const {
    // Birth does not change, so that particles at one depth keep their order when others die.
    using Key = std::pair<std::uint64_t, std::int32_t>;
    std::vector<Key> keys(static_cast<std::size_t>(live()));
    for (std::int32_t i = 0; i < live(); ++i) {
        const ParticleBase& particle = at(i);
        keys[static_cast<std::size_t>(i)] = {
            std::uint64_t{ordered(particle.position[2])} << 32 | std::uint32_t{~ordered(particle.age)}, i};
    }
    std::sort(keys.begin(), keys.end());
    order.resize(keys.size());
    std::transform(keys.begin(), keys.end(), order.begin(), [](const Key& key) { return key.second; });
}

void ParticleSetBase::sort_by_depth() {
    std::vector<std::int32_t> order;
    if (live() <= 0) return;
    depth_order(order);
    const std::size_t bytes = static_cast<std::size_t>(live()) * m_particle_bytes;
    const auto sorted = std::make_unique_for_overwrite<std::byte[]>(bytes);
    for (std::size_t i = 0; i < order.size(); ++i)
        std::memcpy(sorted.get() + i * m_particle_bytes, record(order[i]), m_particle_bytes);
    std::memcpy(m_particles, sorted.get(), bytes);
}

// ---- Copies ---------------------------------------------------------------------------------------------------

void ParticleSetBase::walkState(StateWalk& walk) {
    walk.value(random);
    std::int32_t count = live();
    walk.value(count);
    if (walk.isRestoring()) {
        made(reserve(count));
        last_index = count - 1;
    }
    if (count > 0) walk.bytes(m_particles, static_cast<std::size_t>(count) * m_particle_bytes);
}
