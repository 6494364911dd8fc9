// The ten snow crystals: six arms with side branches, mirrored about the middle row. They are grey and soft-edged, for
// ice is translucent and flakes in front of a lens are hardly ever sharp.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "Library2/Made.h"
#include "effects/engines/sprites/Sprites.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"

namespace {

struct StampSize {
    int width, height;
};
constexpr StampSize SIZES[FLAKE_VARIANTS] = {{20, 20}, {20, 20}, {20, 18}, {20, 22}, {20, 21},
                                             {20, 18}, {20, 21}, {20, 19}, {20, 18}, {20, 22}};
constexpr std::uint32_t FIRST_SEED = 100;
constexpr int MOST_BRANCHES = 4;
constexpr double SIXTY_DEGREES = 1.0471975511965976;

struct Crystal {
    double arm_width, plate;  // of the length of an arm, as all lengths here
    int branches;
    double place[MOST_BRANCHES], length[MOST_BRANCHES], width[MOST_BRANCHES];
};

Crystal grow(std::uint32_t seed) {
    MTRandom random(seed);
    Crystal crystal{};
    crystal.arm_width = random.next_float_in(0.055f, 0.085f);
    crystal.plate = random.next_float_in(0.08f, 0.3f);
    crystal.branches = 1 + std::min(static_cast<int>(random.next_float() * MOST_BRANCHES), MOST_BRANCHES - 1);
    for (int i = 0; i < crystal.branches; ++i) {
        const double even = (i + 1.0) / (crystal.branches + 1.0);
        crystal.place[i] = 0.15 + 0.75 * even + random.next_float_in(-0.06f, 0.06f);
        crystal.length[i] = (1.05 - crystal.place[i]) * random.next_float_in(0.45f, 0.9f);
        crystal.width[i] = random.next_float_in(0.045f, 0.065f);
    }
    return crystal;
}

// How deep a point lies inside a bar that begins at (x0, y0) and goes in the direction (dx, dy); below 0 outside.
double inside_bar(double x, double y, double x0, double y0, double dx, double dy, double length, double width) {
    const double along = std::clamp((x - x0) * dx + (y - y0) * dy, 0.0, length);
    return width - k7_hypot(x - x0 - along * dx, y - y0 - along * dy);
}

// The same for a whole crystal with arms of length 1.
double inside(const Crystal& crystal, double x, double y) {
    // Into the sixth around the x axis, upper half.
    const double angle = k7_atan2(y, x);
    const double turn = std::round(angle / SIXTY_DEGREES) * SIXTY_DEGREES;
    const double px = x * k7_cos(turn) + y * k7_sin(turn);
    const double py = std::fabs(y * k7_cos(turn) - x * k7_sin(turn));
    double depth = inside_bar(px, py, 0, 0, 1, 0, 1, crystal.arm_width);
    depth = std::max(depth, crystal.plate - px);  // a hexagon
    for (int i = 0; i < crystal.branches; ++i)
        depth = std::max(depth, inside_bar(px, py, crystal.place[i], 0, 0.5, k7_sin(SIXTY_DEGREES), crystal.length[i],
                                           crystal.width[i]));
    return depth;
}

// What is seen of the ice at a depth inside the crystal and a distance from its middle: arms that fade outwards, and a
// haze of what is out of focus around them.
double translucent(double depth, double distance) {
    constexpr double SOFT = 0.09;  // half the width of an edge
    constexpr double ICE = 0.72, THINNER = 0.45, HAZE = 0.26;
    const double edge = std::clamp((depth + SOFT) / (2 * SOFT), 0.0, 1.0);
    const double out = std::clamp(1 - distance, 0.0, 1.0);
    const double haze = HAZE * out * out * (3 - 2 * out);
    return std::min(haze + edge * edge * (3 - 2 * edge) * ICE * (1 - THINNER * (1 - out)), 1.0);
}

}  // namespace

ImagePtr make_flake_stamp(int variant) {
    constexpr int SUPER = 4;  // samples a pixel and axis
    const int shape = std::clamp(variant, 1, FLAKE_VARIANTS);
    const StampSize size = SIZES[shape - 1];
    ImagePtr image = made(make_image(size.width, size.height, 1, SAMPLE_U8));
    const Crystal crystal = grow(FIRST_SEED + static_cast<std::uint32_t>(shape));
    const double rx = 0.5 * size.width - 0.6;
    const double ry = 0.5 * size.height - 0.6;
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            double light = 0;
            for (int i = 0; i < SUPER * SUPER; ++i) {
                const double px = (x + (i % SUPER + 0.5) / SUPER - 0.5 * size.width) / rx;
                const double py = (y + (i / SUPER + 0.5) / SUPER - 0.5 * size.height) / ry;
                light += translucent(inside(crystal, px, py), k7_hypot(px, py));
            }
            image_row<std::uint8_t>(image.get(), y)[x] = static_cast<std::uint8_t>(255 * light / (SUPER * SUPER) + 0.5);
        }
    }
    return image;
}
