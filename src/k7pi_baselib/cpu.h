// Which vector instructions the hot loops may use. See cmake/QuillonSimd.cmake for how the loops are built.
#pragma once

enum class CpuLevel { baseline, avx2, avx512 };

CpuLevel cpu_level();  // the best level this processor has, or the limit set below; the environment's
                       // QUILLON_CPU (baseline, avx2, avx512) lowers it too

// Tests run every level the processor has and compare the bits. Affects tables picked by cpu_select afterwards.
void set_cpu_level_limit(CpuLevel limit);

// Picks the table of kernels to use. Cheap enough for once a call of an operation, not for once a pixel.
template <class Table>
const Table& cpu_select(const Table& baseline, const Table& avx2, const Table& avx512) {
    switch (cpu_level()) {
        case CpuLevel::avx512:
            return avx512;
        case CpuLevel::avx2:
            return avx2;
        case CpuLevel::baseline:
            break;
    }
    return baseline;
}
