#include "effects/sky/CloudMap.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Library2/Made.h"
#include "fftlib/fftlib.h"
#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr double NOMINAL_WIDTH = 720;  // of the map that lengths are meant for
constexpr double RADIANS = 0.01745;    // of a degree
constexpr int MOST_LATER_DOTS = 10;    // that later octaves multiply
// Slopes are taken over so many pixels. Over one, clouds of the usual sizes rise by a thousandth: presets of streaks
// would show a clear sky, and no bump would be seen.
constexpr double SLOPE_PIXELS = 10;
constexpr double LEAST_CONTRAST = 0.001;
constexpr double LEAST_GAIN = 1e-8;  // waves that are weaker are below the rounding of a float

double octave_blur(const CloudSettings& settings, int octave) { return settings.dot_blur / double(1 << octave); }

// ---- Blurs as gains of waves --------------------------------------------------------------------------------------

using Gains = std::vector<double>;

// What `times` blurs do to each wave.
void apply_blurs(Gains& gains, int size, double radius, int times) {
    for (std::size_t k = 0; k < gains.size(); ++k) {
        const double once = image_wrap_blur_gain(static_cast<float>(radius), size, static_cast<int>(k));
        for (int i = 0; i < times; ++i) gains[k] *= once;
    }
}

std::vector<float> without_weak_waves(const Gains& gains) {
    std::size_t count = gains.size();
    while (count > 1 && std::fabs(gains[count - 1]) < LEAST_GAIN) --count;
    return {gains.begin(), gains.begin() + static_cast<std::ptrdiff_t>(count)};
}

// Each octave is blurred twice, and again with all that follow; two more blurs end the last one.
std::vector<std::vector<float>> octave_gains(const CloudSettings& settings, int size) {
    std::vector<std::vector<float>> all(static_cast<std::size_t>(settings.octaves));
    Gains gains(static_cast<std::size_t>(size / 2 + 1), 1.0);
    for (int octave = settings.octaves - 1; octave >= 0; --octave) {
        const double radius = octave_blur(settings, octave) * size / NOMINAL_WIDTH;
        apply_blurs(gains, size, radius, octave == settings.octaves - 1 ? 4 : 2);
        all[static_cast<std::size_t>(octave)] = without_weak_waves(gains);
    }
    return all;
}

// ---- Dots ---------------------------------------------------------------------------------------------------------

int wrapped(double whole, int size) {
    if (whole >= 0 && whole < size) return static_cast<int>(whole);  // most of them
    const double rest = std::fmod(whole, double(size));
    return static_cast<int>(rest < 0 ? rest + size : rest);
}

// A bilinear splat on the four pixels around a place.
struct Dot {
    int x0, y0;
    float fx, fy;
};

Dot dot_at(double x, double y, int size) {
    const double left = std::floor(x), low = std::floor(y);
    return {wrapped(left, size), wrapped(low, size), static_cast<float>(x - left), static_cast<float>(y - low)};
}

float* row_above(K7Image& map, const Dot& dot) {
    return image_row<float>(&map, dot.y0 + 1 < map.height ? dot.y0 + 1 : 0);
}

void splat(K7Image& map, const Dot& dot, float weight) {
    const int x0 = dot.x0, x1 = x0 + 1 < map.width ? x0 + 1 : 0;
    float *const below = image_row<float>(&map, dot.y0), *const above = row_above(map, dot);
    below[x0] += weight * ((1 - dot.fx) * (1 - dot.fy));
    below[x1] += weight * (dot.fx * (1 - dot.fy));
    above[x0] += weight * ((1 - dot.fx) * dot.fy);
    above[x1] += weight * (dot.fx * dot.fy);
}

// One after another: the order of the random numbers makes the clouds. Dots lie anywhere on the map, so that memory is
// asked for some of them ahead.
void scatter(K7Image& map, const CloudSettings& settings, int octave, int frame, MTRandom& random) {
    constexpr int AHEAD = 32;
    const double size = map.width, k = size / NOMINAL_WIDTH, blur = octave_blur(settings, octave);
    const double scale = double(1 << octave);
    const bool takes_away = octave % 2 == 0 && octave != 0;
    const float weight = static_cast<float>(blur * blur * k * k / scale * (takes_away ? -1 : 1));
    const double angle = settings.direction * -RADIANS, across = k7_cos(angle), up = k7_sin(angle);
    const int dots = octave == 0 ? settings.dots : std::min(settings.dots, MOST_LATER_DOTS) << (2 * octave);
    Dot waiting[AHEAD];
    for (int dot = 0; dot < dots + AHEAD; ++dot) {
        Dot& slot = waiting[dot % AHEAD];
        if (dot >= AHEAD && dot - AHEAD < dots) splat(map, slot, weight);
        if (dot >= dots) continue;
        const double r1 = random.next_float(), r2 = random.next_float(), r3 = random.next_float();
        const double way = ((r3 - 0.5) * 2 * settings.speed_variance + settings.speed) * frame * k;
        slot = dot_at(way * across + r1 * size, way * up + r2 * size, map.width);
        __builtin_prefetch(image_row<float>(&map, slot.y0) + slot.x0, 1);
        __builtin_prefetch(row_above(map, slot) + slot.x0, 1);
    }
}

// ---- Rows ---------------------------------------------------------------------------------------------------------

float* numbers(const ImagePtr& image) { return image_row<float>(image.get(), 0); }

// Half the differences of the neighbours, wrapped: work(x, y, gx, gy).
template <class Work>
void each_slope(const K7Image& map, const Work& work) {
    const int size = map.width;
    for_rows_float(size, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* const here = image_row<float>(&map, y);
            const float* const above = image_row<float>(&map, y + 1 < size ? y + 1 : 0);
            const float* const below = image_row<float>(&map, y > 0 ? y - 1 : size - 1);
            const auto slope = [&](int x, int left, int right) {
                work(x, y, (here[right] - here[left]) * 0.5F, (above[x] - below[x]) * 0.5F);
            };
            slope(0, size - 1, size > 1 ? 1 : 0);
            for (int x = 1; x < size - 1; ++x) slope(x, x - 1, x + 1);
            if (size > 1) slope(size - 1, size - 2, 0);
        }
    });
}

void take_off(K7Image& map, float contrast) {
    for_rows_float(map.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* const row = image_row<float>(&map, y);
            for (int x = 0; x < map.width; ++x) row[x] = std::max(std::max(row[x], 0.0F) - contrast, 0.0F);
        }
    });
}

ImagePtr streaks_of(const K7Image& map, float scale) {
    ImagePtr streaks = made(make_image_uncleared(map.width, map.height, 1, SAMPLE_F32));
    each_slope(map, [&](int x, int y, float gx, float gy) {
        image_row<float>(streaks.get(), y)[x] = (gx * gx + gy * gy) * scale;
    });
    return streaks;
}

ImagePtr bumps_of(const ImagePtr& map, double softness, FFTTileSum& waves) {
    const int size = map->width;
    const double k = size / NOMINAL_WIDTH;
    ImagePtr soft = made(make_image_uncleared(size, size, 1, SAMPLE_F32));
    Gains gains(static_cast<std::size_t>(size / 2 + 1), 1.0);
    apply_blurs(gains, size, softness * k, 3);
    made(waves.add(numbers(map), without_weak_waves(gains)) && waves.take(numbers(soft)));

    ImagePtr gradient = made(make_image_uncleared(size, size, 2, SAMPLE_F32));
    const float slope = static_cast<float>(SLOPE_PIXELS * k);  // a pixel of a larger map is a smaller step
    each_slope(*soft, [&](int x, int y, float gx, float gy) {
        float* const to = image_row<float>(gradient.get(), y) + std::ptrdiff_t(2) * x;
        to[0] = gx * slope;
        to[1] = gy * slope;
    });
    return gradient;
}

}  // namespace

bool make_cloud_map(CloudMap& map, int size, const CloudSettings& settings, int frame, const StopRequested& stop) {
    map.density = made(make_image_uncleared(size, size, 1, SAMPLE_F32));
    FFTTileSum waves(size);
    MTRandom random(settings.seed);
    const std::vector<std::vector<float>> gains = octave_gains(settings, size);
    for (int octave = 0; octave < settings.octaves; ++octave) {
        if (wants_end(stop)) return false;
        made(image_clear(map.density.get()));
        scatter(*map.density, settings, octave, frame, random);
        made(waves.add(numbers(map.density), gains[static_cast<std::size_t>(octave)]));
    }
    if (wants_end(stop)) return false;
    made(waves.take(numbers(map.density)));

    const double k = size / NOMINAL_WIDTH;
    const bool sharpened = settings.contrast > LEAST_CONTRAST;
    if (settings.octaves > 1 || sharpened)
        take_off(*map.density, sharpened ? static_cast<float>(settings.contrast) : 0.0F);
    if (settings.streaky) {
        const double slope = SLOPE_PIXELS * k;
        map.density = streaks_of(*map.density, static_cast<float>(settings.density * slope * slope * 4));
    }
    if (settings.bumps) map.gradient = bumps_of(map.density, settings.bump_softness, waves);
    return !wants_end(stop);
}
