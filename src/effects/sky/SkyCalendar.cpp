#include "effects/sky/SkyCalendar.h"

#include <cmath>

#include "k7pi_baselib/portable_math.h"

namespace {

constexpr double DEGREE = 0.017453292519943295;

double sine(double degrees) { return k7_sin(degrees * DEGREE); }
double wrapped(double degrees) { return degrees - 360.0 * std::floor(degrees / 360.0); }

// The eccentric anomaly, both in radians.
double solve_kepler(double mean_anomaly, double eccentricity) {
    double e = mean_anomaly;
    for (int i = 0; i < 20; ++i) {
        const double error = e - eccentricity * k7_sin(e) - mean_anomaly;
        e -= error / (1.0 - eccentricity * k7_cos(e));
        if (std::fabs(error) <= 1e-6) break;
    }
    return e;
}

}  // namespace

double julian_date(int year, int month, int day, double hours) {
    const int a = (month - 14) / 12;
    const int days = (1461 * (year + 4800 + a)) / 4 + (367 * (month - 2 - 12 * a)) / 12 -
                     (3 * ((year + 4900 + a) / 100)) / 4 + day - 32075;
    return days - 0.5 + hours / 24.0;
}

double moon_phase(double julian) {
    constexpr double EPOCH = 2444238.5;
    constexpr double SUN_AT_EPOCH = 278.83354, SUN_PERIGEE = 282.596403, ECCENTRICITY = 0.016718;
    constexpr double MOON_AT_EPOCH = 64.975464, MOON_PERIGEE = 349.383063;
    const double d = julian - EPOCH;

    // The sun's longitude
    const double sunAnomaly = wrapped(wrapped(d * 0.9856473320990837) + SUN_AT_EPOCH - SUN_PERIGEE);
    const double eccentric = solve_kepler(sunAnomaly * DEGREE, ECCENTRICITY);
    const double half = std::sqrt((1.0 + ECCENTRICITY) / (1.0 - ECCENTRICITY)) * k7_tan(eccentric * 0.5);
    const double sun = wrapped(2.0 * k7_atan2(half, 1.0) / DEGREE + SUN_PERIGEE);

    // The moon's longitude: evection, annual equation, equation of the centre, variation
    const double mean = wrapped(13.1763966 * d + MOON_AT_EPOCH);
    const double anomaly = wrapped(mean - 0.1114041 * d - MOON_PERIGEE);
    const double evection = 1.2739 * sine(2.0 * (mean - sun) - anomaly);
    const double annual = 0.1858 * sine(sunAnomaly);
    const double corrected = anomaly + evection - annual - 0.37 * sine(sunAnomaly);
    const double centre = 6.2886 * sine(corrected), second = 0.214 * sine(2.0 * corrected);
    const double longitude = mean + evection + centre - annual + second;
    const double moon = longitude + 0.6583 * sine(2.0 * (longitude - sun));
    return wrapped(moon - sun) / 360.0;
}
