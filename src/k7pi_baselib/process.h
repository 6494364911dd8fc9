// Which process this is. What a device or a system hands out belongs to one, and a forked child must not use it.
#pragma once

#include <atomic>

int process_id();

// A lock that a forked child finds open even where a thread of its parent held it. For short spans: who waits asks
// again and again.
class ProcessLock {
  public:
    void lock();
    void unlock() { m_holder.store(0, std::memory_order_release); }

  private:
    std::atomic<int> m_holder{0};  // a process; 0: nobody
};
