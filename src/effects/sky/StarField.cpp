#include "effects/sky/StarField.h"

#include <algorithm>
#include <cmath>

#include "effects/sky/StarExposure.h"
#include "graphicslib/row_bands.h"
#include "k7pi_baselib/k7pi_baselib.h"

StarFieldInfo::StarFieldInfo() {
    declarePresets();
    ghost({&BoxSize, &Clumping}, Stars, is(0));
    ghost({&ClusterSize, &ClusterDistance, &ClusterHeading, &ClusterPitch}, ClusterStars, is(0));
    ghost({&SpikeLength, &SpikeStrength, &SpikeAngle}, Spikes, is(0));
    ghost({&Background}, StarsOnly, isOn);
    scene.frame = 12;
    scene.settings = {{"FarStars", "60000"}, {"Brightness", "180"}, {"Speed", "0.1"},   {"Nebula", "120"},
                      {"Spikes", "2"},       {"Glow", "100"},       {"MilkyWay", "30"}, {"NebulaCover", "60"}};
}

namespace {

constexpr double DEGREE = 3.141592653589793 / 180.0;
constexpr int MOST_HAZE_FRAMES = 24;

// A small picture of light with a frame of one more pixel: each pixel is a cell of `cell` by `cell` in the large one.
struct HazeGrid {
    HazeGrid(const K7Image& frame, int coarseness)
        : cell(std::max((frame.width + 240) / 480, 1) * coarseness),
          columns((frame.width + cell - 1) / cell),
          rows((frame.height + cell - 1) / cell) {}
    int cell, columns, rows;
    ImagePtr picture() const { return made(make_image(columns + 2, rows + 2, 4, SAMPLE_F32)); }
    // Weights of the cells before, at and after a line of pixels: quadratic B-splines.
    void weights(int line, float (&w)[3]) const {
        const float t = (static_cast<float>(line % cell) + 0.5F) / static_cast<float>(cell) - 0.5F;
        w[0] = 0.5F * (0.5F - t) * (0.5F - t), w[1] = 0.75F - t * t, w[2] = 0.5F * (0.5F + t) * (0.5F + t);
    }
};

// Directions of unit length through a row of cells.
void sight_row(const Camera& camera, const HazeGrid& grid, int row, float* const direction[3]) {
    const auto cell = static_cast<float>(grid.cell);
    for (int i = 0; i < grid.columns + 2; ++i) {
        float ray[3];
        camera.pixel_to_ray((static_cast<float>(i) - 0.5F) * cell, (static_cast<float>(row) - 0.5F) * cell, ray);
        const float inverse = 1.0F / std::sqrt(ray[0] * ray[0] + ray[1] * ray[1] + ray[2] * ray[2]);
        for (int k = 0; k < 3; ++k) direction[k][i] = ray[k] * inverse;
    }
}

void add_glows(const std::vector<StarGlow>& glows, const HazeGrid& grid, double pixel_aspect, K7Image& haze) {
    const auto small = static_cast<float>(1.0 / grid.cell), row_height = static_cast<float>(1.0 / pixel_aspect);
    std::vector<StarGlow> scaled(glows);
    for (StarGlow& glow : scaled) {
        glow.x = glow.x * small + 1.0F, glow.y = glow.y * small + row_height;
        glow.core *= small, glow.reach *= small;
    }
    const auto rows_of = [&](std::size_t i) {
        const StarGlow& glow = scaled[i];
        const auto limit = static_cast<float>(haze.height - 1);
        return std::pair{static_cast<int>(std::clamp((glow.y - glow.reach) / row_height - 1.0F, 0.0F, limit)),
                         static_cast<int>(std::clamp((glow.y + glow.reach) / row_height, 0.0F, limit))};
    };
    const StarKernels& kernels = star_kernels();
    row_bands::draw(scaled.size(), haze.height, rows_of,
                    [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
                        for (const std::uint32_t* item = begin; item != end; ++item)
                            for (int y = first; y <= last; ++y)
                                kernels.glow(scaled[*item], image_row<float>(&haze, y), y, haze.width, row_height);
                    });
}

// Streaks and haze, a band of rows at a time, developed into the picture.
class Development {
  public:
    Development(const StarLight& light, const K7Image* haze, const HazeGrid& grid, float background, bool alone)
        : m_light(light), m_haze(haze), m_grid(grid), m_background(background), m_alone(alone) {
        for (int k = 0; k < grid.cell; ++k) {
            float w[3];
            grid.weights(k, w);
            m_columns.insert(m_columns.end(), w, w + 3);
        }
    }

    void run(K7Image& picture, const StopRequested& stop) const {
        const float row_height = 1.0F / picture.pixel_aspect, limit = static_cast<float>(picture.height - 1);
        const auto rows_of = [&](std::size_t i) {
            const StarStreak& streak = m_light.streaks[i];
            const float tall = std::fabs(streak.sine) * streak.half + 1.42F * streak.reach;
            return std::pair{static_cast<int>(std::clamp((streak.y - tall) / row_height - 1.0F, 0.0F, limit)),
                             static_cast<int>(std::clamp((streak.y + tall) / row_height + 1.0F, 0.0F, limit))};
        };
        row_bands::draw(m_light.streaks.size(), picture.height, rows_of,
                        [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
                            if (!wants_end(stop)) band(picture, first, last, begin, end);
                        });
    }

  private:
    void band(K7Image& picture, int first, int last, const std::uint32_t* begin, const std::uint32_t* end) const {
        const bool dark = begin == end && !m_haze;
        if (m_alone)
            for (int y = first; y <= last; ++y)
                std::fill_n(image_row<float>(&picture, y), 4 * static_cast<std::size_t>(picture.width), 0.0F);
        if (dark && (m_alone || m_background == 1.0F)) return;
        constexpr int SLACK = 16;
        const int pitch = picture.width + SLACK;
        const std::size_t plane = static_cast<std::size_t>(pitch) * static_cast<std::size_t>(last - first + 1);
        std::vector<float> planes(3 * plane);
        const StarBand target{{planes.data(), planes.data() + plane, planes.data() + 2 * plane},
                              pitch,
                              picture.width,
                              first,
                              last,
                              1.0F / picture.pixel_aspect};
        const StarKernels& kernels = star_kernels();
        for (const std::uint32_t* item = begin; item != end; ++item) kernels.draw(m_light.streaks[*item], target);

        std::vector<float> scratch(star_spread_scratch(m_grid.columns)),
            spread(m_haze ? 4 * static_cast<std::size_t>(m_grid.columns) * static_cast<std::size_t>(m_grid.cell) : 0);
        for (int y = first; y <= last; ++y) {
            if (m_haze) spreadRow(y, scratch.data(), spread.data());
            const std::size_t row = static_cast<std::size_t>(y - first) * static_cast<std::size_t>(pitch);
            const float* const light[3] = {target.light[0] + row, target.light[1] + row, target.light[2] + row};
            kernels.develop(image_row<float>(&picture, y), light, m_haze ? spread.data() : nullptr, picture.width,
                            m_background);
        }
    }

    void spreadRow(int y, float* scratch, float* out) const {
        StarHazeRow row{{}, {}, m_columns.data(), m_grid.cell, m_grid.columns};
        m_grid.weights(y, row.weights);
        for (int k = 0; k < 3; ++k) row.rows[k] = image_row<float>(m_haze, y / m_grid.cell + k);
        star_kernels().spread(row, scratch, out);
    }

    const StarLight& m_light;
    const K7Image* m_haze;  // null: none
    HazeGrid m_grid;
    float m_background;
    bool m_alone;
    std::vector<float> m_columns;
};

}  // namespace

// ---- Controls -------------------------------------------------------------------------------------------------

StarFlight StarField::flight() const {
    const auto drive = [this](double frame) {
        const double time = renderContext.time + (frame - currentFrame) * timeOfFrame;
        const auto at = [time](const FloatControlK7& control) {
            double value = control.value;
            control.GetValue(time, &value);
            return std::clamp(value, control.min(), control.max());
        };
        return StarDrive{{at(SpeedX), at(SpeedY), at(Speed)},
                         {at(CameraX), at(CameraY), at(CameraZ)},
                         at(Heading),
                         at(Pitch),
                         at(Roll),
                         at(TurnSpeed),
                         at(PoleHeading),
                         at(PolePitch)};
    };
    const double half = 0.5 * ShutterTime.limited();
    return {drive, currentFrame - half, currentFrame + half};
}

StarScene StarField::sceneOf(const K7Image& frame) const {
    const double width = frame.width;
    const auto seed = static_cast<std::uint32_t>(Seed.value);
    const StarBandAxes band = star_band_axes(BandHeading.limited(), BandPitch.limited(), BandTilt.limited());
    const StarPose cluster = star_pose(ClusterHeading.limited(), ClusterPitch.limited(), 0.0);
    StarScene shown{.frame = currentFrame,
                    .shutter = ShutterTime.limited(),
                    .width = width,
                    .height = static_cast<double>(frame.height),
                    .pixel_aspect = static_cast<double>(frame.pixel_aspect),
                    .field_of_view = FieldOfView.limited(),
                    .scatter = {.seed = seed,
                                .clumping = Clumping.percent(),
                                .groups = static_cast<std::uint32_t>(Stars.value / 150 + 1),
                                .band_share = MilkyWay.value > 0.0 ? 0.7F : 0.0F,
                                .band_width = 0.16F * BandWidth.percent(),
                                .band = band},
                    .kinds = StarKinds(Colour.limited() * 0.01),
                    .stars = Stars.value,
                    .far_stars = FarStars.value,
                    .cluster_stars = ClusterStars.value,
                    .box = BoxSize.limited(),
                    .cluster_place = {},
                    .cluster_radius = static_cast<float>(ClusterSize.limited() * 0.5),
                    .brightness = Brightness.percent(),
                    .range = MagnitudeRange.percent(),
                    .tint = {},
                    .reach = 1.16F * static_cast<float>(std::max(StarSize.limited() * width, 1.7)),
                    .streak_light = StreakLight.percent(),
                    .glow = Glow.percent(),
                    .glow_size = static_cast<float>(GlowSize.limited() * width),
                    .spikes = Spikes.value,
                    .spike_length = static_cast<float>(SpikeLength.limited() * width),
                    .spike_strength = SpikeStrength.percent(),
                    .spike_angle = SpikeAngle.limited() * DEGREE,
                    .twinkle = Twinkle.percent(),
                    .twinkle_speed = TwinkleSpeed.limited(),
                    .haze = {.seed = seed,
                             .milky_way = MilkyWay.percent(),
                             .nebula = Nebula.percent(),
                             .dust = Dust.percent(),
                             .band_width = 0.16F * BandWidth.percent(),
                             .band = band,
                             .nebula_scale = NebulaScale.percent(),
                             .nebula_cover = NebulaCover.percent(),
                             .nebula_colours = {}}};
    for (int k = 0; k < 3; ++k) shown.cluster_place[k] = cluster.forward[k] * ClusterDistance.limited();
    const auto colour = [](const ColourControlK7& control, float(&rgb)[3]) {
        const float given[] = {control.red, control.green, control.blue};
        for (int c = 0; c < 3; ++c) rgb[c] = std::clamp(given[c], 0.0F, 1.0F);
    };
    colour(Tint, shown.tint);
    colour(NebulaColourA, shown.haze.nebula_colours[0]);
    colour(NebulaColourB, shown.haze.nebula_colours[1]);
    return shown;
}

// ---- The picture ----------------------------------------------------------------------------------------------

namespace {

void haze_at(const StarHaze& haze, const Camera& camera, const HazeGrid& grid, float finest, K7Image& small,
             const StopRequested& stop) {
    for_rows_float(small.height, [&](int first, int last) {
        if (first > last) return;
        const auto width = static_cast<std::size_t>(small.width);
        std::vector<float> scratch(3 * width + StarHaze::scratch(small.width));
        float* direction[3] = {scratch.data(), scratch.data() + width, scratch.data() + 2 * width};
        for (int y = first; y <= last && !wants_end(stop); ++y) {
            sight_row(camera, grid, y, direction);
            haze.row(direction, small.width, finest, scratch.data() + 3 * width, image_row<float>(&small, y));
        }
    });
}

// The haze over the exposure: as many of its sub-frames as its motion asks for, summed.
ImagePtr exposed_haze(const StarScene& scene, const StarExposure& exposure, const HazeGrid& grid, int frames,
                      const StopRequested& stop) {
    const StageTimer timer("StarField haze");
    ImagePtr small = grid.picture();
    const StarHaze haze(scene.haze);
    if (haze.empty()) return small;
    const double pixel = scene.field_of_view * DEGREE / scene.width;
    const auto finest = static_cast<float>(3.0 * grid.cell * pixel);
    ImageAccumulator sum(small.get());
    for (int i = 0; i < frames && !wants_end(stop); ++i) {
        const int sub_frame = (2 * i + 1) * StarExposure::SUB_FRAMES / (2 * frames);
        haze_at(haze, exposure.camera(sub_frame), grid, finest, *small, stop);
        if (frames > 1) sum.add(small.get());
    }
    if (frames > 1) sum.mean(small.get());
    for (int c = 0; c < 3; ++c)
        if (scene.tint[c] != 1.0F)
            for (int y = 0; y < small->height; ++y)
                for (int x = 0; x < small->width; ++x) image_row<float>(small.get(), y)[4 * x + c] *= scene.tint[c];
    return small;
}

}  // namespace

void StarField::ProcessFrame() {
    const StageTimer timer("StarField (CPU)");
    K7Image& picture = *output.image;  // begins as a copy of the input
    const StarScene shown = sceneOf(picture);
    const StarExposure exposure(shown, flight());
    StarLight light;
    {
        const StageTimer stars("StarField stars");
        if (!exposure.expose(light, stopRequested())) return;
    }
    const HazeGrid fine(picture, 1);
    const float moved = exposure.turned() / static_cast<float>(2 * fine.cell);
    const int frames = static_cast<int>(std::clamp(moved, 1.0F, static_cast<float>(MOST_HAZE_FRAMES)));
    const HazeGrid grid(picture, frames > 4 ? 2 : 1);
    const bool hazy = shown.haze.milky_way > 0.0F || shown.haze.nebula > 0.0F;
    ImagePtr haze;
    if (hazy || !light.glows.empty()) {
        haze = exposed_haze(shown, exposure, grid, frames, stopRequested());
        add_glows(light.glows, grid, shown.pixel_aspect, *haze);
    }
    const StageTimer development("StarField development");
    const float background = StarsOnly.value ? 1.0F : Background.percent();
    Development(light, haze.get(), grid, background, StarsOnly.value).run(picture, stopRequested());
}
