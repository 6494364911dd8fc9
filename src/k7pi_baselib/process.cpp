#include "k7pi_baselib/process.h"

#include <thread>

namespace {

constexpr int MOST = 8;  // places; there are fewer functions
std::atomic<void (*)()> s_at_unload[MOST];

}  // namespace

void k7_at_unload(void (*release)()) {
    for (auto& place : s_at_unload) {
        void (*found)() = nullptr;
        if (place.compare_exchange_strong(found, release) || found == release) return;
    }
}

void k7_run_at_unload() {
    for (const auto& place : s_at_unload)
        if (void (*release)() = place.load()) release();
}

void ProcessLock::lock() {
    for (const int self = process_id();;) {
        int holder = m_holder.load(std::memory_order_relaxed);
        if (holder != self && m_holder.compare_exchange_weak(holder, self, std::memory_order_acquire)) return;
        std::this_thread::yield();
    }
}
