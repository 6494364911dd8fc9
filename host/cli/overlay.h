// An effect's overlay as a picture.
#pragma once

#include <span>

#include "host/cli/picture.h"
#include "host/core/effect.h"

namespace quillon {

// What the effect draws over its picture of that size at a time, with premultiplied alpha. `pen` is where the pen has
// been, in parts of the picture from its lower left corner: it hovers at one place, and drags from the first of several
// to the others. Throws RunError: the effect has no overlay, or the machine no off-screen OpenGL.
Picture overlayDrawing(ofxhost::EffectInstance& instance, double time, int width, int height, int samples,
                       std::span<const OfxPointD> pen = {});

}  // namespace quillon
