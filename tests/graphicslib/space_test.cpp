#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "graphicslib/camera.h"
#include "graphicslib/geometry.h"
#include "graphicslib/sampling_pattern.h"
#include "noiselib/mtrandom.h"

namespace {

TEST(Geometry, SphericalCoordinatesThereAndBack) {
    MTRandom random(41);
    for (int i = 0; i < 200; ++i) {
        const float point[3] = {random.next_float_in(-5, 5), random.next_float_in(-5, 5), random.next_float_in(-5, 5)};
        const Spherical spherical = to_spherical(point);
        EXPECT_GE(spherical.azimuth, 0);
        EXPECT_LE(spherical.azimuth, 6.2831860F);
        float back[3];
        from_spherical(spherical, back);
        EXPECT_LT(distance(point, back), 1e-5F);
    }
    const float origin[3] = {1e-11F, 0, 0}, up[3] = {0, 0, 2};
    EXPECT_EQ(to_spherical(origin).azimuth, 0);
    EXPECT_EQ(to_spherical(origin).inclination, 0);
    EXPECT_EQ(to_spherical(up).inclination, 0);
}

TEST(Geometry, HermiteMeetsItsEndsAndTangentsAndPlanesTheirPoints) {
    for (const auto& [t, value] : {std::pair{0.0F, 2}, {1, 5}, {-4, 2}, {9, 5}, {NAN, 2}})
        EXPECT_EQ(hermite(2, 5, 1, -3, t), value) << t;
    EXPECT_NEAR((hermite(2, 5, 1, -3, 1e-3F) - 2) / 1e-3F, 1, 0.02F);
    EXPECT_NEAR((5 - hermite(2, 5, 1, -3, 1 - 1e-3F)) / 1e-3F, -3, 0.03F);
    const float a[3] = {1, 2, 3}, b[3] = {4, 2, 3}, c[3] = {1, 7, 3}, above[3] = {0, 0, 5};
    Plane plane;
    ASSERT_TRUE(plane_through(a, b, c, plane));
    for (const float* p : {a, b, c}) EXPECT_NEAR(plane.distance(p), 0, 1e-6F);
    EXPECT_NEAR(plane.distance(above), 2, 1e-6F);
    EXPECT_FALSE(plane_through(a, a, c, plane));
}

TEST(Camera, RaysGoBackThroughTheirPixels) {
    Camera camera;
    camera.width = 640, camera.height = 360, camera.pixel_aspect = 1.2F;
    camera.field_of_view = 0.9F;
    const float place[3] = {3, -2, 5}, turn[3] = {0.2F, -0.5F, 0.1F};
    std::copy_n(place, 3, camera.position);
    std::copy_n(turn, 3, camera.rotation);
    ASSERT_TRUE(camera.update_camera());
    for (const auto& [x, y] : {std::pair{320.0F, 180.0F}, {1, 1}, {600, 30}, {17.5F, 340}}) {
        float ray[3], point[3], screen[3];
        camera.pixel_to_ray(x, y, ray);
        const float length = std::sqrt(ray[0] * ray[0] + ray[1] * ray[1] + ray[2] * ray[2]);
        for (int i = 0; i < 3; ++i) point[i] = place[i] + 12 * ray[i] / length;
        ASSERT_TRUE(camera.world_to_screen(point, screen)) << x;
        EXPECT_NEAR(screen[0], x, 0.01F);
        EXPECT_NEAR(screen[1], y, 0.01F);
        for (int i = 0; i < 3; ++i) point[i] = place[i] - 12 * ray[i] / length;  // behind
        EXPECT_FALSE(camera.world_to_screen(point, screen));
    }
}

TEST(Camera, TheFrustumHoldsWhatTheScreenShows) {
    Camera camera;
    camera.near_depth = 1, camera.far_depth = 20;
    camera.position[1] = 4;
    camera.rotation[1] = 0.8F;
    ASSERT_TRUE(camera.update_camera());
    Plane planes[6];
    float low[3], high[3];
    camera.frustum_planes(planes);
    camera.frustum_bounds(low, high);
    MTRandom random(42);
    int inside = 0;
    for (int i = 0; i < 3000; ++i) {
        const float point[3] = {random.next_float_in(-25, 25), random.next_float_in(-20, 25),
                                random.next_float_in(-25, 25)};
        float nearest = 1e9F, screen[3];
        for (const Plane& plane : planes) nearest = std::min(nearest, plane.distance(point));
        if (std::fabs(nearest) < 1e-3F) continue;
        ASSERT_EQ(camera.world_to_screen(point, screen), nearest > 0);
        if (nearest < 0) continue;
        ++inside;
        for (int k = 0; k < 3; ++k) EXPECT_TRUE(point[k] >= low[k] && point[k] <= high[k]);
    }
    EXPECT_GT(inside, 50);
}

TEST(SamplingPattern, EveryCellHasItsPlaceAndPoissonKeepsADistance) {
    StochasticSamplingPattern pattern;
    EXPECT_EQ(pattern.total_samples(), 256);
    for (const int mode : {StochasticSamplingPattern::JITTERED, StochasticSamplingPattern::POISSON}) {
        ASSERT_TRUE(pattern.init(99, 5, 2, mode));
        std::vector<float> xs, ys;
        for (int i = 0; i < 50; ++i) {
            float place[3];
            pattern.next_sample(place);
            const int cell = i % 25;
            EXPECT_NEAR(place[0], (float(cell % 5) + 0.5F) / 5, 0.1001F);
            EXPECT_NEAR(place[1], (float(cell / 5) + 0.5F) / 5, 0.1001F);
            for (std::size_t k = 0; k < xs.size() && mode == StochasticSamplingPattern::POISSON; ++k) {
                EXPECT_GT(std::hypot(xs[k] - place[0], ys[k] - place[1]), 0.2F / 5 * 0.999F);
            }
            xs.push_back(place[0]);
            ys.push_back(place[1]);
        }
        float again[3];
        pattern.next_sample(again);  // wraps
        EXPECT_EQ(again[0], xs[0]);
        pattern.set_cursor(57);
        // The offset of a Gaussian grows with the place's distance from the middle, and its weight falls.
        const float weight = pattern.gaussian_sample(0.707F, again);
        const double s = 0.707 / std::sqrt(2 * std::log(2.0));
        EXPECT_NEAR(again[0], (xs[7] - 0.5) * 4 * s * s, 1e-5);
        EXPECT_NEAR(weight, std::exp(-(again[0] * again[0] + again[1] * again[1]) / (2 * s * s)), 1e-5);
    }
}

}  // namespace
