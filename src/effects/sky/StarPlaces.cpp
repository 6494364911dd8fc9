#include "effects/sky/StarPlaces.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

namespace {

constexpr double PI = 3.141592653589793;
constexpr double DEGREE = PI / 180.0;
constexpr double ARCSECONDS = 206264.80624709636;  // in a radian
constexpr double J2000 = 2451545.0, CENTURY = 36525.0;

using Vector = double[3];
using Matrix = double[3][3];

// rotation * m, where the rotation turns the axes by an angle about one of them.
void turn_axes(Matrix& m, int axis, double angle) {
    const K7SineCosine a = k7_sine_cosine(angle);
    const int i = (axis + 1) % 3, j = (axis + 2) % 3;
    for (int column = 0; column < 3; ++column) {
        const double p = m[i][column], q = m[j][column];
        m[i][column] = a.cosine * p + a.sine * q;
        m[j][column] = a.cosine * q - a.sine * p;
    }
}

// ---- The earth's motion ---------------------------------------------------------------------------------------

// From the sun, in the equator of J2000: the sun's mean elements and equation of the centre (J. Meeus, "Astronomical
// algorithms", 1991, chapter 24), good to a hundredth of a degree; the longitude is brought to the equinox of J2000.
void earth_position(double centuries, Vector& earth) {
    const double t = centuries;
    const double mean = 280.46645 + 36000.76983 * t + 0.0003032 * t * t;
    const double anomaly = (357.52910 + 35999.05030 * t - 0.0001559 * t * t) * DEGREE;
    const double eccentricity = 0.016708617 - 0.000042037 * t;
    const double centre = (1.914600 - 0.004817 * t) * k7_sin(anomaly) + 0.019993 * k7_sin(2.0 * anomaly) +
                          0.000290 * k7_sin(3.0 * anomaly);
    const double distance =
        1.000001018 * (1.0 - eccentricity * eccentricity) / (1.0 + eccentricity * k7_cos(anomaly + centre * DEGREE));
    const double longitude = (mean + centre - 1.397 * t - 0.00031 * t * t + 180.0) * DEGREE;
    const K7SineCosine place = k7_sine_cosine(longitude), obliquity = k7_sine_cosine(84381.448 / ARCSECONDS);
    earth[0] = distance * place.cosine;
    earth[1] = distance * place.sine * obliquity.cosine;
    earth[2] = distance * place.sine * obliquity.sine;
}

// ---- Precession and nutation ----------------------------------------------------------------------------------

// J. Lieske and others, "Expressions for the precession quantities based upon the IAU (1976) system", 1977.
void precess(Matrix& m, double t) {
    const double zeta = (2306.2181 + (0.30188 + 0.017998 * t) * t) * t / ARCSECONDS;
    const double z = (2306.2181 + (1.09468 + 0.018203 * t) * t) * t / ARCSECONDS;
    const double theta = (2004.3109 - (0.42665 + 0.041833 * t) * t) * t / ARCSECONDS;
    turn_axes(m, 2, -zeta);
    turn_axes(m, 1, theta);
    turn_axes(m, 2, -z);
}

struct NutationTerm {
    int multiples[5];
    double sine, sine_rate, cosine, cosine_rate;
};
constexpr NutationTerm NUTATION[] = {
#include "effects/sky/nutation_1980.inc"
};

struct Nutation {
    double longitude, obliquity;  // radians
};

Nutation nutation(double t) {
    constexpr double TURN = 1296000.0;  // arcseconds
    // The moon's and the sun's mean anomaly, the moon's distance from its node and from the sun, and the node
    const double arguments[] = {485866.733 + (1325.0 * TURN + 715922.633 + (31.310 + 0.064 * t) * t) * t,
                                1287099.804 + (99.0 * TURN + 1292581.224 - (0.577 + 0.012 * t) * t) * t,
                                335778.877 + (1342.0 * TURN + 295263.137 - (13.257 - 0.011 * t) * t) * t,
                                1072261.307 + (1236.0 * TURN + 1105601.328 - (6.891 - 0.019 * t) * t) * t,
                                450160.280 - (5.0 * TURN + 482890.539 - (7.455 + 0.008 * t) * t) * t};
    Nutation sum{0.0, 0.0};
    for (const NutationTerm& term : NUTATION) {
        double angle = 0.0;
        for (int i = 0; i < 5; ++i) angle += term.multiples[i] * arguments[i];
        const K7SineCosine a = k7_sine_cosine(std::fmod(angle, TURN) / ARCSECONDS);
        sum.longitude += (term.sine + term.sine_rate * t) * a.sine;
        sum.obliquity += (term.cosine + term.cosine_rate * t) * a.cosine;
    }
    return {sum.longitude / 10000.0 / ARCSECONDS, sum.obliquity / 10000.0 / ARCSECONDS};
}

// Greenwich mean sidereal time, radians: S. Aoki and others, "The new definition of universal time", 1982.
double sidereal_time(double julian) {
    const double t = (julian - J2000) / CENTURY;
    const double day = julian - 0.5 - std::floor(julian - 0.5);  // 0 at midnight
    const double seconds = 24110.54841 + (8640184.812866 + (0.093104 - 6.2e-6 * t) * t) * t + 86400.0 * day;
    // `t` runs through the day, of which the formula knows the beginning; 1.0027379 days of the stars are in the sum.
    return std::fmod(seconds, 86400.0) * (2.0 * PI / 86400.0);
}

// Seconds that terrestrial time is ahead of universal time, as extrapolated by F. Espenak and J. Meeus for this century
// (2006). Stars move by less than a thousandth of an arcsecond in its error.
double terrestrial_seconds(double centuries) {
    const double years = centuries * 100.0;
    return 62.92 + 0.32217 * years + 0.005589 * years * years;
}

}  // namespace

StarPosition star_position(double ra, double dec, double motion_ra, double motion_dec, double parallax,
                           double velocity) {
    const K7SineCosine a = k7_sine_cosine(ra * 15.0 * DEGREE), d = k7_sine_cosine(dec * DEGREE);
    const double along = motion_ra * 15.0 / ARCSECONDS, across = motion_dec / ARCSECONDS;
    const double distance = parallax / ARCSECONDS;
    const double towards = 21.095 * velocity * distance;  // km/s are 21.095 astronomical units a century
    StarPosition star{};
    star.direction[0] = d.cosine * a.cosine, star.direction[1] = d.cosine * a.sine, star.direction[2] = d.sine;
    star.motion[0] = -along * star.direction[1] - across * d.sine * a.cosine + towards * star.direction[0];
    star.motion[1] = along * star.direction[0] - across * d.sine * a.sine + towards * star.direction[1];
    star.motion[2] = across * d.cosine + towards * star.direction[2];
    star.parallax = distance;
    return star;
}

StarPlaces::StarPlaces(double julian, double latitude, double west_longitude) {
    const double universal = (julian - J2000) / CENTURY;
    const double t = universal + terrestrial_seconds(universal) / 86400.0 / CENTURY;
    m_centuries = t;
    constexpr double HALF_DAY = 0.5 / CENTURY, LIGHT = 173.144633;  // astronomical units a day
    Vector before, after;
    earth_position(t, m_earth);
    earth_position(t - HALF_DAY, before);
    earth_position(t + HALF_DAY, after);
    for (int i = 0; i < 3; ++i) m_velocity[i] = (after[i] - before[i]) / LIGHT;

    std::fill_n(&m_turn[0][0], 9, 0.0);
    for (int i = 0; i < 3; ++i) m_turn[i][i] = 1.0;
    precess(m_turn, t);
    const double obliquity = (84381.448 - (46.8150 + (0.00059 - 0.001813 * t) * t) * t) / ARCSECONDS;
    const Nutation shift = nutation(t);
    turn_axes(m_turn, 0, obliquity);
    turn_axes(m_turn, 2, -shift.longitude);
    turn_axes(m_turn, 0, -(obliquity + shift.obliquity));
    const double apparent = sidereal_time(julian) + shift.longitude * k7_cos(obliquity + shift.obliquity);
    turn_axes(m_turn, 2, apparent - west_longitude * DEGREE);
    turn_axes(m_turn, 1, 0.5 * PI - latitude * DEGREE);  // to south, east, up
    for (double& towards_north : m_turn[0]) towards_north = -towards_north;
}

Horizontal StarPlaces::place(const StarPosition& star) const {
    Vector p;
    for (int i = 0; i < 3; ++i) p[i] = star.direction[i] + star.motion[i] * m_centuries - star.parallax * m_earth[i];
    const double length = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    for (int i = 0; i < 3; ++i) p[i] = p[i] / length + m_velocity[i];
    Vector h;
    for (int i = 0; i < 3; ++i) h[i] = m_turn[i][0] * p[0] + m_turn[i][1] * p[1] + m_turn[i][2] * p[2];
    const double azimuth = k7_atan2(h[1], h[0]) / DEGREE;
    return {azimuth < 0.0 ? azimuth + 360.0 : azimuth, k7_atan2(h[2], std::sqrt(h[0] * h[0] + h[1] * h[1])) / DEGREE};
}
