// What threads work on: the device in use or what the host has selected, and what is left selected afterwards.
#include "gpulib/selection.h"

#include "gpulib/gpulib.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

thread_local KeepsSelection* t_keeper = nullptr;
thread_local bool t_selected = false;
thread_local bool t_hosts = false, t_private = false, t_without = false;

}  // namespace

GpuStatus gpu_select(int device) {
    if (t_keeper) t_keeper->remember();
    const GpuStatus status = gpu_runtime().set_device(device);
    t_selected = t_selected || status == GPU_SUCCESS;
    return status;
}

bool gpu_has_selected() { return t_selected; }
bool gpu_works_for_host() { return t_hosts; }
bool gpu_works_in_private() { return t_private; }
bool gpu_works_without() { return t_without; }

// ---- What was selected ----------------------------------------------------------------------------------------

KeepsSelection::KeepsSelection() : m_outer(t_keeper), m_selected_before(t_selected) { t_keeper = this; }

void KeepsSelection::remember() {
    if (m_asked) return;
    m_asked = true;
    m_known = gpu_succeeded(gpu_runtime().get_context(&m_context), "finding what is selected");
}

KeepsSelection::~KeepsSelection() {
    t_keeper = m_outer;
    if (!m_known) return;
    gpu_succeeded(gpu_runtime().set_context(m_context), "selecting what was selected");
    t_selected = m_selected_before;
}

// ---- What the host has selected -------------------------------------------------------------------------------

HostsDevice::HostsDevice() : m_was_hosts(t_hosts), m_was_private(t_private) {
    if (read_variable_is_yes("CUDA_DISABLE")) return;
    const GpuRuntime& runtime = gpu_runtime();
    // Asked before the decision, which selects a device of its own.
    GpuContext hosts = nullptr, shared = nullptr;
    int device = 0;
    const bool known = runtime.get_context(&hosts) == GPU_SUCCESS;
    if (runtime.get_device(&device) != GPU_SUCCESS || !cuda_available()) return;
    // A thread that has nothing selected leaves it to us.
    if ((hosts || !known) && !gpu_succeeded(gpu_select(device), "selecting the host's device")) return;
    t_private = false;
    if (hosts && known) {
        if (!gpu_succeeded(runtime.get_context(&shared), "finding the host's context")) return;
        t_private = shared != hosts;
        if (t_private && !gpu_succeeded(runtime.set_context(hosts), "selecting the host's context")) return;
    }
    m_usable = t_hosts = true;
}

HostsDevice::~HostsDevice() {
    t_hosts = m_was_hosts;
    t_private = m_was_private;
}

WithoutDevice::WithoutDevice(bool without) : m_before(t_without) { t_without = m_before || without; }
WithoutDevice::~WithoutDevice() { t_without = m_before; }
