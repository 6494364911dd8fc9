// Colours as a luma and two colour differences, one pixel at a time, on processor and device alike.
#pragma once

#include "gpulib/gpulib_runtime.h"

struct LumaChroma {
    float y, u, v;  // u and v of greys are about 0.5
};
struct RedGreenBlue {
    float r, g, b;
};

// The luma is that of ITU-R BT.601.
GPU_AND_CPU LumaChroma luma_chroma_of(float r, float g, float b) {
    return {0.299f * r + 0.587f * g + 0.114f * b, 0.5f * r - 0.418688f * g - 0.081312f * b + 0.5f,
            0.617689f * b - 0.213267f * r - 0.418688f * g + 0.5f};
}
// Back, to about a millionth; nothing is limited.
GPU_AND_CPU RedGreenBlue red_green_blue_of(LumaChroma colour) {
    const float y = colour.y, u = colour.u - 0.5f, v = colour.v - 0.5f;
    return {y + 1.402f * u, 0.996036f * y - 0.714136f * u - 0.277836f * v, 1.020408f * y + 1.430612f * v};
}
