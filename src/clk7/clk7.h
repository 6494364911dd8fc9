// clk7: the colours of light that is given as a spectrum.
//
// Spectra have one value for each whole nanometre. They are weighted with the CIE 1931 colour matching functions of the
// 2 degree observer (data/cie/), given at 5 nm and interpolated linearly between, which makes X, Y and Z. Those become
// red, green and blue by the chromaticities of three primaries and a white (SMPTE RP 177, "Derivation of basic
// television color equations"). Colours are linear light and are not limited: a pure spectral colour has negative
// parts.
//
// Functions answer with a bool and never throw. After init() an object may be read by any number of threads.
#pragma once

#include <vector>

// ---- The observer ---------------------------------------------------------------------------------------------

struct CieRow {
    float x, y, z;
};
inline constexpr int CIE_FIRST = 380, CIE_LAST = 780, CIE_STEP = 5;  // nanometres
inline constexpr int CIE_ROWS = (CIE_LAST - CIE_FIRST) / CIE_STEP + 1;
extern const CieRow CIE_1931[CIE_ROWS];

// ---- Chromaticities -------------------------------------------------------------------------------------------

struct Chromaticity {
    double x, y;
    constexpr double z() const { return 1.0 - x - y; }
};

struct ColourPrimaries {
    Chromaticity red, green, blue, white;
};
// Those of European television with a green of 0.29, 0.6, and the white of daylight, D65.
inline constexpr ColourPrimaries DEFAULT_PRIMARIES{{0.64, 0.33}, {0.29, 0.6}, {0.15, 0.06}, {0.3127, 0.3290}};

// How much of each primary, as a colour whose x + y + z is 1, makes X, Y, Z: Cramer's rule. The white plays no part.
// False, and zeros, where the primaries lie on one line.
bool mix_of_primaries(const ColourPrimaries& primaries, const double (&xyz)[3], double (&rgb)[3]);

// X, Y and Z of a glowing black body, scaled so that the largest is 1. Planck's law at the 81 rows of the observer's
// table, the first and the last at half weight. Zeros for a temperature (kelvin) that is not above 0.
void black_body_xyz(double temperature, double (&xyz)[3]);

// ---- The engine -----------------------------------------------------------------------------------------------

class CLRK7 {
  public:
    // Wavelengths from `lo` to `hi` nanometres, inclusive, and primaries (null: the default ones). Beyond the
    // observer's table the eye sees nothing. False, and nothing is ready, for a range that is empty, negative or above
    // 100000 nm, for primaries or a white that no colours can be mixed of, and without memory.
    bool init(int lo, int hi, const ColourPrimaries* primaries = nullptr);
    void release();
    bool ready() const { return m_ready; }
    int lo() const { return m_lo; }
    int hi() const { return m_hi; }

    // hi - lo + 1 values. A spectrum of ones has Y = 1. False, and black, before init().
    bool spectrum_to_rgb(const float* spectrum, float (&rgb)[3]) const;
    // The same of a single line of strength 1 at any place; between whole nanometres its light is shared by both.
    bool line_to_rgb(double nanometres, float (&rgb)[3]) const;

    // Rows of the matrices; white (1, 1, 1) has Y = 1.
    const double (&rgb_to_xyz() const)[3][3] { return m_rgb_to_xyz; }
    const double (&xyz_to_rgb() const)[3][3] { return m_xyz_to_rgb; }
    // The white with Y = 100, and its place in the CIE 1976 diagram.
    const double (&white_xyz() const)[3] { return m_white; }
    double white_u() const { return m_white_u; }
    double white_v() const { return m_white_v; }
    double normalising_factor() const { return m_factor; }  // 1 / (sum of y over the range); 0 where all of it is 0

  private:
    bool derive_matrices();
    void fill_tables();
    void to_rgb(const double (&xyz)[3], float (&rgb)[3]) const;

    int m_lo = 0, m_hi = 0;
    bool m_ready = false;
    ColourPrimaries m_primaries = DEFAULT_PRIMARIES;
    double m_rgb_to_xyz[3][3] = {}, m_xyz_to_rgb[3][3] = {};
    double m_white[3] = {}, m_white_u = 0, m_white_v = 0;
    std::vector<float> m_x, m_y, m_z;  // one value for each nanometre
    double m_factor = 0;
};

// ---- Vectors and curves ---------------------------------------------------------------------------------------

// Divides by the length, found by two Newton steps from the largest component (within 0.2 percent), and answers that
// length. A vector whose largest component is below 1e-10 becomes 0, and the answer is 0.
float normalise_vector(float (&v)[3]);

// n points of a curve in space become m, evenly spread over its parameter, on the cubic of E. Catmull and R. Rom ("A
// class of local interpolating splines", 1974) through the points; the end points count twice. `outt` (may be null)
// gets the place of each on the curve, from 0 to n - 1. Answers 0; 1 with fewer than two points, 2 when m is 2 or less;
// nothing is written then.
int resample_catmull_rom(const float* x, const float* y, const float* z, int n, float* outx, float* outy, float* outz,
                         float* outt, int m);
