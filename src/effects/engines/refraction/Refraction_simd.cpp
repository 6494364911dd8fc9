#include "effects/engines/refraction/Refraction_simd.h"

#include "simdlib/elementary.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr float SHORTEST = 1e-10f;

struct Normal {
    float x, y, z;
};

// The cross product of the diagonals across a pixel, and with it, on demand, that of the axes. Of unit length.
QUILLON_VECTOR Normal normal_at(const RefractingGrid& grid, const float* above, const float* here, const float* below,
                                int x) {
    const float a = below[x + 2] - above[x], b = below[x] - above[x + 2];
    Normal n = {(b - a) * grid.dy, -(a + b) * grid.dx, 2 * grid.dx * grid.dy};
    if (grid.axial) {
        n.x += (here[x] - here[x + 2]) * grid.dy;
        n.y += (above[x + 1] - below[x + 1]) * grid.dx;
        n.z += grid.dx * grid.dy;
    }
    const float length = square_root(n.x * n.x + n.y * n.y + n.z * n.z);
    const float scale = length > SHORTEST ? 1.0f / length : 1.0f;
    return {n.x * scale, n.y * scale, n.z * scale};
}

}  // namespace

// Snell's law in the vector form, seen straight from above; the index itself cancels.
static void bends(const RefractingGrid& grid, const float* above, const float* here, const float* below,
                  float* __restrict out_x, float* __restrict out_y) {
    const float max_x = grid.max_x, max_y = grid.max_y;
    for (int x = 0; x < grid.width; ++x) {
        const Normal n = normal_at(grid, above, here, below, x);
        const float k = n.z * n.z + grid.index_squared_less_1;
        const float m = k >= 0.0f ? n.z - square_root(larger(k, 0.0f)) : 1.0f;
        const float t = m / (n.z * m - 1.0f);
        out_x[x] = max_x * (n.x * t);
        out_y[x] = max_y * (n.y * t);
    }
}

static void find_bent(int width, const float* x, const float* y, unsigned char* blocks) {
    for (int first = 0; first < width; first += SIGHT_BLOCK) {
        const int last = first + SIGHT_BLOCK < width ? first + SIGHT_BLOCK : width;
        int bent = 0;
        for (int i = first; i < last; ++i) bent |= int(x[i] != 0.0f) | int(y[i] != 0.0f);
        *blocks++ = static_cast<unsigned char>(bent);
    }
}

static void shine(const RefractingGrid& grid, const ShiningLight& light, const float* above, const float* here,
                  const float* below, int y, float* __restrict out) {
    const float* map = light.to_plane;
    const float py = float(y) * grid.dy * light.row_scale;
    for (int x = 0; x < grid.width; ++x) {
        const Normal n = normal_at(grid, above, here, below, x);
        const float px = float(x) * grid.dx;
        const float w = map[6] * px + map[7] * py + map[8];
        const float inverse = absolute(w) > SHORTEST ? 1.0f / w : 1.0f;
        const float lx = (map[0] * px + map[1] * py + map[2]) * inverse - light.centre_x + light.light[0];
        const float ly = (map[3] * px + map[4] * py + map[5]) * inverse - light.centre_y + light.light[1];
        const float lz = light.light[2];
        const float length = square_root(lx * lx + ly * ly + lz * lz);
        const float dot = (lx * n.x + ly * n.y + lz * n.z) / larger(length, SHORTEST);
        out[x] = larger(dot, 0.0f);
    }
    constexpr int N = COUNT_OF<Doubles>;
    using Part = Vec<float, N>;
    const Doubles gloss = Doubles{} + double(light.gloss), brightness = Doubles{} + double(light.brightness);
    for (int x = 0; x < grid.width; x += N) {
        const int count = grid.width - x < N ? grid.width - x : N;
        Part part = {};
        __builtin_memcpy(&part, out + x, sizeof(float) * std::size_t(count));
        const Doubles base = to_doubles(part);
        part =
            to_floats(elementary::power_of_magnitude<elementary::Precision::FLOAT, Doubles>(base, gloss) * brightness);
        __builtin_memcpy(out + x, &part, sizeof(float) * std::size_t(count));
    }
}

static void places(int width, float base, const float* heights, const float* bend_x, const float* bend_y, int y,
                   float* __restrict u, float* __restrict v) {
    const float row = float(y);
    for (int x = 0; x < width; ++x) {
        const float height = base + heights[x];
        u[x] = float(x) + height * bend_x[x];
        v[x] = (row + height * bend_y[x]) - 1.0f;
    }
}

static void footprints(const FootprintLimits& limits, const float* u, const float* v, const float* next_u,
                       const float* next_v, float* __restrict x, float* __restrict y, float* __restrict area) {
    for (int i = 1; i < limits.width - 1; ++i) {
        const float u_low = smaller(smaller(u[i], u[i - 1]), smaller(next_u[i], next_u[i - 1]));
        const float u_high = larger(larger(u[i], u[i - 1]), larger(next_u[i], next_u[i - 1]));
        const float v_low = smaller(smaller(v[i], v[i + 1]), smaller(next_v[i], next_v[i + 1]));
        const float v_high = larger(larger(v[i], v[i + 1]), larger(next_v[i], next_v[i + 1]));
        x[i] = limited((u_low + u_high) * 0.5f + 0.5f, limits.low_x, limits.high_x);
        y[i] = limited((v_low + v_high) * 0.5f + 0.5f, limits.low_y, limits.high_y);
        area[i] = (u_high - u_low) * (v_high - v_low);
    }
}

static void light_up(int count, float contrast, const float* shine, const float* colour, float* __restrict pixels) {
    const Pixel factor = {contrast, contrast, contrast, 1.0f};
    const Pixel tint = {colour[0], colour[1], colour[2], 0.0f};
    for (int x = 0; x < count; ++x) {
        const Pixel lit = factor * load<Pixel>(pixels + 4L * x) + tint * shine[x];
        store(pixels + 4L * x, lit);
    }
}

const RefractionKernels refraction_kernels = {bends, find_bent, shine, places, footprints, light_up};

}  // namespace QUILLON_SIMD
