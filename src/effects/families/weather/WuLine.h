// An antialiased line of one pixel's width that can be walked a band of rows at a time: every pixel gets the same
// coverage however the picture is cut.
//
// X. Wu, "An efficient antialiasing technique", SIGGRAPH 1991. The place across is worked out anew for each step
// along, instead of being summed up.
#pragma once

#include <algorithm>
#include <cmath>
#include <utility>

class WuLine {
  public:
    WuLine(float x0, float y0, float x1, float y1) : m_steep(std::fabs(y1 - y0) > std::fabs(x1 - x0)) {
        if (m_steep) std::swap(x0, y0), std::swap(x1, y1);
        if (x0 > x1) std::swap(x0, x1), std::swap(y0, y1);
        const float length = x1 - x0;
        m_drawn = length >= SHORTEST;  // the larger of the two extents
        if (!m_drawn) return;
        m_gradient = (y1 - y0) / length;
        m_begin = static_cast<int>(std::floor(x0 + 0.5f));
        m_end = static_cast<int>(std::floor(x1 + 0.5f));
        m_across = y0 + m_gradient * (static_cast<float>(m_begin) - x0);
        m_begin_gap = 1 - fraction(x0 + 0.5f);
        m_end_gap = fraction(x1 + 0.5f);
    }

    // Calls pixel(x, y, coverage) for the line's pixels in columns 0 to width - 1 of the rows. A pixel can come twice.
    template <class Pixel>
    void walk(int width, int first_row, int last_row, Pixel pixel) const {
        if (!m_drawn) return;
        int from = m_begin;
        int to = m_end;
        if (m_steep) {
            from = std::max(from, first_row);
            to = std::min(to, last_row);
        } else {
            clipToRows(first_row, last_row, from, to);
            from = std::max(from, 0);
            to = std::min(to, width - 1);
        }
        const auto plot = [&](int along, int across, float coverage) {
            const int x = m_steep ? across : along;
            const int y = m_steep ? along : across;
            if (x >= 0 && x < width && y >= first_row && y <= last_row) pixel(x, y, coverage);
        };
        for (int along = from; along <= to; ++along) {
            const float across = m_across + m_gradient * static_cast<float>(along - m_begin);
            const int cell = static_cast<int>(std::floor(across));
            const float far = across - static_cast<float>(cell);
            const auto both = [&](float gap) {
                plot(along, cell, (1 - far) * gap);
                plot(along, cell + 1, far * gap);
            };
            if (along == m_begin) both(m_begin_gap);
            if (along == m_end) both(m_end_gap);
            if (along != m_begin && along != m_end) both(1);
        }
    }

  private:
    static constexpr float SHORTEST = 1e-6f;

    static float fraction(float value) { return value - std::floor(value); }

    // The steps along a flat line that can touch the rows, and perhaps a few more.
    void clipToRows(int first_row, int last_row, int& from, int& to) const {
        if (std::fabs(m_gradient) < 1e-3f) return;
        double a = (first_row - 2 - double{m_across}) / double{m_gradient};
        double b = (last_row + 2 - double{m_across}) / double{m_gradient};
        if (a > b) std::swap(a, b);
        from = std::max(from, m_begin + static_cast<int>(std::clamp(std::floor(a), -1e9, 1e9)));
        to = std::min(to, m_begin + static_cast<int>(std::clamp(std::ceil(b), -1e9, 1e9)));
    }

    bool m_steep;
    bool m_drawn = false;
    float m_gradient = 0, m_across = 0;
    int m_begin = 0, m_end = 0;
    float m_begin_gap = 0, m_end_gap = 0;
};
