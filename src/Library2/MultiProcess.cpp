#include "Library2/MultiProcess.h"

#include <algorithm>
#include <array>
#include <exception>
#include <system_error>
#include <thread>

#include "k7pi_baselib/k7pi_baselib.h"

namespace {

std::mutex& executionLock() {
    static std::mutex lock;
    return lock;
}

std::atomic<int> s_instances{0};

// Set on a thread while it works on rows: row work that starts row work runs it itself, since a host refuses nested
// calls and our own threads would wait for their own lock.
thread_local bool t_insideRows = false;

class InsideRows {
  public:
    InsideRows() : m_before(t_insideRows) { t_insideRows = true; }
    ~InsideRows() { t_insideRows = m_before; }
    InsideRows(const InsideRows&) = delete;
    InsideRows& operator=(const InsideRows&) = delete;

  private:
    bool m_before;
};

// What workers throw on other threads is kept until all have ended and thrown again on the calling one: neither a
// host's thread nor one of ours may see it.
class WorkerFailure {
  public:
    template <class Work>
    void guard(Work&& work) noexcept {
        try {
            work();
        } catch (...) {
            if (!m_taken.test_and_set()) m_first = std::current_exception();
        }
    }
    void rethrow() const {
        if (m_first) std::rethrow_exception(m_first);
    }

  private:
    std::atomic_flag m_taken;
    std::exception_ptr m_first;
};

}  // namespace

// ---- Splits ---------------------------------------------------------------------------------------------------

RowRange hostRowRange(int rows, unsigned int index, unsigned int threads) {
    const int count = static_cast<int>(std::max(threads, 1u));
    const int chunk = rows / count;
    const int first = chunk * static_cast<int>(index);
    return {first, index + 1 >= threads ? rows - 1 : first + chunk - 1};
}

RowRange ownRowRange(int rows, int index, int threads) {
    const int chunk = rows / threads;
    if (chunk == 0) return index == 0 ? RowRange{0, rows - 1} : RowRange{rows, rows - 1};
    const int first = chunk * index;
    const int end = index == threads - 1 || first + chunk > rows ? rows : first + chunk;
    return {first, end - 1};
}

// ---- The host's threads ---------------------------------------------------------------------------------------

namespace {

struct HostJob {
    const MultiThreadRecord* record;
    std::atomic<bool> entered{false};
    WorkerFailure failure;
};

void hostThreadEntry(unsigned int index, unsigned int threads, void* argument) {
    auto& job = *static_cast<HostJob*>(argument);
    job.entered.store(true, std::memory_order_relaxed);
    const MultiThreadRecord& record = *job.record;
    if (!record.worker) return;
    const InsideRows guard;
    // The split follows the number of threads that the host really started, which may be below what was asked.
    const RowRange range = hostRowRange(record.rows, index, threads);
    job.failure.guard([&] { record.worker(record.job, range.first, range.last); });
}

}  // namespace

void runOnHostThreads(MultiThreadRecord& record, RowWorker worker, int rows, void* job) {
    if (t_insideRows) return worker(job, 0, rows - 1);
    unsigned int processors = 0;
    callSuite(record.suite, &OfxMultiThreadSuiteV1::multiThreadNumCPUs, &processors);
    record.threads = std::max(processors, 1u);
    record.worker = worker;
    record.job = job;
    record.rows = rows;
    HostJob hostJob{.record = &record, .failure = {}};
    const OfxStatus status = callSuite(record.suite, &OfxMultiThreadSuiteV1::multiThread, &hostThreadEntry, processors,
                                       static_cast<void*>(&hostJob));
    hostJob.failure.rethrow();
    if (status != ofx::status::OK || !hostJob.entered.load(std::memory_order_relaxed)) worker(job, 0, rows - 1);
}

// ---- Own threads ----------------------------------------------------------------------------------------------

K7PTMultiProcess::K7PTMultiProcess() : m_count(std::clamp(processor_count(), 1, MAX_THREADS)) {
    Trace(TRACE_TRACE, "===> K7PTMultiProcess CONSTRUCTOR enter. Instance count = %d\n", s_instances.load());
    ++s_instances;
}

K7PTMultiProcess::~K7PTMultiProcess() {
    const int left = --s_instances;
    Trace(TRACE_TRACE, "===> K7PTMultiProcess DESTRUCTOR exit. Instance count = %d\n", left);
}

int K7PTMultiProcess::instanceCount() { return s_instances.load(); }

void K7PTMultiProcess::mp_exec(ThreadFunction function, void* argument) {
    if (m_count < 2) return function(nullptr, argument);
    const std::lock_guard lock(executionLock());
    std::array<ThreadRecord, MAX_THREADS> records;
    std::array<std::thread, MAX_THREADS> threads;
    for (int i = 0; i < m_count; ++i) records[static_cast<std::size_t>(i)] = {i, m_count};
    Trace(TRACE_TRACE, "=> Set up %d handlers.\n", m_count);

    int started = 0;
    try {
        for (; started < m_count; ++started) {
            const auto i = static_cast<std::size_t>(started);
            threads[i] = std::thread(function, &records[i], argument);
        }
    } catch (const std::system_error&) {
        Trace(TRACE_ERROR, "Can't create MP thread: %d\n", started);
    }
    if (started == m_count) Trace(TRACE_TRACE, "=> Started %d threads.\n", m_count);
    for (int i = 0; i < started; ++i) threads[static_cast<std::size_t>(i)].join();
    if (started == m_count)
        Trace(TRACE_TRACE, "=> Wait for %d threads has finished.\n", m_count);
    else  // some rows are done a second time, with the same result: workers are pure in their rows
        function(nullptr, argument);
}

namespace {

struct OwnJob {
    RowWorker worker;
    void* job;
    int rows;
    WorkerFailure failure;
};

void ownThreadEntry(const K7PTMultiProcess::ThreadRecord* record, void* argument) {
    auto& job = *static_cast<OwnJob*>(argument);
    const InsideRows guard;
    const RowRange range = record ? ownRowRange(job.rows, record->index, record->count) : ownRowRange(job.rows, 0, 1);
    job.failure.guard([&] { job.worker(job.job, range.first, range.last); });
}

}  // namespace

void runOnOwnThreads(K7PTMultiProcess& threads, RowWorker worker, int rows, void* job) {
    if (t_insideRows || threads.processorCount() < 2) return worker(job, 0, rows - 1);
    OwnJob ownJob{worker, job, rows, {}};
    threads.mp_exec(&ownThreadEntry, &ownJob);
    ownJob.failure.rethrow();
}

// ---- Simulated way --------------------------------------------------------------------------------------------

void SetSimulatedWay(int count) {
    static std::atomic<int> way{0};
    int unset = 0;
    if (count <= 0) return;
    const bool first = way.compare_exchange_strong(unset, count);
    if (!TraceIsKept()) return;  // every instance would write a line between the host's own
    if (first)
        TraceInfo("Simulating %d-way multi-processing", count);
    else
        Trace(TRACE_WARN, "%d-way Multi-processing already setup. (Can't change it)\n", unset);
}
