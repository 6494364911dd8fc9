// Fills the outlines of Q_Flock with their coverage, exact for each pixel and the mean of the moments of a blur.
//
// Small outlines of few corners are what there are most of. Each edge adds, to the pixels that it runs through, how the
// area above it changes from row to row; sums up the columns are then the coverage, many columns abreast. Windows of
// one picture that lie above each other give the same coverage but for rounding.
#pragma once

#include <vector>

#include "effects/sundries/FlockPoses.h"
#include "imagelib/imagelib_coverage.h"

namespace flock {

// A moment of the shutter's time.
struct Moment {
    float time;    // 0 when it opens, 1 when it closes
    float dx, dy;  // pixels
};

class Filler {
  public:
    // Lays a piece over the pixels of a window; `origin` is where the pixel (0, 0) of its picture would be, `pitch`
    // that picture's width. With moments given, the piece is black and spread over them.
    void fill(const Piece& piece, const Corner* corners, float* origin, int pitch, PixelWindow window,
              const std::vector<Moment>* moments = nullptr);

  private:
    void addLoop(const Piece& piece, const Corner* corners, const Moment& moment);
    void addCurve(const Piece& piece, const Corner* corners, const Moment& moment);
    void addEdge(float px, float py, float qx, float qy);
    void addWithin(float px, float py, float qx, float qy, float sign);
    void addToColumn(int column, float width, float from, float to);
    void cover(bool first);
    void lay(const Piece& piece, float share, bool black, float* origin, int pitch) const;

    PixelWindow m_window{};
    int m_pitch = 0;                // floats from row to row of these:
    std::vector<float> m_cells;     // changes from row to row; all 0 between loops
    std::vector<float> m_mean;      // coverage, not yet divided by the number of moments
    std::vector<ink::Quad> m_sums;  // of a row
    float m_wide = 0, m_high = 0;   // of the window
};

}  // namespace flock
