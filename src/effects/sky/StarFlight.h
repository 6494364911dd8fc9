// The way of Q_StarField's camera: where it is at any time, and which way it looks.
//
// Places are in light years in the space of the stars: x to the right of a camera that has not turned, y up, z back.
#pragma once

#include <functional>
#include <vector>

// What the controls say at a frame. Angles are in degrees, speeds in light years or degrees a frame.
struct StarDrive {
    double speed[3];  // to the right, up, forwards
    double place[3];  // likewise, from the beginning of the space
    double heading, pitch, roll;
    double turn;  // of the sky around its pole, counter-clockwise
    double pole_heading, pole_pitch;
};

struct StarPose {
    double place[3];
    double right[3], up[3], forward[3];  // of unit length
};

// Unit vectors of a camera. The angles are in degrees.
StarPose star_pose(double heading, double pitch, double roll);

class StarFlight {
  public:
    using Drive = std::function<StarDrive(double frame)>;

    // For times from `from` to `to`, in frames. Reads the drive at every frame from 0 to there, up to LONGEST of them
    // away; beyond, speeds stay what they were.
    static constexpr int LONGEST = 20000;
    StarFlight(Drive drive, double from, double to);

    // Speeds are summed from frame 0, so that a frame is the same whatever was asked before it.
    StarPose at(double frame) const;

  private:
    struct Way {
        double place[3], turn;
    };
    struct Motion {
        Way way, speed;
    };
    void run(std::vector<Motion>& legs, int frames, int direction) const;
    Way wayAt(double frame) const;
    StarPose poseAt(const StarDrive& drive, const Way& way) const;
    Way speedAt(const StarDrive& drive, const Way& way) const;

    Drive m_drive;
    std::vector<Motion> m_after, m_before;  // at the frames 0, 1, 2, ... and 0, -1, -2, ...
};
