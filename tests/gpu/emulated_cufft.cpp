// CUFFT of the emulated device. Linked into a bundle, this gives it one from the start.
#include <deque>
#include <mutex>

#include "fftlib/cufft.h"
#include "fftlib/plain_transform.h"

namespace {

struct Plan {
    int rows, columns;
    GpuStream stream;
};
std::mutex s_mutex;
std::deque<Plan> s_plans;

Plan& plan_of(int number) {
    const std::lock_guard lock(s_mutex);
    return s_plans[static_cast<std::size_t>(number - 1)];
}

constexpr CufftFunctions EMULATED = {
    .plan_2d =
        [](int* plan, int rows, int columns, int) {
            const std::lock_guard lock(s_mutex);
            s_plans.push_back({rows, columns, nullptr});
            *plan = static_cast<int>(s_plans.size());
            return 0;
        },
    .set_stream =
        [](int plan, GpuStream stream) {
            plan_of(plan).stream = stream;
            return 0;
        },
    .exec_c2c =
        [](int plan, FFTComplex* in, FFTComplex* out, int direction) {
            const Plan& used = plan_of(plan);
            return gpu_launch(gpu_kernel<plain_transform_2d>(), GpuShape{}, used.stream, in, out, used.rows,
                              used.columns, direction);
        },
    .destroy = [](int) { return 0; },
};

struct Use {
    Use() { cufft_set_functions(&EMULATED); }
} const s_use;

}  // namespace
