// The clouds of Q_Sky: square maps, as wide as the picture, that repeat beyond their edges.
//
// Octaves of dots, each half as large and four times as many as the one before, are scattered, drift by their own
// speeds and are blurred together again and again; every second octave takes density away, which frays the edges.
// Blurs are linear, so that all of them are done as one sum of frequencies (FFTTileSum) instead of some twenty passes
// over the map.
#pragma once

#include <cstdint>

#include "imagelib/imagelib.h"

struct CloudSettings {
    // Lengths in pixels of a map 720 wide
    double dot_blur;  // of the first octave
    int dots;         // of the first octave
    int octaves;
    double contrast;   // density that is taken off; up to 0.001 none
    double density;    // of streaks
    double direction;  // degrees
    double speed, speed_variance;
    bool streaky;  // slopes instead of density
    bool bumps;
    double bump_softness;
    std::uint32_t seed;
};

struct CloudMap {
    ImagePtr density;   // one channel
    ImagePtr gradient;  // of bumps, two channels (x and y), over ten pixels of a map 720 wide; null without bumps
};

// Of `size` x `size` pixels, up to 16384. False when `stop` asked for an end. Throws std::bad_alloc.
bool make_cloud_map(CloudMap& map, int size, const CloudSettings& settings, int frame, const StopRequested& stop);
