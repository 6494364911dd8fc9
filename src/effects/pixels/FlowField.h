// The field that colours flow on, and the way back along it.
//
// A velocity on a grid over the picture, in picture widths for each width of flow: a speed of 1 carries colours as far
// as the amount says. It is the sum of
//   - the curl of a moving pattern's potential, which squeezes nothing together (R. Bridson, J. Hourihan and
//     M. Nordenstam, "Curl-noise for procedural fluid flow", SIGGRAPH 2007, from where the walls are too: the potential
//     fades to nothing along them);
//   - the gradient of a luminance, turned by an angle;
//   - a steady drift.
// The pattern changes with the flow, not with the frame: the field at amount a is the same one whatever the amount is
// now. So a place that has flowed by A lies where the field of all amounts from 0 to A has carried it, and a frame
// needs no other.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/pixels/FlowField_simd.h"
#include "fluidlib/fluidlib.h"
#include "noiselib/solidnoise.h"

struct FlowPattern {
    enum Kind { Turbulence = 1, Whirlpools = 2, Waves = 3 };
    int kind = Turbulence;
    float strength = 1;  // speed, about
    float size = 0.1F;   // of its eddies, in widths of the picture
    float detail = 0;    // of smaller eddies on top, 0 to 1
    float stretch = 1;   // along the drift's direction
    float evolve = 0;    // how much of itself it changes while colours flow through one eddy
    std::uint32_t seed = 1;
};

struct FlowSteering {
    float drift = 0, direction_x = 1, direction_y = 0;  // speed, and a unit vector
    float luma_along = 0, luma_across = 0;              // speed out of bright into dark places, and around bright ones
    float luma_reach = 0.02F;                           // radius that the luminance was smoothed by, in widths
    float slow_dark = 0;  // how much slower the pattern and the drift are in the dark, 0 to 1
    bool walls = false;
};

class FlowField {
  public:
    // `extent_x`, `extent_y`: from the first column and row of the grid to the last ones, in widths of the picture.
    // `luminance`: width x height values, 0 to about 1.
    FlowField(int width, int height, float extent_x, float extent_y, const FlowPattern& pattern,
              const FlowSteering& steering, const std::vector<float>& luminance);

    int width() const { return m_width; }
    int height() const { return m_height; }

    // Places in cells of the grid, row by row.
    struct Paths {
        std::vector<float> x, y;
    };
    // A velocity in cells, of each cell.
    struct Lines {
        std::vector<float> u, v;
    };
    Paths at_rest() const;
    // From where a flow from `amount - length` to `amount` came to the places. A length below 0 goes onwards instead.
    // False when `stop` asked for an end.
    bool trace_back(double amount, double length, const StopRequested& stop, Paths& paths) const;
    // Straight back along the lines of the field at an amount, at the same speed everywhere but where it stands still.
    Lines lines_at(double amount) const;
    bool follow_back(const Lines& lines, double length, const StopRequested& stop, Paths& paths) const;
    // As what image_through_maps reads.
    void to_maps(const Paths& paths, ScalarField& x, ScalarField& y) const;

  private:
    double phase_at(double amount) const { return double(m_pattern.evolve) * amount / double(m_pattern.size); }
    void steer(const FlowSteering& steering, const std::vector<float>& luminance);
    void fill_noise(float z, std::vector<float>& potential) const;
    void fill_waves(float z, std::vector<float>& potential) const;
    void fill_whirlpools(float z, std::vector<float>& potential) const;
    // The whole velocity at a phase of the pattern.
    Lines make_slice(double phase) const;
    FlowVelocity view(const Lines& lines) const { return {lines.u.data(), lines.v.data(), m_width, m_height}; }
    float x_of(int i) const { return (static_cast<float>(i) - 0.5F * static_cast<float>(m_width - 1)) * m_cell_x; }
    float y_of(int j) const { return (static_cast<float>(j) - 0.5F * static_cast<float>(m_height - 1)) * m_cell_y; }

    int m_width, m_height;
    float m_cell_x, m_cell_y;  // sides of a cell, in widths
    FlowPattern m_pattern;
    float m_along_x, m_along_y;  // the direction of the drift
    SolidNoise m_noise;
    Lines m_base;                           // what does not change: luminance and drift
    std::vector<float> m_weight;            // of the pattern; empty: 1
    std::vector<float> m_ramp_x, m_ramp_y;  // of the walls, with one more at both ends
};
