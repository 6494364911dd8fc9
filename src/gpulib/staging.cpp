#include "gpulib/staging.h"

#include <mutex>
#include <utility>

#include "gpulib/kept.h"

namespace {

// Sizes are multiples of it, so that similar pictures share a block.
constexpr std::size_t GRAIN = std::size_t{1} << 20;

PinnedBlock take_out(KeptOfDevice& kept, int place) {
    const PinnedBlock block = kept.pinned[place];
    for (int i = place + 1; i < kept.pinned_count; ++i) kept.pinned[i - 1] = kept.pinned[i];
    kept.pinned[--kept.pinned_count] = {};
    return block;
}

int smallest(const KeptOfDevice& kept) {
    int found = 0;
    for (int i = 1; i < kept.pinned_count; ++i)
        if (kept.pinned[i].bytes < kept.pinned[found].bytes) found = i;
    return found;
}

// A kept block to use; or none, for a new one, and where all places are taken one to be freed. The kept ones grow to
// the largest size that is in use.
PinnedBlock take_kept(int device, std::size_t bytes, PinnedBlock& to_free) {
    if (device < 0) return {};
    const std::lock_guard lock(gpu_kept_lock());
    KeptOfDevice& kept = gpu_kept(device);
    bool all_fit = true;
    for (int i = 0; i < kept.pinned_count; ++i) {
        const bool fits = kept.pinned[i].bytes >= bytes;
        if (fits && kept.pinned[i].is_idle()) return take_out(kept, i);
        all_fit = all_fit && fits;
    }
    if (kept.pinned_count < KeptOfDevice::PINNED) return {};
    if (all_fit) return take_out(kept, 0);
    to_free = take_out(kept, smallest(kept));
    return {};
}

// Answers the block that has no place.
PinnedBlock keep(int device, PinnedBlock block) {
    if (device < 0) return block;
    const std::lock_guard lock(gpu_kept_lock());
    KeptOfDevice& kept = gpu_kept(device);
    if (kept.pinned_count == KeptOfDevice::PINNED) {
        const int place = smallest(kept);
        if (kept.pinned[place].bytes < block.bytes) std::swap(block, kept.pinned[place]);
        return block;
    }
    kept.pinned[kept.pinned_count++] = block;
    return {};
}

}  // namespace

// ---- A block --------------------------------------------------------------------------------------------------

GpuStatus PinnedBlock::allocate(std::size_t size) {
    const GpuRuntime& runtime = gpu_runtime();
    const std::size_t rounded = (size + GRAIN - 1) / GRAIN * GRAIN;
    void* found = nullptr;
    if (const GpuStatus status =
            gpu_with_room([&] { return runtime.host_allocate(&found, rounded); }, GPU_OUT_OF_MEMORY))
        return status;
    if (const GpuStatus status = runtime.event_create(&event)) {
        runtime.host_free(found);
        return status;
    }
    memory = static_cast<unsigned char*>(found);
    bytes = rounded;
    return GPU_SUCCESS;
}

void PinnedBlock::free() {
    if (!memory) return;
    const GpuRuntime& runtime = gpu_runtime();
    if (has_copies && runtime.event_synchronize(event) != GPU_SUCCESS) runtime.device_synchronize();
    runtime.event_destroy(event);
    runtime.host_free(memory);
    *this = {};
}

bool PinnedBlock::is_idle() const { return !has_copies || gpu_runtime().event_query(event) == GPU_SUCCESS; }

// ---- The block of a picture -----------------------------------------------------------------------------------

StagingBlock::StagingBlock(std::size_t bytes, GpuStream stream) : m_stream(stream), m_device(gpu_keeping_device()) {
    PinnedBlock to_free;
    m_block = take_kept(m_device, bytes, to_free);
    to_free.free();
    if (!m_block.memory) {
        m_status = m_block.allocate(bytes);
        return;
    }
    m_status = m_block.has_copies ? gpu_runtime().event_synchronize(m_block.event) : GPU_SUCCESS;
    if (m_status == GPU_SUCCESS)
        m_block.has_copies = false;
    else
        m_block.free();
}

StagingBlock::~StagingBlock() {
    if (!m_block.memory) return;
    if (m_block.has_copies && gpu_runtime().event_record(m_block.event, m_stream) != GPU_SUCCESS) {
        // Without an event nobody could tell when the block may be used again.
        if (gpu_runtime().stream_synchronize(m_stream) != GPU_SUCCESS) gpu_runtime().device_synchronize();
        m_block.has_copies = false;
        m_block.free();
        return;
    }
    keep(m_device, m_block).free();
}
