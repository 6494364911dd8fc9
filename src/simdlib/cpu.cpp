#include "simdlib/cpu.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string_view>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace {

CpuLevel environment_limit() {
    const char* text = std::getenv("QUILLON_CPU");
    const std::string_view name = text ? text : "";
    if (name == "baseline") return CpuLevel::baseline;
    if (name == "avx2") return CpuLevel::avx2;
    return CpuLevel::avx512;
}

#if defined(__x86_64__)
// Asked of the processor itself: Clang 16 has no name for it in __builtin_cpu_supports().
bool has_f16c() {
    unsigned a, b, c, d;
    return __get_cpuid(1, &a, &b, &c, &d) && (c & bit_F16C);
}
#endif

CpuLevel detect() {
    CpuLevel level = CpuLevel::baseline;
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") && has_f16c()) level = CpuLevel::avx2;
    if (level == CpuLevel::avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl"))
        level = CpuLevel::avx512;
#endif
    return std::min(level, environment_limit());
}

std::atomic<CpuLevel> s_limit{CpuLevel::avx512};

}  // namespace

CpuLevel cpu_level() {
    static const CpuLevel detected = detect();
    return std::min(detected, s_limit.load(std::memory_order_relaxed));
}

void set_cpu_level_limit(CpuLevel limit) { s_limit.store(limit, std::memory_order_relaxed); }
