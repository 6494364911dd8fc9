// Private to line integral convolution: the frame that the kernels work on. Plain data, see QuillonSimd.cmake.
#pragma once

struct LicScreen {       // what each sub-step takes off the distance, one float a pixel
    const float* terms;  // null: the clear shape is geometric
    int width, height;
};

struct LicFrame {
    const float* source;
    float* destination;
    int width, height;
    double cx, cy;
    double x_unit, y_unit;  // distances are (x - cx) * x_unit, (y - cy) * y_unit
    double reach;           // sub-steps along the line for each pixel of |x - cx| or |y - cy|, before d / r; signed
    double samples;         // sub-steps a pixel
    double soft;            // width of the ramp
    double clear;           // circle: its radius; polygon: the distance of its sides from the centre
    const float* normals;   // polygon: x, y of the outward normals of its sides
    int sides;              // 0: circle
    LicScreen screen;
};
