#include "noiselib/solidnoise.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"
#include "noiselib/solidnoise_simd.h"
#include "simdlib/cpu.h"
#include "simdlib/vectors.h"

namespace {

using simd::in_order;
using Floats4 = simd::Vec<float, 4>;

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
Floats4 lerp(Floats4 t, Floats4 a, Floats4 b) { return a + t * (b - a); }

// Four gradients times their offsets.
Floats4 four_dots(const float* a, const float* b, const float* c, const float* d, Floats4 dx, Floats4 dy, Floats4 dz) {
    const auto load = [](const float* gradient) { return simd::load_aligned<Floats4>(gradient); };
    const Floats4 ab_xy = in_order<0, 4, 1, 5>(load(a), load(b)), ab_z = in_order<2, 6, 3, 7>(load(a), load(b));
    const Floats4 cd_xy = in_order<0, 4, 1, 5>(load(c), load(d)), cd_z = in_order<2, 6, 3, 7>(load(c), load(d));
    return in_order<0, 1, 4, 5>(ab_xy, cd_xy) * dx + in_order<2, 3, 6, 7>(ab_xy, cd_xy) * dy +
           in_order<0, 1, 4, 5>(ab_z, cd_z) * dz;
}

// The permutation of h and, in the next eight bits, of h + 1.
constexpr auto PAIRS = [] {
    std::array<uint32_t, 256> pairs{};
    for (uint32_t h = 0; h < 256; ++h) pairs[h] = P[h] | static_cast<uint32_t>(P[(h + 1) & 255U]) << 8;
    return pairs;
}();

constexpr float OCTAVE_STEP = 2.17F;  // not 2: no octave falls on another's lattice
constexpr float MIN_FREQUENCY = 1e-7F;

// A finite coordinate: the low eight bits of its floor, and what is above it.
struct Coordinate {
    uint32_t cell;
    float fraction;

    explicit Coordinate(float c) : cell(0), fraction(0) {
        if (std::fabs(c) >= 0x1p31F) return;  // whole multiples of 256
        const int32_t truncated = static_cast<int32_t>(c);
        const int32_t whole = truncated - (static_cast<float>(truncated) > c);
        cell = static_cast<uint32_t>(whole) & 255U;
        fraction = c == 0 ? 0 : c - static_cast<float>(whole);
    }
};

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
        const K7SineCosine turn = k7_sine_cosine(6.2831854820251465F * random.next_float());
        gradient = {r * static_cast<float>(turn.cosine), r * static_cast<float>(turn.sine), z, 0};
    }
    for (uint32_t h = 0; h < 256; ++h) gradients[h] = {drawn[P[h]], drawn[P[(h + 1) & 255U]]};
}

float SolidNoise::noise(float x, float y, float z) const {
    if ((x - x) + (y - y) + (z - z) != 0) return 0;
    const Coordinate across(x);
    const Coordinate up(y);
    const Coordinate deep(z);
    const float fx = across.fraction;
    const float fy = up.fraction;
    const float fz = deep.fraction;

    // The four edges of the cell along x abreast: at the lower y and z, the upper y, the upper z, both upper.
    const uint32_t layers = PAIRS[deep.cell];
    const uint32_t near = PAIRS[(layers + up.cell) & 255U];
    const uint32_t far = PAIRS[((layers >> 8) + up.cell) & 255U];
    const auto edge = [&](uint32_t hash) -> const Edge& { return gradients[(hash + across.cell) & 255U]; };
    const Edge& a = edge(near);
    const Edge& b = edge(near >> 8);
    const Edge& c = edge(far);
    const Edge& d = edge(far >> 8);
    const auto all = [](float value) { return simd::all<Floats4>(value); };
    const Floats4 dy = {fy, fy - 1, fy, fy - 1};
    const Floats4 dz = {fz, fz, fz - 1, fz - 1};
    const Floats4 lower = four_dots(&a.lower.x, &b.lower.x, &c.lower.x, &d.lower.x, all(fx), dy, dz);
    const Floats4 upper = four_dots(&a.upper.x, &b.upper.x, &c.upper.x, &d.upper.x, all(fx - 1), dy, dz);
    const Floats4 along_x = lerp(all(ease(fx)), lower, upper);
    const Floats4 along_y = lerp(all(ease(fy)), along_x, in_order<1, 1, 3, 3>(along_x, along_x));
    return lerp(ease(fz), along_y[0], along_y[2]);
}

float SolidNoise::turbulence(float x, float y, float z, float f_min, float f_max) const {
    float sum = 0;
    for_octaves(f_min, f_max, [&](float f) { sum += noise(f * x, f * y, f * z) / f; });
    return sum;
}

void SolidNoise::noise_row(const float* x, const float* y, const float* z, float* out, int count) const {
    solid_noise_kernels().points(tables(), x, y, z, out, count);
}

void SolidNoise::turbulence_row(const float* x, const float* y, const float* z, float f_min, float f_max, float* out,
                                int count) const {
    const SolidNoiseKernels& kernel = solid_noise_kernels();
    for_chunks(count, [&](int start, int length) {
        float sum[NOISE_CHUNK] = {};
        for_octaves(f_min, f_max,
                    [&](float f) { kernel.add_points(tables(), x + start, y + start, z + start, f, sum, length); });
        std::copy_n(sum, length, out + start);
    });
}

void SolidNoise::noise_row(const NoiseLine& line, int first, float* out, int count) const {
    const SolidNoiseKernels& kernel = solid_noise_kernels();
    for_chunks(count, [&](int start, int length) {
        float x[NOISE_CHUNK];
        kernel.positions(line.x, line.step, first + start, x, length);
        kernel.line(tables(), x, line.y, line.z, line.step, out + start, length);
    });
}

void SolidNoise::turbulence_row(const NoiseLine& line, int first, float f_min, float f_max, float* out,
                                int count) const {
    const SolidNoiseKernels& kernel = solid_noise_kernels();
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
