// Lattices of textures: their steps are found under grain, and none where nothing repeats.
#include "fftlib/fft_lattice.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/images.h"

namespace {

// Bricks of 46.5 x 20 pixels, each second row shifted by half of one.
ImagePtr bricks(double grain) {
    ImagePtr image = noise_image(300, 260, 4, SAMPLE_F32, 7);
    for (int y = 0; y < 260; ++y)
        for (int x = 0; x < 300; ++x) {
            const int row = y / 20;
            const double across = x + (row % 2 != 0 ? 23.25 : 0.0);
            const bool joint = y % 20 < 3 || across - 46.5 * std::floor(across / 46.5) < 3;
            float* p = image_row<float>(image.get(), y) + 4 * x;
            for (int c = 0; c < 3; ++c) p[c] = float((joint ? 0.7 : 0.3) + grain * (double(p[c]) - 0.5));
        }
    return image;
}

TEST(Lattice, FindsTheStepsOfBricks) {
    for (const double grain : {0.0, 0.2}) {
        TextureLattice found;
        const ImagePtr wall = bricks(grain);
        ASSERT_TRUE(fft_texture_lattice(wall.get(), 0, 0, 300, 260, 0.35, found));
        ASSERT_EQ(found.axes, 2);
        for (int i = 0; i < 2; ++i) {
            // A step of whole rows, and of half bricks with odd ones.
            const double rows = found.y[i] / 20, halves = found.x[i] / 23.25;
            EXPECT_NEAR(rows, std::round(rows), 0.02);
            EXPECT_NEAR(halves, std::round(halves), 0.02);
            EXPECT_EQ((std::lround(rows) + std::lround(halves)) % 2, 0);
        }
    }
}

TEST(Lattice, FindsNoneInNoise) {
    TextureLattice found;
    for (const ImagePtr& image : {noise_image(200, 150, 4, SAMPLE_F32), make_image(200, 150, 4, SAMPLE_F32),
                                  noise_image(9, 150, 4, SAMPLE_F32)}) {
        ASSERT_TRUE(fft_texture_lattice(image.get(), 0, 0, image->width, 150, 0.35, found));
        EXPECT_EQ(found.axes, 0);
    }
    EXPECT_FALSE(fft_texture_lattice(nullptr, 0, 0, 1, 1, 0.35, found));
}

}  // namespace
