// The two row dispatchers. See the header for the rules.
#include <atomic>
#include <mutex>

#include "imagelib/imagelib.h"

namespace {

struct Dispatcher {
    void* context = nullptr;
    RowDispatcher run = nullptr;
    int row_unit;
};

std::mutex s_mutex;  // guards both dispatchers; never held while rows run
Dispatcher s_general{.row_unit = 32};
Dispatcher s_float{.row_unit = 16};
std::atomic<bool> s_suppressed{false};

void set_dispatcher(Dispatcher& dispatcher, void* context, RowDispatcher run) {
    std::lock_guard lock(s_mutex);
    dispatcher.context = context;
    dispatcher.run = run;
}

void set_row_unit(Dispatcher& dispatcher, int rows) {
    if (rows <= 0) return;
    std::lock_guard lock(s_mutex);
    dispatcher.row_unit = rows;
}

void dispatch(const Dispatcher& dispatcher, RowWorker worker, int rows, void* job) {
    if (!worker || rows <= 0) return;
    Dispatcher current;
    {
        std::lock_guard lock(s_mutex);
        current = dispatcher;
    }
    if (current.run && !s_suppressed.load(std::memory_order_relaxed) && rows / 2 >= current.row_unit)
        current.run(current.context, worker, rows, job);
    else
        worker(job, 0, rows - 1);
}

}  // namespace

void image_set_multiprocess(void* context, RowDispatcher dispatcher) { set_dispatcher(s_general, context, dispatcher); }

void image_set_multiprocess_float(void* context, RowDispatcher dispatcher) {
    set_dispatcher(s_float, context, dispatcher);
}

void image_set_multiprocess_threshold(int rows) { set_row_unit(s_general, rows); }

void image_set_multiprocess_threshold_float(int rows) { set_row_unit(s_float, rows); }

void image_suppress_multiprocess(bool suppress) { s_suppressed.store(suppress, std::memory_order_relaxed); }

RowSettings image_row_settings() {
    std::lock_guard lock(s_mutex);
    return {s_general.row_unit, s_float.row_unit, s_suppressed.load(std::memory_order_relaxed)};
}

void image_set_row_settings(const RowSettings& settings) {
    image_set_multiprocess_threshold(settings.row_unit);
    image_set_multiprocess_threshold_float(settings.row_unit_float);
    image_suppress_multiprocess(settings.suppressed);
}

void image_clear_multiprocess_context(void* context) {
    std::lock_guard lock(s_mutex);
    for (Dispatcher* dispatcher : {&s_general, &s_float}) {
        if (dispatcher->context != context) continue;
        dispatcher->context = nullptr;
        dispatcher->run = nullptr;
    }
}

void image_dispatch_rows(RowWorker worker, int rows, void* job) { dispatch(s_general, worker, rows, job); }

void image_dispatch_rows_float(RowWorker worker, int rows, void* job) { dispatch(s_float, worker, rows, job); }
