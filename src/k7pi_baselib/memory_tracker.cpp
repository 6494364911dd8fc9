#include "k7pi_baselib/memory_tracker.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/memory_log.h"

std::uint32_t memory_hash(std::uintptr_t address) {
    std::uint32_t h = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        h += static_cast<std::uint32_t>(address >> shift) & 0xff;
        h += h << 10;
        h ^= h >> 6;
    }
    h += h << 3;
    h ^= h >> 11;
    h += h << 15;
    return h;
}

bool TrackerTable::insert(std::uintptr_t address, std::size_t size, std::uint32_t lead, const char* file, int line) {
    TrackedBlock& bucket = m_buckets[memory_hash(address) % BUCKETS];
    if (bucket.address) {
        ++collisions;
        auto* older = static_cast<TrackedBlock*>(std::malloc(sizeof(TrackedBlock)));
        if (!older) {
            memory_log(TRACE_ERROR, "K7-HM-DEBUG: INTERNAL ERROR: Cannot allocate space for info node.\n");
            internal_error = 1;
            return false;
        }
        *older = bucket;
        bucket.next = older;
    }
    bucket.address = address;
    bucket.size = size;
    bucket.lead = lead;
    bucket.line = line;
    const char* path = file ? file : "";
    const std::size_t length = std::strlen(path), kept = std::min(length, TrackedBlock::LONGEST_FILE);
    std::memcpy(bucket.file, path + (length - kept), kept + 1);

    ++alloc_calls;
    current_size += size;
    peak_size = std::max(peak_size, current_size);
    return true;
}

TrackedBlock* TrackerTable::find(std::uintptr_t address) {
    if (!address) return nullptr;
    TrackedBlock* block = &m_buckets[memory_hash(address) % BUCKETS];
    while (block && block->address != address) block = block->next;
    return block;
}

bool TrackerTable::remove(std::uintptr_t address) {
    TrackedBlock* const bucket = &m_buckets[memory_hash(address) % BUCKETS];
    TrackedBlock* before = nullptr;
    TrackedBlock* block = address ? bucket : nullptr;
    while (block && block->address != address) {
        before = block;
        block = block->next;
    }
    if (!block) {
        char text[128];
        std::snprintf(text, sizeof text, "K7-HM-DEBUG: Attempt to free %p - Not allocated in %s!\n",
                      reinterpret_cast<void*>(address), name);
        memory_log(TRACE_ERROR, text);
        return false;
    }
    ++free_calls;
    current_size -= block->size;

    TrackedBlock* node = block;
    if (before) {
        before->next = block->next;
    } else {
        node = bucket->next;
        *bucket = node ? *node : TrackedBlock{};
    }
    std::free(node);
    return true;
}
