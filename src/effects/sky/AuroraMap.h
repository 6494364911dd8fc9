// The light of an aurora by azimuth and elevation of the line of sight.
//
// The lines of the field, along which an aurora hangs, are verticals here. One of them lies at a single azimuth, and
// the light at a height h above a place at the distance r is seen at the elevation whose tangent is h / r. So with the
// logarithm of that tangent as the axis, all that hangs at an azimuth is a sum of height profiles, each shifted by the
// logarithm of its distance.
#pragma once

#include <vector>

#include "effects/sky/AuroraCurtains.h"
#include "effects/sky/Aurora_simd.h"
#include "imagelib/imagelib.h"
#include "k7pi_baselib/rows.h"

struct AuroraFrame {
    int width, height;  // pixels
    float tallness;     // of the picture, in widths
};

struct AuroraAir {
    float height;      // of what is above the lower border, 1 as measured
    float brightness;  // of each strand
    float colours[AURORA_PLANES][4];
    float haze;  // light lost towards the horizon
    float near_glow, far_glow;
    float thickness;  // of curtains, in the plan
};

class AuroraMap {
  public:
    AuroraMap(const AuroraCamera& camera, const AuroraFrame& frame, const AuroraAir& air);

    // Strands in runs of AuroraCurtains::BLOCK + 1. False when an end was asked for.
    bool fill(const std::vector<AuroraStrand>& strands, const StopRequested& stop);
    // Mean light, and what a row of the picture needs of the map and the camera.
    const float* mean() const { return m_mean; }
    AuroraPixels row(int y) const;

  private:
    struct Segment {
        float from, to;  // rows of the map, from below to
        float half;      // thickness on both sides, in rows
        float u;         // distance, as steps of its logarithm
        float light[AURORA_LIGHTS];
    };
    void choose_view(const AuroraFrame& frame);
    void make_profiles(float height);
    void make_air(float haze);
    void collect(const std::vector<AuroraStrand>& strands);
    void add_segment(const AuroraStrand& a, const AuroraStrand& b);
    void add_cells(const Segment& segment, int first, float* cells) const;
    void sort_bands();
    void fill_band(int band, std::vector<float>& cells, std::vector<float>& planes);
    ImagePtr make_glow(int pad) const;
    bool add_glow(const StopRequested& stop);
    void make_levels();
    float* texels(int row) { return image_row<float>(m_texels.get(), row); }

    AuroraCamera m_camera;
    AuroraFrame m_frame;
    AuroraAir m_air;
    float m_first_azimuth = 0, m_row_angle = 0;
    bool m_circle = false;
    int m_rows = 0, m_columns = 0, m_lowest = 0;
    float m_least_level = 0;  // of lines of sight: their part across the vertical
    std::vector<float> m_profile_values[AURORA_LIGHTS];
    AuroraProfile m_profiles[AURORA_LIGHTS];
    std::vector<float> m_through;  // what the air lets through, by column
    std::vector<Segment> m_segments;
    std::vector<int> m_band_starts, m_band_items;
    int m_nearest = 0, m_cells = 0;
    ImagePtr m_texels;
    std::vector<float> m_coarse;
    std::vector<ImagePtr> m_halved;
    std::vector<AuroraTable> m_tables;
    float m_mean[4] = {};
};
