// Lines with attributes, one pixel wide, antialiased or plain.
//
// Ends are records of LINE_FLOATS floats whose first two are x and y; every pixel gets the whole record interpolated.
// Values follow from the pixel, not from the pixel before it, so that windows side by side give the picture of one
// large window to the bit.
#pragma once

class LineRasterizer {
  public:
    static constexpr int LINE_FLOATS = 17;
    enum Mode { ANTIALIASED = 1, PLAIN = 2 };

    virtual ~LineRasterizer() = default;

    virtual void pixel(void* user, int x, int y, float coverage, const float* attributes, void* argument) = 0;

    // Pixels x0 to x1 - 1, y0 to y1 - 1; negatives count as 0. False, and the old window stays, when nothing is left.
    bool set_bounds(int x0, int y0, int x1, int y1);
    bool set_mode(int mode);
    void set_user(void* pointer) { m_user = pointer; }
    bool axes_swapped() const { return m_swapped; }

    // Two records, one after the other. False without bounds, or for ends that are not finite. Lines shorter than 1e-6
    // (plain: 0.001 on both axes) draw nothing.
    bool draw_line(const float* line, void* argument = nullptr);

  private:
    void draw_antialiased(const float* line, void* argument);
    void draw_plain(const float* line, void* argument);

    int m_left = -1, m_right = -1, m_bottom = -1, m_top = -1;  // inclusive
    bool m_bounds_set = false;
    int m_line_mode = PLAIN;
    bool m_swapped = false;
    void* m_user = nullptr;
};
