// CUFFT without a device: its transforms are queued on the runtime in use. Any call can be made to fail.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "fftlib/cufft.h"
#include "fftlib/plain_transform.h"

// Installed while it lives; there is one at a time.
class FakeCufft {
  public:
    FakeCufft() {
        s_fake = this;
        static const CufftFunctions functions = {plan_2d, set_stream, exec_c2c, destroy};
        cufft_set_functions(&functions);
    }
    ~FakeCufft() {
        cufft_set_functions(nullptr);
        EXPECT_TRUE(m_plans.empty()) << "plans leak";
        s_fake = nullptr;
    }
    FakeCufft(const FakeCufft&) = delete;
    FakeCufft& operator=(const FakeCufft&) = delete;

    int failing = 0;    // the call with this number, counted from 1, fails
    bool full = false;  // for want of memory
    int calls = 0, transforms = 0;
    int width = 0, height = 0;  // of the latest transform
    std::size_t plans() const { return m_plans.size(); }

  private:
    struct Plan {
        int width = 0, height = 0;
        GpuStream stream = nullptr;
    };
    bool fails() { return ++calls == failing; }

    static int plan_2d(int* plan, int rows, int columns, int kind) {
        if (s_fake->fails()) return s_fake->full ? 2 : 5;
        EXPECT_EQ(kind, CUFFT_COMPLEX);
        *plan = ++s_fake->m_last;
        s_fake->m_plans[*plan] = {columns, rows, nullptr};
        return 0;
    }
    static int set_stream(int plan, GpuStream stream) {
        if (s_fake->fails()) return 1;
        EXPECT_TRUE(s_fake->m_plans.contains(plan));
        s_fake->m_plans[plan].stream = stream;
        return 0;
    }
    static int exec_c2c(int plan, FFTComplex* in, FFTComplex* out, int direction) {
        if (s_fake->fails()) return 6;
        EXPECT_TRUE(s_fake->m_plans.contains(plan));
        ++s_fake->transforms;
        const Plan& used = s_fake->m_plans.at(plan);
        s_fake->width = used.width, s_fake->height = used.height;
        return gpu_launch(gpu_kernel<plain_transform_2d>(), GpuShape{}, used.stream, in, out, used.height, used.width,
                          direction);
    }
    static int destroy(int plan) {
        s_fake->m_plans.erase(plan);
        return 0;
    }

    static inline FakeCufft* s_fake = nullptr;
    std::map<int, Plan> m_plans;
    int m_last = 0;
};
