// Private to the fluid: the pressure of a bounded grid, which is 0 on the ring around it.
//
//     4 p(i, j) - p(i-1, j) - p(i+1, j) - p(i, j-1) - p(i, j+1) = rhs(i, j)
//
// Directly: the sine transform of type 1 along the rows, a tridiagonal system for each wave along the columns, and the
// transform back (R. W. Hockney, "A Fast Direct Solution of Poisson's Equation Using Fourier Analysis", JACM 12, 1965).
// The transform is a product with a matrix, folded in half by its symmetry, in double precision and on the solver's own
// threads. Fast transforms gain little at the widths in use, 128 and 256, whose lengths are 3 * 43 and the prime 257:
// the whole projection takes 1.8 times as long as they alone do in single precision.
#pragma once

#include <memory>

struct FluidRows;

class FluidPressure {
  public:
    FluidPressure();
    ~FluidPressure();
    FluidPressure(const FluidPressure&) = delete;
    FluidPressure& operator=(const FluidPressure&) = delete;

    // Doubles of (width + 2) x (height + 2) cells, the ring zero; null without memory. Kept for the next call.
    double* right_side(int width, int height);
    double* pressure() const;

    static constexpr int MAX_DIRECT_WIDTH = 2048;  // above it only the sweeps: their tables grow with the square
    // Both take the right side to the pressure. False: no memory, or an end was asked for.
    bool solve_directly(const FluidRows& rows, bool parallel);
    // Successive over-relaxation by half sweeps in the colours of a chessboard, with Chebyshev acceleration (W. H.
    // Press et al., "Numerical Recipes", 19.5). Answers the number of half sweeps; 0: an end was asked for.
    int solve_by_sweeps(const FluidRows& rows, bool parallel);

  private:
    struct State;
    std::unique_ptr<State> m_state;
};
