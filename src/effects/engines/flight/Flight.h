// The flight of a piece of a picture: its place as a function of the frames since it left.
//
// A burst, gravity and a wind with a drag that is in proportion to the speed have a closed form, as have a whirl and
// gusts laid over it, so no frame needs another one and flights run backwards as well.
//
// Lengths are in widths of the picture, times in frames; x to the right, y upwards, z towards the viewer.
#pragma once

#include <cstdint>

struct FlightForces {
    enum Axes { Upright = 1, TowardsViewer = 2 };

    float gravity = 0;             // widths / frame^2, downwards
    float wind_x = 0, wind_y = 0;  // widths / frame
    float drag = 0;                // share of the speed through the air that is lost in a frame
    float burst = 0;               // widths / frame: from the centre
    float push = 0;                // towards the viewer
    float spread = 0;              // into any direction
    float lift = 0;                // upwards, setting in softly
    float gusts = 0;               // of what carries neighbours together
    float gust_size = 0.2F;        // widths
    float swirl = 0;               // radians / frame
    int swirl_axis = Upright;
    float centre_x = 0, centre_y = 0;
};

struct FlightPlace {
    float x, y, z;
};

class Flight {
  public:
    // What leaves from `start` with a random word of its own. `spacing` is how much larger than in the picture's plane
    // things are at its depth: 1 in the plane.
    Flight(const FlightForces& forces, FlightPlace start, std::uint32_t word, float spacing = 1);
    // `gust`: smooth noise around 0 of the place where the gusts are read; unused without gusts.
    FlightPlace at(double age, const FlightPlace& gust) const;
    // Where gusts are read: coordinates for three noises.
    FlightPlace gust_at(double age) const;

  private:
    FlightPlace whirled(double age) const;

    const FlightForces& m_forces;
    FlightPlace m_start, m_speed;
    double m_drag;
    float m_spacing, m_width;  // of the whirl: as a share of what it is for others
};
