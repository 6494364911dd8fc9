#include "k7pi_baselib/process.h"

#include <thread>

void ProcessLock::lock() {
    for (const int self = process_id();;) {
        int holder = m_holder.load(std::memory_order_relaxed);
        if (holder != self && m_holder.compare_exchange_weak(holder, self, std::memory_order_acquire)) return;
        std::this_thread::yield();
    }
}
