// The rule that every picture is the same to the bit at any instruction set and any number of threads.
#pragma once

#include <gtest/gtest.h>

#include "simdlib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

// Calls make() at every instruction set that the processor has and several numbers of threads: all pictures must equal
// the first one, which is returned.
template <class Make>
ImagePtr same_bits_everywhere(Make make) {
    ImagePtr first;
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512})
        for (const int threads : {1, 2, 5}) {
            set_cpu_level_limit(level);
            const RowThreads rows(threads);
            ImagePtr image = make();
            if (!first)
                first = std::move(image);
            else
                EXPECT_TRUE(same_pixels(image.get(), first.get())) << "level " << int(level) << ", threads " << threads;
        }
    set_cpu_level_limit(CpuLevel::avx512);
    return first;
}

// Calls check() at every instruction set; what the processor lacks falls back to what it has.
template <class Check>
void at_every_level(Check check) {
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        SCOPED_TRACE(int(level));
        set_cpu_level_limit(level);
        check();
    }
    set_cpu_level_limit(CpuLevel::avx512);
}
