#include "noiselib/solidnoise.h"

#include <cmath>

#include "noiselib/mtrandom.h"

namespace {

// clang-format off
constexpr uint8_t P[256] = {
    225, 155, 210, 108, 175, 199, 221, 144, 203, 116, 70, 213, 69, 158, 33, 252, 5, 82, 173, 133, 222, 139, 174, 27,
    9, 71, 90, 246, 75, 130, 91, 191, 169, 138, 2, 151, 194, 235, 81, 7, 25, 113, 228, 159, 205, 253, 134, 142, 248,
    65, 224, 217, 22, 121, 229, 63, 89, 103, 96, 104, 156, 17, 201, 129, 36, 8, 165, 110, 237, 117, 231, 56, 132, 211,
    152, 20, 181, 111, 239, 218, 170, 163, 51, 172, 157, 47, 80, 212, 176, 250, 87, 49, 99, 242, 136, 189, 162, 115,
    44, 43, 124, 94, 150, 16, 141, 247, 32, 10, 198, 223, 255, 72, 53, 131, 84, 57, 220, 197, 58, 50, 208, 11, 241,
    28, 3, 192, 62, 202, 18, 215, 153, 24, 76, 41, 15, 179, 39, 46, 55, 6, 128, 167, 23, 188, 106, 34, 187, 140, 164,
    73, 112, 182, 244, 195, 227, 13, 35, 77, 196, 185, 26, 200, 226, 119, 31, 123, 168, 125, 249, 68, 183, 230, 177,
    135, 160, 180, 12, 1, 243, 148, 102, 166, 38, 238, 251, 37, 240, 126, 64, 74, 161, 40, 184, 149, 171, 178, 101,
    66, 29, 59, 146, 61, 254, 107, 42, 86, 154, 4, 236, 232, 120, 21, 233, 209, 45, 98, 193, 114, 78, 19, 206, 14,
    118, 127, 48, 79, 147, 85, 30, 207, 219, 54, 88, 234, 190, 122, 95, 67, 143, 109, 137, 214, 145, 93, 92, 100, 245,
    0, 216, 186, 60, 83, 105, 97, 204, 52,
};
// clang-format on

float ease(float t) { return (3.0F - 2.0F * t) * t * t; }
float lerp(float t, float a, float b) { return a + t * (b - a); }

// The low eight bits of the floor of a coordinate. Floats of 2^31 and more are whole multiples of 256.
uint32_t cell(float floor_of_coordinate) {
    return std::fabs(floor_of_coordinate) < 0x1p31F
               ? static_cast<uint32_t>(static_cast<int32_t>(floor_of_coordinate)) & 255U
               : 0U;
}

}  // namespace

SolidNoise::SolidNoise(uint32_t seed) {
    MTRandom random(seed);
    for (Gradient& gradient : gradients) {
        const float z = 2.0F * random.next_float() - 1.0F;
        const float r = std::sqrt(1.0F - z * z);
        // In doubles and rounded once: the float forms of the system's library differ between processors.
        const double angle = 6.2831854820251465F * random.next_float();
        gradient = {r * static_cast<float>(std::cos(angle)), r * static_cast<float>(std::sin(angle)), z};
    }
}

float SolidNoise::noise(float x, float y, float z) const {
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z)) return 0;
    const float floor_x = std::floor(x);
    const float floor_y = std::floor(y);
    const float floor_z = std::floor(z);
    const float fx = x - floor_x;
    const float fy = y - floor_y;
    const float fz = z - floor_z;
    const uint32_t i = cell(floor_x);
    const uint32_t j = cell(floor_y);
    const uint32_t k = cell(floor_z);
    const float u = ease(fx);
    const float v = ease(fy);

    const auto dot = [&](uint32_t hash, float dx, float dy, float dz) {
        const Gradient& g = gradients[P[hash & 255U]];
        return g.x * dx + g.y * dy + g.z * dz;
    };
    const auto plane = [&](uint32_t layer, float dz) {
        const uint32_t a = P[layer & 255U] + j;
        const uint32_t b = P[a & 255U] + i;
        const uint32_t c = P[(a + 1) & 255U] + i;
        return lerp(v, lerp(u, dot(b, fx, fy, dz), dot(b + 1, fx - 1, fy, dz)),
                    lerp(u, dot(c, fx, fy - 1, dz), dot(c + 1, fx - 1, fy - 1, dz)));
    };
    return lerp(ease(fz), plane(k, fz), plane(k + 1, fz - 1));
}

float SolidNoise::turbulence(float x, float y, float z, float f_min, float f_max) const {
    float f = f_min < 1e-7F ? 1e-7F : f_min;
    float sum = 0;
    for (; f < f_max; f *= 2.17F) sum += noise(f * x, f * y, f * z) / f;
    return sum;
}

void SolidNoise::noise_row(const float* x, const float* y, const float* z, float* out, int count) const {
    for (int i = 0; i < count; ++i) out[i] = noise(x[i], y[i], z[i]);
}

void SolidNoise::turbulence_row(const float* x, const float* y, const float* z, float f_min, float f_max, float* out,
                                int count) const {
    for (int i = 0; i < count; ++i) out[i] = turbulence(x[i], y[i], z[i], f_min, f_max);
}

void SolidNoise::noise_row(const NoiseLine& line, int first, float* out, int count) const {
    for (int i = 0; i < count; ++i) out[i] = noise(line.x_at(first + i), line.y, line.z);
}

void SolidNoise::turbulence_row(const NoiseLine& line, int first, float f_min, float f_max, float* out,
                                int count) const {
    for (int i = 0; i < count; ++i) out[i] = turbulence(line.x_at(first + i), line.y, line.z, f_min, f_max);
}
