#include "effects/abstract/Dots.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "imagelib/imagelib_bluenoise.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr double DEGREE = 3.14159265358979323846 / 180.0;
constexpr double GRAINS = 3.0;  // of blue noise on the side of a cell
constexpr double FINE = 16.0;   // samples on the side of a cell at least
constexpr double GONE = 1.0;    // pixels: cells of which nothing is seen; from twice that on all is

const float* noise_thresholds() {
    static const auto thresholds = [] {
        static_assert(BlueNoiseTile::SIDE == NOISE_SIDE);
        std::array<float, BlueNoiseTile::PIXELS> table;
        for (int i = 0; i < BlueNoiseTile::PIXELS; ++i)
            table[std::size_t(i)] = blue_noise_tile().threshold(i % NOISE_SIDE, i / NOISE_SIDE);
        return table;
    }();
    return thresholds.data();
}

// ---- The size for each level --------------------------------------------------------------------------------------

constexpr int PLACES_SIDE = 48, PLACES = PLACES_SIDE * PLACES_SIDE;
constexpr int SIZES_MEASURED = 160;

// Places that stand for all of a cell: a quarter of it where it is symmetrical, a wave of a line, rings far from their
// middle at all angles.
struct Places {
    alignas(64) float u[PLACES], v[PLACES];
};
Places places_of(int pattern, float waves) {
    Places places;
    for (int j = 0; j < PLACES_SIDE; ++j)
        for (int i = 0; i < PLACES_SIDE; ++i) {
            const double a = (i + 0.5) / PLACES_SIDE, b = (j + 0.5) / PLACES_SIDE;
            const auto at = std::size_t(j * PLACES_SIDE + i);
            if (pattern == DOTS_RINGS || pattern == DOTS_SPIRAL) {
                const K7SineCosine angle = k7_sine_cosine(90 * DEGREE * b);
                places.u[at] = static_cast<float>((20 + a) * angle.cosine);
                places.v[at] = static_cast<float>((20 + a) * angle.sine);
            } else if (pattern == DOTS_LINE) {
                places.u[at] = static_cast<float>(b / double(waves));
                places.v[at] = static_cast<float>(a);
            } else {
                places.u[at] = static_cast<float>(0.5 * a);
                places.v[at] = static_cast<float>(0.5 * b);
            }
        }
    return places;
}

struct SizeTable {
    std::array<float, SIZE_STEPS + 2> sizes;
};

// Measures what sizes cover and turns that round. A level of 0 covers nothing at all, and one of 1 everything.
void tabulate(const DotsFrame& frame, const DotScreen& screen, int pattern, SizeTable& table) {
    const Places places = places_of(pattern, frame.waves);
    const auto measure = dots_kernels().measure[pattern];
    const double edge = 1.5 * double(frame.box_width + frame.box_height) * (1 + 6 * double(frame.wave * frame.waves)) /
                        double(frame.cell);
    const double least = -edge, most = 1.01 + edge;
    const auto size = [&](int i) { return static_cast<float>(least + (most - least) * i / (SIZES_MEASURED - 1)); };
    std::array<double, SIZES_MEASURED> means;
    for (int i = 0; i < SIZES_MEASURED; ++i)
        means[std::size_t(i)] =
            double(measure(frame, screen, places.u, places.v, PLACES, size(i))) / (PLACES * 1048576.0);
    int i = 0;
    for (int step = 0; step <= SIZE_STEPS + 1; ++step) {
        const double level = std::min(step, SIZE_STEPS) / double(SIZE_STEPS);
        const auto beyond = [&](int k) {
            return step == 0 ? means[std::size_t(k)] > 0 : means[std::size_t(k)] >= level;
        };
        while (i < SIZES_MEASURED - 1 && !beyond(i)) ++i;
        const int before = std::max(i - 1, 0);
        const double low = means[std::size_t(before)], rise = means[std::size_t(i)] - low;
        const double part = step == 0 ? 0.0 : rise > 0 ? std::clamp((level - low) / rise, 0.0, 1.0) : 1.0;
        table.sizes[std::size_t(step)] = size(before) + (size(i) - size(before)) * static_cast<float>(part);
    }
}

void set_ink(DotScreen& screen, const ColourControlK7& ink) {
    screen.ink[0] = ink.red, screen.ink[1] = ink.green, screen.ink[2] = ink.blue;
}

}  // namespace

struct Dots::SizeTables {
    SizeTable table[4];
};

DotsFrame Dots::frame(const K7Image& picture) const {
    const int pattern = Pattern.value - 1;
    const double aspect = double(picture.pixel_aspect), cell = std::max(DotSize.limited() * picture.width, 1.0);
    DotsFrame f{};
    f.centre_x = static_cast<float>(std::clamp(Centre.x, -100.0, 100.0) * picture.width);
    f.centre_y = static_cast<float>(std::clamp(Centre.y, -100.0, 100.0) * picture.height);
    f.row_height = static_cast<float>(1 / aspect);
    f.cell = static_cast<float>(cell);
    const double travel = Speed.limited() * 0.01 * currentFrame;
    f.travel = static_cast<float>(pattern == DOTS_BLUE_NOISE ? std::fmod(travel, NOISE_SIDE / GRAINS)
                                                             : travel - std::floor(travel));
    f.samples = static_cast<int>(std::clamp(std::ceil(FINE / cell), 2.0, 4.0));
    const double edge = EdgeSoftness.limited() * 0.01 * cell;
    f.box_width = static_cast<float>(1.0 / f.samples + edge);
    f.box_height = static_cast<float>(1.0 / (f.samples * aspect) + edge);
    f.visible = static_cast<float>(std::clamp((cell - GONE) / GONE, 0.0, 1.0));
    f.wave = static_cast<float>(Wave.limited() * 0.01);
    f.waves = static_cast<float>(1 / WaveLength.limited());
    f.grains = static_cast<float>(GRAINS);
    f.colouring = Colouring.value - 1;
    f.negative = Negative.value;
    f.contrast = static_cast<float>(Contrast.limited() * 0.01);
    f.brightness = static_cast<float>(Brightness.limited() * 0.01);
    f.gain = static_cast<float>(InkGain.limited() * 0.01);
    f.black = static_cast<float>(BlackAmount.limited() * 0.01);
    f.paper = Paper.value - 1;
    f.paper_colour[0] = PaperColour.red, f.paper_colour[1] = PaperColour.green, f.paper_colour[2] = PaperColour.blue;
    f.matte_sizes = MatteSizes.value && matte.isConnected();
    f.matte_inverted = InvertMatte.value;
    f.mix = static_cast<float>(Mix.limited() * 0.01);
    f.levels_apart = intensity.isConnected();
    return f;
}

void Dots::setScreens(DotsFrame& f, SizeTables& tables) const {
    const int pattern = Pattern.value - 1;
    const bool four = f.colouring == DOTS_FOUR_INKS;
    const AngleControlK7* const angles[4] = {&CyanAngle, &MagentaAngle, &YellowAngle, &BlackAngle};
    const ColourControlK7* const four_inks[4] = {&CyanInk, &MagentaInk, &YellowInk, &BlackInk};
    f.screens = four ? 4 : 1;
    for (int i = 0; i < f.screens; ++i) {
        DotScreen& screen = f.screen[i];
        const K7SineCosine turn = k7_sine_cosine((Angle.limited() + (four ? angles[i]->limited() : 0.0)) * DEGREE);
        screen.cosine = static_cast<float>(turn.cosine), screen.sine = static_cast<float>(turn.sine);
        set_ink(screen, four ? *four_inks[i] : InkColour);
        screen.sizes = tables.table[i].sizes.data();
        if (pattern != DOTS_BLUE_NOISE) tabulate(f, screen, pattern, tables.table[i]);
    }
    f.light_ink = f.paper == PAPER_COLOUR && luminance(f.screen[0].ink) > luminance(f.paper_colour);
    if (pattern != DOTS_BLUE_NOISE) return;

    // Upright grains are whole pixels.
    f.thresholds = noise_thresholds();
    f.samples = 4;
    f.visible = 1;
    const double grain = std::max(double(f.cell) / GRAINS, 1.0);
    const bool upright = f.screens == 1 && f.screen[0].sine == 0.0f;
    f.cell = static_cast<float>(GRAINS * (upright ? std::floor(grain + 0.5) : grain));
    if (!upright || f.row_height != 1.0f) return;
    f.centre_x = std::floor(f.centre_x), f.centre_y = std::floor(f.centre_y);
    if (f.travel == 0.0f) f.samples = 1;
}

// Levels and colours are averaged in the clips' own images.
void Dots::smoothLevels(const DotsFrame& f, bool own_colours) {
    const double radius = 0.5 * SmoothLevels.limited() * 0.01 * double(f.cell);
    const auto smooth = [&](K7Image* image) {
        const auto x = static_cast<float>(radius), y = static_cast<float>(radius / double(f.row_height));
        if (radius >= 0.25) made(image_gaussian_blur(image, x, y, 7));
    };
    smooth(intensity.image.get());
    if (own_colours && colours.isConnected()) smooth(colours.image.get());
}

void Dots::ProcessFrame() {
    const StageTimer timer("Dots (CPU)");
    const K7Image* picture = background.image.get();
    SizeTables tables;
    DotsFrame f = frame(*picture);
    setScreens(f, tables);
    const bool own_colours = f.colouring != DOTS_ONE_INK;
    smoothLevels(f, own_colours);
    if (abortRequested()) return;
    // Without a Colours clip the colours are those of the Background, which is what Intensity Levels shows if it is not
    // connected either.
    const K7Image* tints =
        !own_colours || (!colours.isConnected() && !f.levels_apart) ? intensity.image.get() : colours.image.get();
    const DotsRowPass pass = dots_kernels().row[Pattern.value - 1];
    const bool matted = matte.isConnected();
    eachRow(output.image->height, [&](int y) {
        pass(f, {image_row<float>(intensity.image.get(), y), image_row<float>(tints, y), image_row<float>(picture, y),
                 matted ? image_row<float>(matte.image.get(), y) : nullptr, image_row<float>(output.image.get(), y), y,
                 output.image->width});
    });
}
