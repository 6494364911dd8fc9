// How a picture looks at the sky above a flat earth, told by the point that verticals run towards.
//
// Lengths in the sky count heights of the curtains' lower border above the ground; lengths in the picture count its
// widths, from its middle. In the plan, the plane of the lower border, the camera is at (0, 0).
#pragma once

struct AuroraPoint {
    float x, y;
};

class AuroraCamera {
  public:
    // Where verticals meet, and the distance at which a picture one wide is seen.
    AuroraCamera(AuroraPoint vanishing, float focal);

    // A line of sight, not of length 1.
    struct Sight {
        float up, ahead, side;
    };
    Sight sight(AuroraPoint in_picture) const;
    AuroraPoint to_plan(AuroraPoint in_picture) const;  // what lies below the horizon comes near it
    // False when the place is beside or behind the camera.
    bool to_picture(AuroraPoint in_plan, AuroraPoint& in_picture) const;
    float focal() const { return m_focal; }

  private:
    float m_focal;
    float m_up[3], m_ahead[3], m_side[3];  // unit vectors: to the right, upwards, into the picture
};
