// A picture with copies of half, quarter and so on the size, to be read at any scale without aliasing.
#pragma once

#include <memory>
#include <vector>

#include "imagelib/imagelib.h"

// Float r, g, b and a, colours multiplied by alpha. Each copy stands in a frame of one pixel before and two after its
// rows and columns, so that a bilinear sample anywhere within half a pixel of it reads what is there.
class MipPicture {
  public:
    struct Level {
        const float* samples;      // r, g, b, a of the first row and column
        int width, height, pitch;  // pixels; pitch: from row to row
    };

    enum class Frame {
        clear,   // the picture ends: sprites
        repeat,  // the outermost pixels go on: textures
    };

    MipPicture() = default;
    // Float pictures of four channels (with `straight`, colours are not multiplied by alpha yet), or of one, which is
    // the opacity of white. Anything else, and a picture that there is no memory for, leaves it empty. Samples that are
    // not finite count as 0.
    explicit MipPicture(const K7Image* picture, bool straight = false, Frame frame = Frame::clear);
    explicit operator bool() const { return !m_copies.empty(); }

    int width() const { return m_copies.empty() ? 0 : m_copies[0].width; }
    int height() const { return m_copies.empty() ? 0 : m_copies[0].height; }
    // 0 is the picture itself; the last has one pixel.
    int levels() const { return static_cast<int>(m_copies.size()); }
    const Level& level(int i) const { return m_copies[static_cast<std::size_t>(i)]; }
    // The copy to read when so many of the picture's pixels lie within one that is drawn, and how much of the next one
    // to mix in, 0 to 1, so that nothing jumps as the size changes.
    struct Reading {
        int level = 0;
        float mix = 0;
    };
    Reading reading(float squeeze) const;

  private:
    bool add_level(int width, int height);
    void halve(const Level& from, const Level& to);
    void repeat_edges(const Level& level);

    std::vector<std::unique_ptr<float[]>> m_memory;
    std::vector<Level> m_copies;
};
