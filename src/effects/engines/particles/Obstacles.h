// What particles bounce off: the sides of the frame, and the edges of what is bright in a picture.
//
// The picture is taken as a distance to its nearest edge, at half its size, so that a fast particle finds the edge on
// its way by stepping as far as nothing can be (J. Hart, "Sphere tracing", 1996).
#pragma once

#include <cstdint>

#include "imagelib/imagelib.h"

namespace particles {

class Obstacles {
  public:
    enum Walls : std::int32_t { NONE = 0, FLOOR = 1, ALL = 2 };
    struct Surface {
        float restitution = 0;  // part of the speed against it that is thrown back
        float friction = 0;     // part of the speed along it that is lost
        float rest = 0;         // speeds below this are not thrown back, pixel widths a frame
        Walls walls = NONE;
    };

    void begin(const K7Image& frame);  // of the frame's shape, with nothing in it
    void add(const K7Image& picture);  // what is brighter than half is solid; replaces what there was
    void clear() {                     // only walls are left
        m_distance.reset();
        m_fingerprint = 0;
    }
    std::uint64_t fingerprint() const { return m_fingerprint; }  // of what is solid

    // Turns the velocity of a particle that would hit something in its next step, and moves it so that place plus
    // velocity is where it gets to. Places in pixel widths, both axes.
    void bounce(float position[2], float velocity[2], const Surface& surface) const;

  private:
    float distance(float x, float y) const;  // pixels, below 0 inside; of a place in pixels
    void normal(float x, float y, float out[2]) const;
    float untilSolid(const float position[2], const float velocity[2], float most) const;
    float untilWall(const float position[2], const float velocity[2], Walls walls, float out[2], float most) const;
    void pushOut(float position[2], float velocity[2], const Surface& surface) const;

    float m_width = 0, m_height = 0, m_aspect = 1;  // pixels; width of a pixel over its height
    ImagePtr m_distance;
    std::uint64_t m_fingerprint = 0;
};

}  // namespace particles
