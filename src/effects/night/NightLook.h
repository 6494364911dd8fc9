// What the night looks have in common beside their row passes: pictures they can work on, and the way they start and
// end a frame.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/night/NightLook_simd.h"

// `work(y)` for each row, spread over threads, until the host wants the render to end. False when it did.
template <class Work>
bool night_rows(const PluginK7& effect, int rows, Work&& work) {
    for_rows_float(rows, [&](int first, int last) {
        for (int y = first; y <= last && !effect.abortRequested(); ++y) work(y);
    });
    return !effect.abortRequested();
}

// The picture that a look reads its colours from: a copy of the source, blurred by `softening` tenths of a pixel at
// full size. Null when there is no memory.
ImagePtr softened(const K7Image& source, bool soften, double softening);

void report_no_memory(const char* effect);
