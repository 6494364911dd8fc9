#include "k7pi_baselib/portable_math.h"

#include "simdlib/elementary.h"

double k7_exp(double x) { return elementary::exp(x); }
double k7_log(double x) { return elementary::log(x); }
double k7_pow(double base, double exponent) { return elementary::pow(base, exponent); }
float k7_pow_float(double base, double exponent) {
    return static_cast<float>(elementary::pow<elementary::Precision::FLOAT>(base, exponent));
}
double k7_sin(double angle) { return elementary::sin(angle); }
double k7_cos(double angle) { return elementary::cos(angle); }
double k7_tan(double angle) { return elementary::tan(angle); }
double k7_atan2(double y, double x) { return elementary::atan2(y, x); }
double k7_acos(double x) { return elementary::acos(x); }
double k7_hypot(double x, double y) { return elementary::hypot(x, y); }

K7SineCosine k7_sine_cosine(double angle) {
    const auto turn = elementary::sine_cosine(angle);
    return {turn.sine, turn.cosine};
}
