// Where the gas of a moving fire is: its way behind the source, and the place in the gas of each place in the picture.
//
// Lengths are in widths of the picture, upwards too; times are frames.
#pragma once

#include <functional>
#include <vector>

#include "effects/natural/FireBall_simd.h"
#include "noiselib/solidnoise.h"

// A ball at a whole frame.
struct FireSource {
    double x, y, radius;
};

// The way of a source, smooth through whole frames (E. Catmull and R. Rom, 1974).
class FirePath {
  public:
    // Of the frames [first, last], four at least. `flow`: how fast gas leaves a ball that stands still.
    FirePath(int first, int last, double flow, const std::function<FireSource(int frame)>& source);

    struct Moment {
        double x, y, radius;
        double vx, vy;  // widths a frame
        double along;   // gas that has left the ball since frame 0, or the nearest of the way, in radii
    };
    Moment at(double frame) const;

  private:
    int m_first;
    std::vector<Moment> m_frames;
};

// What carries gas once it has left the ball.
struct FireWind {
    double x, y;        // widths a frame
    double rise;        // widths a frame, upwards, once the gas has come to it
    double momentum;    // of the ball's velocity, that gas keeps for a while; 0 to 1
    double slow_down;   // frames in which a velocity that is left alone falls to 1/e
    double life;        // of a flame, frames
    double oldest;      // gas that is asked for, in lives
    double end_width;   // of the tail when the flames end, in widths of the ball
    double smoke_grow;  // how much wider it gets in each further life
};

struct FireRingList {
    std::vector<float> x, y, radius, along, age;
    FireRings view() const { return {x.data(), y.data(), radius.data(), along.data(), age.data(), int(x.size())}; }
};

// Rings of gas from the youngest to the oldest one; each left the ball a little before the one before it.
struct FireTrail {
    FireTrail(const FirePath& path, double now, const FireWind& wind);
    FireRingList all, few;           // few: every fourth, and the last
    float left, right, bottom, top;  // of what they cover
};

// How the air around stirs the gas.
struct FireAir {
    float reach;           // how far gas of one life is displaced, in radii of the ball
    float size;            // of eddies, in widths
    float phase;           // of their change
    float wind_x, wind_y;  // how far the air has gone
    float radius;          // of the ball
};

// A grid over a part of the picture that holds the place in the gas of each of its corners.
//
// A place belongs to the youngest ring that covers it, so that flames are arcs behind the ball, and circles around one
// that stands. Its direction from the ring's middle and how much gas has left the ball since put it on a round rod,
// whose cap is the ball: a surface without seams, on which noise of three dimensions travels with the gas.
class FireGrid {
  public:
    // `cell`: in widths. The part of [left, right] x [bottom, top] that gas may reach.
    FireGrid(const FireTrail& trail, const FireAir& air, const SolidNoise& noise, float cell, float left, float right,
             float bottom, float top);
    FireGridView view() const;
    bool empty() const { return m_width < 2 || m_height < 2; }
    // Columns of the grid, [first, last), that hold gas no older than `oldest` in a row or the next one.
    struct Span {
        int first, last;
    };
    Span span(int row, float oldest) const;
    float left, bottom, right, top;  // what it covers

  private:
    void fillRow(const FireTrail& trail, const FireAir& air, const SolidNoise& noise, int row);
    int m_width = 0, m_height = 0;
    float m_cell;
    std::vector<float> m_cells;
};
