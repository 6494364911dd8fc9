#include "effects/light/Flare_simd.h"

#include "simdlib/elementary.h"
#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

constexpr double PI = 3.141592653589793;
constexpr int WIDE = COUNT_OF<Doubles>;

// Fraunhofer diffraction of a grating (Hecht, "Optics", chapter 10).
static void diffraction(const FlareSlits& slits, double sine_of_angle, float* spectrum) {
    constexpr double MILLIMETRES_TO_NANOMETRES = 1e6, LEAST = 1e-35;
    Doubles wavelength;
    for (int i = 0; i < WIDE; ++i) wavelength[i] = FLARE_SHORTEST + i;
    for (int i = 0; i < FLARE_LINES; i += WIDE, wavelength += double(WIDE)) {
        const Doubles path = sine_of_angle * MILLIMETRES_TO_NANOMETRES * PI / wavelength;
        Doubles beta = slits.width * path;
        beta = beta > LEAST ? beta : all<Doubles>(LEAST);
        Doubles amplitude = elementary::sin(beta) / beta;
        if (slits.count > 1) {
            const Doubles gamma = slits.distance * path, one = elementary::sin(gamma);
            const Doubles many = elementary::sin(gamma * double(slits.count));
            const auto in_step = (one < 1e-12) & (one > -1e-12);
            amplitude *= in_step ? all<Doubles>(double(slits.count)) : many / one;
        }
        const Doubles intensity = amplitude * amplitude;
        for (int j = 0; j < WIDE; ++j) spectrum[i + j] = static_cast<float>(intensity[j]);
    }
}

static void halo(const HaloTable& table, float entries_a_pixel, float dy, int count, float* red, float* green,
                 float* blue) {
    Floats dx = {};
    for (int i = 0; i < LANES; ++i) dx[i] = static_cast<float>(i);
    for (int x = 0; x < count; x += LANES, dx += float(LANES)) {
        const Floats place =
            smaller(square_root(dx * dx + dy * dy) * entries_a_pixel, all<Floats>(float(HALO_ENTRIES - 1)));
        const Ints entry = to_ints(place), next = entry + 1;
        const Floats part = place - to_floats(entry);
        const auto mixed = [&](const float* colours) {
            const Floats a = gather(colours, entry);
            return a + (gather(colours, next) - a) * part;
        };
        store(red + x, mixed(table.red));
        store(green + x, mixed(table.green));
        store(blue + x, mixed(table.blue));
    }
}

static double darken(float* red, float* green, float* blue, const float* darkness, int count) {
    // Lanes of their own, so that the order of the sum is that of every width of a register
    using Eight = Vec<float, 8>;
    Vec<double, 8> sum = {};
    const auto piece = [&](float* r, float* g, float* b, const float* dark) {
        const Eight keep = to_unit(1.0f - load<Eight>(dark));
        const Eight kept[] = {load<Eight>(r) * keep, load<Eight>(g) * keep, load<Eight>(b) * keep};
        store(r, kept[0]), store(g, kept[1]), store(b, kept[2]);
        const Eight all_three = kept[0] + kept[1] + kept[2];
        for (int i = 0; i < 8; ++i) sum[i] += double(all_three[i]);
    };
    int x = 0;
    for (; x + 8 <= count; x += 8) piece(red + x, green + x, blue + x, darkness + x);
    if (x < count) {
        float rest[4][8] = {};
        const std::size_t bytes = sizeof(float) * static_cast<std::size_t>(count - x);
        float* const rows[] = {red + x, green + x, blue + x};
        for (int c = 0; c < 3; ++c) __builtin_memcpy(rest[c], rows[c], bytes);
        __builtin_memcpy(rest[3], darkness + x, bytes);
        piece(rest[0], rest[1], rest[2], rest[3]);
        for (int c = 0; c < 3; ++c) __builtin_memcpy(rows[c], rest[c], bytes);
    }
    double total = 0;
    for (int i = 0; i < 8; ++i) total += sum[i];
    return total;
}

static inline Floats toned(const FlareTone& tone, Floats light) {
    Floats v = larger(light * tone.scale, Floats{});
    if (tone.power != 1.0f) {
        alignas(64) float numbers[LANES];
        store(numbers, v);
        for (int i = 0; i < LANES; i += WIDE) {
            Doubles base;
            for (int j = 0; j < WIDE; ++j) base[j] = double(numbers[i + j]);
            const Doubles raised =
                elementary::pow<elementary::Precision::FLOAT>(base, all<Doubles>(double(tone.power)));
            for (int j = 0; j < WIDE; ++j) numbers[i + j] = static_cast<float>(raised[j]);
        }
        v = load(numbers);
    }
    return v * tone.gain;
}

static void tone(const FlareTone& tone, const float* red, const float* green, const float* blue, float* pixels,
                 int count) {
    const auto add = [&](Floats light, Floats under) {
        const Floats v = toned(tone, light);
        return tone.screen ? larger(larger(v + under - v * under, under), v) : v + under;
    };
    const auto piece = [&](const float* r, const float* g, const float* b, float* out) {
        alignas(64) float lanes[3][LANES];
        for (int i = 0; i < LANES; ++i) {
            const int pixel = pixel_of(i);
            lanes[0][i] = r[pixel], lanes[1][i] = g[pixel], lanes[2][i] = b[pixel];
        }
        Planes p = load_planes(out);
        p.r = add(load(lanes[0]), p.r), p.g = add(load(lanes[1]), p.g), p.b = add(load(lanes[2]), p.b);
        store_planes(out, p);
    };
    int x = 0;
    for (; x + LANES <= count; x += LANES) piece(red + x, green + x, blue + x, pixels + 4L * x);
    if (x == count) return;
    const std::size_t bytes = sizeof(float) * static_cast<std::size_t>(count - x);
    alignas(64) float rest[3][LANES] = {}, some[4 * LANES] = {};
    const float* const rows[] = {red + x, green + x, blue + x};
    for (int c = 0; c < 3; ++c) __builtin_memcpy(rest[c], rows[c], bytes);
    __builtin_memcpy(some, pixels + 4L * x, 4 * bytes);
    piece(rest[0], rest[1], rest[2], some);
    __builtin_memcpy(pixels + 4L * x, some, 4 * bytes);
}

}  // namespace

const FlareKernels flare_kernels = {diffraction, halo, darken, tone};

}  // namespace QUILLON_SIMD
