// Draws the characters of Q_Flock: poses their models, projects them, and fills the outlines with their exact coverage.
//
// Members are collected from the farthest to the nearest and drawn in bands of rows on all threads; within a band they
// keep that order, and a pixel follows from the members over it alone. What moves more than a pixel while the shutter
// is open is the mean of several poses on the way.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/sundries/FlockCharacters.h"
#include "imagelib/imagelib.h"

namespace flock {

// A member as it is drawn. Pixels; whole numbers are the corners of pixels.
struct View {
    float x, y;          // of its middle, when the shutter closes
    float way_x, way_y;  // since it opened
    float size;          // of a length of 1 of its model
    float axes[3][3];    // forwards, left and up; each to the right, up and towards the eye; of unit length
    float phase;         // of its beat, in turns
    float beaten;        // turns since the shutter opened
    float glide;         // 0 beats, 1 holds its wings still
    float main[3], marks[3];
    float opacity;
    float haze;  // 0 to 1
};

// What falls on all of them.
struct Lighting {
    float towards[3] = {0, 1, 0};  // the light, of unit length
    float shading = 0.5F;          // 0 flat
    float haze[3] = {};
    float shadow = 0;                  // its opacity; 0 none
    float shadow_x = 0, shadow_y = 0;  // how far it lies off, in lengths of the model
};

class Painter {
  public:
    void begin(Kind kind, const Lighting& lighting, const K7Image& picture);
    void add(const View& view);
    void draw(K7Image* picture) const;
    const Gait& gait() const { return m_character.gait; }

  private:
    class Brush;
    struct Item {
        std::uint32_t view;
        bool shadow;
        int first_row, last_row;
    };
    bool rowsOf(const View& view, bool shadow, Item& item) const;

    Kind m_kind{};  // of the character that was made
    Character m_character;
    Lighting m_lighting;
    float m_wide = 1;  // pixels to the right for a pixel upwards
    int m_width = 0, m_height = 0;
    std::vector<View> m_views;
};

}  // namespace flock
