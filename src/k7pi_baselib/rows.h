// Work by rows: what does a part of it, what spreads the parts over threads, and how it ends early.
//
// A worker gets inclusive ranges of rows. It accepts an empty one (first > last), writes only what belongs to its rows,
// and gives the same bits however the rows are split. What it throws on another thread comes out of the call that
// spread the rows.
#pragma once

#include <atomic>
#include <functional>
#include <type_traits>

using RowWorker = void (*)(void* job, int first, int last);
using RowDispatcher = void (*)(void* context, RowWorker worker, int rows, void* job);

// A callable (int first, int last) as a worker: the job is the callable itself.
template <class Work>
void row_worker(void* job, int first, int last) {
    (*static_cast<Work*>(job))(first, last);
}
template <class Work>
void* row_job(Work& work) {
    return const_cast<void*>(static_cast<const void*>(&work));
}

// A dispatcher with its context: calling it does all rows and returns. Without a dispatcher, and for a single row, the
// calling thread does them.
struct RowRunner {
    void* context = nullptr;
    RowDispatcher run = nullptr;

    void operator()(int rows, RowWorker worker, void* job) const {
        if (run && rows > 1)
            run(context, worker, rows, job);
        else if (rows > 0)
            worker(job, 0, rows - 1);
    }
    template <class Work>
    void operator()(int rows, Work&& work) const {
        (*this)(rows, &row_worker<std::remove_reference_t<Work>>, row_job(work));
    }
};

// ---- An end that is asked for from outside --------------------------------------------------------------------

// Whether the picture is no longer wanted. Long operations take one and ask it between rows, from any of their threads;
// an empty one never asks for an end.
using StopRequested = std::function<bool()>;
inline bool wants_end(const StopRequested& stop) { return stop && stop(); }

// ---- The rows of whole images ---------------------------------------------------------------------------------
//
// Libraries have no effect to ask for threads. The framework sets two runners for them: one for code that takes all
// sample types, and one for float-only code, which splits smaller images. Rows are split when a runner is set, work is
// not suppressed to one thread, and there are at least twice the row unit of rows.

void image_set_multiprocess(void* context, RowDispatcher dispatcher);
void image_set_multiprocess_threshold(int rows);  // positive; initially 32
void image_set_multiprocess_float(void* context, RowDispatcher dispatcher);
void image_set_multiprocess_threshold_float(int rows);  // positive; initially 16
void image_suppress_multiprocess(bool suppress);        // all dispatch on the calling thread while set
// The row units of both and whether work is suppressed, to put back what other code has changed meanwhile.
struct RowSettings {
    int row_unit, row_unit_float;
    bool suppressed;
};
RowSettings image_row_settings();
void image_set_row_settings(const RowSettings& settings);
void image_clear_multiprocess_context(void* context);  // forgets both runners if they belong to this context

void image_dispatch_rows(RowWorker worker, int rows, void* job);
void image_dispatch_rows_float(RowWorker worker, int rows, void* job);

// The same with a callable (int first, int last).
template <class Work>
void for_rows(int rows, Work&& work) {
    image_dispatch_rows(&row_worker<std::remove_reference_t<Work>>, rows, row_job(work));
}
template <class Work>
void for_rows_float(int rows, Work&& work) {
    image_dispatch_rows_float(&row_worker<std::remove_reference_t<Work>>, rows, row_job(work));
}

// work(y) for each row.
template <class Work>
void each_row_float(int rows, Work&& work) {
    for_rows_float(rows, [&](int first, int last) {
        for (int y = first; y <= last; ++y) work(y);
    });
}

// The same until stop() asks for an end. False when it did: rows are missing then. Work that needs scratch
// memory for each thread calls for_rows_float itself.
template <class Stop, class Work>
bool each_row_float(int rows, Stop&& stop, Work&& work) {
    for_rows_float(rows, [&](int first, int last) {
        for (int y = first; y <= last && !stop(); ++y) work(y);
    });
    return !stop();
}

// work(scratch, task) for each task, for tasks of unequal size: a thread takes the next one when it has done its last.
// Each thread has a scratch of its own, made by scratch(). False when stop() asked for an end: tasks are missing then.
template <class Stop, class Scratch, class Work>
bool each_task_float(int tasks, Stop&& stop, Scratch&& scratch, Work&& work) {
    std::atomic<int> next{0};
    for_rows_float(tasks, [&](int first, int last) {
        if (first > last) return;
        auto own = scratch();
        for (int task; !stop() && (task = next.fetch_add(1)) < tasks;) work(own, task);
    });
    return !stop();
}
