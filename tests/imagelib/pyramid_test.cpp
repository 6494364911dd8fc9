#include "imagelib/imagelib_pyramid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "k7pi_baselib/cpu.h"
#include "support/row_threads.h"

namespace {

constexpr float NAN_VALUE = std::numeric_limits<float>::quiet_NaN();

ImagePtr noise_image(int width, int height, int channels = 4, float low = -0.25f, float high = 1.25f) {
    ImagePtr image = make_image(width, height, channels, SAMPLE_F32);
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(low, high);
    std::generate_n(image_row<float>(image.get(), 0), width * height * channels, [&] { return value(random); });
    return image;
}

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
    const double lod = std::log2(std::sqrt(std::max(double(area), 1.0)));
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

class CpuLimit {
  public:
    explicit CpuLimit(CpuLevel level) { set_cpu_level_limit(level); }
    ~CpuLimit() { set_cpu_level_limit(CpuLevel::avx512); }
};

constexpr CpuLevel LEVELS[] = {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512};

// ---- Construction ---------------------------------------------------------------------------------------------

TEST(Pyramid, LevelsHalveWhileTheSmallerSideStaysAtTwo) {
    const int cases[][4] = {{1, 1, 0, 1}, {3, 50, 0, 50},  {4, 50, 1, 25},
                            {7, 9, 1, 4}, {101, 67, 5, 2}, {64, 64, 5, 2}};
    for (const auto& [width, height, top, top_height] : cases) {
        const ImagePtr image = noise_image(width, height);
        const ImagelibPyramid pyramid(image.get(), 4, 0, true, true);
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        ASSERT_TRUE(pyramid.valid());
        EXPECT_EQ(pyramid.top_level, top);
        EXPECT_EQ(pyramid.levels[top]->height, top_height);
        EXPECT_EQ(pyramid.levels[top]->width, width >> top);
        EXPECT_EQ(pyramid.levels[top + 1], nullptr);
        EXPECT_EQ(pyramid.max_x, width - 1);
        EXPECT_TRUE(std::isfinite(pyramid.inv_w));
    }
}

TEST(Pyramid, LevelsAreScaledFromTheOneBefore) {
    const ImagePtr image = noise_image(45, 33);
    const ImagelibPyramid pyramid(image.get(), 4, 0, false, false);
    EXPECT_TRUE(pyramid.cpu_only);
    EXPECT_EQ(pyramid.levels[0], image.get());
    for (int i = 1; i <= pyramid.top_level; ++i) {
        const ImagePtr expected(image_clone_layout(pyramid.levels[i]));
        ASSERT_TRUE(image_scale(pyramid.levels[i - 1], expected.get(), 4, false));
        EXPECT_EQ(std::memcmp(expected->pixels, pyramid.levels[i]->pixels,
                              std::size_t(expected->height) * expected->row_bytes),
                  0);
    }
}

TEST(Pyramid, PrivateCopyOutlivesItsSource) {
    ImagePtr image = noise_image(20, 20);
    const ImagelibPyramid pyramid(image.get(), 1, 0, true, true);
    const float expected = image_get_sample(image.get(), 7, 9, 2);
    image_clear(image.get());
    image.reset();
    EXPECT_EQ(read(pyramid, 7, 9, 1).v[2], expected);
}

TEST(Pyramid, RefusesWhatItCannotRead) {
    const ImagePtr image = noise_image(20, 20);
    float out[4] = {1, 1, 1, 1};
    const ImagelibPyramid empty(nullptr, 1, 0, true, true), bad_kernel(image.get(), 6, 0, true, true),
        bad_edge(image.get(), 1, 4, true, true);
    for (const auto* pyramid : {&empty, &bad_kernel, &bad_edge}) {
        EXPECT_FALSE(pyramid->valid());
        EXPECT_FALSE(pyramid->sample_pixel(1, 1, 1, out, 4));
        EXPECT_FALSE(pyramid->sample_points(out, out, nullptr, 1, out));
    }
    ImagelibPyramid pyramid(image.get(), 1, 0, true, true);
    EXPECT_FALSE(pyramid.sample_pixel(1, 1, 1, nullptr, 4));
    EXPECT_FALSE(pyramid.sample_pixel(1, 1, 1, out, 0));
    EXPECT_FALSE(pyramid.sample_pixel(1, 1, 1, out, 17));
    EXPECT_FALSE(pyramid.set_kernel(9, 0));
    EXPECT_EQ(pyramid.kernel->kernel_type, 1);
}

// ---- Reading --------------------------------------------------------------------------------------------------

TEST(Pyramid, MatchesTheDefinitionInsideThePicture) {
    const ImagePtr image = noise_image(83, 61);
    for (int type = 0; type <= 5; ++type) {
        ImagelibPyramid pyramid(image.get(), 4, 0, true, true);
        ASSERT_TRUE(pyramid.set_kernel(type, 0));
        std::mt19937 random(11);
        std::uniform_real_distribution<float> px(0, 82), py(0, 60), lod(-1, 6);
        for (int i = 0; i < 2000; ++i) {
            const float x = i % 5 ? px(random) : std::floor(px(random)),
                        y = i % 7 ? py(random) : std::floor(py(random));
            const float area = std::exp2(2 * lod(random));
            expect_near(read(pyramid, x, y, area), reference(pyramid, x, y, area), 2e-6);
        }
    }
}

TEST(Pyramid, SmallAreasReadTheBaseAndHugeOnesTheTop) {
    const ImagePtr image = noise_image(80, 64);
    ImagelibPyramid pyramid(image.get(), 4, 0, true, true);
    pyramid.set_kernel(1, 0);
    for (float area : {1.0f, 0.25f, 0.0f, -3.0f, NAN_VALUE})
        EXPECT_EQ(read(pyramid, 33, 20, area).v[0], image_get_sample(image.get(), 33, 20, 0));
    const K7Image* top = pyramid.levels[pyramid.top_level];
    for (float area : {1024.0f, 1e6f, 3e38f, std::numeric_limits<float>::infinity()})
        for (int c = 0; c < 4; ++c) {
            EXPECT_EQ(read(pyramid, 0, 0, area).v[c], image_get_sample(top, 0, 0, c));
            EXPECT_NEAR(read(pyramid, 79, 63, area).v[c], image_get_sample(top, top->width - 1, top->height - 1, c),
                        1e-6);
        }
}

TEST(Pyramid, NoSeamsBetweenLevels) {
    const ImagePtr image = noise_image(80, 64);
    const ImagelibPyramid pyramid(image.get(), 4, 0, true, true);
    Four before = read(pyramid, 31.3f, 22.9f, 1);
    for (int i = 1; i <= 1200; ++i) {
        const Four now = read(pyramid, 31.3f, 22.9f, std::exp2(float(i) / 100));
        expect_near(now, before, 0.005);
        before = now;
    }
}

TEST(Pyramid, OneLevelIsReadWithAnyFootprint) {
    const ImagePtr image = noise_image(2, 40);
    ImagelibPyramid pyramid(image.get(), 4, 3, true, true);
    pyramid.set_kernel(1, 1);
    ASSERT_EQ(pyramid.top_level, 0);
    for (float area : {1.0f, 5.0f, 1e9f})
        EXPECT_EQ(read(pyramid, 1, 17, area).v[3], image_get_sample(image.get(), 1, 17, 3));
}

TEST(Pyramid, FlatPicturesStayFlatAtEveryFootprintAndPlace) {
    const ImagePtr image = noise_image(70, 50);
    image_fill(image.get(), 0.625f);
    for (int edge : {0, 2, 3})
        for (int type : {1, 2, 4}) {
            const ImagelibPyramid pyramid(image.get(), type, edge, true, true);
            for (float area : {1.0f, 3.0f, 17.0f, 300.0f, 1e5f})
                for (float x = -150; x < 250; x += 7.3f) {
                    const Four value = read(pyramid, x, x * 0.7f, area);
                    for (float v : value.v)
                        EXPECT_NEAR(v, 0.625f, 0.004f) << x;  // the steps of the table: 0.25 % an axis
                }
        }
}

// Beyond the border each level must show what the picture itself, laid out as the edge mode says, would show there.
TEST(Pyramid, BordersFollowTheEdgeMode) {
    const ImagePtr image = noise_image(64, 48);
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
    const ImagePtr image = noise_image(30, 30);
    for (int edge = 0; edge < 4; ++edge)
        for (int type = 0; type <= 5; ++type) {
            const ImagelibPyramid pyramid(image.get(), type, edge, true, true);
            for (float far : {1e10f, -1e10f, 3e38f, -3e38f})
                for (float area : {1.0f, 10.0f})
                    for (float v : read(pyramid, far, 3, area).v) EXPECT_TRUE(v >= -0.5f && v <= 1.5f);
            Four out = {{1, 1, 1, 1}};
            EXPECT_FALSE(pyramid.sample_pixel(NAN_VALUE, 3, 5, out.v, 4));
            EXPECT_EQ(out, (Four{{0, 0, 0, 0}}));
            EXPECT_FALSE(pyramid.sample_pixel(3, NAN_VALUE, 1, out.v, 4));
        }
}

TEST(Pyramid, UnitCoordinates) {
    const ImagePtr image = noise_image(41, 21);
    const ImagelibPyramid pyramid(image.get(), 4, 0, true, true);
    Four unit;
    ASSERT_TRUE(pyramid.sample_unit(0.25f, 0.5f, 0.1f, 0.2f, unit.v, 4));
    expect_near(unit, read(pyramid, 10, 10, 16), 1e-6);
}

TEST(Pyramid, OtherLayouts) {
    const ImagePtr two = noise_image(37, 29, 2), four = make_image(37, 29, 4, SAMPLE_F32);
    for (int i = 0; i < 37 * 29; ++i)
        std::copy_n(image_row<float>(two.get(), 0) + 2 * i, 2, image_row<float>(four.get(), 0) + 4 * i);
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
    const ImagePtr image = noise_image(67, 45);
    std::mt19937 random(2);
    std::uniform_real_distribution<float> px(-10, 77), lod(-2, 5);
    const int count = 333;
    std::vector<float> x(count), y(count), areas(count);
    for (int i = 0; i < count; ++i)
        x[i] = px(random), y[i] = px(random) * 0.7f, areas[i] = i < 100 ? 1 : std::exp2(lod(random));
    x[40] = NAN_VALUE;
    y[200] = 3e38f;
    for (int type : {0, 1, 4, 5})
        for (bool limit : {true, false}) {
            image_set_clamp_negative(limit);
            const ImagelibPyramid pyramid(image.get(), type, 2, true, true);
            std::vector<Four> expected(count), got(count + 1);
            for (int i = 0; i < count; ++i) pyramid.sample_pixel(x[i], y[i], areas[i], expected[i].v, 4);
            for (CpuLevel level : LEVELS) {
                const CpuLimit cpu(level);
                got[count] = {{9, 9, 9, 9}};
                ASSERT_TRUE(pyramid.sample_points(x.data(), y.data(), areas.data(), count, got[0].v));
                for (int i = 0; i < count; ++i) EXPECT_EQ(got[i], expected[i]) << i;
                EXPECT_EQ(got[count], (Four{{9, 9, 9, 9}}));
            }
            image_set_clamp_negative(true);
        }
}

// ---- Warps ----------------------------------------------------------------------------------------------------

ImagePtr swirl_map(int width, int height) {
    ImagePtr map = make_image(width, height, 2, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            float* place = image_row<float>(map.get(), y) + 2 * x;
            place[0] = float(x * 0.6 + 15 * std::sin(y * 0.3) + (x > width / 2 ? (x - width / 2) * 3 : 0));
            place[1] = float(y * 0.8 + 9 * std::cos(x * 0.2));
        }
    return map;
}

TEST(PyramidWarp, MatchesTheDefinitionForEverySplitAndProcessor) {
    const ImagePtr image = noise_image(90, 70);
    const int sizes[][2] = {{1, 1}, {2, 1}, {1, 5}, {64, 7}, {65, 9}, {150, 60}};
    for (const auto& [width, height] : sizes)
        for (int type : {1, 4}) {
            const ImagePtr map = swirl_map(width, height);
            ImagelibPyramid pyramid(image.get(), 4, 3, true, true);
            pyramid.set_kernel(type, 1);
            ImagePtr expected = make_image(width, height, 4, SAMPLE_F32);
            const auto place = [&](int x, int y, int axis) {
                return image_row<float>(map.get(),
                                        std::clamp(y, 0, height - 1))[2 * std::clamp(x, 0, width - 1) + axis];
            };
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const float dx = place(x + 1, y, 0) - place(x - 1, y, 0),
                                dy = place(x, y + 1, 1) - place(x, y - 1, 1);
                    const float half = std::sqrt(std::fabs(dx * dy)) / 2;
                    pyramid.sample_pixel(place(x, y, 0), place(x, y, 1), half * half,
                                         image_row<float>(expected.get(), y) + 4 * x, 4);
                }
            ImagePtr first;
            for (CpuLevel level : LEVELS)
                for (int threads : {1, 2, 3, 7}) {
                    const CpuLimit cpu(level);
                    const RowThreads rows(threads);
                    ImagePtr result = make_image(width, height, 4, SAMPLE_F32);
                    ASSERT_TRUE(image_pyramid_warp(&pyramid, map.get(), result.get()));
                    if (!first)
                        first = std::move(result);
                    else
                        EXPECT_EQ(std::memcmp(first->pixels, result->pixels, std::size_t(height) * first->row_bytes),
                                  0);
                }
            for (int i = 0; i < width * height * 4; ++i)
                ASSERT_NEAR(image_row<float>(first.get(), 0)[i], image_row<float>(expected.get(), 0)[i], 1e-5)
                    << i / 4 % width << ", " << i / 4 / width;
        }
}

TEST(PyramidWarp, IdentityShowsThePicture) {
    const ImagePtr image = noise_image(70, 30), map = make_image(70, 30, 2, SAMPLE_F32),
                   result = make_image(70, 30, 4, SAMPLE_F32);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 70; ++x)
            image_row<float>(map.get(), y)[2 * x] = float(x), image_row<float>(map.get(), y)[2 * x + 1] = float(y);
    const ImagelibPyramid pyramid(image.get(), 1, 0, true, true);
    result->stats_valid = 1;
    ASSERT_TRUE(image_pyramid_warp(&pyramid, map.get(), result.get()));
    EXPECT_EQ(result->stats_valid, 0u);
    EXPECT_EQ(std::memcmp(image->pixels, result->pixels, std::size_t(30) * image->row_bytes), 0);
}

TEST(PyramidWarp, HostileMapsAndRefusals) {
    const ImagePtr image = noise_image(20, 20), map = noise_image(20, 20, 2, -1e9f, 1e9f),
                   result = make_image(20, 20, 4, SAMPLE_F32);
    float* places = image_row<float>(map.get(), 0);
    for (int i = 0; i < 100; ++i) places[7 * i] = i % 3 == 0 ? NAN_VALUE : i % 3 == 1 ? INFINITY : -3e38f;
    const ImagelibPyramid pyramid(image.get(), 4, 2, false, true);
    ASSERT_TRUE(image_pyramid_warp(&pyramid, map.get(), result.get()));
    for (int i = 0; i < 1600; ++i) EXPECT_TRUE(std::isfinite(image_row<float>(result.get(), 0)[i]));
    for (int c = 0; c < 4; ++c) EXPECT_EQ(image_row<float>(result.get(), 0)[c], 0.0f) << "no place";

    const ImagePtr larger = make_image(21, 20, 4, SAMPLE_F32), bytes = make_image(20, 20, 4, SAMPLE_U8);
    EXPECT_FALSE(image_pyramid_warp(nullptr, map.get(), result.get()));
    EXPECT_FALSE(image_pyramid_warp(&pyramid, nullptr, result.get()));
    EXPECT_FALSE(image_pyramid_warp(&pyramid, result.get(), result.get()));
    EXPECT_FALSE(image_pyramid_warp(&pyramid, map.get(), larger.get()));
    EXPECT_FALSE(image_pyramid_warp(&pyramid, map.get(), bytes.get()));
    EXPECT_FALSE(image_pyramid_warp(&pyramid, map.get(), image.get())) << "the base itself";
}

}  // namespace
