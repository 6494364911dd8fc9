// Row-parallel execution: on the host's threads through its multi-thread suite, or on the bundle's own.
#pragma once

#include <atomic>
#include <mutex>

#include "Library2/BundleState.h"
#include "k7pi_baselib/rows.h"

// Threads of the bundle's own, for hosts whose suite is not used; one object an instance. The threads live for one
// call. One lock of the process serialises all calls.
class K7PTMultiProcess {
  public:
    K7PTMultiProcess();
    ~K7PTMultiProcess();
    K7PTMultiProcess(const K7PTMultiProcess&) = delete;
    K7PTMultiProcess& operator=(const K7PTMultiProcess&) = delete;

    static constexpr int MAX_THREADS = 64;
    int processorCount() const { return m_count; }

    // Which part of the work a thread does; a null record means all of it.
    struct ThreadRecord {
        int index;
        int count;
    };
    using ThreadFunction = void (*)(const ThreadRecord* record, void* argument);

    // Runs the function on all threads and returns when they have ended.
    void mp_exec(ThreadFunction function, void* argument);

    static int instanceCount();

  private:
    int m_count;
};

// What one render hands to the host's threads.
struct MultiThreadRecord {
    RowWorker worker = nullptr;
    void* job = nullptr;
    int rows = 0;
    unsigned int threads = 1;
    const OfxMultiThreadSuiteV1* suite = nullptr;
};

// Runs the worker on the host's threads, or on the calling one where the host has none to give.
void runOnHostThreads(MultiThreadRecord& record, RowWorker worker, int rows, void* job);
// Runs the worker on the bundle's own threads.
void runOnOwnThreads(K7PTMultiProcess& threads, RowWorker worker, int rows, void* job);

// The rows of one thread. The remainder is the last thread's; with fewer rows than threads the first takes all.
struct RowRange {
    int first, last;
};
RowRange hostRowRange(int rows, unsigned int index, unsigned int threads);
RowRange ownRowRange(int rows, int index, int threads);

// Remembers the host's processor count, once in the life of the process. Informational.
void SetSimulatedWay(int count);
