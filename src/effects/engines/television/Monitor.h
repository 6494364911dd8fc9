// The glass that a television picture is looked at through: scan lines, a hum bar, a picture that rolls, curved glass.
#pragma once

#include <functional>

#include "imagelib/imagelib.h"
#include "k7pi_baselib/rows.h"

struct MonitorLook {
    float scan_lines = 0;  // 0 to 1: how dark it is between lines
    float hum = 0;         // 0 to 1: how dark the bar is
    float hum_place = 0;   // of the bar's middle, as a fraction of the height, repeating
    float roll = 0;        // how far the picture has rolled upwards, in heights; 0 and whole numbers hold it
    float curvature = 0;   // how far the middle of a side stands out before the corners, in half sides
    float vignette = 0;    // 0 to 1: light that the corners lose
    float tint[3] = {1, 1, 1};
};

// The picture (four channels of floats, row 0 the lowest line) fills the destination, whatever the sizes of both are.
// Beyond curved glass is black; alpha is that of the picture there too. False when `stop` asked for an end.
bool show_on_monitor(const K7Image& picture, const MonitorLook& look, K7Image& destination, const StopRequested& stop);
