// The threads behind the multi-thread suite: started once, asleep between jobs.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace ofxhost {

class ThreadPool {
  public:
    explicit ThreadPool(unsigned threads);  // 0: as many as the machine runs at once
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    unsigned size() const { return m_size; }
    // Calls function(index, count) for all indexes, each on a thread of its own (index 0 on the caller's), and returns
    // when all have returned. No more than size() threads take part, at least one; `count` tells the function how many.
    // An exception from the function reaches the caller after all have ended. False when the caller is itself running a
    // part of a job.
    bool run(unsigned count, const std::function<void(unsigned index, unsigned count)>& function);

    static bool insideJob();
    static unsigned jobIndex();  // 0 outside

  private:
    void serve(unsigned index, std::uint64_t seen);
    void runPart(unsigned index);

    unsigned m_size;
    std::mutex m_callers;  // one job at a time
    std::mutex m_mutex;
    std::condition_variable m_wake, m_done;
    const std::function<void(unsigned, unsigned)>* m_function = nullptr;
    unsigned m_count = 0, m_pending = 0;
    std::uint64_t m_job = 0;
    std::exception_ptr m_failure;
    bool m_stop = false;
    std::vector<std::thread> m_threads;  // started on the first job that needs them
};

}  // namespace ofxhost
