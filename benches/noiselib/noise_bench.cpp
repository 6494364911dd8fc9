// Random numbers and noise. A frame is 1920 x 1080 points: 2.07 million over the milliseconds are points a second.
#include <cstddef>
#include <memory>
#include <vector>

#include "benches/support/bench.h"
#include "noiselib/krvf.h"
#include "noiselib/mtrandom.h"
#include "noiselib/solidnoise.h"

#ifdef QUILLON_RIVAL_LIBNOISE
#include <libnoise/noise.h>
#endif

namespace {

constexpr std::size_t POINTS = static_cast<std::size_t>(FRAME_WIDTH) * FRAME_HEIGHT;
constexpr double STEP = 0.02;  // cells of the lattice a pixel

// A plane across the lattice, slanted in `slant` so that rows leave their rows of cells.
struct Plane {
    std::vector<float> x, y, z, out;

    explicit Plane(float slant) : x(POINTS), y(POINTS), z(POINTS), out(POINTS) {
        for (std::size_t i = 0; i < POINTS; ++i) {
            const auto column = static_cast<float>(i % FRAME_WIDTH);
            const auto row = static_cast<float>(i / FRAME_WIDTH);
            x[i] = column * float(STEP);
            y[i] = row * float(STEP) + slant * column;
            z[i] = 0.5F + slant * column;
        }
    }
};

NoiseLine line_of(int y, double step) { return {0, step, static_cast<float>(y * STEP), 0.5F}; }

Bench::Work points_work(float slant) {
    auto plane = std::make_shared<Plane>(slant);
    auto noise = std::make_shared<SolidNoise>(797);
    return [=] {
        for_rows_float(FRAME_HEIGHT, [&](int first, int last) {
            const std::size_t at = static_cast<std::size_t>(first) * FRAME_WIDTH;
            noise->noise_row(&plane->x[at], &plane->y[at], &plane->z[at], &plane->out[at],
                             (last - first + 1) * FRAME_WIDTH);
        });
    };
}

// Calls row(y, samples of the row) for every row of a frame.
template <class Row>
Bench::Work rows_work(const Row& row) {
    auto out = std::make_shared<std::vector<float>>(POINTS);
    return [=] {
        for_rows_float(FRAME_HEIGHT, [&](int first, int last) {
            for (int y = first; y <= last; ++y) row(y, out->data() + static_cast<std::size_t>(y) * FRAME_WIDTH);
        });
    };
}

Bench::Work line_work(double step) {
    auto noise = std::make_shared<SolidNoise>(797);
    return rows_work([=](int y, float* out) { noise->noise_row(line_of(y, step), 0, out, FRAME_WIDTH); });
}

Bench::Work turbulence_work() {
    auto noise = std::make_shared<SolidNoise>(797);
    return rows_work(
        [=](int y, float* out) { noise->turbulence_row(line_of(y, STEP), 0, 1, 5.05F, out, FRAME_WIDTH); });
}

Bench::Work single_points_work() {
    auto noise = std::make_shared<SolidNoise>(797);
    return rows_work([=](int y, float* out) {
        const NoiseLine line = line_of(y, STEP);
        for (int x = 0; x < FRAME_WIDTH; ++x) out[x] = noise->noise(line.x_at(x), line.y, line.z);
    });
}

Bench::Work field_work(int n) {
    auto field = std::make_shared<KRVF>();
    return [=] { field->generate(7, n, 4, 1); };
}

Bench::Work field_samples_work() {
    auto field = std::make_shared<KRVF>();
    field->generate(7, 32, 4, 1);
    return rows_work([=](int y, float* out) {
        for (int x = 0; x < FRAME_WIDTH; ++x) {
            double u, v, w;
            field->sample(x / 1919.0, y / 1079.0, 0.3, &u, &v, &w);
            out[x] = static_cast<float>(u + v + w);
        }
    });
}

Bench::Work words_work() {
    auto random = std::make_shared<MTRandom>(5);
    auto out = std::make_shared<std::vector<float>>(POINTS);
    return [=] {
        for (float& number : *out) number = random->next_float();
    };
}

const Bench bench_line("noise, lines", QUILLON, 0, [](int) { return line_work(STEP); });
const Bench bench_line_single("noise, lines", "quillon, single points", 0, [](int) { return single_points_work(); });
const Bench bench_line_far("noise, lines in steps of 2 cells", QUILLON, 0, [](int) { return line_work(2); });
const Bench bench_level_points("noise, points of a level plane", QUILLON, 0, [](int) { return points_work(0); });
const Bench bench_slanted_points("noise, points of a slanted plane", QUILLON, 0, [](int) { return points_work(0.3F); });
const Bench bench_turbulence("turbulence, lines, 3 octaves", QUILLON, 0, [](int) { return turbulence_work(); });
const Bench bench_field_32("vector field, n = 32", QUILLON, 0, [](int) { return field_work(32); });
const Bench bench_field_64("vector field, n = 64", QUILLON, 0, [](int) { return field_work(64); });
const Bench bench_field_samples("vector field, samples", QUILLON, 0, [](int) { return field_samples_work(); });
const Bench bench_words("Mersenne Twister, floats", QUILLON, 0, [](int) { return words_work(); });

#ifdef QUILLON_RIVAL_LIBNOISE
Bench::Work libnoise_work(noise::NoiseQuality quality) {
    return rows_work([=](int y, float* out) {
        const NoiseLine line = line_of(y, STEP);
        for (int x = 0; x < FRAME_WIDTH; ++x)
            out[x] = static_cast<float>(noise::GradientCoherentNoise3D(line.x_at(x), line.y, line.z, 797, quality));
    });
}
const Bench bench_libnoise("noise, lines", "libnoise", 0, [](int) { return libnoise_work(noise::QUALITY_STD); });
#endif

}  // namespace
