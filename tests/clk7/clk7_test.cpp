// Spectra against published colours.
#include "clk7/clk7.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

// A flat spectrum is the equal energy white (x = y = 1/3, Y = 1); sRGB's matrix is that of IEC 61966-2-1; D65 lies at
// u' 0.1978, v' 0.4683 (CIE 15).
TEST(Spectra, FlatLightAndMatrices) {
    constexpr ColourPrimaries sRGB{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, {0.3127, 0.3290}};
    CLRK7 engine;
    float rgb[3];
    EXPECT_FALSE(engine.spectrum_to_rgb(std::vector<float>(3, 1.0f).data(), rgb));
    ASSERT_TRUE(engine.init(360, 830, &sRGB));
    const double published[3][3] = {{0.4124, 0.3576, 0.1805}, {0.2126, 0.7152, 0.0722}, {0.0193, 0.1192, 0.9505}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(engine.rgb_to_xyz()[i][j], published[i][j], 2e-4);
    EXPECT_NEAR(engine.white_u(), 0.1978, 1e-4);
    EXPECT_NEAR(engine.white_v(), 0.4683, 1e-4);

    ASSERT_TRUE(engine.spectrum_to_rgb(std::vector<float>(471, 1.0f).data(), rgb));
    for (int i = 0; i < 3; ++i) {
        double xyz = 0;
        for (int j = 0; j < 3; ++j) xyz += engine.rgb_to_xyz()[i][j] * rgb[j];
        EXPECT_NEAR(xyz, 1.0, 1e-3);
    }
}

// The table is known at 520 and 525 nm; between, and between whole nanometres, it is linear. No light beyond it.
TEST(Spectra, SingleLines) {
    CLRK7 engine;
    ASSERT_TRUE(engine.init(370, 800));
    const auto luminance = [&](double nm) {
        float rgb[3];
        EXPECT_TRUE(engine.line_to_rgb(nm, rgb));
        double sum = 0;
        for (int j = 0; j < 3; ++j) sum += engine.rgb_to_xyz()[1][j] * rgb[j];
        return sum / engine.normalising_factor();
    };
    EXPECT_NEAR(luminance(520), 0.71, 1e-5);
    EXPECT_NEAR(luminance(522.5), (0.71 + 0.7932) / 2, 1e-5);
    for (const double dark : {375.0, 379.0, 781.0, 800.0, 801.0, -1e9, 1e300}) EXPECT_EQ(luminance(dark), 0) << dark;

    std::vector<float> spectrum(431, 0.0f);
    spectrum[555 - 370] = 1;
    float line[3], sum[3];
    ASSERT_TRUE(engine.line_to_rgb(555, line) && engine.spectrum_to_rgb(spectrum.data(), sum));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(line[i], sum[i]);
    EXPECT_LT(line[2], 0);  // purer than the screen can show
}

// Chromaticities on the Planckian locus, from Wyszecki and Stiles, "Color Science", table 1(3.11).
TEST(Spectra, BlackBodies) {
    const double published[][3] = {{2000, 0.5267, 0.4133}, {4000, 0.3805, 0.3768}, {10000, 0.2807, 0.2884}};
    for (const auto& [kelvin, x, y] : published) {
        double xyz[3];
        black_body_xyz(kelvin, xyz);
        const double sum = xyz[0] + xyz[1] + xyz[2];
        EXPECT_NEAR(xyz[0] / sum, x, 5e-4) << kelvin;
        EXPECT_NEAR(xyz[1] / sum, y, 5e-4) << kelvin;
        double rgb[3];
        ASSERT_TRUE(mix_of_primaries(DEFAULT_PRIMARIES, xyz, rgb));
        EXPECT_NEAR(rgb[0] * 0.33 + rgb[1] * 0.6 + rgb[2] * 0.06, xyz[1], 1e-12);
    }
    for (const double cold : {0.0, -5.0, 1e-9, double(NAN)}) {
        double xyz[3];
        black_body_xyz(cold, xyz);
        EXPECT_EQ(xyz[0] + xyz[1] + xyz[2], 0) << cold;
    }
}

TEST(Spectra, RefusesWhatMakesNoColours) {
    CLRK7 engine;
    ASSERT_TRUE(engine.init(400, 700));
    constexpr ColourPrimaries onALine{{0.1, 0.1}, {0.2, 0.2}, {0.3, 0.3}, {0.3127, 0.3290}};
    ColourPrimaries black = DEFAULT_PRIMARIES;
    black.white.y = 0;
    EXPECT_FALSE(engine.init(400, 700, &onALine));
    EXPECT_FALSE(engine.ready());
    EXPECT_FALSE(engine.init(400, 700, &black));
    EXPECT_FALSE(engine.init(700, 400));
    EXPECT_FALSE(engine.init(0, std::numeric_limits<int>::max()));
    float rgb[3] = {1, 1, 1};
    EXPECT_FALSE(engine.line_to_rgb(500, rgb));
    EXPECT_EQ(rgb[1], 0);
    EXPECT_TRUE(engine.init(900, 900));  // nothing is seen there, but that is a range
    EXPECT_TRUE(engine.line_to_rgb(900, rgb));
}

TEST(Curves, PassThroughTheirPointsAndKeepQuadratics) {
    float x[6], y[6], z[6], out[3][26], t[26];
    for (int i = 0; i < 6; ++i) x[i] = float(i), y[i] = float(i * i), z[i] = i % 2 ? 1.0f : -1.0f;
    ASSERT_EQ(resample_catmull_rom(x, y, z, 6, out[0], out[1], out[2], t, 26), 0);
    for (int i = 0; i < 26; ++i) {
        EXPECT_FLOAT_EQ(t[i], float(i) / 5);
        if (i % 5 == 0) {
            EXPECT_NEAR(out[2][i], z[i / 5], 1e-6);
        }
        if (i >= 5 && i <= 20) {
            EXPECT_NEAR(out[1][i], t[i] * t[i], 1e-5);  // the end pieces have a point less
        }
    }
    EXPECT_EQ(resample_catmull_rom(x, y, z, 1, out[0], out[1], out[2], nullptr, 26), 1);
    EXPECT_EQ(resample_catmull_rom(x, y, z, 6, out[0], out[1], out[2], nullptr, 2), 2);

    for (const float scale : {1e-8f, 1.0f, 1e15f}) {
        float v[3] = {2 * scale, -3 * scale, 6 * scale};
        EXPECT_NEAR(normalise_vector(v) / scale, 7, 0.014);
        EXPECT_NEAR(std::hypot(v[0], v[1], v[2]), 1, 0.002);
    }
    float tiny[3] = {1e-12f, 0, 0};
    EXPECT_EQ(normalise_vector(tiny), 0);
    EXPECT_EQ(tiny[0], 0);
}

}  // namespace
