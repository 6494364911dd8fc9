#include "fftlib/cufft.h"

#include <mutex>
#include <utility>

#include "gpulib/gpulib.h"
#include "gpulib/gpulib_kept.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/process.h"

namespace {

std::mutex s_mutex;
CufftFunctions s_library;
bool s_opened = false;
const CufftFunctions* s_functions = &s_library;

template <class Function>
void find(Function& function, const char* name) {
    // Those of CUDA 13, 12 and 11, of which all have what we call.
    function = reinterpret_cast<Function>(
        find_symbol(name, {"libcufft.so.12", "libcufft.so.11", "libcufft.so.10", "libcufft.so"}));
}

bool is_whole(const CufftFunctions& f) { return f.plan_2d && f.set_stream && f.exec_c2c && f.destroy; }

bool succeeded(int status, const char* doing) {
    if (status != 0) Trace(TRACE_DEBUG, "CUFFT %s failed: error %d\n", doing, status);
    return status == 0;
}

}  // namespace

bool cufft_available() {
    const std::lock_guard lock(s_mutex);
    if (s_functions == &s_library && !s_opened) {
        s_opened = true;
        find(s_library.plan_2d, "cufftPlan2d");
        find(s_library.set_stream, "cufftSetStream");
        find(s_library.exec_c2c, "cufftExecC2C");
        find(s_library.destroy, "cufftDestroy");
        if (!is_whole(s_library))
            Trace(TRACE_INFO, "fftlib: libcufft cannot be opened. Transforms are done on the processor.\n");
    }
    return is_whole(*s_functions);
}

// ---- What is kept ---------------------------------------------------------------------------------------------

namespace {

// Two sizes for each of two instances that render at once.
constexpr int KEPT = 4;
ProcessLock s_lock;     // guards what follows
KeptPlan s_kept[KEPT];  // the one put aside first comes first; unused places are at the end

// Without those that a forked child finds: they are its parent's.
int kept_count() {
    int count = 0;
    for (const KeptPlan& plan : s_kept)
        if (plan.plan && plan.process == process_id()) s_kept[count++] = plan;
    for (int i = count; i < KEPT; ++i) s_kept[i] = {};
    return count;
}

KeptPlan take_out(int place) {
    const KeptPlan taken = std::exchange(s_kept[place], {});
    for (int i = place + 1; i < KEPT; ++i) std::swap(s_kept[i - 1], s_kept[i]);
    return taken;
}

// One whose transforms are done where there is one.
KeptPlan take_kept(int width, int height, int device) {
    const std::lock_guard lock(s_lock);
    int found = -1;
    for (int i = kept_count() - 1; i >= 0; --i) {
        const KeptPlan& plan = s_kept[i];
        if (plan.width != width || plan.height != height || plan.device != device) continue;
        found = i;
        if (gpu_runtime().event_query(plan.event) == GPU_SUCCESS) break;
    }
    return found < 0 ? KeptPlan{} : take_out(found);
}

// Answers the one that has no place any more.
KeptPlan keep(const KeptPlan& plan) {
    const std::lock_guard lock(s_lock);
    const int count = kept_count();
    const KeptPlan oldest = count == KEPT ? take_out(0) : KeptPlan{};
    s_kept[count - (count == KEPT)] = plan;
    return oldest;
}

bool give_plans_back() {
    bool any = false;
    for (;; any = true) {
        KeptPlan plan;
        {
            const std::lock_guard lock(s_lock);
            if (kept_count() == 0) return any;
            plan = take_out(0);
        }
        gpu_succeeded(gpu_select(plan.device), "selecting a device");
        plan.destroy();
    }
}

}  // namespace

void cufft_set_functions(const CufftFunctions* functions) {
    give_plans_back();
    s_functions = functions ? functions : &s_library;
}

bool KeptPlan::create() {
    constexpr int NO_ROOM = 2;
    process = process_id();
    const auto make = [&] { return s_functions->plan_2d(&plan, height, width, CUFFT_COMPLEX); };
    if (!succeeded(gpu_with_room(make, NO_ROOM), "making a plan")) {
        plan = 0;
        return false;
    }
    return gpu_succeeded(gpu_runtime().event_create(&event), "making a plan");
}

void KeptPlan::destroy() {
    if (!plan || process != process_id()) return;
    const GpuRuntime& runtime = gpu_runtime();
    if (has_work && runtime.event_synchronize(event) != GPU_SUCCESS) runtime.device_synchronize();
    succeeded(s_functions->destroy(plan), "destroying a plan");
    if (event) runtime.event_destroy(event);
    *this = {};
}

// ---- A plan in use --------------------------------------------------------------------------------------------

bool CufftPlan::make(int width, int height, GpuStream stream) {
    const int device = gpu_keeping_device();
    if (device >= 0) m_plan = take_kept(width, height, device);
    if (!m_plan.plan) {
        m_plan.width = width, m_plan.height = height, m_plan.device = device;
        if (!m_plan.create()) return false;
    }
    if (m_plan.has_work && !gpu_succeeded(gpu_runtime().stream_wait(stream, m_plan.event), "taking a plan over"))
        return false;
    m_stream = stream;
    m_plan.has_work = false;  // none that this stream does not come after
    return succeeded(s_functions->set_stream(m_plan.plan, stream), "setting a stream");
}

bool CufftPlan::transform(FFTComplex* in, FFTComplex* out, FFTDirection direction) {
    const int sign = direction == FFTDirection::forward ? CUFFT_FORWARD : CUFFT_INVERSE;
    return succeeded(s_functions->exec_c2c(m_plan.plan, in, out, sign), "transforming a plane");
}

// A plan that is kept knows no stream, since this one may go.
bool CufftPlan::put_aside() {
    if (m_plan.has_work || m_plan.device < 0 || !m_plan.event) return false;  // was never taken over, or not to be kept
    if (!gpu_succeeded(gpu_runtime().event_record(m_plan.event, m_stream), "putting a plan aside")) return false;
    m_plan.has_work = true;
    if (!succeeded(s_functions->set_stream(m_plan.plan, nullptr), "putting a plan aside")) return false;
    gpu_on_give_back(give_plans_back);
    KeptPlan oldest = keep(m_plan);
    const KeepsSelection keeps;
    if (oldest.plan && oldest.device != m_plan.device) gpu_select(oldest.device);
    oldest.destroy();
    return true;
}

CufftPlan::~CufftPlan() {
    if (!m_plan.plan || m_plan.process != process_id() || put_aside()) return;
    if (!m_plan.has_work && gpu_runtime().stream_synchronize(m_stream) != GPU_SUCCESS)
        gpu_runtime().device_synchronize();
    m_plan.destroy();
}
