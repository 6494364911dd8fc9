// 4x4 matrices for points written as rows: p' = p M, so the translation is the last row and the last column of an
// affine matrix is (0, 0, 0, 1).
#pragma once

struct Matrix4 {
    float m[4][4];

    static Matrix4 identity();
    static Matrix4 translation(float x, float y, float z);
    static Matrix4 scaling(float x, float y, float z);
    // Counter-clockwise by `radians` when looking against the axis (0 x, 1 y, 2 z); identity for any other axis.
    static Matrix4 rotation(int axis, float radians);

    Matrix4 transposed() const;
    bool is_affine() const;
    bool is_finite() const;
};

Matrix4 operator*(const Matrix4& first, const Matrix4& second);  // a point goes through `first`, then `second`
bool operator==(const Matrix4& a, const Matrix4& b);

// The identity and false for a singular matrix (or one that is not finite).
bool invert(const Matrix4& matrix, Matrix4& inverse);

// (x, y, z, 1) M. The shared multiplication of every transform of the library.
void transform_homogeneous(const Matrix4& matrix, const float point[3], float result[4]);

// Gram-Schmidt on the first three rows: unit length, at right angles, the first row's direction kept. Rows that
// depend on the ones before stay as they are.
void orthonormalise(Matrix4& matrix);
