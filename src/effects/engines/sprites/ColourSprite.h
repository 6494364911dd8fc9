// A picture in colour that particles are drawn with at any size, turn and stretch.
#pragma once

#include <memory>
#include <vector>

#include "imagelib/imagelib.h"

// Colours multiplied by alpha, with copies of half, quarter and so on the size. Each copy stands in a frame of clear
// pixels: one before the first, two after the last row and column.
class ColourSprite {
  public:
    struct Level {
        const float* samples;      // r, g, b, a of the first row and column
        int width, height, pitch;  // pixels; pitch: from row to row
    };

    ColourSprite() = default;
    // Float pictures: four channels (with `straight`, colours are not multiplied by alpha yet), or one, which is the
    // opacity of white. Anything else, and a picture that there is no memory for, gives an empty sprite. Samples that
    // are not finite count as 0.
    explicit ColourSprite(const K7Image* picture, bool straight = false);
    explicit operator bool() const { return !m_levels.empty(); }

    int width() const { return m_levels.empty() ? 0 : m_levels[0].width; }
    int height() const { return m_levels.empty() ? 0 : m_levels[0].height; }
    // 0 is the picture itself; the last has one pixel.
    int levels() const { return static_cast<int>(m_levels.size()); }
    const Level& level(int i) const { return m_levels[static_cast<std::size_t>(i)]; }

  private:
    bool addLevel(int width, int height);
    void halve(const Level& from, const Level& to);

    std::vector<std::unique_ptr<float[]>> m_memory;
    std::vector<Level> m_levels;
};
