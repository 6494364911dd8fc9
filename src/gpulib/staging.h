// Pinned memory that pictures pass through on their way to the device and back. Private to the folder.
#pragma once

#include <cstddef>

#include "gpulib/gpulib_runtime.h"

// A pinned block with an event behind the last copy that was queued from it.
struct PinnedBlock {
    unsigned char* memory = nullptr;
    std::size_t bytes = 0;
    GpuEvent event = nullptr;
    bool has_copies = false;  // that may still be running; the event tells

    GpuStatus allocate(std::size_t size);  // nothing is left of it when it fails
    void free();                           // waits for the copies
    bool is_idle() const;
};

// A block for one picture, taken from those that are kept for the device, and kept again afterwards: the two latest.
// It is never handed on before what was queued from it is done.
class StagingBlock {
  public:
    // Copies will be queued on `stream`, whose work is waited for where the block's own event fails.
    StagingBlock(std::size_t bytes, GpuStream stream);
    ~StagingBlock();
    StagingBlock(const StagingBlock&) = delete;
    StagingBlock& operator=(const StagingBlock&) = delete;

    GpuStatus status() const { return m_status; }
    unsigned char* data() const { return m_block.memory; }  // null when the status is not success
    void copies_are_queued() { m_block.has_copies = true; }
    void copies_are_done() { m_block.has_copies = false; }

  private:
    PinnedBlock m_block;
    GpuStream m_stream;
    int m_device;  // that keeps it; -1: none
    GpuStatus m_status;
};
