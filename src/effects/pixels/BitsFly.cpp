#include "effects/pixels/BitsFly.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <utility>

#include "effects/pixels/BitsFlySwarm.h"
#include "effects/pixels/PictureLayer.h"
#include "graphicslib/ink.h"
#include "graphicslib/row_bands.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/place_hash.h"

namespace {

using ink::Quad;

constexpr double DEGREE = 3.14159265358979 / 180;
constexpr float LIGHT_HEIGHT = 1.1F;  // of the light over the picture, to its distance aside

float tallness_of(const K7Image& image) {
    return static_cast<float>(image.height) / (static_cast<float>(image.width) * image.pixel_aspect);
}

}  // namespace

BitsFlyInfo::BitsFlyInfo() {
    ghost({&Aspect}, Shape, is(TilingShape::Cracks));
    ghost({&Irregular}, Shape, below(TilingShape::Shards));
    ghost({&BackColour}, Back, is(MirroredPicture));
    declarePresets();
    scene.inputs = {"portrait-small.png", "launch-small.png"};
    scene.settings = {{"Thickness", "10"}, {"TileSize", "4"}};
    scene.frame = 24;
    scene.plates = {"portrait.jpg", "launch.jpg"};
    scene.look = {{"Demos", "Blown Away"}};
}

void BitsFly::PrepareOverlay() { wipeWidget.visible = !timing.WipeAngle.ghosted(); }

// ---- What controls say ----------------------------------------------------------------------------------------

FlightForces BitsFly::forces(float tallness) const {
    const auto in_ten = [](const FloatControlK7& speed) { return 0.1F * speed.percent(); };
    const K7SineCosine wind = k7_sine_cosine(WindAngle.value * DEGREE);
    FlightForces set;
    set.gravity = 0.02F * Gravity.percent();  // s = g t^2 / 2 with t = 10
    set.wind_x = in_ten(Wind) * static_cast<float>(wind.cosine);
    set.wind_y = in_ten(Wind) * static_cast<float>(wind.sine);
    set.drag = Drag.percent();
    set.burst = in_ten(Burst), set.push = in_ten(Push), set.spread = in_ten(Spread), set.lift = in_ten(Lift);
    set.gusts = 2 * in_ten(Gusts);
    set.gust_size = std::max(GustSize.percent(), 0.01F);
    set.swirl = static_cast<float>(Swirl.limited() * DEGREE / 10);
    set.swirl_axis = SwirlAxis.value;
    const Departures::Settings order = timing.departures(0, tallness, false, 1).settings();
    set.centre_x = order.centre_x, set.centre_y = order.centre_y;
    return set;
}

TileLook BitsFly::look() const {
    TileLook look;
    look.distance = static_cast<float>(0.5 / k7_tan(0.5 * std::clamp(Lens.value, 5.0, 120.0) * DEGREE));
    look.thickness = Thickness.percent() * TileSize.percent();
    look.plain_back = Back.value == PlainColour;
    const float back[3] = {BackColour.red, BackColour.green, BackColour.blue};
    std::copy_n(back, 3, look.back);
    const K7SineCosine light = k7_sine_cosine(LightAngle.value * DEGREE);
    const float length = std::sqrt(1 + LIGHT_HEIGHT * LIGHT_HEIGHT);
    look.light[0] = static_cast<float>(light.cosine) / length;
    look.light[1] = static_cast<float>(light.sine) / length;
    look.light[2] = LIGHT_HEIGHT / length;
    look.shading = Shading.percent();
    look.shine = Shine.percent();
    return look;
}

TilingShape BitsFly::shape(float tallness) const {
    const Departures::Settings order = timing.departures(0, tallness, false, 1).settings();
    return {.kind = Shape.value,
            .size = TileSize.percent(),
            .aspect = static_cast<float>(Aspect.limited()),
            .irregular = Irregular.percent(),
            .centre_x = order.centre_x,
            .centre_y = order.centre_y,
            .tallness = tallness,
            .seed = static_cast<std::uint32_t>(Seed.value)};
}

// ---- The picture ----------------------------------------------------------------------------------------------

namespace {

// The shadows at the picture's size, as what is left of the light.
class LightRows {
  public:
    LightRows(const K7Image* shadows, float darkness, int width, int height)
        : m_shadows(shadows), m_darkness(darkness), m_height(height) {
        if (!shadows) return;
        m_columns.resize(std::size_t(width));
        for (int x = 0; x < width; ++x) m_columns[std::size_t(x)] = place(x, width, shadows->width);
    }
    // False: all of the row is lit. `between` is as wide as the shadows.
    bool row(int y, std::vector<float>& between, float* out) const {
        if (!m_shadows) return false;
        const Place at = place(y, m_height, m_shadows->height);
        const float *below = image_row<float>(m_shadows, at.first), *above = image_row<float>(m_shadows, at.first + 1);
        between.resize(std::size_t(m_shadows->width));
        float most = 0;
        for (std::size_t i = 0; i < between.size(); ++i) {
            const float dark = below[i] + at.part * (above[i] - below[i]);
            between[i] = 1 - m_darkness * dark, most = std::max(most, dark);
        }
        if (!(most > 0)) return false;
        for (std::size_t x = 0; x < m_columns.size(); ++x) {
            const float* here = between.data() + m_columns[x].first;
            out[x] = here[0] + m_columns[x].part * (here[1] - here[0]);
        }
        return true;
    }

  private:
    struct Place {
        int first;
        float part;
    };
    static Place place(int pixel, int pixels, int cells) {
        const float at = (static_cast<float>(pixel) + 0.5F) * static_cast<float>(cells) / static_cast<float>(pixels);
        const float limited = std::clamp(at - 0.5F, 0.0F, static_cast<float>(cells - 1));
        const int first = std::min(static_cast<int>(limited), cells - 2);
        return {first, limited - static_cast<float>(first)};
    }

    const K7Image* m_shadows;
    float m_darkness;
    int m_height;
    std::vector<Place> m_columns;
};

}  // namespace

// What is in place over the background, `hole` of it gone (null: none), in the light that is left (null: all).
void BitsFly::compose(const K7Image& source, int y, const float* hole, const float* light) {
    const float* from = image_row<float>(&source, y);
    const float* behind = background.isConnected() ? image_row<float>(background.image.get(), y) : nullptr;
    float* out = image_row<float>(output.image.get(), y);
    for (int x = 0; x < source.width; ++x, from += 4, out += 4) {
        const float kept = hole ? std::max(1 - hole[x], 0.0F) : 1.0F;
        Quad sum = kept * ink::load(from);
        if (behind) sum += (1 - sum[3]) * ink::load(behind + 4 * std::ptrdiff_t(x));
        if (light) sum *= Quad{light[x], light[x], light[x], 1};
        ink::store(out, sum);
    }
}

bool BitsFly::draw(const Swarm& swarm, const K7Image& source, const K7Image* shadow) {
    K7Image& target = *output.image;
    const auto width = static_cast<std::size_t>(target.width);
    const std::size_t holes = swarm.holes.size(), count = holes + swarm.flying.size();
    const auto wide = static_cast<float>(target.width), high = static_cast<float>(target.height);
    const auto row_of = [&](float y) { return (y / swarm.tallness + 0.5F) * high; };
    const auto outline = [&](const Tiling::Tile& tile, float* xy) {
        const TilePoint* corners = swarm.tiling.corners(tile);
        for (std::uint32_t i = 0; i < tile.count; ++i)
            xy[2 * i] = (corners[i].x + 0.5F) * wide, xy[2 * i + 1] = row_of(corners[i].y);
    };
    const auto rows_of = [&](std::size_t i) {
        if (i >= holes) {
            const PixelWindow& reach = swarm.flying[i - holes].reach;
            return std::pair{reach.y0, reach.y1};
        }
        const Tiling::Tile& tile = swarm.tiling.tiles()[swarm.holes[i]];
        const auto limited = [&](float y) { return static_cast<int>(std::clamp(row_of(y), 0.0F, high - 1)); };
        return std::pair{limited(tile.middle.y - tile.radius), limited(tile.middle.y + tile.radius)};
    };
    const LightRows lights(shadow, Shadow.percent(), target.width, target.height);
    const auto add_hole = [&](const Tiling::Tile& tile, int first, int last, PolygonCoverage& coverage, float* hole) {
        float xy[2 * Tiling::MOST_CORNERS];
        outline(tile, xy);
        made(coverage.set_polygon(static_cast<int>(tile.count), xy, 2, {0, first, target.width - 1, last}));
        coverage.for_runs([&](const CoverageRun& run) {
            float* out = hole + std::size_t(run.y - first) * width + run.x0;
            for (int i = 0; i <= run.x1 - run.x0; ++i) out[i] += run.coverage ? run.coverage[i] : 1.0F;
        });
    };
    const auto draw_band = [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
        if (abortRequested()) return;
        TilePainter::Scratch scratch;
        std::vector<float> hole, light(width), between;
        if (begin != end && *begin < holes) hole.resize(width * std::size_t(last - first + 1));
        for (; begin != end && *begin < holes; ++begin)
            add_hole(swarm.tiling.tiles()[swarm.holes[*begin]], first, last, scratch.coverage, hole.data());
        for (int y = first; y <= last; ++y)
            compose(source, y, hole.empty() ? nullptr : hole.data() + std::size_t(y - first) * width,
                    lights.row(y, between, light.data()) ? light.data() : nullptr);
        for (; begin != end; ++begin) swarm.painter.paint(swarm.flying[*begin - holes], first, last, target, scratch);
    };
    row_bands::draw(count, target.height, rows_of, draw_band);
    return !abortRequested();
}

void BitsFly::ProcessFrame() {
    const StageTimer timer("BitsFly (CPU)");
    const ImagePtr own = multiplied_layer(*picture.image, doAlpha, PreMultiplied.value);
    const K7Image& source = own ? *own : *picture.image;
    const float tallness = tallness_of(source);
    const Tiling tiling(shape(tallness));
    const TileTexture texture(source);
    Swarm swarm{
        tiling,
        look(),
        TilePainter(tiling, texture, look(), source),
        forces(tallness),
        timing.departures(currentFrame, tallness, matte2D.isConnected(), static_cast<std::uint32_t>(Seed.value)),
        SolidNoise(static_cast<std::uint32_t>(Seed.value) + 77),
        tallness,
        matte2D.isConnected(),
        matte3D.isConnected(),
        {},
        {},
        {},
        {}};
    launchAll(swarm);
    const ImagePtr shadow = shadows(swarm);
    if (!draw(swarm, source, shadow.get())) return;
    if (!doAlpha) image_copy_channels(picture.image.get(), output.image.get(), 8);
}
