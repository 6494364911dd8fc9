// Places of stars against ERFA, the library of the International Astronomical Union's standards; the catalogue's lines.
#include "effects/sky/StarPlaces.h"

#include <erfa.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <random>

#include "effects/sky/SkyCalendar.h"
#include "effects/sky/StarCatalogue.h"

namespace {

constexpr double DEGREE = M_PI / 180;

// The current theory (IAU 2006), with universal time as the clock that turns the earth.
Horizontal by_erfa(double ra, double dec, double motionRa, double motionDec, double parallax, double velocity,
                   double julian, double latitude, double west) {
    double azimuth, zenith, hour, dob, rob, origins;
    const double year = 100, second = M_PI / 43200, arcsecond = DEGREE / 3600;
    eraAtco13(ra * 15 * DEGREE, dec * DEGREE, motionRa * second / year, motionDec * arcsecond / year, parallax,
              velocity, julian, 0, 0, -west * DEGREE, latitude * DEGREE, 0, 0, 0, 0, 0, 0, 0.55, &azimuth, &zenith,
              &hour, &dob, &rob, &origins);
    return {azimuth / DEGREE, 90 - zenith / DEGREE};
}

TEST(StarPlaces, AreThoseOfTheStandards) {
    std::mt19937 generator(7);
    const auto between = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator);
    };
    double worst = 0;
    for (int i = 0; i < 4000; ++i) {
        const double ra = between(0, 24), dec = between(-89, 89), motionRa = between(-20, 20);
        const double motionDec = between(-300, 300), parallax = between(0, 0.75), velocity = between(-200, 200);
        const double julian = julian_date(1900 + i % 201, 1, 1, 0) + between(0, 365);
        const double latitude = between(-90, 90), west = between(-180, 180);
        const Horizontal expected = by_erfa(ra, dec, motionRa, motionDec, parallax, velocity, julian, latitude, west);
        const Horizontal found =
            StarPlaces(julian, latitude, west).place(star_position(ra, dec, motionRa, motionDec, parallax, velocity));
        const double across =
            std::remainder(found.azimuth - expected.azimuth, 360) * std::cos(expected.altitude * DEGREE);
        worst = std::max(worst, std::hypot(across, found.altitude - expected.altitude));
        ASSERT_GE(found.azimuth, 0);
        ASSERT_LE(found.azimuth, 360);
    }
    EXPECT_LT(worst, 0.002);  // degrees
}

TEST(StarCatalogue, ReadsLinesOfItsLengthAndTheSignOfSmallDeclinations) {
    const std::string file = testing::TempDir() + "stars.dat";
    const auto line = [](std::string numbers, const char* magnitude, const char* spectrum) {
        numbers.resize(191, ' ');
        numbers.replace(124, 5, magnitude)
            .replace(130, 2, spectrum)
            .replace(138, 6, " 0.100")
            .replace(146, 6, " -20.0");
        return numbers;
    };
    std::ofstream(file) << line("  907 06 00 00.000 1.0 -00 12 36.0 -2.5", " 1.79", "A ") << "\r\n"
                        << "1 2 3 4 5 6 7 8 9\n"
                        << line(" 2 12 00 00.000 1.0 0 -12 -36.0 -2.5", "-1.46", "K3") << "\n"
                        << line(" none", " 1.00", "K3") << "\n";
    std::vector<CatalogueStar> stars;
    read_stars(file, stars);
    ASSERT_EQ(stars.size(), 2u);
    for (const CatalogueStar& star : stars) {
        EXPECT_NEAR(std::asin(star.position.direction[2]) / DEGREE, -0.21, 1e-9);
        EXPECT_NEAR(star.position.parallax * 206264.8, 0.1, 1e-6);
    }
    EXPECT_TRUE(stars[0].marked && stars[0].letter == 'A' && stars[0].digit == 0);
    EXPECT_TRUE(!stars[1].marked && stars[1].letter == 'K' && stars[1].digit == 3 && stars[1].magnitude == -1.46f);
    read_stars(file + ".none", stars);
    EXPECT_EQ(stars.size(), 2u);
}

}  // namespace
