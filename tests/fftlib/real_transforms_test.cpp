#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

#include "fftlib/fftlib.h"
#include "support/same_bits.h"

namespace {

constexpr double PI = std::numbers::pi;

using Transform = bool (*)(float* data, int width, int height, int pitch, FFTDirection direction);

struct Kind {
    const char* name;
    Transform rows, plane;
    double (*wave)(int j, int k, int width);
};
constexpr Kind KINDS[] = {
    {"sine", sine_transform_rows, sine_transform_2d,
     [](int j, int k, int width) { return std::sin(PI * double((j + 1L) * (k + 1) % (2 * width + 2)) / (width + 1)); }},
    {"cosine", cosine_transform_rows, cosine_transform_2d,
     [](int j, int k, int width) { return std::cos(PI * double((2L * j + 1) * k % (4L * width)) / (2 * width)); }}};

// The largest error over the root of the sum of squares.
double worst_sum(const Kind& kind, const float* row, const float* transformed, int width, int step) {
    double worst = 0, squares = 0;
    for (int j = 0; j < width; ++j) squares += double(row[j]) * row[j];
    for (int k = 0; k < width; k += step) {
        double sum = 0;
        for (int j = 0; j < width; ++j) sum += row[j] * kind.wave(j, k, width);
        worst = std::max(worst, std::fabs(sum - transformed[k]));
    }
    return worst / std::sqrt(squares);
}

// Lengths of every kind of stage: all small radices, any odd one, primes too large for one; partial blocks of rows.
TEST(RealTransforms, RowsAreTheirSumsAndComeBack) {
    for (const int width :
         {1,  2,  3,   4,   5,   6,   7,   8,   10,  11,  13,  16,  21,  31,   32,   43,   49,   63,
          64, 66, 100, 113, 127, 128, 134, 243, 256, 257, 343, 512, 625, 1023, 1024, 2187, 4095, 4096})
        for (const Kind& kind : KINDS) {
            const int height = width < 40 ? width + 1 : 35, pitch = width + 3, step = width > 300 ? width / 40 : 1;
            const ImagePtr original = noise_image(pitch, height, 1, SAMPLE_F32, unsigned(width), -1);
            const ImagePtr image(image_duplicate(original.get()));
            float* const data = image_row<float>(image.get(), 0);
            ASSERT_TRUE(kind.rows(data, width, height, pitch, FFTDirection::forward));
            for (const int y : {0, height / 2, height - 1})
                EXPECT_LT(
                    worst_sum(kind, image_row<float>(original.get(), y), image_row<float>(image.get(), y), width, step),
                    1e-6)
                    << kind.name << " " << width << " row " << y;
            ASSERT_TRUE(kind.rows(data, width, height, pitch, FFTDirection::inverse));
            float worst = 0;
            for (int i = 0; i < pitch * height; ++i) {
                const float difference = std::fabs(data[i] - image_row<float>(original.get(), 0)[i]);
                worst = std::max(worst, i % pitch < width ? difference : difference * 1e9F);  // gaps stay untouched
            }
            EXPECT_LT(worst, 3e-6F) << kind.name << " " << width;
        }
}

// Poisson's equation on a grid with zeros around it, by the eigenvalues of its differences.
TEST(RealTransforms, SinesSolvePoissonsEquation) {
    for (const auto& [width, height] : {std::pair{37, 70}, {128, 128}, {1, 5}, {256, 30}}) {
        const ImagePtr wanted = noise_image(width, height, 1, SAMPLE_F32, 5, -1);
        const auto at = [&](const ImagePtr& image, int x, int y) {
            return x < 0 || y < 0 || x >= width || y >= height ? 0.0F : image_row<float>(image.get(), y)[x];
        };
        const ImagePtr solved(image_clone_layout(wanted.get()));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                image_row<float>(solved.get(), y)[x] = 4 * at(wanted, x, y) - at(wanted, x - 1, y) -
                                                       at(wanted, x + 1, y) - at(wanted, x, y - 1) -
                                                       at(wanted, x, y + 1);
        float* const data = image_row<float>(solved.get(), 0);
        ASSERT_TRUE(sine_transform_2d(data, width, height, width, FFTDirection::forward));
        for (int l = 0; l < height; ++l)
            for (int k = 0; k < width; ++k)
                data[l * width + k] /=
                    float(4 - 2 * std::cos(PI * (k + 1) / (width + 1)) - 2 * std::cos(PI * (l + 1) / (height + 1)));
        ASSERT_TRUE(sine_transform_2d(data, width, height, width, FFTDirection::inverse));
        float worst = 0;
        for (int i = 0; i < width * height; ++i)
            worst = std::max(worst, std::fabs(data[i] - image_row<float>(wanted.get(), 0)[i]));
        EXPECT_LT(worst, 2e-5F) << width << " x " << height;
    }
}

TEST(RealTransforms, SameBitsEverywhere) {
    for (const auto& [width, height] : {std::pair{257, 300}, {512, 90}})
        for (const Kind& kind : KINDS)
            for (const FFTDirection direction : {FFTDirection::forward, FFTDirection::inverse})
                same_bits_everywhere([&] {
                    ImagePtr image = noise_image(width, height, 1, SAMPLE_F32, 3, -1);
                    EXPECT_TRUE(kind.plane(image_row<float>(image.get(), 0), width, height, width, direction));
                    return image;
                });
}

TEST(RealTransforms, RefusalsAndBadNumbers) {
    float data[40 * 5] = {};
    for (const Kind& kind : KINDS) {
        for (const auto& [width, height, pitch] :
             {std::tuple{0, 1, 1}, {1, 0, 1}, {5, 1, 4}, {4097, 1, 4097}, {1, 4097, 1}})
            for (const Transform transform : {kind.rows, kind.plane})
                EXPECT_FALSE(transform(data, width, height, pitch, FFTDirection::forward));
        EXPECT_FALSE(kind.rows(nullptr, 5, 1, 5, FFTDirection::forward));
    }
    data[0] = std::numeric_limits<float>::quiet_NaN();
    data[5] = 1;
    ASSERT_TRUE(sine_transform_rows(data, 5, 40, 5, FFTDirection::forward));
    for (int y = 0; y < 40; ++y)
        EXPECT_EQ(std::isfinite(data[5 * y]), y != 0 && y != 16) << "a NaN spoils its row and the one 16 on";
}

}  // namespace
