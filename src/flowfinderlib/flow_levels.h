// Private to the flow finder: grey pictures and flows from one size to another.
#pragma once

#include "flowfinderlib/flow_finder.h"

// Levels of 255, from the luminance or a channel; brighter than white is bent so that it stays below 511.
bool flow_read_grey(const K7Image* image, int channel, FlowPlane& grey);
// The same of one channel, from 0, as means of squares of `side` pixels, times `gain`. The plane has its size already,
// rounded up.
void flow_read_shrunk(const K7Image* image, int channel, int side, float gain, FlowPlane& plane);
// Takes the local mean away, and with it changes of light from picture to picture. False without memory.
bool flow_flatten_brightness(FlowPlane& grey);
// To half the size, rounded up, by FlowPyramidFilter.
void flow_halve(const FlowPlane& from, FlowPlane& to, int filter);
// Borders and derivatives.
void flow_differentiate(FlowGrey& level);
// From a level to the next finer one: pixel x lies at (x - 1/2) / 2 there. Flow gains 2, as it is twice as long there.
void flow_enlarge(const FlowPlane& from, FlowPlane& to, float gain);
