// What `quillon check` asks of a bundle on a device. Built for an emulated device (the host and the bundle have one
// each, whose memory is that of the process, so that either can use the other's), and for what the machine has; then it
// is skipped without one.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <thread>

#include "host/check/runner.h"
#include "host/cli/cuda_device.h"
#include "support/program_folder.h"
#include "support/sanitizers.h"

namespace {

using namespace bundlecheck;

// The emulated device can be told at which call to fail.
DeviceAccess access() {
    DeviceAccess device;
    device.open = quillon::cudaDevice;
#ifdef QUILLON_EMULATED
    device.fail = [](int call) {
        // The host has asked its own by now, and keeps what it read then.
        ASSERT_TRUE(quillon::cudaDevice()->queue());
        ::setenv("EMULATED_GPU_FAILS_AT", std::to_string(call).c_str(), 1);
    };
#endif
    return device;
}

TEST(DeviceOfTheHost, BundleKeepsWhatCheckAsksOfIt) {
    if (threadSanitizer) GTEST_SKIP() << "it can't follow threads in a forked process";
    RunOptions options;
    options.setup.bundle = support::beside_program(QUILLON_BUNDLE_PATH);
    options.setup.device = access();
    options.limits.seconds = 60.0;
#ifdef QUILLON_EMULATED
    options.jobs = 2;
    options.budget = 30.0;
#else
    options.jobs = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 8);  // every case once
#endif
    for (const Invariant& invariant : invariants())
        if (invariant.onDevice) options.invariants.push_back(&invariant);
    ASSERT_EQ(options.invariants.size(), 4u);
    const RunResult result = run(options, {});
    for (const Finding& finding : result.findings)
        ADD_FAILURE() << tokenOf(finding.id) << ": " << finding.text << "\n" << finding.output;
#ifndef QUILLON_EMULATED
    if (!result.device) GTEST_SKIP() << "there is no CUDA device that can be used";
#endif
    EXPECT_TRUE(result.device);
    for (const Invariant* invariant : options.invariants) {
        EXPECT_GT(result.ofInvariant(invariant->name).cases, 0);
        EXPECT_EQ(result.ofInvariant(invariant->name).givenUp, 0) << invariant->name;
    }
}

#ifdef QUILLON_EMULATED
// A frame that fails there goes through main memory, where the device, still full, must not be asked again.
TEST(DeviceOfTheHost, AFullDeviceLeavesTheProcessorsPicture) {
    if (threadSanitizer) GTEST_SKIP() << "it can't follow threads in a forked process";
    RunOptions options;
    options.setup.bundle = support::beside_program(QUILLON_BUNDLE_PATH);
    options.setup.device.open = quillon::cudaDevice;
    options.limits.seconds = 60.0;
    options.jobs = 2;
    options.effects = {"Q_CrashZoom", "Q_Facet"};
    options.invariants = {findInvariant("gpu-failures")};
    ::setenv("CUDA_ALWAYS", "yes", 1);
    const RunResult result = run(options, {});
    ::unsetenv("CUDA_ALWAYS");
    EXPECT_GT(result.total().cases, 0);
    for (const Finding& finding : result.findings) ADD_FAILURE() << tokenOf(finding.id) << ": " << finding.text;
}
#endif

}  // namespace
