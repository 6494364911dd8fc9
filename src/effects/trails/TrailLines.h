// The lines of a live trail: points on what moves are carried along by its flow and draw their paths.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/engines/motion/ClipMotion.h"
#include "effects/trails/TrailLayers.h"

// One frame, the oldest first in a list. Its layer is of the size of the motion.
struct TrailLineFrame {
    int number;
    const TrailLayer* layer;
    const FrameMotion* motion;
    float away_x, away_y;  // pixels of the motion's picture from where things lay in the frame to where they lie now
    float strength;        // of a path that is as old as the frame
    float thin;            // part of a line's width that is left then
    float tint[3];
};

struct TrailPen {
    float spacing;    // cells of the motion
    float width;      // pixels of the trail
    float variety;    // 0 to 1
    float to_pixels;  // of the trail, for a cell
    float tinted, saturation, gain;
    int life;  // frames
    std::uint32_t seed;
};

// Onto a float RGBA picture, each sample the larger one of what is there and what is drawn.
void draw_trail_lines(const std::vector<TrailLineFrame>& frames, const TrailPen& pen, K7Image& trail);
