// The hot loop of the monitor, built for each instruction set.
#pragma once

#include "simdlib/cpu.h"

struct MonitorGlass {
    const float* picture;  // four channels, the lowest line first
    int pitch;             // floats from a line to the next
    int columns, lines;
    const float* brightness;  // entries_a_line for each line from the bottom, and two more
    int entries_a_line;
    int width, height;  // of the destination
    float curvature, vignette;
    float rolled;  // how far up the picture has moved, in spans
    float span;    // height of the picture with the black between it and the next, in heights
    float tint[3];
};

struct MonitorRows {
    void (*show)(const MonitorGlass& glass, int y, float* out);
};
QUILLON_SIMD_TABLE(MonitorRows, monitor_rows);
