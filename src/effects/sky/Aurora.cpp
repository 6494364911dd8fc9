#include "effects/sky/Aurora.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float RADIANS = 0.0174532925F;  // of a degree
constexpr int TILE = 64;                  // pixels
constexpr int MOST_SETS = 32;             // of strands in a frame: curtains times moments
constexpr double SECOND = 24.0;           // frames that speeds mean by one
constexpr double MOST_FRAMES = 1e6;       // patterns repeat far beyond

float focal_of(double degrees) { return 0.5F / k7_tan(0.5F * RADIANS * static_cast<float>(degrees)); }

}  // namespace

AuroraInfo::AuroraInfo() {
    ghost({&Spacing, &FallOff}, Curtains, below(2));
    ghost({&Ends}, Loop, isOn);
    ghost({&Point3}, PointCount, below(2));
    ghost({&Point4}, PointCount, below(3));
    ghost({&Point5}, PointCount, below(4));
    PointCount.followedByOverlay = FieldOfView.followedByOverlay = true;
    declarePresets();
    scene.inputs = {"launch-small.png"};
    scene.settings = {{"Curls", "40"}, {"Strength1", "30"}, {"Suction1", "0.7,0.5"}, {"Twist1", "60"}};
    scene.frame = 20;
    scene.plates = {"launch.jpg"};
    scene.look = {{"Demos", "Curtains"}};
}

// ---- Values ---------------------------------------------------------------------------------------------------

AuroraPoint Aurora::fromMiddle(const PositionControlK7& control) const {
    const auto part = [](double value) { return static_cast<float>(std::clamp(value, -50.0, 50.0) - 0.5); };
    return {part(control.x), part(control.y) * m_tallness};
}

AuroraCamera Aurora::camera() const { return {fromMiddle(VanishPoint), focal_of(FieldOfView.limited())}; }

AuroraShine Aurora::shine() const {
    return {.rays = Rays.percent(),
            .ray_size = RaySize.percent(),
            .tall = TallRays.percent(),
            .patches = Patches.percent(),
            .ends = Ends.percent(),
            .fall_off = FallOff.percent(),
            .spacing = Spacing.percent(),
            .seed = static_cast<std::uint32_t>(Seed.value)};
}

AuroraFolding Aurora::foldingAt(double frame) const {
    const double seconds = std::clamp(frame, -MOST_FRAMES, MOST_FRAMES) / SECOND;
    const auto moment = [seconds](const FloatControlK7& speed, double a_second) {
        return seconds * speed.limited() * 0.01 * a_second;
    };
    return {.folds = Folds.percent(),
            .fold_size = FoldSize.percent(),
            .ripples = Ripples.percent(),
            .ripple_size = RippleSize.percent(),
            .curls = Curls.percent(),
            .curl_size = CurlSize.percent(),
            .waves = moment(WaveSpeed, 0.1),
            .rippling = moment(RippleSpeed, 0.5),
            .drifting = moment(RaySpeed, 0.6),
            .flickering = moment(Flicker, 0.35)};
}

AuroraAir Aurora::air(const AuroraCurtains& curtains, int moments) const {
    AuroraAir air{.height = static_cast<float>(Height.limited() / 100.0),
                  .brightness = 0.5F * Brightness.percent() / static_cast<float>(moments),
                  .colours = {},
                  .haze = 0.2F * HorizonHaze.percent(),
                  .near_glow = 0.7F * Glow.percent(),
                  .far_glow = 0.6F * Veil.percent(),
                  .thickness = Thickness.percent() * curtains.width_there()};
    const ColourControlK7* colours[AURORA_PLANES] = {&MainColour, &UpperColour, &FringeColour};
    const float gains[AURORA_PLANES] = {1.0F, Upper.percent(), Fringe.percent()};
    for (int i = 0; i < AURORA_PLANES; ++i) {
        const float rgb[3] = {colours[i]->red, colours[i]->green, colours[i]->blue};
        for (int c = 0; c < 3; ++c) air.colours[i][c] = gains[i] * std::clamp(rgb[c], 0.0F, 100.0F);
    }
    return air;
}

std::vector<AuroraPoint> Aurora::line() {
    std::vector<AuroraPoint> points;
    for (const PositionControlK7* point : linePoints())
        if (static_cast<int>(points.size()) < PointCount.value + 1) points.push_back(fromMiddle(*point));
    return points;
}

std::vector<AuroraSuction> Aurora::suctions() {
    std::vector<AuroraSuction> list;
    for (const SuctionControls& from : suctionControls()) {
        const auto radius = static_cast<float>(from.radius.limited() * 0.5);
        const AuroraSuction suction{fromMiddle(from.place), radius, from.strength.percent(),
                                    RADIANS * static_cast<float>(from.twist.limited())};
        if (radius > 0 && (suction.pull != 0 || suction.twist != 0)) list.push_back(suction);
    }
    return list;
}

// ---- The picture ----------------------------------------------------------------------------------------------

// All strands at some moments while the shutter is open.
bool Aurora::hangCurtains(const AuroraCurtains& curtains, int moments, std::vector<AuroraStrand>& strands) const {
    constexpr int blocks = AuroraCurtains::STRANDS / AuroraCurtains::BLOCK, run = AuroraCurtains::BLOCK + 1;
    const int sets = moments * Curtains.value;
    std::vector<AuroraFolding> foldings;
    std::vector<std::vector<AuroraCurtains::Curl>> curls;
    for (int set = 0; set < sets; ++set) {
        const double within = (set / Curtains.value + 0.5) / moments - 0.5;
        foldings.push_back(foldingAt(currentFrame + within * Shutter.limited()));
        curls.push_back(curtains.curls_at(foldings.back(), set % Curtains.value));
    }
    strands.resize(static_cast<std::size_t>(sets) * blocks * run);
    return eachRow(sets * blocks, [&](int i) {
        const auto set = static_cast<std::size_t>(i / blocks);
        curtains.hang(foldings[set], curls[set], i / blocks % Curtains.value, i % blocks * AuroraCurtains::BLOCK,
                      strands.data() + std::size_t(i) * run);
    });
}

void Aurora::paint(const AuroraMap& map) {
    K7Image& picture = *output.image;
    const bool held = matte.isConnected();
    const AuroraKernels& kernels = aurora_kernels();
    float ground[4] = {};
    for (int c = 0; c < 3; ++c) {
        const float light = 2.0F * GroundLight.percent() * map.mean()[c];
        ground[c] = 1.6F * light / (1.0F + light);
    }
    for_rows_float(picture.height, [&](int first, int last) {
        if (first > last) return;
        std::vector<AuroraPixels> rows;
        for (int y = first; y <= last; ++y) {
            AuroraPixels pixels = map.row(y);
            pixels.dimming = DimSky.percent();
            std::copy_n(ground, 4, pixels.ground);
            pixels.alone = AuroraOnly.value;
            pixels.matte = held ? image_row<float>(matte.image.get(), y) : nullptr;
            pixels.inverted = InvertMatte.value;
            rows.push_back(pixels);
        }
        // Pixels below each other share azimuths, whose rows of the map lie pages apart.
        for (int x = 0; x < picture.width && !abortRequested(); x += TILE)
            for (int y = first; y <= last; ++y)
                kernels.shade_row(rows[static_cast<std::size_t>(y - first)], image_row<float>(&picture, y), x,
                                  std::min(x + TILE, int{picture.width}));
    });
    if (!doAlpha) image_copy_channels(sky.image.get(), &picture, 8);
}

void Aurora::ProcessFrame() {
    const StageTimer timer("Aurora (CPU)");
    const K7Image& picture = *output.image;
    const AuroraFrame frame{
        picture.width, picture.height,
        static_cast<float>(picture.height) / (static_cast<float>(picture.width) * picture.pixel_aspect)};
    m_tallness = frame.tallness;
    const AuroraCamera looking = camera();
    const AuroraCurtains curtains(looking, line(), Loop.value, shine(), suctions());
    const double open = Shutter.limited();
    const int most = std::max(MOST_SETS / Curtains.value, 2);
    const int moments = open > 0 ? std::clamp(static_cast<int>(2.0 + open / 4.0), 2, most) : 1;
    std::vector<AuroraStrand> strands;
    if (!hangCurtains(curtains, moments, strands)) return;
    AuroraMap map(looking, frame, air(curtains, moments));
    if (map.fill(strands, stopRequested())) paint(map);
}

// ---- Overlay --------------------------------------------------------------------------------------------------

void Aurora::PrepareOverlay() {
    for (int i = 0; i < MOST_POINTS; ++i) pointWidgets[i].visible = i < PointCount.overlayValue + 1;
}

// The base line, straight between its points, and the horizon, where lines of sight are level.
void Aurora::DrawMore(const OverlayPen& pen) {
    const auto points = linePoints();
    pen.colour(OVERLAY_WHITE);
    for (int i = 0; i < PointCount.overlayValue; ++i) {
        const PositionControlK7 &from = *points[std::size_t(i)], &to = *points[std::size_t(i) + 1];
        pen.line(view.place(from.overlayX, from.overlayY), view.place(to.overlayX, to.overlayY));
    }
    const float focal = focal_of(std::clamp(FieldOfView.overlayValue, FieldOfView.min(), FieldOfView.max()));
    const auto width = static_cast<float>(view.width), tall = static_cast<float>(view.height) / (width * view.aspect);
    const auto x = static_cast<float>(VanishPoint.overlayX - 0.5);
    const float y = static_cast<float>(VanishPoint.overlayY - 0.5) * tall;
    if (!(std::fabs(y) > 1e-3F)) return;
    const auto level = [&](float at) { return double(-(focal * focal + x * at) / (y * tall)) + 0.5; };
    pen.line(view.place(0.0, level(-0.5F)), view.place(1.0, level(0.5F)));
}
