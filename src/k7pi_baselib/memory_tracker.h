// The table of live blocks behind the memory manager. Private to the folder.
#pragma once

#include <cstddef>
#include <cstdint>

// Bob Jenkins's one-at-a-time hash over the low four bytes of an address, lowest byte first.
std::uint32_t memory_hash(std::uintptr_t address);

struct TrackedBlock {
    static constexpr std::size_t LONGEST_FILE = 47;  // characters kept of a source path: its tail

    std::uintptr_t address;  // 0: nothing here. A number, since it is mostly used after the block is freed.
    std::size_t size;
    TrackedBlock* next;  // overflow chain of the bucket
    std::uint32_t lead;  // bytes from the start of the heap's block to `address`: not 0 for aligned blocks only
    int line;
    char file[LONGEST_FILE + 1];
};

// A hash table in which the newest block of a bucket always stands in the bucket itself, so that tracking takes
// nothing from the heap unless buckets collide. All-zero is a valid, empty table. The caller locks.
class TrackerTable {
  public:
    static constexpr std::size_t BUCKETS = 16384;

    explicit constexpr TrackerTable(const char* table_name) : name(table_name) {}
    TrackerTable(const TrackerTable&) = delete;
    TrackerTable& operator=(const TrackerTable&) = delete;

    bool insert(std::uintptr_t address, std::size_t size, std::uint32_t lead, const char* file, int line);
    TrackedBlock* find(std::uintptr_t address);
    bool remove(std::uintptr_t address);

    template <class Visit>
    void each(Visit visit) const {
        for (const TrackedBlock& bucket : m_buckets)
            for (const TrackedBlock* block = &bucket; block && block->address; block = block->next) visit(*block);
    }

    const char* const name;
    std::size_t collisions = 0, alloc_calls = 0, free_calls = 0;
    std::size_t current_size = 0, peak_size = 0;  // bytes
    int internal_error = 0;
    double elapsed = 0;  // seconds spent inside the allocator

  private:
    TrackedBlock m_buckets[BUCKETS] = {};
};
