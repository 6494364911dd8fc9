// An effect's overlay as a picture.
#pragma once

#include "host/cli/picture.h"
#include "host/core/effect.h"

namespace quillon {

// What the effect draws over its picture of that size at a time, with premultiplied alpha. Throws RunError: the effect
// has no overlay, or the machine no off-screen OpenGL.
Picture overlayDrawing(ofxhost::EffectInstance& instance, double time, int width, int height, int samples);

}  // namespace quillon
