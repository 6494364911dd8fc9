// Elementary functions that give the same bits on every machine. Code calls these instead of the system's, whose last
// bits differ between libraries and processors; a test over the sources sees to it. Roots, rounding, remainders and
// std::ldexp are exact everywhere and stay the system's.
//
// Angles in radians. Errors: about one unit in the last place of a double, two for tangents and large powers; floats
// are computed in doubles, so nearly all are correctly rounded. Zeros, infinities and NaN give what
// the C standard says. simdlib/elementary.h has the same functions on vectors, with the same bits, and the sources.
#pragma once

struct K7SineCosine {
    double sine, cosine;
};

double k7_exp(double x);
double k7_log(double x);  // natural
double k7_pow(double base, double exponent);
float k7_pow_float(double base, double exponent);  // rounded to float; takes half the time
double k7_sin(double angle);
double k7_cos(double angle);
K7SineCosine k7_sine_cosine(double angle);
double k7_tan(double angle);
double k7_atan2(double y, double x);  // -pi to pi
double k7_acos(double x);             // 0 to pi
double k7_hypot(double x, double y);

inline float k7_exp(float x) { return static_cast<float>(k7_exp(static_cast<double>(x))); }
inline float k7_log(float x) { return static_cast<float>(k7_log(static_cast<double>(x))); }
inline float k7_pow(float base, float exponent) {
    return k7_pow_float(static_cast<double>(base), static_cast<double>(exponent));
}
inline float k7_sin(float angle) { return static_cast<float>(k7_sin(static_cast<double>(angle))); }
inline float k7_cos(float angle) { return static_cast<float>(k7_cos(static_cast<double>(angle))); }
inline float k7_tan(float angle) { return static_cast<float>(k7_tan(static_cast<double>(angle))); }
inline float k7_atan2(float y, float x) {
    return static_cast<float>(k7_atan2(static_cast<double>(y), static_cast<double>(x)));
}
inline float k7_acos(float x) { return static_cast<float>(k7_acos(static_cast<double>(x))); }
inline float k7_hypot(float x, float y) {
    return static_cast<float>(k7_hypot(static_cast<double>(x), static_cast<double>(y)));
}
