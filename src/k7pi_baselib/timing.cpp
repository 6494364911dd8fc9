// Timers of the performance log.
#include <atomic>
#include <charconv>

#include "k7pi_baselib/k7pi_baselib.h"

namespace {

std::atomic<bool> s_timing{false};
std::atomic<void (*)()> s_device_wait{nullptr};

constexpr double NOT_TIMED = -1;  // started while timing was off: its stop says nothing

// Trivially destructible, as everything a thread keeps must be: the library may be unloaded before the thread ends.
struct TimerStack {
    static constexpr int capacity = 32;
    double starts[capacity];
    int depth;  // may exceed the capacity; the timers above it are not timed
};
thread_local TimerStack t_timers{};

// Time spent on one kind of processor, summed over all threads.
struct SpanSum {
    std::atomic<double> milliseconds{0};

    static double now() {
        if (auto* wait = s_device_wait.load(std::memory_order_relaxed)) wait();
        return monotonic_seconds();
    }
    double add(double start) {
        if (start == NOT_TIMED) return 0;
        const double span = 1000 * (now() - start);
        milliseconds.fetch_add(span, std::memory_order_relaxed);
        return span;
    }
};
SpanSum s_cpu, s_gpu;
thread_local double t_cpu_start = NOT_TIMED;
thread_local double t_gpu_start = NOT_TIMED;

double stop_span(SpanSum& sum, double& start) {
    const double begun = start;
    start = NOT_TIMED;
    return sum.add(begun);
}

}  // namespace

void SetTiming(bool on) { s_timing.store(on, std::memory_order_relaxed); }
bool GetTiming() { return s_timing.load(std::memory_order_relaxed); }
void set_device_wait(void (*wait)()) { s_device_wait.store(wait, std::memory_order_relaxed); }

void TimerStart() {
    TimerStack& stack = t_timers;
    if (stack.depth < TimerStack::capacity) stack.starts[stack.depth] = GetTiming() ? monotonic_seconds() : NOT_TIMED;
    ++stack.depth;
}

double TimerStop(const char* label) {
    TimerStack& stack = t_timers;
    if (stack.depth == 0 || --stack.depth >= TimerStack::capacity) return 0;
    const double start = stack.starts[stack.depth];
    if (start == NOT_TIMED || !GetTiming()) return 0;
    const double milliseconds = 1000 * (monotonic_seconds() - start);

    char text[64];  // not through printf, whose decimal point is the host's choice of locale
    const auto end = std::to_chars(text, text + sizeof text, milliseconds, std::chars_format::fixed, 3).ptr;
    Trace(TRACE_INFO, "%s: %.*s ms elapsed.\n", label ? label : "", static_cast<int>(end - text), text);
    return milliseconds;
}

void cpu_timer_start() { t_cpu_start = GetTiming() ? SpanSum::now() : NOT_TIMED; }
double cpu_timer_stop() { return stop_span(s_cpu, t_cpu_start); }
double cpu_timer_total() { return s_cpu.milliseconds.load(std::memory_order_relaxed); }
void gpu_timer_start() { t_gpu_start = GetTiming() ? SpanSum::now() : NOT_TIMED; }
double gpu_timer_stop() { return stop_span(s_gpu, t_gpu_start); }
double gpu_timer_total() { return s_gpu.milliseconds.load(std::memory_order_relaxed); }
