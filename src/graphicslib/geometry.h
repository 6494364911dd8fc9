// Small helpers in space.
#pragma once

struct Spherical {
    float radius, azimuth, inclination;  // azimuth 0 to 2 pi from x towards y, inclination from z
};

Spherical to_spherical(const float point[3]);  // angles 0 for a radius below 1e-10
void from_spherical(const Spherical& spherical, float point[3]);
float distance(const float a[3], const float b[3]);

// The cubic from `a` to `b` with tangents `ta` and `tb` there; t is limited to 0 to 1.
float hermite(float a, float b, float ta, float tb, float t);
void hermite(const float a[3], const float b[3], const float ta[3], const float tb[3], float t, float result[3]);

// n . p + offset = 0, n of unit length; turned so that a, b, c go round it counter-clockwise. False, and a plane of
// zeros, for three points on a line.
struct Plane {
    float normal[3];
    float offset;
    float distance(const float point[3]) const {
        return normal[0] * point[0] + normal[1] * point[1] + normal[2] * point[2] + offset;
    }
};
bool plane_through(const float a[3], const float b[3], const float c[3], Plane& plane);
