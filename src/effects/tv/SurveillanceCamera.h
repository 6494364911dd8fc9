// A cheap camera: lens, lamp, chip and amplifier.
#pragma once

#include "effects/engines/television/Video.h"
#include "imagelib/imagelib.h"

struct SurveillanceCamera {
    float distortion = 0;                    // 1: the middle of a side stands out by half of what the corners do
    float centre_x = 0.5F, centre_y = 0.5F;  // of lens and lamp, fractions of the size
    bool infrared = false;
    float lamp_radius = 0.6F;  // half widths
    float gain = 1, contrast = 1, colour = 1;
    float noise = 0;  // 1 is the whole range
    float sharpening = 0;
    float bloom = 0, smear = 0;
};

// What the camera makes of a view that is already as large as its chip (four channels of floats), in place.
void shoot(K7Image& view, const SurveillanceCamera& camera, const VideoMoment& moment);
