// Measured on one core of an EPYC (Zen 4), 1920 x 1080 float RGBA (33 MB): touching fresh 4 KiB pages 16 ms, fresh
// 2 MiB pages 2.8 ms, clearing a block that is already there 1.2 ms.
#include "k7pi_baselib/image_blocks.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>

#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/platform.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool POOLED = false;
#else
constexpr bool POOLED = true;
#endif

constexpr std::size_t GRANULE = std::size_t(2) << 20;  // the size of a large page
constexpr std::size_t MOST_KEPT = std::size_t(512) << 20;

// At the start of every block, on the page in front of the pixels.
constexpr std::size_t MARK = 0x6b37696d616765;
struct Header {
    std::size_t mark;
    std::size_t capacity;
};

struct Kept {
    Header* block = nullptr;
    std::size_t capacity = 0;
};

std::mutex s_mutex;
std::array<Kept, 32> s_kept;  // oldest first
std::size_t s_count = 0, s_bytes = 0;

Header* remove_kept(std::size_t index) {
    Header* block = s_kept[index].block;
    s_bytes -= s_kept[index].capacity;
    std::move(s_kept.begin() + static_cast<std::ptrdiff_t>(index) + 1,
              s_kept.begin() + static_cast<std::ptrdiff_t>(s_count),
              s_kept.begin() + static_cast<std::ptrdiff_t>(index));
    --s_count;
    return block;
}

Header* find_kept(std::size_t capacity) {
    const std::lock_guard lock(s_mutex);
    for (std::size_t i = s_count; i-- > 0;)
        if (s_kept[i].capacity == capacity) return remove_kept(i);
    return nullptr;
}

}  // namespace

void* image_block_take(std::size_t bytes, bool cleared) {
    if (!POOLED) return nullptr;
    const std::size_t capacity = (bytes + GRANULE - 1) / GRANULE * GRANULE;
    if (Header* block = find_kept(capacity)) {
        if (cleared) std::memset(block, 0, bytes);
        *block = {MARK, capacity};
        return block;
    }
    auto* block = static_cast<Header*>(platform_map_pages(capacity, GRANULE));
    if (block) *block = {MARK, capacity};
    return block;
}

bool image_block_give(void* memory) {
    auto* block = static_cast<Header*>(memory);
    if (block->mark != MARK) return false;
    const std::size_t capacity = block->capacity;
    if (capacity <= MOST_KEPT / 2) {
        const std::lock_guard lock(s_mutex);
        while (s_count == s_kept.size() || (s_count > 0 && s_bytes + capacity > MOST_KEPT)) {
            const std::size_t oldest = s_kept[0].capacity;
            platform_unmap_pages(remove_kept(0), oldest);
        }
        s_kept[s_count++] = {block, capacity};
        s_bytes += capacity;
        return true;
    }
    platform_unmap_pages(block, capacity);
    return true;
}

void k7_image_blocks_release() {
    const std::lock_guard lock(s_mutex);
    while (s_count > 0) {
        const std::size_t capacity = s_kept[0].capacity;
        platform_unmap_pages(remove_kept(0), capacity);
    }
}
