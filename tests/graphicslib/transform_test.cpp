#include <gtest/gtest.h>

#include <cmath>

#include "graphicslib/geometric_transform.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr float PI = 3.14159265F;

Matrix4 random_matrix(MTRandom& random, bool affine) {
    Matrix4 matrix;
    for (auto& row : matrix.m)
        for (float& value : row) value = random.next_float_in(-2, 2);
    if (affine)
        for (int i = 0; i < 4; ++i) matrix.m[i][3] = i == 3;
    return matrix;
}

float distance_from_identity(const Matrix4& matrix) {
    float worst = 0;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) worst = std::max(worst, std::fabs(matrix.m[i][j] - (i == j)));
    return worst;
}

TEST(Matrix4, AMatrixTimesItsInverseIsTheIdentity) {
    MTRandom random(1);
    for (int i = 0; i < 200; ++i) {
        const Matrix4 matrix = random_matrix(random, i % 2);
        Matrix4 inverse;
        ASSERT_TRUE(invert(matrix, inverse));
        float size = 1;
        for (const auto& row : inverse.m)
            for (float value : row) size = std::max(size, std::fabs(value));
        EXPECT_LT(distance_from_identity(matrix * inverse), 4e-6F * size) << i;
        EXPECT_LT(distance_from_identity(inverse * matrix), 4e-6F * size) << i;
    }
    Matrix4 perspective = Matrix4::identity();
    perspective.m[3][3] = 0;  // the general path: a last column without a one
    for (const Matrix4& singular : {Matrix4::scaling(1, 0, 1), Matrix4{}, Matrix4::scaling(NAN, 1, 1), perspective}) {
        Matrix4 inverse = Matrix4::scaling(9, 9, 9);
        EXPECT_FALSE(invert(singular, inverse));
        EXPECT_EQ(inverse, Matrix4::identity());
    }
    Matrix4 matrix = random_matrix(random, true);
    orthonormalise(matrix);
    for (int i = 0; i < 3; ++i) matrix.m[3][i] = 0;
    EXPECT_LT(distance_from_identity(matrix * matrix.transposed()), 1e-6F);
}

TEST(GeometricTransform, ModelComesBeforeViewAndTheNewestFactorFirst) {
    GeometricTransform transform;
    const float tiny[3] = {0.1F, -1e20F, 3e-20F}, point[3] = {1, 0, 0};
    float placed[3], back[3];
    transform.transform_point(tiny, placed);  // nothing is lost by a fresh one
    for (int i = 0; i < 3; ++i) EXPECT_EQ(placed[i], tiny[i]);
    transform.set_mode(GeometricTransform::VIEW);
    transform.scale(2, 2, 2);
    transform.set_mode(GeometricTransform::MODEL);
    transform.translate(10, 0, 0);
    transform.rotate(2, PI / 2);
    transform.transform_point(point, placed);  // turned onto y, moved, then seen twice as large
    EXPECT_NEAR(placed[0], 20, 1e-5F);
    EXPECT_NEAR(placed[1], 2, 1e-5F);
    transform.inverse_transform_point(placed, back);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], point[i], 1e-5F);
}

TEST(GeometricTransform, DirectionsStayAtRightAnglesToSurfaces) {
    GeometricTransform transform;
    transform.translate(5, 6, 7);
    transform.rotate(0, 0.7F);
    transform.scale(3, 0.5F, 1);
    const float a[3] = {1, 2, 3}, b[3] = {1, 2, 3 + 1e-3F}, c[3] = {1.5F, 1, 3}, normal[3] = {2, 1, 0};
    float ta[3], tb[3], tc[3], tn[3];  // a-b and a-c lie in the plane of that normal
    transform.transform_point(a, ta);
    transform.transform_point(b, tb);
    transform.transform_point(c, tc);
    transform.transform_direction(normal, tn);
    float along_b = 0, along_c = 0;
    for (int i = 0; i < 3; ++i) along_b += (tb[i] - ta[i]) * tn[i], along_c += (tc[i] - ta[i]) * tn[i];
    EXPECT_NEAR(along_b, 0, 1e-5F);
    EXPECT_NEAR(along_c, 0, 1e-5F);
}

TEST(GeometricTransform, TheWindowMapsItsCornersToTheUnitBox) {
    GeometricTransform transform;
    ASSERT_TRUE(transform.set_window(-3, 5, 2, 4, 1, 11));
    const float low[3] = {-3, 2, -1}, high[3] = {5, 4, -11};
    float result[4];
    transform.project_point(low, result);
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(result[i], i < 3 ? -1 : 1, 1e-6F);
    transform.project_point(high, result);
    for (float value : result) EXPECT_NEAR(value, 1, 1e-6F);
    EXPECT_LT(distance_from_identity(transform.projection() * transform.projection_inverse()), 1e-5F);
}

}  // namespace
