// Private to line integral convolution: the row kernels. Plain data, see QuillonSimd.cmake.
#pragma once

#include "imagelib/lic_frame.h"
#include "simdlib/cpu.h"

using LicRows = void (*)(const LicFrame& frame, int first, int last);

QUILLON_SIMD_TABLE(LicRows, lic_rows);
