#include "graphicslib/geometry.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "k7pi_baselib/portable_math.h"

Spherical to_spherical(const float point[3]) {
    const double x = point[0], y = point[1], z = point[2], radius = std::sqrt(x * x + y * y + z * z);
    if (!(radius >= 1e-10)) return {static_cast<float>(radius), 0, 0};
    double azimuth = k7_atan2(y, x);
    if (azimuth < 0) azimuth += 2 * std::numbers::pi;
    const double inclination = k7_acos(std::clamp(z / radius, -1.0, 1.0));
    return {static_cast<float>(radius), static_cast<float>(azimuth), static_cast<float>(inclination)};
}

void from_spherical(const Spherical& spherical, float point[3]) {
    const double flat = spherical.radius * k7_sin(double(spherical.inclination));
    point[0] = static_cast<float>(flat * k7_cos(double(spherical.azimuth)));
    point[1] = static_cast<float>(flat * k7_sin(double(spherical.azimuth)));
    point[2] = static_cast<float>(spherical.radius * k7_cos(double(spherical.inclination)));
}

float distance(const float a[3], const float b[3]) {
    const double x = double(b[0]) - a[0], y = double(b[1]) - a[1], z = double(b[2]) - a[2];
    return static_cast<float>(std::sqrt(x * x + y * y + z * z));
}

float hermite(float a, float b, float ta, float tb, float t) {
    t = t > 0 ? std::min(t, 1.0F) : 0;
    const float square = t * t, cube = square * t;
    return (2 * cube - 3 * square + 1) * a + (3 * square - 2 * cube) * b + (cube - 2 * square + t) * ta +
           (cube - square) * tb;
}

void hermite(const float a[3], const float b[3], const float ta[3], const float tb[3], float t, float result[3]) {
    for (int i = 0; i < 3; ++i) result[i] = hermite(a[i], b[i], ta[i], tb[i], t);
}

bool plane_through(const float a[3], const float b[3], const float c[3], Plane& plane) {
    plane = {};
    double u[3], v[3];
    for (int i = 0; i < 3; ++i) {
        u[i] = double(b[i]) - a[i];
        v[i] = double(c[i]) - a[i];
    }
    const double normal[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
    const double length = std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
    if (!(length > 1e-30) || !std::isfinite(length)) return false;
    double offset = 0;
    for (int i = 0; i < 3; ++i) {
        plane.normal[i] = static_cast<float>(normal[i] / length);
        offset -= normal[i] / length * a[i];
    }
    plane.offset = static_cast<float>(offset);
    return true;
}
