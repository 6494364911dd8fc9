// Every call of the runtime made to fail once.
#pragma once

#include <set>

#include "gpulib/fake_runtime.h"
#include "gpulib/gpulib_operation.h"

// Runs an operation, which answers a GpuStep, until no call is left to fail. Each step that can fail has to be among
// the answers; leaks fail the test.
template <class Operation>
void each_call_fails(Operation operation) {
    std::set<int> answers;
    bool failed = true;
    for (int call = 1; failed && call < 1000; ++call)
        for (const bool lost : {false, true}) {
            FakeRuntime fake;
            fake.fail_call(call, lost);
            const int error = operation();
            failed = fake.has_failed();
            answers.insert(error);
            if (lost && failed) continue;
            EXPECT_TRUE(failed || error == GPU_DONE) << "call " << call;
        }
    EXPECT_EQ(answers, (std::set<int>{GPU_DONE, GPU_NO_ROOM_FOR_INPUT, GPU_NO_ROOM_FOR_OUTPUT, GPU_NOT_COPIED_IN,
                                      GPU_NOT_LAUNCHED, GPU_NOT_COPIED_OUT}));
}
