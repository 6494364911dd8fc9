#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <limits>

#include "imagelib/imagelib_solvers.h"
#include "k7pi_baselib/in_memory.h"

namespace {

using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

constexpr double HOMOGRAPHY_THRESHOLD = 1e-6;

bool all_finite(const double* values, std::size_t count) {
    return std::all_of(values, values + count, [](double v) { return std::isfinite(v); });
}

// The power of two at or above the largest magnitude.
double scale_of(const float* points, int count) {
    double largest = 0;
    for (int i = 0; i < 2 * count; ++i) largest = std::max(largest, std::fabs(double(points[i])));
    int exponent = 0;
    const double fraction = std::frexp(largest, &exponent);  // from 1/2 on, below 1
    return largest > 0 ? std::ldexp(1.0, fraction == 0.5 ? exponent - 1 : exponent) : 1.0;
}

bool finite_points(const float* points, int count) {
    return points && std::all_of(points, points + 2 * std::size_t(count), [](float v) { return std::isfinite(v); });
}

void set_identity(float matrix[16]) {
    for (int i = 0; i < 16; ++i) matrix[i] = i % 5 == 0 ? 1.0f : 0.0f;
}

bool decompose_and_solve(const K7Matrix& matrix, const K7Vector& rhs, K7Vector& solution, double threshold) {
    const int m = matrix.rows(), n = matrix.columns();
    const Eigen::Map<const RowMajor> a(matrix.data(), m, n);
    const Eigen::Map<const Eigen::VectorXd> b(rhs.data(), m);
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(a, Eigen::ComputeThinU | Eigen::ComputeThinV);
    const Eigen::VectorXd& values = svd.singularValues();
    const double least = threshold > 0 ? values(0) * threshold : 0;
    Eigen::VectorXd weights = svd.matrixU().transpose() * b;
    for (Eigen::Index i = 0; i < values.size(); ++i)
        weights(i) = values(i) > 0 && values(i) >= least ? weights(i) / values(i) : 0.0;
    const Eigen::VectorXd x = svd.matrixV() * weights;
    if (!x.allFinite()) return false;
    Eigen::Map<Eigen::VectorXd>(solution.data(), n) = x;
    return true;
}

}  // namespace

bool solve_least_squares(const K7Matrix& matrix, const K7Vector& rhs, K7Vector& solution, double threshold) {
    if (!matrix.valid() || !rhs.valid() || !solution.valid()) return false;
    const int m = matrix.rows(), n = matrix.columns();
    if (rhs.length() != m || solution.length() != n) return false;
    if (!all_finite(matrix.data(), std::size_t(m) * std::size_t(n)) || !all_finite(rhs.data(), std::size_t(m)))
        return false;

    return in_memory([&] { return decompose_and_solve(matrix, rhs, solution, threshold); });
}

int solve_homography(const float* source_points, const float* target_points, int count, float matrix[16]) {
    if (!matrix) return 2;
    set_identity(matrix);
    if (count < 4) return 1;
    if (!finite_points(source_points, count) || !finite_points(target_points, count)) return 2;

    // Both sets are scaled to about 1 by powers of two: the same problem, but the threshold does not take points given
    // in pixels for a singular system.
    const double s = scale_of(source_points, count), t = scale_of(target_points, count);
    K7Matrix system(2 * count, 8);
    K7Vector rhs(2 * count), solution(8);
    if (!system.valid() || !rhs.valid() || !solution.valid()) return 2;
    for (int i = 0; i < count; ++i) {
        const double x = source_points[2 * i] / s, y = source_points[2 * i + 1] / s;
        const double target[2] = {target_points[2 * i] / t, target_points[2 * i + 1] / t};
        for (int axis = 0; axis < 2; ++axis) {
            const int row = 2 * i + axis + 1;
            const double u = target[axis];
            system(row, 3 * axis + 1) = -x;
            system(row, 3 * axis + 2) = -y;
            system(row, 3 * axis + 3) = -1;
            system(row, 7) = x * u;
            system(row, 8) = y * u;
            rhs[row] = -u;
        }
    }
    if (!solve_least_squares(system, rhs, solution, HOMOGRAPHY_THRESHOLD)) return 2;

    // a, b, c, d, e, f, g, h in the units of the caller, and their places.
    constexpr int PLACES[8] = {0, 1, 3, 4, 5, 7, 12, 13};
    const double units[8] = {t / s, t / s, t, t / s, t / s, t, 1 / s, 1 / s};
    constexpr double LARGEST = std::numeric_limits<float>::max();
    for (int i = 0; i < 8; ++i) matrix[PLACES[i]] = float(std::clamp(solution[i + 1] * units[i], -LARGEST, LARGEST));
    return 0;
}
