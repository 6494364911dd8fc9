// The stars of Q_StarField on film: from places in space to streaks and glows in the picture.
#pragma once

#include <vector>

#include "effects/sky/StarField_simd.h"
#include "effects/sky/StarFlight.h"
#include "effects/sky/StarHaze.h"
#include "effects/sky/StarScatter.h"
#include "graphicslib/camera.h"
#include "k7pi_baselib/rows.h"

// What the controls say at a frame. Lengths in the picture are in pixels, and light is a share of white at a star's
// middle.
struct StarScene {
    double frame, shutter;  // frames
    double width, height;   // of the picture, in pixels
    double pixel_aspect, field_of_view;
    StarScatter scatter;
    StarKinds kinds;
    int stars, far_stars, cluster_stars;
    double box;               // light years
    double cluster_place[3];  // light years from where the camera begins
    float cluster_radius;
    float brightness, range, tint[3];
    float reach;         // of a faint star's kernel
    float streak_light;  // 0 to 1
    float glow, glow_size;
    int spikes;
    float spike_length, spike_strength;
    double spike_angle;  // radians
    float twinkle;
    double twinkle_speed;
    StarHazeLook haze;
};

struct StarLight {
    std::vector<StarStreak> streaks;
    std::vector<StarGlow> glows;  // in pixels of the picture
};

class StarExposure {
  public:
    static constexpr int SUB_FRAMES = 64;

    StarExposure(const StarScene& scene, const StarFlight& flight);
    // In an order that does not depend on threads. False when the host wants an end: some stars are missing then.
    bool expose(StarLight& light, const StopRequested& stop) const;
    // At one of the sub-frames, 0 to SUB_FRAMES.
    const Camera& camera(int sub_frame) const { return m_cameras[static_cast<std::size_t>(sub_frame)]; }
    // How far the sky turns while the shutter is open, in pixels of the picture's middle, at most.
    float turned() const { return m_turned; }

  private:
    struct Star;
    bool mayBeSeen(const float (&place)[3], bool moves) const;
    bool project(const Star& star, int sub_frame, float (&point)[3]) const;
    // Stars from the first to before the last.
    void nearStars(std::uint32_t first, std::uint32_t last, StarLight& light) const;
    void farStars(std::uint32_t first, std::uint32_t last, StarLight& light) const;
    void clusterStars(std::uint32_t first, std::uint32_t last, StarLight& light) const;
    void nearStar(std::uint32_t number, StarLight& light) const;
    void clusterStar(std::uint32_t number, StarLight& light) const;
    void dust(Star* stars, int count) const;
    void clusterHaze(StarLight& light) const;
    void draw(const Star& star, StarLight& light) const;
    void drawPiece(const Star& star, const float (&from)[3], const float (&to)[3], double time, float share,
                   StarLight& light) const;
    void drawSpikes(const Star& star, StarLight& light) const;
    float dimmed(float light) const;

    StarScene m_scene;
    StarHaze m_haze;
    std::vector<Camera> m_cameras;  // relative to the camera's place in the middle of the exposure
    std::vector<Matrix4> m_views;   // to pixels
    double m_place[3], m_cluster[3];
    float m_forward[3], m_shift[2][3];  // the camera's place at the exposure's ends
    float m_cone, m_turned;
};
