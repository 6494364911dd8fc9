#include "k7pi_baselib/rows.h"

#include <atomic>
#include <mutex>

namespace {

struct Split {
    RowRunner runner;
    int row_unit;
};

std::mutex s_mutex;  // guards both; never held while rows run
Split s_general{.runner = {}, .row_unit = 32};
Split s_float{.runner = {}, .row_unit = 16};
std::atomic<bool> s_suppressed{false};

void set_runner(Split& split, const RowRunner& runner) {
    std::lock_guard lock(s_mutex);
    split.runner = runner;
}

void set_row_unit(Split& split, int rows) {
    if (rows <= 0) return;
    std::lock_guard lock(s_mutex);
    split.row_unit = rows;
}

void dispatch(const Split& split, RowWorker worker, int rows, void* job) {
    if (!worker || rows <= 0) return;
    Split current;
    {
        std::lock_guard lock(s_mutex);
        current = split;
    }
    if (s_suppressed.load(std::memory_order_relaxed) || rows / 2 < current.row_unit) current.runner = {};
    current.runner(rows, worker, job);
}

}  // namespace

void image_set_multiprocess(void* context, RowDispatcher dispatcher) { set_runner(s_general, {context, dispatcher}); }

void image_set_multiprocess_float(void* context, RowDispatcher dispatcher) {
    set_runner(s_float, {context, dispatcher});
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
    for (Split* split : {&s_general, &s_float})
        if (split->runner.context == context) split->runner = {};
}

void image_dispatch_rows(RowWorker worker, int rows, void* job) { dispatch(s_general, worker, rows, job); }

void image_dispatch_rows_float(RowWorker worker, int rows, void* job) { dispatch(s_float, worker, rows, job); }
