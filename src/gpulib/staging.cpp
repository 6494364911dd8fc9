#include "gpulib/staging.h"

#include <mutex>
#include <utility>

#include "gpulib/gpulib_image.h"
#include "k7pi_baselib/process.h"

namespace {

// Two, so that one picture can be filled in while another is on its way.
constexpr int KEPT = 2;
constexpr std::size_t GRAIN = std::size_t{1}
                              << 20;  // sizes are multiples of it, so that similar pictures share a block

// Plain storage without a destructor: nothing is to be run when the library is unloaded.
std::mutex s_mutex;        // guards what follows
PinnedBlock s_kept[KEPT];  // the one given back first comes first; unused places are at the end
int s_count = 0;
int s_process = 0;  // that the blocks belong to

// Blocks that a forked child finds are its parent's.
void forget_those_of_a_parent() {
    if (s_process != process_id()) s_count = 0;
    s_process = process_id();
}

PinnedBlock take_out(int place) {
    const PinnedBlock block = s_kept[place];
    for (int i = place + 1; i < s_count; ++i) s_kept[i - 1] = s_kept[i];
    s_kept[--s_count] = {};
    return block;
}

int smallest() {
    int found = 0;
    for (int i = 1; i < s_count; ++i)
        if (s_kept[i].bytes < s_kept[found].bytes) found = i;
    return found;
}

// A kept block to use; or none, for a new one, and where all places are taken one to be freed. The kept ones grow to
// the largest size that is in use.
PinnedBlock take_kept(std::size_t bytes, PinnedBlock& to_free) {
    const std::lock_guard lock(s_mutex);
    forget_those_of_a_parent();
    bool all_fit = true;
    for (int i = 0; i < s_count; ++i) {
        const bool fits = s_kept[i].bytes >= bytes;
        if (fits && s_kept[i].is_idle()) return take_out(i);
        all_fit = all_fit && fits;
    }
    if (s_count < KEPT) return {};
    if (all_fit) return take_out(0);
    to_free = take_out(smallest());
    return {};
}

// Answers the block that has no place.
PinnedBlock keep(PinnedBlock block) {
    const std::lock_guard lock(s_mutex);
    forget_those_of_a_parent();
    if (s_count == KEPT) {
        const int place = smallest();
        if (s_kept[place].bytes >= block.bytes) return block;
        std::swap(block, s_kept[place]);
        return block;
    }
    s_kept[s_count++] = block;
    return {};
}

}  // namespace

// ---- A block --------------------------------------------------------------------------------------------------

GpuStatus PinnedBlock::allocate(std::size_t size) {
    const GpuRuntime& runtime = gpu_runtime();
    const std::size_t rounded = (size + GRAIN - 1) / GRAIN * GRAIN;
    void* found = nullptr;
    if (const GpuStatus status = runtime.host_allocate(&found, rounded)) return status;
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

StagingBlock::StagingBlock(std::size_t bytes, GpuStream stream) : m_stream(stream) {
    PinnedBlock to_free;
    m_block = take_kept(bytes, to_free);
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
    keep(m_block).free();
}

void gpu_release_staging() {
    for (;;) {
        PinnedBlock block;
        {
            const std::lock_guard lock(s_mutex);
            forget_those_of_a_parent();
            if (s_count == 0) return;
            block = take_out(s_count - 1);
        }
        block.free();
    }
}
