// A row dispatcher over a fixed number of threads for tests and benchmarks of the image library: installs itself in
// both dispatchers for its lifetime and splits any work of at least `threads` rows.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "imagelib/imagelib.h"

class RowThreads {
  public:
    explicit RowThreads(int threads) : m_count(threads) {
        for (int i = 1; i < threads; ++i) m_threads.emplace_back([this, i] { serve(i); });
        image_set_multiprocess(this, &RowThreads::dispatch);
        image_set_multiprocess_float(this, &RowThreads::dispatch);
        image_set_multiprocess_threshold(1);
        image_set_multiprocess_threshold_float(1);
    }
    ~RowThreads() {
        image_set_multiprocess(nullptr, nullptr);
        image_set_multiprocess_float(nullptr, nullptr);
        image_set_multiprocess_threshold(32);
        image_set_multiprocess_threshold_float(16);
        {
            std::lock_guard lock(m_mutex);
            m_stop = true;
        }
        m_wake.notify_all();
        for (auto& thread : m_threads) thread.join();
    }
    RowThreads(const RowThreads&) = delete;
    RowThreads& operator=(const RowThreads&) = delete;

  private:
    static void dispatch(void* context, RowWorker worker, int rows, void* job) {
        static_cast<RowThreads*>(context)->run(worker, rows, job);
    }
    void run(RowWorker worker, int rows, void* job) {
        if (m_count == 1) return worker(job, 0, rows - 1);
        {
            std::lock_guard lock(m_mutex);
            m_worker = worker, m_job = job, m_rows = rows, m_pending = m_count - 1, ++m_generation;
        }
        m_wake.notify_all();
        runPart(0);
        std::unique_lock lock(m_mutex);
        m_done.wait(lock, [this] { return m_pending == 0; });
    }
    void runPart(int index) {
        const int chunk = m_rows / m_count;
        const int first = chunk * index;
        const int last = index == m_count - 1 ? m_rows - 1 : first + chunk - 1;
        if (first <= last) m_worker(m_job, first, last);
    }
    void serve(int index) {
        std::uint64_t seen = 0;
        for (;;) {
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait(lock, [&] { return m_stop || m_generation != seen; });
                if (m_stop) return;
                seen = m_generation;
            }
            runPart(index);
            std::lock_guard lock(m_mutex);
            if (--m_pending == 0) m_done.notify_one();
        }
    }

    int m_count;
    std::vector<std::thread> m_threads;
    std::mutex m_mutex;
    std::condition_variable m_wake, m_done;
    RowWorker m_worker = nullptr;
    void* m_job = nullptr;
    int m_rows = 0, m_pending = 0;
    std::uint64_t m_generation = 0;
    bool m_stop = false;
};
