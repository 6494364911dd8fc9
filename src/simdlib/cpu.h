// Which vector instructions the hot loops use. A file of loops is compiled once for each level
// (cmake/QuillonSimd.cmake) and gives one table of functions for each; the table to call is picked here, once for each
// call of an operation.
//
// Where the machine is no x86-64 there is one level, `baseline`, of the compiler's own vectors.
#pragma once

enum class CpuLevel { baseline, avx2, avx512 };

CpuLevel cpu_level();  // the best level this processor has, or the limit set below; the environment's
                       // QUILLON_CPU (baseline, avx2, avx512) lowers it too

// Tests run every level the processor has and compare the bits. Affects tables picked afterwards.
void set_cpu_level_limit(CpuLevel limit);

// Declares `extern const Table name` for every level, which the file of loops defines in `namespace QUILLON_SIMD`, and
// `name()`, which picks one of them.
#if defined(__x86_64__)
#define QUILLON_SIMD_TABLE(Table, name)                               \
    namespace baseline {                                              \
    extern const Table name;                                          \
    }                                                                 \
    namespace avx2 {                                                  \
    extern const Table name;                                          \
    }                                                                 \
    namespace avx512 {                                                \
    extern const Table name;                                          \
    }                                                                 \
    inline const Table& name() {                                      \
        const CpuLevel level = cpu_level();                           \
        if (level == CpuLevel::avx512) return avx512::name;           \
        return level == CpuLevel::avx2 ? avx2::name : baseline::name; \
    }                                                                 \
    static_assert(true)
#else
#define QUILLON_SIMD_TABLE(Table, name)                   \
    namespace baseline {                                  \
    extern const Table name;                              \
    }                                                     \
    inline const Table& name() { return baseline::name; } \
    static_assert(true)
#endif
