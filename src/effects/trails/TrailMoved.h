// Layers of a live trail that have moved since their frame: with the camera, by drift, and carried about by eddies.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "effects/trails/TrailLayers.h"

// Where the oldest trails come from, in pixels of the layer: the curl of a noise of two octaves, which neither gathers
// nor thins what it carries (R. Bridson and others, "Curl-Noise for Procedural Fluid Flow", 2007).
class TrailEddies {
  public:
    TrailEddies(int width, int height, float size, float reach, std::uint32_t seed);
    float reach() const { return m_reach; }
    void at(int x, int y, float& dx, float& dy) const;  // of a pixel of the layer

  private:
    int m_width, m_height;
    float m_reach;
    std::vector<float> m_ways;
};

// A layer as it has moved since its frame. What it shows of earlier moments has moved for longer.
struct TrailMoved {
    float x = 0.0F, y = 0.0F;              // pixels
    float drift_x = 0.0F, drift_y = 0.0F;  // more of them from frame to frame
    float eddies = 0.0F;                   // part of their way,
    float more_eddies = 0.0F;              // and more of it from frame to frame
};
// One row of it, into `colours` and `extras`; the first and the last pixel. `eddies` may be null.
std::pair<int, int> moved_trail_row(const TrailLayer& layer, const TrailMoved& moved, const TrailEddies* eddies, int y,
                                    float* colours, float* extras);
