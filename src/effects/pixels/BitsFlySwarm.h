// Private to Q_BitsFly: the tiles of one frame that have left, and where they are.
#pragma once

#include "effects/pixels/BitsFly.h"

// Of one tile at one moment. What tips over turns around its edge: `arm` leads from there to its middle.
struct BitsFly::Moment {
    float place[3];
    double angle = 0;
    float size = 1, opacity = 1, thickness = 0;
};

// A tile that has left.
struct BitsFly::Craft {
    std::uint32_t tile;
    float axis[3], arm[3];
    Moment open, close;
    int poses;
    std::size_t first_pose;
};

struct BitsFly::Swarm {
    const Tiling& tiling;
    TileLook look;
    TilePainter painter;
    FlightForces forces;
    Departures departures;
    SolidNoise gusts;
    float tallness;
    bool ordered, deep;                // whether there is a matte for it
    std::vector<std::uint32_t> holes;  // tiles that are not in their place
    std::vector<Craft> crafts;
    std::vector<TilePose> poses;
    std::vector<TilePainter::Flying> flying;
};
