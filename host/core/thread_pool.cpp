#include "host/core/thread_pool.h"

#include <algorithm>

namespace ofxhost {
namespace {

thread_local bool inJob = false;
thread_local unsigned indexInJob = 0;

struct PartScope {
    explicit PartScope(unsigned index) { inJob = true, indexInJob = index; }
    ~PartScope() { inJob = false, indexInJob = 0; }
};

}  // namespace

ThreadPool::ThreadPool(unsigned threads)
    : m_size(threads > 0 ? threads : std::max(1u, std::thread::hardware_concurrency())) {}

ThreadPool::~ThreadPool() {
    {
        std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    for (std::thread& thread : m_threads) thread.join();
}

bool ThreadPool::insideJob() { return inJob; }
unsigned ThreadPool::jobIndex() { return indexInJob; }

bool ThreadPool::run(unsigned count, const std::function<void(unsigned, unsigned)>& function) {
    if (inJob) return false;
    std::lock_guard caller(m_callers);
    count = std::clamp(count, 1u, m_size);
    {
        std::lock_guard lock(m_mutex);
        while (m_threads.size() + 1 < count) {
            const auto index = static_cast<unsigned>(m_threads.size() + 1);
            m_threads.emplace_back([this, index, job = m_job] { serve(index, job); });
        }
        m_function = &function;
        m_count = count;
        m_pending = count - 1;
        m_failure = nullptr;
        ++m_job;
    }
    if (count > 1) m_wake.notify_all();
    runPart(0);
    std::unique_lock lock(m_mutex);
    m_done.wait(lock, [this] { return m_pending == 0; });
    if (m_failure) std::rethrow_exception(m_failure);
    return true;
}

void ThreadPool::runPart(unsigned index) {
    const PartScope scope(index);
    try {
        (*m_function)(index, m_count);
    } catch (...) {
        std::lock_guard lock(m_mutex);
        m_failure = std::current_exception();
    }
}

void ThreadPool::serve(unsigned index, std::uint64_t seen) {
    for (;;) {
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [&] { return m_stop || m_job != seen; });
            if (m_stop) return;
            seen = m_job;
            if (index >= m_count) continue;
        }
        runPart(index);
        std::lock_guard lock(m_mutex);
        if (--m_pending == 0) m_done.notify_one();
    }
}

}  // namespace ofxhost
