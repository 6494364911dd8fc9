#include "clk7/clk7.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/portable_math.h"

const CieRow CIE_1931[CIE_ROWS] = {
#include "clk7/cie1931.inc"
};

namespace {

constexpr int LONGEST = 100000;  // nanometres

using Matrix = double[3][3];

double determinant(const Matrix& m) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// m * out = v
bool solve(const Matrix& m, const double (&v)[3], double (&out)[3]) {
    const double whole = determinant(m);
    if (!(std::fabs(whole) > 1e-12)) {
        std::fill_n(out, 3, 0.0);
        return false;
    }
    for (int column = 0; column < 3; ++column) {
        Matrix replaced;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) replaced[i][j] = j == column ? v[i] : m[i][j];
        out[column] = determinant(replaced) / whole;
    }
    return true;
}

void columns_of(const ColourPrimaries& p, Matrix& m) {
    const Chromaticity columns[] = {p.red, p.green, p.blue};
    for (int j = 0; j < 3; ++j) m[0][j] = columns[j].x, m[1][j] = columns[j].y, m[2][j] = columns[j].z();
}

}  // namespace

bool mix_of_primaries(const ColourPrimaries& primaries, const double (&xyz)[3], double (&rgb)[3]) {
    Matrix m;
    columns_of(primaries, m);
    return solve(m, xyz, rgb);
}

void black_body_xyz(double temperature, double (&xyz)[3]) {
    constexpr double FIRST_RADIATION = 3.74183e-16;          // W m^2
    constexpr double SECOND_RADIATION = 14390158.988046885;  // nm K
    std::fill_n(xyz, 3, 0.0);
    if (!(temperature > 0.0)) return;
    for (int i = 0; i < CIE_ROWS; ++i) {
        const double metres = (CIE_FIRST + i * CIE_STEP) * 1e-9, squared = metres * metres;
        // exp(x) - 1 is infinite for a body that is nearly cold: its light is 0 then
        const double exponential = k7_exp(SECOND_RADIATION / ((CIE_FIRST + i * CIE_STEP) * temperature)) - 1.0;
        const double power = FIRST_RADIATION / (squared * squared * metres * exponential);
        const double weight = i == 0 || i == CIE_ROWS - 1 ? 0.5 * power : power;
        xyz[0] += weight * double(CIE_1931[i].x);
        xyz[1] += weight * double(CIE_1931[i].y);
        xyz[2] += weight * double(CIE_1931[i].z);
    }
    const double most = std::max({xyz[0], xyz[1], xyz[2]});
    if (most > 0.0)
        for (double& v : xyz) v /= most;
}

bool CLRK7::init(int lo, int hi, const ColourPrimaries* primaries) {
    release();
    m_lo = lo, m_hi = hi;
    if (primaries) m_primaries = *primaries;
    const bool sound = lo >= 0 && hi >= lo && hi <= LONGEST && derive_matrices();
    m_ready = sound && in_memory([this] { fill_tables(); });
    if (!m_ready) release();
    return m_ready;
}

void CLRK7::release() { *this = CLRK7(); }

bool CLRK7::derive_matrices() {
    const Chromaticity& white = m_primaries.white;
    if (!(white.y > 0.0)) return false;
    m_white[0] = 100.0 * white.x / white.y, m_white[1] = 100.0, m_white[2] = 100.0 * white.z() / white.y;
    const double sum = m_white[0] + 15.0 * m_white[1] + 3.0 * m_white[2];
    m_white_u = 4.0 * m_white[0] / sum, m_white_v = 9.0 * m_white[1] / sum;

    // Each primary is as strong as it must be for equal parts of all to make the white.
    const double goal[] = {white.x / white.y, 1.0, white.z() / white.y};
    double strength[3];
    if (!mix_of_primaries(m_primaries, goal, strength)) return false;
    columns_of(m_primaries, m_rgb_to_xyz);
    for (auto& row : m_rgb_to_xyz)
        for (int j = 0; j < 3; ++j) row[j] *= strength[j];
    for (int j = 0; j < 3; ++j) {
        double unit[3] = {}, column[3];
        unit[j] = 1.0;
        if (!solve(m_rgb_to_xyz, unit, column)) return false;
        for (int i = 0; i < 3; ++i) m_xyz_to_rgb[i][j] = column[i];
    }
    return true;
}

void CLRK7::fill_tables() {
    const auto count = static_cast<std::size_t>(m_hi - m_lo + 1);
    m_x.assign(count, 0.0F), m_y.assign(count, 0.0F), m_z.assign(count, 0.0F);
    double sum = 0.0;
    for (int nm = std::max(m_lo, CIE_FIRST); nm <= std::min(m_hi, CIE_LAST); ++nm) {
        const int row = std::min((nm - CIE_FIRST) / CIE_STEP, CIE_ROWS - 2);
        const CieRow &a = CIE_1931[row], &b = CIE_1931[row + 1];
        const float part = static_cast<float>(nm - CIE_FIRST - row * CIE_STEP) / CIE_STEP;
        const auto i = static_cast<std::size_t>(nm - m_lo);
        m_x[i] = a.x + part * (b.x - a.x);
        m_y[i] = a.y + part * (b.y - a.y);
        m_z[i] = a.z + part * (b.z - a.z);
        sum += double(m_y[i]);
    }
    m_factor = sum > 0.0 ? 1.0 / sum : 0.0;
}

void CLRK7::to_rgb(const double (&xyz)[3], float (&rgb)[3]) const {
    for (int i = 0; i < 3; ++i) {
        const double* row = m_xyz_to_rgb[i];
        rgb[i] = static_cast<float>((row[0] * xyz[0] + row[1] * xyz[1] + row[2] * xyz[2]) * m_factor);
    }
}

bool CLRK7::spectrum_to_rgb(const float* spectrum, float (&rgb)[3]) const {
    double xyz[3] = {};
    const bool possible = m_ready && spectrum;
    for (std::size_t i = 0; possible && i < m_y.size(); ++i) {
        xyz[0] += double(spectrum[i]) * double(m_x[i]);
        xyz[1] += double(spectrum[i]) * double(m_y[i]);
        xyz[2] += double(spectrum[i]) * double(m_z[i]);
    }
    to_rgb(xyz, rgb);
    return possible;
}

bool CLRK7::line_to_rgb(double nanometres, float (&rgb)[3]) const {
    double xyz[3] = {};
    if (m_ready && nanometres >= m_lo && nanometres <= m_hi) {
        const auto below = static_cast<std::size_t>(nanometres - m_lo), above = std::min(below + 1, m_y.size() - 1);
        const double part = nanometres - m_lo - static_cast<double>(below);
        xyz[0] = double(m_x[below]) * (1.0 - part) + double(m_x[above]) * part;
        xyz[1] = double(m_y[below]) * (1.0 - part) + double(m_y[above]) * part;
        xyz[2] = double(m_z[below]) * (1.0 - part) + double(m_z[above]) * part;
    }
    to_rgb(xyz, rgb);
    return m_ready;
}
