#include "effects/light/FlareSpot.h"

#include <algorithm>
#include <cmath>

#include "effects/light/FlareSpot_simd.h"
#include "imagelib/imagelib_exactpoly.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"

FlareSpotInfo::FlareSpotInfo() {
    ghost({&UserFile}, Lens, isNot(UserDefined));
    ghost({&Colour, &OverColour}, ColourOverride, isOff);
    scene.inputs = {"launch-small.png"};
    scene.settings = {
        {"Source", "0.17,0.03"},  {"Image", "0.85,0.97"},    {"CompMode", "Add"},           {"SourceSides", "6"},
        {"Defocus", "6"},         {"Lens", "Summilux 50mm"}, {"MoreElements", "2"},         {"Brightness", "6"},
        {"ColourOverride", "on"}, {"Colour", "0.1,0.6,0.2"}, {"OverColour", "0.7,0.2,0.6"}, {"MaxSat", "60"}};
}

// One polygon of light.
struct Ghost {
    ClipPolygon outline;
    float lowest, highest;  // rows that it touches
    GhostLook look;
};

namespace {

constexpr double PI = 3.141592653589793;

// ---- Colours ----------------------------------------------------------------------------------------------------

struct Rgb {
    float red, green, blue;
};

float hue_of(const ColourControlK7& colour) {  // 0 to 1; greys have that of red
    const float most = std::max({colour.red, colour.green, colour.blue});
    const float range = most - std::min({colour.red, colour.green, colour.blue});
    if (!(range > 0.0F)) return 0.0F;
    float sixth = 4.0F + (colour.red - colour.green) / range;
    if (most == colour.red)
        sixth = (colour.green - colour.blue) / range;
    else if (most == colour.green)
        sixth = 2.0F + (colour.blue - colour.red) / range;
    return sixth < 0.0F ? sixth / 6.0F + 1.0F : sixth / 6.0F;
}

Rgb colour_of(float hue, float saturation) {  // of value 1
    const auto channel = [&](float place) {
        const float turned = hue + place, part = turned - std::floor(turned);
        return 1.0F - saturation * (1.0F - std::clamp(std::fabs(part * 6.0F - 3.0F) - 1.0F, 0.0F, 1.0F));
    };
    return {channel(0.0F), channel(2.0F / 3.0F), channel(1.0F / 3.0F)};
}

// ---- Places -----------------------------------------------------------------------------------------------------

// From the lens to the picture, and lengths in widths of a pixel.
struct Projection {
    double half_width, half_height;  // pixels
    double row_height;               // of a row, in widths of a pixel
    double unit;                     // of the lens in widths of a pixel: the mean of both directions

    explicit Projection(const K7Image& picture)
        : half_width(picture.width * 0.5),
          half_height(picture.height * 0.5),
          row_height(1.0 / static_cast<double>(picture.pixel_aspect)),
          unit((half_width + half_height * row_height) * 0.5) {}
    double x(double lens) const { return (lens + 1.0) * half_width; }
    double y(double lens) const { return (lens + 1.0) * half_height; }
};

struct Light {
    double x, y;              // at the front of the lens, -1 to 1 in the picture
    double dx, dy, dz;        // of its rays
    double white_x, white_y;  // on the screen, of length 1 or 0
};

// What a circle of light makes of a surface. False when a ray misses it.
bool outline(const LensSurface& surface, const Light& light, double radius, int sides, const Projection& screen,
             Ghost& ghost) {
    LensRay ray{light.x, light.y, 1.0, light.dx, light.dy, light.dz};
    double x = 0.0, y = 0.0;
    if (!meet(surface, ray, x, y)) return false;
    const double centre_x = screen.x(x), centre_y = screen.y(y);
    double reach = 0.0, lowest = centre_y, highest = centre_y;
    ghost.outline.count = 0;
    for (int i = 0; i < sides; ++i) {
        const K7SineCosine turn = k7_sine_cosine(2.0 * PI * i / sides);
        ray.x = light.x + radius * turn.cosine * screen.unit / screen.half_width;
        ray.y = light.y + radius * turn.sine * screen.unit / (screen.half_height * screen.row_height);
        if (!meet(surface, ray, x, y)) return false;
        const double px = screen.x(x), py = screen.y(y);
        if (!std::isfinite(px) || !std::isfinite(py)) return false;
        ghost.outline.add(static_cast<float>(px), static_cast<float>(py));
        reach = std::max(reach, k7_hypot(px - centre_x, (py - centre_y) * screen.row_height));
        lowest = std::min(lowest, py), highest = std::max(highest, py);
    }
    if (!(reach > 1e-3 && reach < 1e9)) return false;
    ghost.lowest = static_cast<float>(lowest), ghost.highest = static_cast<float>(highest);
    ghost.look.x = static_cast<float>(centre_x), ghost.look.y = static_cast<float>(centre_y);
    ghost.look.inverse_radius = static_cast<float>(1.0 / reach);
    return true;
}

// A ghost's polygon, drawn with the area that it covers of each pixel.
class FlareSpotExactPoly {
  public:
    void draw(const Ghost& ghost, const PixelWindow& window, float* layer, std::size_t row) {
        const ClipPolygon& polygon = ghost.outline;
        made(m_coverage.set_polygon(polygon.count, polygon.vertices[0], 2, window));
        m_coverage.for_runs([&](const CoverageRun& run) {
            float* const first = layer + static_cast<std::size_t>(run.y - window.y0) * row + 4L * run.x0;
            ghost_kernels().shade(ghost.look, run.x0, run.y, run.x1 - run.x0 + 1, run.coverage, first);
        });
    }

  private:
    PolygonCoverage m_coverage;
};

}  // namespace

LensSurfaces FlareSpot::chosenLens() const {
    if (Lens.value != UserDefined) return built_in_lens(Lens.value - 1);
    if (std::optional<LensSurfaces> lens = UserFile.text.empty() ? std::nullopt : read_lens(lens_file(UserFile.text)))
        return *lens;
    Trace(TRACE_WARN, "Lens file OPEN/READ failed! Using a standard lens.\n");
    return built_in_lens(STANDARD_LENS);
}

std::vector<Ghost> FlareSpot::ghosts(const K7Image& picture) const {
    const Projection screen(picture);
    MTRandom random(static_cast<std::uint32_t>(Seed.value));
    const LensSurfaces lens =
        normalised(with_more_surfaces(chosenLens(), MoreElements.value, [&random] { return random.next_double(); }));

    Light light{2.0 * Source.x - 1.0,
                2.0 * Source.y - 1.0,
                2.0 * (Image.x - Source.x),
                2.0 * (Image.y - Source.y),
                -2.0,
                0.0,
                0.0};
    const double across = light.dx * screen.half_width, up = light.dy * screen.half_height * screen.row_height;
    if (const double length = k7_hypot(across, up); length > 0.0)
        light.white_x = across / length, light.white_y = up / length;
    const double length = std::sqrt(light.dx * light.dx + light.dy * light.dy + light.dz * light.dz);
    light.dx /= length, light.dy /= length, light.dz /= length;

    const double most = MaxScale.limited() / 10.0, least = MinScale.limited() / 10.0;
    const double steps = std::max<double>(static_cast<double>(lens.size()) - 1.0, 1.0);
    const float from = hue_of(Colour), to = hue_of(OverColour);
    std::vector<Ghost> result;
    for (std::size_t i = 0; i < lens.size(); ++i) {
        const double part = static_cast<double>(i) / steps;
        const double radius =
            SourceRad.limited() / 1000.0 * (most + (most - least) * part) * static_cast<double>(lens[i].aperture);
        const float chance = random.next_float();
        const float hue = ColourOverride.value ? from + (to - from) * static_cast<float>(part) : chance;
        Ghost ghost{};
        if (!outline(lens[i], light, radius, SourceSides.value, screen, ghost)) continue;
        GhostLook& look = ghost.look;
        const double ghostRadius = 1.0 / static_cast<double>(look.inverse_radius) / screen.unit;
        const auto bright =
            static_cast<float>(2.0 * Brightness.limited() * 0.01 * std::min(1.0, std::fabs(radius) / ghostRadius));
        const Rgb colour = colour_of(hue, static_cast<float>(MaxSat.limited() * 0.01));
        look.red = colour.red * bright, look.green = colour.green * bright, look.blue = colour.blue * bright;
        look.white = std::max({look.red, look.green, look.blue});
        look.row_height = static_cast<float>(screen.row_height);
        look.direction_x = static_cast<float>(light.white_x), look.direction_y = static_cast<float>(light.white_y);
        look.fade_scale = static_cast<float>(Defocus.limited() / 10.0 / 0.5), look.fade_offset = 1.0F;
        result.push_back(ghost);
    }
    return result;
}

void FlareSpot::ProcessFrame() {
    const StageTimer timer("FlareSpot (CPU)");
    constexpr int BAND = 16;  // rows, which stay in the cache
    K7Image* picture = output.image.get();
    const std::vector<Ghost> all = ghosts(*picture);
    const GhostMode mode = CompMode.value == Add           ? GhostMode::add
                           : CompMode.value == Screen      ? GhostMode::screen
                           : CompMode.value == Transparent ? GhostMode::alone
                                                           : GhostMode::over;
    const int bands = (picture->height + BAND - 1) / BAND;
    const std::size_t row = 4 * static_cast<std::size_t>(picture->width);
    for_rows_float(bands, [&](int first, int last) {
        std::vector<float> layer;
        FlareSpotExactPoly polygon;
        for (int band = first; band <= last && !abortRequested(); ++band) {
            const int low = band * BAND, high = std::min(low + BAND, int(picture->height)) - 1;
            const auto touches = [&](const Ghost& ghost) {
                return ghost.highest > static_cast<float>(low) && ghost.lowest < static_cast<float>(high + 1);
            };
            if (mode != GhostMode::alone && std::none_of(all.begin(), all.end(), touches)) continue;
            layer.assign(BAND * row, 0.0F);
            for (const Ghost& ghost : all)
                if (touches(ghost)) polygon.draw(ghost, {0, low, picture->width - 1, high}, layer.data(), row);
            for (int y = low; y <= high; ++y)
                ghost_kernels().composite(mode, layer.data() + static_cast<std::size_t>(y - low) * row,
                                          image_row<float>(picture, y), picture->width);
        }
    });
}
