// The decision whether a CUDA device is used, timers around its work, sizes.
#include <atomic>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "gpulib/builtin_runtime.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_image.h"
#include "gpulib/gpulib_kept.h"
#include "gpulib/probe.h"
#include "gpulib/selection.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/process.h"

namespace {

std::atomic<const GpuRuntime*> s_runtime{&builtin_gpu_runtime};

struct ChosenDevice {
    int number = 0;
    GpuDeviceProperties properties;
};
ChosenDevice s_device;  // written by the thread that decides, before it says so

// The decision and the process that took it, in one word: a forked child finds neither a decision nor a lock that is
// held.
enum State : unsigned { Undecided, Deciding, Absent, Present };
std::atomic<std::uint64_t> s_decision{Undecided};

std::uint64_t decision(State state) { return static_cast<std::uint64_t>(process_id()) << 2 | state; }
State state_of(std::uint64_t decided) {
    return decided >> 2 == decision(Undecided) >> 2 ? static_cast<State>(decided & 3) : Undecided;
}
State current_state() { return state_of(s_decision.load(std::memory_order_acquire)); }

// Only where this thread has selected a device: any other would start one by asking.
void wait_for_device() {
    if (gpu_has_selected() && current_state() == Present) gpu_runtime().device_synchronize();
}

// ---- Steps of the check ---------------------------------------------------------------------------------------

// Lines of level 1 are written while this lives, whatever the log's level, and to the console from now on.
class ShownTrace {
  public:
    explicit ShownTrace(bool shown) : m_level(GetTraceLevel()), m_raised(shown && m_level < TRACE_ERROR) {
        if (m_raised) SetTraceLevel(TRACE_ERROR);
        if (shown) SetConsole(true, true);
    }
    ~ShownTrace() {
        if (m_raised) SetTraceLevel(m_level);
    }
    ShownTrace(const ShownTrace&) = delete;
    ShownTrace& operator=(const ShownTrace&) = delete;

  private:
    int m_level;
    bool m_raised;
};

// What is no fault is told where lines are kept, never merely to the host's standard error stream.

bool choose_number(int& number) {
    int count = 0;
    if (!gpu_succeeded(gpu_runtime().get_device_count(&count), "counting devices")) {
        Trace(TRACE_ERROR, "Failed to get CUDA device count. Disabling CUDA.\n");
        return false;
    }
    if (count <= 0) {
        if (TraceIsKept()) Trace(TRACE_INFO, "There are no CUDA capable devices on this machine. Disabling CUDA.\n");
        return false;
    }
    number = read_variable_integer("CUDA_DEVICE_NUMBER", 0);
    if (number >= 0 && number < count) return true;
    Trace(TRACE_ERROR, "Requested device %d, but only devices 0 to %d are available. Disabling CUDA.\n", number,
          count - 1);
    return false;
}

bool select_device(int number) {
    const GpuStatus status = gpu_select(number);
    if (status == GPU_SUCCESS) return true;
    if (status == GPU_SET_ON_ACTIVE_PROCESS) {
        Trace(TRACE_TRACE, "CUDA device already selected (OK)(cudaErrorSetOnActiveProcess)\n");
        return true;
    }
    Trace(TRACE_ERROR, "Failed to set CUDA (2.2+) device. Disabling CUDA. Error=%d\n", status);
    return false;
}

void print_device(const ChosenDevice& device) {
    const auto size = [](std::size_t bytes) { return static_cast<unsigned long>(bytes); };
    const GpuDeviceProperties& of = device.properties;
    Trace(TRACE_ERROR, " CUDA Device %d Properties:\n", device.number);
    TraceMore("                  Device name: %s\n", of.name);
    TraceMore("                Global memory: %lu bytes\n", size(of.global_memory));
    TraceMore("     Max shared memory per TB: %lu bytes\n", size(of.shared_memory_per_block));
    TraceMore("         Max registers per TB: %d\n", of.registers_per_block);
    TraceMore("                    Warp size: %d threads\n", of.warp_size);
    TraceMore("                    Max pitch: %lu bytes (cudaMallocPitch())\n", size(of.max_pitch));
    TraceMore("           Max threads per TB: %d threads\n", of.max_threads_per_block);
    TraceMore("            Max TB dimensions: %d x %d x %d\n", of.max_block[0], of.max_block[1], of.max_block[2]);
    TraceMore("            Max BG dimensions: %d x %d x %d\n", of.max_grid[0], of.max_grid[1], of.max_grid[2]);
    TraceMore("                  Clock speed: %d kHz\n", of.clock_rate);
    TraceMore("              Constant memory: %lu bytes\n", size(of.constant_memory));
    TraceMore("           Compute capability: %d.%d\n", of.major, of.minor);
    TraceMore("Texture alignment requirement: %lu bytes\n", size(of.texture_alignment));
    TraceMore(" Copy to host while executing: %s\n", of.copies_while_executing ? "Yes" : "No");
    TraceMore("    Number of multiprocessors: %d\n", of.multiprocessors);
}

bool device_works() {
    const int failed = test_cuda_works();
    if (failed)
        Trace(TRACE_ERROR, "FAILED. test_cuda_works() returned: %d. Disabling CUDA.\n", failed);
    else if (TraceIsKept())
        Trace(TRACE_INFO, "SUCCESS: test_cuda_works() returned: %d. CUDA enabled.\n", failed);
    return !failed;
}

bool check(bool print_properties, ChosenDevice& device) {
    const bool print = read_variable_is_yes("CUDA_DEBUG_INFO") || print_properties;
    const ShownTrace shown(print);
    if (read_variable_is_yes("CUDA_DISABLE")) {
        if (TraceIsKept()) Trace(TRACE_INFO, "CUDA explicitly disabled via QV Variable CUDA_DISABLE.\n");
        return false;
    }
    if (!choose_number(device.number)) return false;
    if (!gpu_succeeded(gpu_runtime().get_device_properties(device.number, &device.properties), "reading properties")) {
        Trace(TRACE_ERROR, "Failed to get properties of CUDA device %d. Disabling CUDA.\n", device.number);
        return false;
    }
    if (device.properties.major < 1) {
        Trace(TRACE_ERROR, "Device supports CUDA version < 1.0 (!). Disabling CUDA.\n");
        return false;
    }
    if (!select_device(device.number)) return false;
    if (print) print_device(device);
    if (std::strcmp(device.properties.name, "Device Emulation (CPU)") == 0) {
        if (TraceIsKept()) Trace(TRACE_INFO, "Treating \"Device Emulation\" as CUDA unavailable. Disabling CUDA.\n");
        return false;
    }
    return device_works();
}

bool check_in_memory(bool print_properties, ChosenDevice& device) {
    return in_memory([&] { return check(print_properties, device); });
}

bool probe_is_right() {
    constexpr unsigned side = 128, count = side * side;
    constexpr std::size_t bytes = count * sizeof(float);
    const GpuRuntime& runtime = gpu_runtime();
    std::vector<float> values(count);
    DeviceMemory memory;
    if (!gpu_succeeded(memory.allocate(bytes, nullptr), "allocating for the test") ||
        !gpu_succeeded(gpu_launch(probe_kernel(), {.blocks_x = side, .threads_x = side}, nullptr,
                                  static_cast<float*>(memory.get()), count),
                       "launching the test") ||
        !gpu_succeeded(runtime.stream_synchronize(nullptr), "running the test") ||
        !gpu_succeeded(runtime.copy_to_host(values.data(), memory.get(), bytes, nullptr),
                       "copying the test's result") ||
        !gpu_succeeded(runtime.stream_synchronize(nullptr), "copying the test's result"))
        return false;
    for (unsigned i = 0; i < count; ++i)
        if (values[i] != probe_value(i)) return false;
    return true;
}

}  // namespace

// ---- The runtime ----------------------------------------------------------------------------------------------

const GpuRuntime& gpu_runtime() { return *s_runtime.load(std::memory_order_acquire); }

void gpu_set_runtime(const GpuRuntime* runtime) {
    gpu_give_back();
    s_runtime.store(runtime ? runtime : &builtin_gpu_runtime, std::memory_order_release);
    s_device = {};
    s_decision.store(Undecided, std::memory_order_release);
    set_device_wait(nullptr);
}

// Errors after which every call of the process fails ("cudaError_t" in the CUDA Runtime API): kernels that were
// stopped, uncorrectable memory, a context that is gone.
static bool loses_device(GpuStatus status) {
    return status == 214 || status == 220 || status == 700 || status == 702 || status == 709 || status == 710 ||
           (status >= 714 && status <= 719);
}

bool gpu_succeeded(GpuStatus status, const char* doing) {
    if (status == GPU_SUCCESS) return true;
    Trace(TRACE_DEBUG, "CUDA %s failed: %s (%d)\n", doing, gpu_runtime().error_text(status), status);
    std::uint64_t present = decision(Present);
    // A context of the host's own is lost by itself.
    if (loses_device(status) && !gpu_works_in_private() &&
        s_decision.compare_exchange_strong(present, decision(Absent), std::memory_order_acq_rel))
        Trace(TRACE_ERROR, "The CUDA device is lost. Disabling CUDA. Error=%d\n", status);
    return false;
}

GpuShape gpu_shape_of_picture(int width, int height) {
    constexpr int threads_x = 16, threads_y = 12;
    return {static_cast<unsigned>(cuda_div_up(width, threads_x)), static_cast<unsigned>(cuda_div_up(height, threads_y)),
            threads_x, threads_y};
}

GpuShape gpu_shape_of_line(int count) {
    constexpr int threads = 128;
    return {.blocks_x = static_cast<unsigned>(cuda_div_up(count, threads)), .threads_x = threads};
}

// ---- The decision ---------------------------------------------------------------------------------------------

bool cuda_check(bool print_properties) {
    ChosenDevice device;
    return check_in_memory(print_properties, device);
}

int test_cuda_works() {
    if (in_memory(probe_is_right)) return 0;
    Trace(TRACE_ERROR, "CUDA kernel did not execute as expected. Is *DRIVER* CUDA capable?\n");
    return 1;
}

bool cuda_available() {
    if (gpu_works_without()) return false;
    for (;;) {
        std::uint64_t decided = s_decision.load(std::memory_order_acquire);
        switch (state_of(decided)) {
            case Absent:
                return false;
            case Present:
                if (gpu_works_for_host()) return true;
                // At each call, because the device belongs to the thread and the host may select its own.
                if (select_device(s_device.number)) return true;
                s_decision.store(decision(Absent), std::memory_order_release);
                return false;
            case Deciding:
                thread_sleep(1);
                break;
            case Undecided:
                if (!s_decision.compare_exchange_strong(decided, decision(Deciding), std::memory_order_acquire)) break;
                s_device = {};
                const bool present = check_in_memory(false, s_device);
                if (!present) s_device = {}, gpu_give_back();
                if (present) set_device_wait(wait_for_device);
                s_decision.store(decision(present ? Present : Absent), std::memory_order_release);
                return present;
        }
    }
}

bool cuda_built() {
#ifdef QUILLON_CUDA
    return true;
#else
    return &gpu_runtime() != &builtin_gpu_runtime;
#endif
}

const GpuDeviceProperties& cuda_device_properties() {
    static constexpr GpuDeviceProperties none;
    return current_state() == Present ? s_device.properties : none;
}

// ---- Timers ---------------------------------------------------------------------------------------------------

namespace {

constexpr double NOT_TIMED = -1;

double time_after_device() {
    wait_for_device();
    return monotonic_seconds();
}

struct CudaTimer {
    std::atomic<double> total{0};  // milliseconds

    double stop(double& start) {
        const double begun = start;
        start = NOT_TIMED;
        if (begun == NOT_TIMED || !GetTiming()) return 0;
        const double span = 1000 * (time_after_device() - begun);
        total.fetch_add(span, std::memory_order_relaxed);
        return span;
    }
};
CudaTimer s_overhead, s_kernel;
thread_local double t_overhead_start = NOT_TIMED, t_kernel_start = NOT_TIMED;

double start_time() { return GetTiming() ? time_after_device() : NOT_TIMED; }

}  // namespace

void cuda_timer_overhead_start() { t_overhead_start = start_time(); }
double cuda_timer_overhead_stop() { return s_overhead.stop(t_overhead_start); }
double cuda_timer_overhead_total() { return s_overhead.total.load(std::memory_order_relaxed); }
void cuda_timer_kernel_start() { t_kernel_start = start_time(); }
double cuda_timer_kernel_stop() { return s_kernel.stop(t_kernel_start); }
double cuda_timer_kernel_total() { return s_kernel.total.load(std::memory_order_relaxed); }

// ---- Sizes ----------------------------------------------------------------------------------------------------

int cuda_round_fft_size(int n) {
    constexpr int largest = 1 << 30, last_power = 1024, step = 512;
    n = n < 1 ? 1 : n > largest ? largest : n;
    const auto up_to = [](int value, int unit) { return cuda_div_up(value, unit) * unit; };
    if (cuda_available()) {
        const int half_warp = cuda_device_properties().warp_size / 2;
        if (half_warp > 0) n = up_to(n, half_warp);
    }
    const int power = static_cast<int>(std::bit_ceil(static_cast<unsigned>(n)));
    return power <= last_power ? power : up_to(n, step);
}
