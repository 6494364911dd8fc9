#include "fftlib/cufft.h"

#include <mutex>

#include "k7pi_baselib/k7pi_baselib.h"

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

void cufft_set_functions(const CufftFunctions* functions) { s_functions = functions ? functions : &s_library; }

CufftPlan::~CufftPlan() {
    if (!m_made) return;
    gpu_succeeded(gpu_runtime().stream_synchronize(m_stream), "finishing transforms");
    succeeded(s_functions->destroy(m_plan), "destroying a plan");
}

bool CufftPlan::make(int width, int height, GpuStream stream) {
    m_stream = stream;
    m_made = succeeded(s_functions->plan_2d(&m_plan, height, width, CUFFT_COMPLEX), "making a plan");
    return m_made && succeeded(s_functions->set_stream(m_plan, stream), "setting a stream");
}

bool CufftPlan::transform(FFTComplex* in, FFTComplex* out, FFTDirection direction) {
    const int sign = direction == FFTDirection::forward ? CUFFT_FORWARD : CUFFT_INVERSE;
    return succeeded(s_functions->exec_c2c(m_plan, in, out, sign), "transforming a plane");
}
