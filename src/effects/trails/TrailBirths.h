// Where particles are born on what moves in a picture, and how they leave it.
//
// The picture is looked at in the cells of its flow. A cell counts by how fast it moves, how bright it is and what the
// matte says; births are drawn in proportion to that. They are spread over the time since the frame before, each lying
// where the thing was at that time, so that a fast thing leaves a closed trail and no row of clusters.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/engines/motion/ClipMotion.h"
#include "effects/engines/particles/ForceField.h"
#include "noiselib/mtrandom.h"

// What steers births and flight. Lengths in pixel widths, shares from 0 to 1. Fields of 4 bytes, to be compared as
// bytes.
struct TrailSettings {
    float width = 1, height = 1, aspect = 1;  // pixels, and the height of one in widths of it
    std::uint32_t seed = 0;
    std::int32_t follows_camera = 1, lead_in = 0;
    float speed_low = 0, speed_high = 1;    // parts of the width a frame
    float bright_low = 0, bright_high = 0;  // a high end of 0: dark and bright alike
    std::int32_t source = 0;                // TrailSource
    float rate = 0, rate_by_speed = 0;
    std::int32_t life = 1;  // the longest, frames
    float life_var = 0, scatter = 0;
    std::int32_t own_colours = 0;
    float inherit = 0, speed = 0, speed_var = 0;
    std::int32_t along = 0;  // the angle counts from the way of the thing, not from the right
    float angle = 0, spread = 0;
    float air_var = 0;
    particles::ForceField forces;
};

enum TrailSource : int { WHOLE = 1, OUTLINE, LEADING_EDGE, TRAILING_EDGE };

// Places in pixel widths from the lower left corner, both axes.
struct TrailPoint {
    float place[2], before[2];  // and a frame earlier; no farther back than the birth
    float velocity[2];
    float age, life;
    float colour[3];  // of the picture at its birth
    std::uint32_t key;
};

// A frame that is looked at.
struct TrailView {
    const FrameMotion* motion;
    int shrink;            // pixels to a cell
    const K7Image* matte;  // float RGBA of the full size; null: everywhere
};

class MovingPlaces {
  public:
    // Which cells move, from 0 to 1; no births yet.
    void find(const TrailSettings& settings, const TrailView& view);
    // Closes the holes and softens the edges of what was found, as a matte of it.
    void close();
    // The births of a frame. `back`: the frame lies so many frames before the one that was looked at, and things are
    // taken to have moved as they do there.
    void births(const TrailSettings& settings, const TrailView& view, int frame, int back,
                std::vector<TrailPoint>& out);

    int width() const { return m_width; }
    int height() const { return m_height; }
    const float* row(int y) const { return m_moves.data() + static_cast<std::size_t>(y) * std::size_t(m_width); }

  private:
    // Velocity of a cell beside that of the camera, in pixel widths a frame.
    struct Way {
        float x, y;
    };
    Way way(const TrailSettings& settings, const TrailView& view, int x, int y) const;
    float sourced(const TrailSettings& settings, const TrailView& view, int x, int y) const;
    void weigh(const TrailSettings& settings, const TrailView& view);
    TrailPoint birth(const TrailSettings& settings, const TrailView& view, int x, int y, int back,
                     MTRandom& random) const;

    int m_width = 0, m_height = 0;
    std::vector<float> m_moves;
    std::vector<float> m_sums;   // of what cells count along each row, up to and with each cell
    std::vector<double> m_rows;  // of rows, up to and with each
    double m_cover = 0;          // cells that count
};
