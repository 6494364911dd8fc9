#include "noiselib/krvf_spectrum.h"

#include <algorithm>
#include <cmath>

namespace {

using Matrix = double[3][3];

// root * transpose(root) = tensor, by Cholesky elimination that starts with the first diagonal element that is not 0; a
// column of the root for each pivot, in their order. Rounding can leave a diagonal below 0, which counts as 0.
bool take_root(const Matrix& tensor, Matrix& root) {
    double diagonal[3] = {tensor[0][0], tensor[1][1], tensor[2][2]};
    bool is_done[3] = {};
    for (int column = 0; column < 3; ++column) {
        int pivot = 0;
        while (pivot < 3 && (is_done[pivot] || diagonal[pivot] == 0)) ++pivot;
        if (pivot == 3) return column > 0;
        is_done[pivot] = true;
        root[pivot][column] = std::sqrt(diagonal[pivot]);
        for (int row = 0; row < 3; ++row) {
            if (is_done[row] || diagonal[row] == 0) continue;
            double rest = tensor[row][pivot];
            for (int before = 0; before < column; ++before) rest -= root[row][before] * root[pivot][before];
            root[row][column] = rest / root[pivot][column];
            diagonal[row] = std::max(0.0, diagonal[row] - root[row][column] * root[row][column]);
        }
    }
    return true;
}

void multiply(const Matrix& m, const double (&v)[3], double (&result)[3]) {
    for (int row = 0; row < 3; ++row) result[row] = m[row][0] * v[0] + m[row][1] * v[1] + m[row][2] * v[2];
}

void remove_component(const double (&along)[3], double (&v)[3]) {
    const double length = v[0] * along[0] + v[1] * along[1] + v[2] * along[2];
    for (int i = 0; i < 3; ++i) v[i] -= length * along[i];
}

}  // namespace

double wave_weight(int k_squared, double energy) {
    // In extended precision, rounded once: pow() differs between processors in its last bit, and a bit decides whether
    // a reduced diagonal is 0 or just above, and so which random numbers a wave takes.
    const auto k = static_cast<long double>(std::sqrt(static_cast<double>(k_squared)));
    const long double e = energy;
    const auto energy_power = static_cast<double>(e * std::sqrt(e));
    const auto k_power = static_cast<double>(1 / (k * k * std::sqrt(k)));  // k^-2.5
    const double fourth = static_cast<double>(k_squared) * k_squared;
    return 1.5 * energy_power * k_power / (12.5663706 * fourth);
}

bool make_wave(int x, int y, int z, double weight, Wave& wave) {
    const double at[3] = {static_cast<double>(x), static_cast<double>(y), static_cast<double>(z)};
    const double k_squared = at[0] * at[0] + at[1] * at[1] + at[2] * at[2];
    Matrix tensor;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) tensor[i][j] = ((i == j ? k_squared : 0) - at[i] * at[j]) * weight;
    Matrix root = {};
    const Wave draws = wave;
    wave = {};
    if (!take_root(tensor, root)) return false;

    multiply(root, draws.real, wave.real);
    multiply(root, draws.imag, wave.imag);

    const double k = std::sqrt(k_squared);
    const double unit[3] = {at[0] / k, at[1] / k, at[2] / k};
    remove_component(unit, wave.real);
    remove_component(unit, wave.imag);
    return true;
}
