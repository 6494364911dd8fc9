// Private to completion: the shifts at which what surrounds a hole looks like itself.
//
// K. He and J. Sun, "Statistics of patch offsets for image completion", 2012: few shifts are shared by most patches
// that have a match, and a hole goes on by them. Here all patches near the hole are compared at all shifts in reach,
// so that nothing is left to chance and grain changes little.
#pragma once

#include "imagelib/shift_map.h"

struct ShiftSearch {
    int nearest = 4;  // cells: shorter shifts say nothing but that pictures are smooth
    int most = 48;    // shifts
};

// Adds shifts, the most telling first, and then as many as are needed for every cell of the hole to have one. False
// when an end was asked for.
bool find_shifts(const ShiftLevel& level, const ShiftSearch& search, std::vector<Shift>& shifts,
                 const StopRequested& stop);
