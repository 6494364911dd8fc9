// What the night looks share beside their row passes.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/night/NightLook_simd.h"

// The picture that a look reads its colours from: a copy of the source, blurred by `softening` tenths of a pixel at
// full size.
ImagePtr softened(const K7Image& source, bool soften, double softening);
