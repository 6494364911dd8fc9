// Darkness towards the edge of a round field of view, as behind an eyepiece.
#pragma once

#include "imagelib/imagelib.h"
#include "imagelib/vignette_simd.h"

// In place, float RGBA; alpha stays. Colours come out limited to 0 to 1. False also when an abort was requested; some
// rows are done then.
bool image_vignette(K7Image* image, const VignetteShape& vignette, const StopRequested& stop = {});
