// Antialiased lines, one pixel wide, straight into a float image.
//
// Pixel centres lie at whole numbers: a line from (2, 3) to (5, 3) covers row 3 only. Ends may lie anywhere; what is
// outside the clip rectangle is skipped at no cost a pixel. Ends that are not finite, and lines shorter than 1e-6, draw
// nothing.
#pragma once

#include "imagelib/imagelib.h"

// Source-over of a colour (r, g, b, a) whose coverage is a * opacity: colours of four channels become
// c * colour + (1 - c) * pixel, alpha c + (1 - c) * alpha. Float RGBA only. The opacity runs evenly from
// `opacity_start` at the first end to `opacity_end` at the second.
bool draw_line(K7Image* image, const float colour[4], float x0, float y0, float x1, float y1, float opacity_start = 1,
               float opacity_end = 1);

// The same walk for effects that blend in their own way, into any number of channels.
class LineDraw {
  public:
    explicit LineDraw(K7Image* target, void* user = nullptr);
    virtual ~LineDraw() = default;

    // x, y inside the clip rectangle; coverage 0 to 1; t from 0 at the line's first end to 1 at its second.
    virtual void pixel(int x, int y, float coverage, float t) = 0;

    // Inclusive, cut to the image. False when nothing is left; the rectangle then stays as it was.
    bool set_clip(int x0, int y0, int x1, int y1);
    bool draw(float x0, float y0, float x1, float y1);

  protected:
    void* user() const { return m_user_pointer; }
    K7Image* target() const { return m_image; }
    bool swapped() const { return m_swapped_axes; }  // the line being drawn is steeper than 45 degrees
    float length() const { return m_line_length; }   // of the line being drawn, in pixels
    float* pixel_at(int x, int y) const { return image_row<float>(m_image, y) + x * m_image->channels; }

  private:
    void* m_user_pointer;
    K7Image* m_image;  // null: refused
    bool m_swapped_axes = false;
    float m_line_length = 0;
    int m_clip_x0 = 0, m_clip_y0 = 0, m_clip_x1 = -1, m_clip_y1 = -1;
};

// Adds light along a line: a table of colours by distance from the first end, one entry a pixel, faded out smoothly
// over the last part of the line. Alpha is left alone. Three channels or more.
class StreakLineDraw final : public LineDraw {
  public:
    // `table` holds 2 * half_width entries of r, g, b; beyond them the last entry goes on.
    StreakLineDraw(K7Image* target, const float* table, int half_width, float fade_start);

    void set_multipliers(float r, float g, float b) { m_red = r, m_green = g, m_blue = b; }
    void pixel(int x, int y, float coverage, float t) override;

  private:
    const float* m_colours;
    int m_entries;
    float m_fade_start;
    float m_red = 1, m_green = 1, m_blue = 1;
};

// Source-over that gains strength from the first end of the line to the second; float RGBA only.
class MyLineDraw final : public LineDraw {
  public:
    struct Ink {
        float r, g, b;
        float strength;
        bool keep_background;  // adds to what is there instead of covering it
    };
    MyLineDraw(K7Image* target, const Ink* ink);
    void pixel(int x, int y, float coverage, float t) override;
};
