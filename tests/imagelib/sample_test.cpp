// The filter tables and the samplers of single positions, against the definition.
#include <cfloat>

#include "imagelib/imagelib_resample.h"
#include "pictures.h"

namespace {

// A line of pixels continued over both ends, one case a line: what index i of n reads.
int folded(int i, int n, int edge) {
    if (edge == EDGE_CLAMP) return std::min(std::max(i, 0), n - 1);
    if (edge == EDGE_BLACK) return i < 0 || i >= n ? -1 : i;
    if (edge == EDGE_WRAP) return ((i % n) + n) % n;
    const int m = std::abs(i) % (2 * n);
    return m < n ? m : 2 * n - 1 - m;
}

double pixel(const K7Image* image, int x, int y, int c, int edge) {
    const int fx = folded(x, image->width, edge), fy = folded(y, image->height, edge);
    return fx < 0 || fy < 0 ? 0 : image_get_sample(image, fx, fy, c);
}

double area_reference(const K7Image* image, double x, double y, double sx, double sy, int c,
                      const ImagelibKernel& kernel, bool drop_negative) {
    auto weight = [&](double d, double s) {
        return double(kernel.weights[int(std::min(std::fabs(d) * 512 / s, 512.0 * kernel.radius))]);
    };
    double total = 0, row_total = 0;
    for (int j = int(std::ceil(y - kernel.radius * sy)); j <= std::floor(y + kernel.radius * sy); ++j) {
        double sum = 0, columns = 0;
        for (int i = int(std::ceil(x - kernel.radius * sx)); i <= std::floor(x + kernel.radius * sx); ++i) {
            columns += weight(i - x, sx);
            sum += weight(i - x, sx) * pixel(image, i, j, c, kernel.edge_mode);
        }
        if (sx > 1) sum /= columns;
        if (drop_negative && sum < 0) sum = 0;
        row_total += weight(j - y, sy);
        total += weight(j - y, sy) * sum;
    }
    if (sy > 1) total /= row_total;
    return std::min(std::max(total, 0.0),
                    image->sample_type == SAMPLE_F32 ? double(FLT_MAX) : image_full_value(image->sample_type));
}

TEST(Kernel, HoldsItsFilterAtEveryStep) {
    for (int type = 0; type <= 5; ++type) {
        const ImagelibKernel kernel(type, EDGE_MIRROR);
        ASSERT_TRUE(kernel.valid);
        EXPECT_EQ(kernel.taps, type < 2 ? 3 : 5);
        EXPECT_EQ(kernel.weights[512 * kernel.radius], 0);
        for (int i = 0; i <= 512 * kernel.radius; ++i)
            EXPECT_EQ(kernel.fixed_weights[i], int(kernel.weights[i] * 1024));
    }
    const struct {
        int type, entry;
        float weight;
    } known[] = {{0, 255, 1},        {0, 256, 0},        {1, 128, 0.75f},   {2, 256, 0.5625f},
                 {2, 768, -0.0625f}, {3, 256, 0.625f},   {3, 768, -0.125f}, {4, 0, 4.0f / 6},
                 {4, 512, 1.0f / 6}, {5, 256, 0.573159f}};  // (2 / pi) * (2 sqrt(2) / pi)
    for (const auto& [type, entry, weight] : known)
        EXPECT_FLOAT_EQ(ImagelibKernel(type, 0).weights[entry], weight) << type << " entry " << entry;
}

TEST(Pixels, AreReadAndWrittenInSampleUnits) {
    ImagePtr image = make_image(3, 2, 2, SAMPLE_U8);
    const float in[2] = {300.0f, 12.9f}, bad[2] = {NOT_A_NUMBER, -5};
    float out[2];
    EXPECT_TRUE(image_put_pixel(image.get(), 2, 1, in));
    EXPECT_TRUE(image_get_pixel(image.get(), 2, 1, out));
    EXPECT_EQ(out[0], 255);
    EXPECT_EQ(out[1], 12);
    EXPECT_TRUE(image_put_pixel(image.get(), 2, 1, bad));
    EXPECT_TRUE(image_get_pixel(image.get(), 2, 1, out));
    EXPECT_EQ(out[0] + out[1], 0);
    for (const auto& [x, y] : {std::pair{-1, 0}, {3, 0}, {0, -1}, {0, 2}}) {
        EXPECT_FALSE(image_put_pixel(image.get(), x, y, in));
        EXPECT_FALSE(image_get_pixel(image.get(), x, y, out));
        EXPECT_EQ(out[0], 0);
    }
}

TEST(Sample, FollowsTheDefinitionForAllFiltersEdgesAndSampleTypes) {
    for (int sample_type = SAMPLE_U8; sample_type <= SAMPLE_F32; ++sample_type) {
        for (int channels : {1, 4, 6}) {
            for (const auto& [w, h] : {std::pair{1, 1}, {2, 5}, {7, 6}}) {
                ImagePtr image = noise_image(w, h, channels, sample_type, 11, -0.2f, 1.2f);
                const double unit = sample_type == SAMPLE_F32 ? 1 : image_full_value(sample_type);
                for (int edge = 0; edge <= 3; ++edge) {
                    for (int type = 0; type <= 5; ++type) {
                        const ImagelibKernel kernel(type, edge);
                        for (float x : {-6.25f, -0.75f, 0.0f, 0.375f, 3.5f, 9.125f}) {
                            const float y = x * 0.5f + 0.25f;
                            float out[8];
                            ASSERT_TRUE(image_sample(image.get(), x, y, out, 8, &kernel));
                            EXPECT_EQ(out[6] + out[7], 0);
                            // Mirrored coordinates lose their sign before anything is read.
                            const double px = edge == EDGE_MIRROR ? std::fabs(x) : x;
                            const double py = edge == EDGE_MIRROR ? std::fabs(y) : y;
                            for (int c = 0; c < channels; ++c) {
                                double expected = 0;
                                const int ix = int(std::floor(px)), iy = int(std::floor(py));
                                if (type == KERNEL_BOX) {
                                    expected = pixel(image.get(), ix, iy, c, edge);
                                } else if (type == KERNEL_TRIANGLE) {
                                    for (int k = 0; k < 4; ++k) {
                                        const double wx = k & 1 ? px - ix : 1 - (px - ix);
                                        const double wy = k & 2 ? py - iy : 1 - (py - iy);
                                        expected += wx * wy * pixel(image.get(), ix + (k & 1), iy + k / 2, c, edge);
                                    }
                                } else {
                                    expected = area_reference(image.get(), px, py, 1, 1, c, kernel, true);
                                }
                                ASSERT_NEAR(out[c], expected, 2e-6 * unit) << type << " edge " << edge << " x " << x;
                            }
                        }
                    }
                }
            }
        }
    }
}

TEST(Sample, WindowsWidenWithTheScale) {
    ImagePtr image = float_noise(11, 9, 5);
    for (bool drop : {false, true}) {
        image_set_clamp_negative(drop);
        for (int edge = 0; edge <= 3; ++edge) {
            for (int type = 1; type <= 5; ++type) {
                const ImagelibKernel kernel(type, edge);
                for (float sx : {0.25f, 1.0f, 1.75f, 6.0f}) {
                    for (float sy : {1.0f, 3.25f}) {
                        float out[4];
                        ASSERT_TRUE(image_sample_area(image.get(), 3.3f, 7.9f, sx, sy, out, 4, &kernel));
                        for (int c = 0; c < 4; ++c) {
                            ASSERT_NEAR(
                                out[c],
                                area_reference(image.get(), 3.3f, 7.9f, std::max(sx, 1.0f), sy, c, kernel, drop), 3e-6);
                        }
                    }
                }
            }
        }
    }
    image_set_clamp_negative(true);
}

TEST(Sample, SurvivesAnyPosition) {
    const ImagePtr white = make_image(4, 4, 3, SAMPLE_U16);
    image_fill(white.get(), 65535);
    float levels[3];
    const ImagelibKernel triangle(KERNEL_TRIANGLE, EDGE_CLAMP);
    ASSERT_TRUE(image_sample_unit(white.get(), 0.3f, 0.9f, levels, 3, &triangle));
    EXPECT_FLOAT_EQ(levels[2], 1);
    ImagePtr image = picture(5, 4, [](int x, int y, int) { return x + 10 * y; });
    for (int edge = 0; edge <= 3; ++edge) {
        for (int type = 0; type <= 5; ++type) {
            const ImagelibKernel kernel(type, edge);
            float out[4];
            EXPECT_FALSE(image_sample(image.get(), NOT_A_NUMBER, 1, out, 4, &kernel));
            EXPECT_EQ(out[0], 0);
            for (float x : {1e30f, -1e30f, FLT_MAX, 3e9f, -2147483648.0f}) {
                EXPECT_TRUE(image_sample(image.get(), x, -x, out, 4, &kernel));
                EXPECT_TRUE(std::isfinite(out[3]));
                EXPECT_TRUE(image_sample_area(image.get(), x, 1, 2, NOT_A_NUMBER, out, 4, &kernel));
            }
            EXPECT_EQ(image_sample(image.get(), ENDLESS, 0, out, 4, &kernel), edge <= EDGE_BLACK);
        }
    }
    const ImagelibKernel broken(7, 0);
    EXPECT_FALSE(broken.valid || image_sample(image.get(), 1, 1, levels, 3, &broken));
}

}  // namespace
