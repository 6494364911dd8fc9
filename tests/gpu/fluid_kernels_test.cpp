// Fields that a fluid carries on a device, whose kernels run on the processor here, and on a real one where there is
// one.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "fluidlib/flows.h"
#include "gpulib/fake_runtime.h"
#include "gpulib/gpulib.h"
#include "k7pi_baselib/temporary_home.h"

namespace {

class FluidKernel : public TemporaryHome {
  protected:
    static constexpr int FIELDS = 6;

    // Strong eddies, fields finer and coarser than the velocity, one of them diffused; places without a value.
    static std::unique_ptr<FluidFlow> stirred(int width, int height) {
        auto flow = make_flow(24, FLUID_BOUNDED, width, height);
        fill_flow(
            flow->velocity, [](float x, float y) { return 0.4F * std::sin(7 * y + x); },
            [](float x, float y) { return 0.3F * std::cos(9 * x - y); });
        for (int n = 0; n < FIELDS; ++n) {
            ScalarField& field = *flow->field(flow->add_field("dye"));
            fill(field, field.data.get(), [n](float x, float y) { return std::sin(30 * x * y + float(n)); });
            flow->set_dissipation(n, 0.1F * float(n));
        }
        flow->field(1)->data[flow->field(1)->index(1, 1)] = NAN;
        flow->set_diffusion(2, 0.001F);
        return flow;
    }
    static std::vector<float> cells(FluidFlow& flow) {
        std::vector<float> all;
        for (int n = 0; n < FIELDS; ++n)
            all.insert(all.end(), flow.field(n)->data.get(), flow.field(n)->data.get() + flow.field(n)->size());
        return all;
    }

    // on_device(step) does the step there.
    template <class OnDevice>
    static void expectTheProcessorsBits(const OnDevice& on_device);

    const ScopedEnvironment m_always{"CUDA_ALWAYS", "yes"}, m_enabled{"CUDA_DISABLE", nullptr};
};

template <class OnDevice>
void FluidKernel::expectTheProcessorsBits(const OnDevice& on_device) {
    struct Case {
        int width, height, steps;
        bool rk4;
        float bias;
    };
    const Case cases[] = {{1, 1, 1, true, 1},      {17, 13, 3, true, 1},     {17, 13, 4, false, 1},
                          {97, 61, 5, true, 0.5F}, {97, 61, 2, false, 0.0F}, {1500, 9, 2, true, 1}};
    for (const auto& [width, height, steps, rk4, bias] : cases) {
        const auto step = [&, width = width, height = height, steps = steps, rk4 = rk4, bias = bias] {
            auto flow = stirred(width, height);
            flow->trace_steps = steps, flow->use_rk4 = rk4, flow->trace_bias = bias;
            EXPECT_TRUE(flow->step(false) && flow->step(false));
            return cells(*flow);
        };
        const std::vector<float> expected = [&] {
            FakeRuntime none;
            none.devices = 0;
            return step();
        }();
        on_device([&] { EXPECT_EQ(step(), expected) << width << " x " << height << ", " << steps << " steps"; });
    }
}

TEST_F(FluidKernel, CarriesWithTheProcessorsBits) {
    expectTheProcessorsBits([](auto step) {
        FakeRuntime fake;
        step();
        EXPECT_GT(fake.calls_of("launch"), 4) << "nothing ran on the device";
    });
}

TEST_F(FluidKernel, CarriesWithTheProcessorsBitsOnARealDevice) {
    if (!cuda_available()) GTEST_SKIP() << "no CUDA device can be used here";
    expectTheProcessorsBits([](auto step) { step(); });
}

TEST_F(FluidKernel, AFailingCallEndsTheStep) {
    OpenLog("run", false);
    bool failed = true;
    int refused = 0;
    for (int call = 1; failed && call < 1000; ++call) {
        FakeRuntime fake;
        auto flow = stirred(17, 13);
        ASSERT_TRUE(cuda_available() && flow->velocity_step());
        ScalarField& field = *flow->field(0);
        field.set_boundary();
        const std::vector<float> before(field.data.get(), field.data.get() + field.size());
        const auto unchanged = [&] { return std::equal(before.begin(), before.end(), field.data.get()); };
        fake.fail_call(call, false);
        const bool done = flow->scalar_step(field, nullptr, 0, 0);
        failed = fake.has_failed();
        refused += !done;
        EXPECT_TRUE(done || unchanged()) << "call " << call;
        EXPECT_TRUE(done || failed) << "call " << call;
    }
    EXPECT_GT(refused, 5);
    for (const char* step : {"1", "2", "3", "4", "5"})
        EXPECT_NE(log().find(std::string("CUDA BETA ERROR: cuda_direct_scalar_field_advect() returned error: ") + step),
                  std::string::npos)
            << step;
}

}  // namespace
