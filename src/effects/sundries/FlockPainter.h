// Draws the members of Q_Flock: poses their models (FlockPoses.h) and fills the outlines (FlockFill.h).
//
// Members are collected from the farthest to the nearest, posed on all threads, and drawn in bands of rows; within a
// band they keep that order, and a pixel follows from the members over it alone. What moves more than a pixel while the
// shutter is open is the mean of several poses on the way.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/sundries/FlockPoses.h"
#include "imagelib/imagelib.h"

namespace flock {

class Painter {
  public:
    void begin(Kind kind, const Lighting& lighting, const K7Image& picture);
    void add(const View& view);
    void draw(K7Image* picture);
    const Gait& gait() const { return m_maker.gait(); }

  private:
    class Brush;
    struct Item {
        std::uint32_t member;
        bool shadow;
        int first_row, last_row;
    };
    void pose();
    std::vector<Item> items() const;

    Kind m_kind{};  // of the character that was made
    PoseMaker m_maker;
    Lighting m_lighting;
    float m_wide = 1;  // pixels to the right for a pixel upwards
    int m_width = 0, m_height = 0;
    std::vector<View> m_views;
    std::vector<Poses> m_poses;  // of so many members each
};

}  // namespace flock
