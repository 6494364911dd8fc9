#include "noiselib/solidnoise.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "k7pi_baselib/cpu.h"
#include "noiselib/mtrandom.h"
#include "noiselib/solidnoise_simd.h"

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

// The permutation of h and, in the high half, of h + 1.
constexpr auto PAIRS = [] {
    std::array<uint32_t, 256> pairs{};
    for (uint32_t h = 0; h < 256; ++h) pairs[h] = P[h] | static_cast<uint32_t>(P[(h + 1) & 255U]) << 16;
    return pairs;
}();

constexpr float OCTAVE_STEP = 2.17F;  // not 2: no octave falls on another's lattice
constexpr float MIN_FREQUENCY = 1e-7F;

// The low eight bits of the floor of a coordinate. Floats of 2^31 and more are whole multiples of 256.
uint32_t cell(float floor_of_coordinate) {
    return std::fabs(floor_of_coordinate) < 0x1p31F
               ? static_cast<uint32_t>(static_cast<int32_t>(floor_of_coordinate)) & 255U
               : 0U;
}

const SolidNoiseKernels& kernels() {
    return cpu_select(baseline::solid_noise_kernels, avx2::solid_noise_kernels, avx512::solid_noise_kernels);
}

// Calls work(start, count) for the pieces of a row.
template <class Work>
void for_chunks(int count, const Work& work) {
    for (int start = 0; start < count; start += NOISE_CHUNK) work(start, std::min(NOISE_CHUNK, count - start));
}

template <class Work>
void for_octaves(float f_min, float f_max, const Work& work) {
    for (float f = f_min < MIN_FREQUENCY ? MIN_FREQUENCY : f_min; f < f_max; f *= OCTAVE_STEP) work(f);
}

}  // namespace

SolidNoise::SolidNoise(uint32_t seed) {
    MTRandom random(seed);
    Gradient drawn[256];
    for (Gradient& gradient : drawn) {
        const float z = 2.0F * random.next_float() - 1.0F;
        const float r = std::sqrt(1.0F - z * z);
        // In doubles and rounded once: the float forms of the system's library differ between processors.
        const double angle = 6.2831854820251465F * random.next_float();
        gradient = {r * static_cast<float>(std::cos(angle)), r * static_cast<float>(std::sin(angle)), z, 0};
    }
    for (uint32_t h = 0; h < 256; ++h) gradients[h] = {drawn[P[h]], drawn[P[(h + 1) & 255U]]};
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
    const float u = ease(fx);
    const float v = ease(fy);

    const auto edge = [&](uint32_t hash, float dy, float dz) {
        const Edge& e = gradients[hash & 255U];
        return lerp(u, e.lower.x * fx + e.lower.y * dy + e.lower.z * dz,
                    e.upper.x * (fx - 1) + e.upper.y * dy + e.upper.z * dz);
    };
    const auto plane = [&](uint32_t layer, float dz) {
        const uint32_t rows = PAIRS[(layer + j) & 255U];
        return lerp(v, edge((rows & 255U) + i, fy, dz), edge((rows >> 16) + i, fy - 1, dz));
    };
    const uint32_t layers = PAIRS[cell(floor_z)];
    return lerp(ease(fz), plane(layers & 255U, fz), plane(layers >> 16, fz - 1));
}

float SolidNoise::turbulence(float x, float y, float z, float f_min, float f_max) const {
    float sum = 0;
    for_octaves(f_min, f_max, [&](float f) { sum += noise(f * x, f * y, f * z) / f; });
    return sum;
}

void SolidNoise::noise_row(const float* x, const float* y, const float* z, float* out, int count) const {
    kernels().points(tables(), x, y, z, out, count);
}

void SolidNoise::turbulence_row(const float* x, const float* y, const float* z, float f_min, float f_max, float* out,
                                int count) const {
    const SolidNoiseKernels& kernel = kernels();
    for_chunks(count, [&](int start, int length) {
        float sum[NOISE_CHUNK] = {};
        for_octaves(f_min, f_max,
                    [&](float f) { kernel.add_points(tables(), x + start, y + start, z + start, f, sum, length); });
        std::copy_n(sum, length, out + start);
    });
}

void SolidNoise::noise_row(const NoiseLine& line, int first, float* out, int count) const {
    const SolidNoiseKernels& kernel = kernels();
    for_chunks(count, [&](int start, int length) {
        float x[NOISE_CHUNK];
        kernel.positions(line.x, line.step, first + start, x, length);
        kernel.line(tables(), x, line.y, line.z, line.step, out + start, length);
    });
}

void SolidNoise::turbulence_row(const NoiseLine& line, int first, float f_min, float f_max, float* out,
                                int count) const {
    const SolidNoiseKernels& kernel = kernels();
    for_chunks(count, [&](int start, int length) {
        float x[NOISE_CHUNK];
        float* const sum = out + start;
        kernel.positions(line.x, line.step, first + start, x, length);
        std::fill_n(sum, length, 0.0F);
        for_octaves(f_min, f_max,
                    [&](float f) { kernel.add_line(tables(), x, line.y, line.z, line.step, f, sum, length); });
    });
}

NoiseTables SolidNoise::tables() const { return {&gradients[0].lower.x, PAIRS.data()}; }
