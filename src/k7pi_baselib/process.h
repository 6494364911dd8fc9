// Which process this is, and what is to be done when the library leaves it. What a device or a system hands out belongs
// to one process, and a forked child must not use it.
#pragma once

#include <atomic>

int process_id();

// Has `release` called before the library is unloaded, for what is kept for the process: no instance is left then, and
// nothing renders. It stays registered, and registering it again changes nothing.
void k7_at_unload(void (*release)());
void k7_run_at_unload();

// A lock that a forked child finds open even where a thread of its parent held it. For short spans: who waits asks
// again and again.
class ProcessLock {
  public:
    void lock();
    void unlock() { m_holder.store(0, std::memory_order_release); }

  private:
    std::atomic<int> m_holder{0};  // a process; 0: nobody
};
