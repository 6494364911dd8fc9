// Private: makes a random vector field, from its random numbers to its values in space.
#pragma once

#include <cstdint>

#include "k7pi_baselib/k7pi_baselib.h"
#include "noiselib/krvf.h"

struct KrvfSettings {
    int32_t seed;
    int n;
    double k_min, energy;
};

// Null when memory fails; not cleared.
template <class T>
KrvfBlock<T> new_krvf_block(std::size_t count) {
    return KrvfBlock<T>(static_cast<T*>(k7_aligned_malloc_uncleared(count * sizeof(T), 64, true)));
}

// Writes the points of the field that KRVF keeps. False when memory fails.
bool synthesise_field(const KrvfSettings& settings, KrvfVector* field, uint32_t& degenerate_count);
