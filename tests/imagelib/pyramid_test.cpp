#include "imagelib/imagelib_pyramid.h"

#include <random>

#include "pictures.h"

namespace {

struct Four {
    float v[4];
    bool operator==(const Four& other) const { return std::memcmp(v, other.v, sizeof v) == 0; }
};

Four read(const ImagelibPyramid& pyramid, float x, float y, float area) {
    Four result;
    EXPECT_TRUE(pyramid.sample_pixel(x, y, area, result.v, 4)) << x << ", " << y << ", " << area;
    return result;
}

void expect_near(const Four& a, const Four& b, double tolerance) {
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(a.v[c], b.v[c], tolerance);
}

// The definition, inside the picture: two samples of whole levels.
Four reference(const ImagelibPyramid& pyramid, float x, float y, float area) {
    const double lod = area > 1 ? std::log2(std::sqrt(double(area))) : 0;  // also of what is not a number
    int level = 0;
    double f = 0;
    if (pyramid.top_level > 0) {
        level = lod < pyramid.top_level ? int(lod) : pyramid.top_level - 1;
        f = lod < pyramid.top_level ? lod - level : 1;
    }
    const auto at = [&](int index) {
        Four result;
        const K7Image* image = pyramid.levels[index];
        const float px = index == 0 ? x : float(image->width - 1) * x * pyramid.inv_w;
        const float py = index == 0 ? y : float(image->height - 1) * y * pyramid.inv_h;
        EXPECT_TRUE(image_sample(image, px, py, result.v, 4, pyramid.kernel.get()));
        return result;
    };
    if (f < 0.001) return at(level);
    if (f > 0.999) return at(level + 1);
    const Four a = at(level), b = at(level + 1);
    Four mixed;
    for (int c = 0; c < 4; ++c) mixed.v[c] = float((1 - f) * a.v[c] + f * b.v[c]);
    return mixed;
}

// ---- Construction ---------------------------------------------------------------------------------------------

TEST(Pyramid, LevelsHalveWhileTheSmallerSideStaysAtTwo) {
    const int cases[][4] = {{1, 1, 0, 1}, {3, 50, 0, 50},  {4, 50, 1, 25},
                            {7, 9, 1, 4}, {101, 67, 5, 2}, {64, 64, 5, 2}};
    for (const auto& [width, height, top, top_height] : cases) {
        const ImagePtr image = float_noise(width, height);
        const ImagelibPyramid pyramid(image.get(), 4, 0, false, false);
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        ASSERT_TRUE(pyramid.valid());
        EXPECT_EQ(pyramid.levels[0], image.get());
        EXPECT_EQ(pyramid.top_level, top);
        EXPECT_EQ(pyramid.levels[top]->height, top_height);
        EXPECT_EQ(pyramid.levels[top]->width, width >> top);
        EXPECT_EQ(pyramid.levels[top + 1], nullptr);
        EXPECT_TRUE(std::isfinite(pyramid.inv_w));
        for (int i = 1; i <= top; ++i) {
            const ImagePtr expected(image_clone_layout(pyramid.levels[i]));
            ASSERT_TRUE(image_scale(pyramid.levels[i - 1], expected.get(), 4, false));
            EXPECT_TRUE(same_pixels(expected.get(), pyramid.levels[i])) << i;
        }
    }
    ImagePtr image = float_noise(20, 20);
    const ImagelibPyramid own_copy(image.get(), 1, 0, true, true);
    const float expected = at(image, 7, 9, 2);
    image_clear(image.get());
    image.reset();
    EXPECT_EQ(read(own_copy, 7, 9, 1).v[2], expected);
}

// ---- Reading --------------------------------------------------------------------------------------------------

TEST(Pyramid, MatchesTheDefinitionInsideThePicture) {
    for (const auto& [width, height] : {std::pair{83, 61}, {2, 40}}) {  // the second has one level
        const ImagePtr image = float_noise(width, height);
        for (int type = 0; type <= 5; ++type) {
            ImagelibPyramid pyramid(image.get(), 4, 0, true, true);
            ASSERT_TRUE(pyramid.set_kernel(type, 0));
            std::mt19937 random(11);
            std::uniform_real_distribution<float> px(0, float(width - 1)), py(0, float(height - 1)), lod(-1, 6);
            for (int i = 0; i < 2000; ++i) {
                const float x = i % 5 ? px(random) : std::floor(px(random));
                const float y = i % 7 ? py(random) : std::floor(py(random));
                const float extremes[] = {0.0f, -3.0f, NOT_A_NUMBER, 1e6f, 3e38f, ENDLESS};
                const float area = i < 60 ? extremes[i % 6] : std::exp2(2 * lod(random));
                expect_near(read(pyramid, x, y, area), reference(pyramid, x, y, area), 2e-6);
            }
        }
    }
}

// Beyond the border each level must show what the picture itself, laid out as the edge mode says, would show there.
TEST(Pyramid, BordersFollowTheEdgeMode) {
    const ImagePtr image = float_noise(64, 48);
    for (int type : {1, 4})
        for (float area : {1.0f, 2.5f, 16.0f, 40.0f}) {
            ImagelibPyramid pyramid(image.get(), 4, 0, true, true);
            pyramid.set_kernel(type, 0);
            // The B-spline's table weights add up to 1 within a quarter of a percent, depending on the fraction.
            expect_near(read(pyramid, -500, 20.2f, area), read(pyramid, -300, 20.2f, area), type == 1 ? 1e-6 : 0.003);
            if (type == 1) expect_near(read(pyramid, -5, 20.2f, area), read(pyramid, 0, 20.2f, area), 1e-6);
            pyramid.set_kernel(type, 1);
            expect_near(read(pyramid, 64 + 40, 20.2f, area), {{0, 0, 0, 0}}, 0);
            expect_near(read(pyramid, 20, -1e30f, area), {{0, 0, 0, 0}}, 0);
            pyramid.set_kernel(type, 2);
            for (float x : {20.25f, 3.5f, 63.5f}) {
                expect_near(read(pyramid, x + 64, 20.5f, area), read(pyramid, x, 20.5f, area), 1e-5);
                expect_near(read(pyramid, x - 640, 20.5f - 48, area), read(pyramid, x, 20.5f, area), 1e-5);
            }
            expect_near(read(pyramid, 63.999f, 20.5f, area), read(pyramid, 64.001f, 20.5f, area), 0.02);
            pyramid.set_kernel(type, 3);
            for (float x : {20.25f, 3.5f, 60.75f}) {
                expect_near(read(pyramid, -x, 20.5f, area), read(pyramid, x, 20.5f, area), 1e-5);
                expect_near(read(pyramid, 127 - x, 95 - 20.5f, area), read(pyramid, x, 20.5f, area), 1e-5);
                expect_near(read(pyramid, x + 1280, 20.5f, area), read(pyramid, x, 20.5f, area), 1e-5);
            }
            expect_near(read(pyramid, 63.499f, 20.5f, area), read(pyramid, 63.501f, 20.5f, area), 0.02);
        }
}

TEST(Pyramid, PlacesFarAwayAndNoPlaces) {
    const ImagePtr image = float_noise(30, 30);
    for (int edge = 0; edge < 4; ++edge) {
        const ImagelibPyramid pyramid(image.get(), 4, edge, true, true);
        for (const float far : {1e10f, -3e38f})
            for (const float v : read(pyramid, far, 3, 10).v) EXPECT_TRUE(v >= -0.5f && v <= 1.5f);
        Four out = {{1, 1, 1, 1}};
        EXPECT_FALSE(pyramid.sample_pixel(NOT_A_NUMBER, 3, 5, out.v, 4));
        EXPECT_EQ(out, (Four{{0, 0, 0, 0}}));
    }
}

TEST(Pyramid, OtherLayoutsAndUnitCoordinates) {
    const ImagePtr image = float_noise(41, 21);
    const ImagelibPyramid pyramid(image.get(), 4, 0, true, true);
    Four unit;
    ASSERT_TRUE(pyramid.sample_unit(0.25f, 0.5f, 0.1f, 0.2f, unit.v, 4));
    expect_near(unit, read(pyramid, 10, 10, 16), 1e-6);

    const ImagePtr two = noise_image(37, 29, 2, SAMPLE_F32);
    const ImagePtr four = picture(37, 29, [&](int x, int y, int c) { return c < 2 ? at(two, x, y, c) : 0; });
    const ImagelibPyramid small(two.get(), 4, 0, true, true), full(four.get(), 4, 0, true, true);
    for (float area : {1.0f, 6.0f, 70.0f}) {
        Four value;
        ASSERT_TRUE(small.sample_pixel(12.3f, 9.7f, area, value.v, 4));
        expect_near(value, read(full, 12.3f, 9.7f, area), 1e-6);
    }
    const ImagePtr bytes = make_image(16, 16, 1, SAMPLE_U8);
    image_fill(bytes.get(), 200);
    const ImagelibPyramid grey(bytes.get(), 1, 0, true, true);
    float value;
    ASSERT_TRUE(grey.sample_pixel(4.5f, 5.5f, 7, &value, 1));
    EXPECT_NEAR(value, 200, 1);
    EXPECT_FLOAT_EQ(grey.inv_full, 1 / 255.0f);
}

TEST(Pyramid, PointsAndPixelsGiveTheSameBits) {
    const ImagePtr image = float_noise(67, 45);
    std::mt19937 random(2);
    std::uniform_real_distribution<float> px(-10, 77), lod(-2, 5);
    const int count = 333;
    std::vector<float> x(count), y(count), areas(count);
    for (int i = 0; i < count; ++i)
        x[i] = px(random), y[i] = px(random) * 0.7f, areas[i] = i < 100 ? 1 : std::exp2(lod(random));
    x[40] = NOT_A_NUMBER;
    y[200] = 3e38f;
    for (int type : {0, 1, 4, 5})
        for (bool limit : {true, false}) {
            image_set_clamp_negative(limit);
            const ImagelibPyramid pyramid(image.get(), type, 2, true, true);
            std::vector<Four> expected(count), got(count + 1);
            for (int i = 0; i < count; ++i) pyramid.sample_pixel(x[i], y[i], areas[i], expected[i].v, 4);
            same_bits_everywhere([&] {
                got[count] = {{9, 9, 9, 9}};
                EXPECT_TRUE(pyramid.sample_points(x.data(), y.data(), areas.data(), count, got[0].v));
                return picture(count + 1, 1, [&](int i, int, int c) { return got[std::size_t(i)].v[c]; });
            });
            for (int i = 0; i < count; ++i) EXPECT_EQ(got[i], expected[i]) << i;
            EXPECT_EQ(got[count], (Four{{9, 9, 9, 9}}));
            image_set_clamp_negative(true);
        }
}

// ---- Warps ----------------------------------------------------------------------------------------------------

ImagePtr warped(const ImagelibPyramid& pyramid, const ImagePtr& map) {
    ImagePtr result = make_image(map->width, map->height, 4, SAMPLE_F32);
    EXPECT_TRUE(image_pyramid_warp(&pyramid, map.get(), result.get()));
    return result;
}

TEST(PyramidWarp, MatchesTheDefinition) {
    const ImagePtr image = float_noise(90, 70);
    const int sizes[][2] = {{1, 1}, {2, 1}, {1, 5}, {64, 7}, {65, 9}, {150, 60}};
    for (const auto& [width, height] : sizes)
        for (int type : {1, 4}) {
            const int w = width, h = height;
            const ImagePtr map = picture(
                w, h,
                [&](int x, int y, int axis) {
                    if (axis == 1) return y * 0.8 + 9 * std::cos(x * 0.2);
                    return x * 0.6 + 15 * std::sin(y * 0.3) + (x > w / 2 ? (x - w / 2) * 3 : 0);
                },
                2);
            ImagelibPyramid pyramid(image.get(), 4, 3, true, true);
            pyramid.set_kernel(type, 1);
            const auto place = [&](int x, int y, int axis) {
                return at(map, std::clamp(x, 0, w - 1), std::clamp(y, 0, h - 1), axis);
            };
            const ImagePtr expected = make_image(w, h, 4, SAMPLE_F32);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const float dx = place(x + 1, y, 0) - place(x - 1, y, 0);
                    const float dy = place(x, y + 1, 1) - place(x, y - 1, 1);
                    const float half = std::sqrt(std::fabs(dx * dy)) / 2;
                    pyramid.sample_pixel(place(x, y, 0), place(x, y, 1), half * half, &at(expected, x, y, 0), 4);
                }
            const ImagePtr result = same_bits_everywhere([&] { return warped(pyramid, map); });
            EXPECT_LT(largest_difference(result, expected), 1e-5) << w << "x" << h;
        }
    const ImagePtr identity = picture(
        90, 70, [](int x, int y, int axis) { return axis ? y : x; }, 2);
    EXPECT_TRUE(same_pixels(warped({image.get(), 1, 0, true, true}, identity), image));
}

TEST(PyramidWarp, HostileMapsAndRefusals) {
    const ImagePtr image = float_noise(20, 20), map = noise_image(20, 20, 2, SAMPLE_F32, 1, -1e9f, 1e9f);
    float* places = image_row<float>(map.get(), 0);
    for (int i = 0; i < 100; ++i) places[7 * i] = i % 3 == 0 ? NOT_A_NUMBER : i % 3 == 1 ? INFINITY : -3e38f;
    const ImagelibPyramid pyramid(image.get(), 4, 2, false, true);
    const ImagePtr result = warped(pyramid, map);
    for (int i = 0; i < 1600; ++i) EXPECT_TRUE(std::isfinite(image_row<float>(result.get(), 0)[i]));
    for (int c = 0; c < 4; ++c) EXPECT_EQ(image_row<float>(result.get(), 0)[c], 0.0f) << "no place";

    EXPECT_FALSE(image_pyramid_warp(&pyramid, map.get(), make_image(21, 20, 4, SAMPLE_F32).get()));
    EXPECT_FALSE(image_pyramid_warp(&pyramid, map.get(), image.get())) << "the base itself";
}

}  // namespace
