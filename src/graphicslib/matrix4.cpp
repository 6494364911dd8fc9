#include "graphicslib/matrix4.h"

#include <cmath>
#include <cstring>
#include <utility>

#include "k7pi_baselib/portable_math.h"

Matrix4 Matrix4::identity() { return scaling(1, 1, 1); }

Matrix4 Matrix4::translation(float x, float y, float z) {
    return {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {x, y, z, 1}}};
}

Matrix4 Matrix4::scaling(float x, float y, float z) {
    return {{{x, 0, 0, 0}, {0, y, 0, 0}, {0, 0, z, 0}, {0, 0, 0, 1}}};
}

Matrix4 Matrix4::rotation(int axis, float radians) {
    Matrix4 result = identity();
    if (axis < 0 || axis > 2) return result;
    const int a = (axis + 1) % 3, b = (axis + 2) % 3;
    const auto sine = k7_sin(radians);
    const auto cosine = k7_cos(radians);
    result.m[a][a] = result.m[b][b] = cosine;
    result.m[a][b] = sine;
    result.m[b][a] = -sine;
    return result;
}

Matrix4 Matrix4::transposed() const {
    Matrix4 result;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) result.m[j][i] = m[i][j];
    return result;
}

bool Matrix4::is_affine() const { return m[0][3] == 0 && m[1][3] == 0 && m[2][3] == 0 && m[3][3] == 1; }

bool Matrix4::is_finite() const {
    for (const auto& row : m)
        for (float value : row)
            if (!std::isfinite(value)) return false;
    return true;
}

Matrix4 operator*(const Matrix4& first, const Matrix4& second) {
    Matrix4 product;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            product.m[i][j] = first.m[i][0] * second.m[0][j] + first.m[i][1] * second.m[1][j] +
                              first.m[i][2] * second.m[2][j] + first.m[i][3] * second.m[3][j];
    return product;
}

bool operator==(const Matrix4& a, const Matrix4& b) {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            if (a.m[i][j] != b.m[i][j]) return false;
    return true;
}

namespace {

// The inverse of the upper left 3x3 by its adjugate, then the translation undone.
bool invert_affine(const Matrix4& matrix, Matrix4& inverse) {
    const auto& m = matrix.m;
    double adjugate[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            const int r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
            adjugate[i][j] = double(m[r0][c0]) * m[r1][c1] - double(m[r0][c1]) * m[r1][c0];
        }
    const double determinant = m[0][0] * adjugate[0][0] + m[0][1] * adjugate[1][0] + m[0][2] * adjugate[2][0];
    if (determinant == 0 || !std::isfinite(1 / determinant)) return false;
    double result[4][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) result[i][j] = adjugate[i][j] / determinant;
    for (int j = 0; j < 3; ++j)
        result[3][j] = -(m[3][0] * result[0][j] + m[3][1] * result[1][j] + m[3][2] * result[2][j]);
    inverse = Matrix4::identity();
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j) inverse.m[i][j] = static_cast<float>(result[i][j]);
    return true;
}

// Gauss and Jordan with row pivots.
bool invert_general(const Matrix4& matrix, Matrix4& inverse) {
    double rows[4][8] = {};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) rows[i][j] = matrix.m[i][j];
        rows[i][4 + i] = 1;
    }
    for (int column = 0; column < 4; ++column) {
        int pivot = column;
        for (int i = column + 1; i < 4; ++i)
            if (std::fabs(rows[i][column]) > std::fabs(rows[pivot][column])) pivot = i;
        if (rows[pivot][column] == 0 || !std::isfinite(1 / rows[pivot][column])) return false;
        std::swap(rows[pivot], rows[column]);
        const double scale = 1 / rows[column][column];
        for (double& value : rows[column]) value *= scale;
        for (int i = 0; i < 4; ++i) {
            if (i == column) continue;
            const double factor = rows[i][column];
            for (int j = 0; j < 8; ++j) rows[i][j] -= factor * rows[column][j];
        }
    }
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) inverse.m[i][j] = static_cast<float>(rows[i][4 + j]);
    return true;
}

}  // namespace

bool invert(const Matrix4& matrix, Matrix4& inverse) {
    Matrix4 result;
    const bool done = matrix.is_finite() &&
                      (matrix.is_affine() ? invert_affine(matrix, result) : invert_general(matrix, result)) &&
                      result.is_finite();
    inverse = done ? result : Matrix4::identity();
    return done;
}

void transform_homogeneous(const Matrix4& matrix, const float point[3], float result[4]) {
    const float x = point[0], y = point[1], z = point[2];
    for (int j = 0; j < 4; ++j)
        result[j] = x * matrix.m[0][j] + y * matrix.m[1][j] + z * matrix.m[2][j] + matrix.m[3][j];
}

void orthonormalise(Matrix4& matrix) {
    for (int i = 0; i < 3; ++i) {
        double row[3] = {matrix.m[i][0], matrix.m[i][1], matrix.m[i][2]};
        for (int k = 0; k < i; ++k) {
            double along = 0;
            for (int j = 0; j < 3; ++j) along += row[j] * matrix.m[k][j];
            for (int j = 0; j < 3; ++j) row[j] -= along * matrix.m[k][j];
        }
        const double length = std::sqrt(row[0] * row[0] + row[1] * row[1] + row[2] * row[2]);
        if (!(length > 1e-10) || !std::isfinite(length)) continue;
        for (int j = 0; j < 3; ++j) matrix.m[i][j] = static_cast<float>(row[j] / length);
    }
}
