// Private to the flow finder: planes of floats with a border, which rows may read and write without asking.
#pragma once

#include <algorithm>

#include "imagelib/imagelib.h"

constexpr int FLOW_BORDER = 32;  // pixels on each side: the widest store, and what patches reach beyond the edge

// Rows of a pass from which on it is spread over threads: to wake one costs as much as some hundred short rows.
constexpr int FLOW_ROWS_TO_SPREAD = 200;

// work(y) for each row, on all threads where that pays.
template <class Work>
void flow_rows(int rows, Work&& work) {
    if (rows >= FLOW_ROWS_TO_SPREAD) return each_row_float(rows, work);
    for (int y = 0; y < rows; ++y) work(y);
}

class FlowPlane {
  public:
    // Pixels hold anything, the border too. False without memory.
    bool make(int plane_width, int plane_height) {
        if (m_image && width == plane_width && height == plane_height) return true;
        width = plane_width;
        height = plane_height;
        m_image = make_image_uncleared(width + 2 * FLOW_BORDER, height + 2 * FLOW_BORDER, 1, SAMPLE_F32);
        return m_image != nullptr;
    }
    // The same, of zeroes where it was not there yet; else as it was left.
    bool make_clear(int plane_width, int plane_height) {
        if (m_image && width == plane_width && height == plane_height) return true;
        return make(plane_width, plane_height) && image_clear(m_image.get());
    }
    void clear() { image_clear(m_image.get()); }
    // Rows from -FLOW_BORDER to height + FLOW_BORDER - 1, each with as many pixels before and behind.
    float* row(int y) { return image_row<float>(m_image.get(), y + FLOW_BORDER) + FLOW_BORDER; }
    const float* row(int y) const { return image_row<float>(m_image.get(), y + FLOW_BORDER) + FLOW_BORDER; }
    long stride() const { return long(width) + 2 * FLOW_BORDER; }
    void swap(FlowPlane& other) {
        std::swap(width, other.width);
        std::swap(height, other.height);
        m_image.swap(other.m_image);
    }

    // The border repeats the edge.
    void extend_row(int y) {
        float* at = row(y);
        std::fill(at - FLOW_BORDER, at, at[0]);
        std::fill(at + width, at + width + FLOW_BORDER, at[width - 1]);
    }
    void extend_above_and_below() {
        const long count = stride();
        for (int n = 1; n <= FLOW_BORDER; ++n) {
            std::copy_n(row(0) - FLOW_BORDER, count, row(-n) - FLOW_BORDER);
            std::copy_n(row(height - 1) - FLOW_BORDER, count, row(height - 1 + n) - FLOW_BORDER);
        }
    }

    int width = 0, height = 0;

  private:
    ImagePtr m_image;
};
