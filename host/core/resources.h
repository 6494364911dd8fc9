// What plug-ins make through the suites and have to give back: mutexes and image memory.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "host/core/host.h"

namespace ofxhost {

// A mutex with a lock count: its holder may lock it again, and unlocks it as often.
class SuiteMutex {
  public:
    SuiteMutex(Host& host, int lockCount);

    OfxMutexHandle handle() const { return m_ticket.as<OfxMutexHandle>(); }
    void lock();
    bool tryLock();
    bool unlock();  // false when the caller does not hold it
    bool held() const;

  private:
    mutable std::mutex m_mutex;
    std::condition_variable m_free;
    std::thread::id m_holder;
    int m_count = 0;
    HandleTicket m_ticket;
};

class ImageMemory {
  public:
    ImageMemory(Host& host, std::size_t bytes);

    OfxImageMemoryHandle handle() const { return m_ticket.as<OfxImageMemoryHandle>(); }
    void* data() const { return m_data.get(); }
    int locks = 0;

  private:
    struct Deleter {
        void operator()(void* data) const { ::operator delete (data, std::align_val_t{16}); }
    };
    std::unique_ptr<void, Deleter> m_data;
    HandleTicket m_ticket;
};

struct Host::Resources {
    mutable std::mutex mutex;
    std::vector<std::shared_ptr<SuiteMutex>> mutexes;
    std::vector<std::shared_ptr<ImageMemory>> imageMemory;
};

}  // namespace ofxhost
