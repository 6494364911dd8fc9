#include "effects/tv/TVWall.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "effects/engines/refraction/PlaneMap.h"
#include "effects/engines/television/Video.h"
#include "effects/tv/TVWall_simd.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_pyramid.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr int LONGEST_REGISTER = 16;  // floats
constexpr int GLOW_SCALE = 8;         // pixels of the picture a pixel of the glow
constexpr float DARK = 0.012F;        // of the rack and of a screen that is off
constexpr float BLANKING = 0.08F;     // heights of black between two pictures that roll
constexpr float BULGE = 0.14F;        // of glass at full curvature

enum Choice : std::uint32_t {
    OFF = 71,
    SNOWY,
    GROUP,
    TUNED,
    RED_TINT,
    BLUE_TINT,
    LIGHT,
    ROLLS,
    ROLL_SPEED,
    LATE,
    GRAIN
};

int frame_number(double frame) { return static_cast<int>(std::floor(frame + 0.5)); }

// The random choices of a wall.
struct Chances {
    std::uint32_t seed;
    float unit(Choice kind, int cell) const {
        return unit_of(place_hash(place_hash(seed, kind), static_cast<std::uint32_t>(cell)));
    }
};

Chances chances_of(const TVWallInfo& info, int frame) {
    const std::uint32_t seed = place_hash(static_cast<std::uint32_t>(info.Seed.value), 7);
    if (info.Shuffle.value <= 0) return {seed};
    const int turn = static_cast<int>(std::floor(static_cast<double>(frame) / info.Shuffle.value));
    return {place_hash(seed, static_cast<std::uint32_t>(turn))};
}

// Two by two of them that show one picture: its lowest left cell, or -1.
int group_of(const TVWallInfo& info, int column, int row) {
    const int columns = info.Columns.value, left = column / 2 * 2, bottom = row / 2 * 2;
    if (info.Layout.value != TVWallInfo::AcrossSome || left + 1 >= columns || bottom + 1 >= info.Rows.value) return -1;
    const int cell = bottom * columns + left;
    return chances_of(info, 0).unit(GROUP, cell) < 0.4F ? cell : -1;
}

int delay_of(const TVWallInfo& info, int cell) {
    const int columns = info.Columns.value, rows = info.Rows.value, column = cell % columns, row = cell / columns;
    const auto ring = [&](int i, int n) { return std::abs(2 * i - (n - 1)) / 2; };
    const int outermost = std::max(ring(0, columns), ring(0, rows));
    switch (info.DelayOrder.value) {
        case TVWallInfo::Outwards:
            return info.Delay.value * std::max(ring(column, columns), ring(row, rows));
        case TVWallInfo::AtRandom:
            return info.Delay.value * static_cast<int>(chances_of(info, 0).unit(LATE, cell) * float(outermost + 1));
        default:
            return info.Delay.value * ((rows - 1 - row) * columns + column);
    }
}

bool shows_second(const TVWallInfo& info, int cell, int frame) {
    const int column = cell % info.Columns.value, row = cell / info.Columns.value;
    switch (info.Programme.value) {
        case TVWallInfo::Clip2:
            return true;
        case TVWallInfo::Alternating:
            return (column + row) % 2 != 0;
        case TVWallInfo::Random:
            return chances_of(info, frame).unit(TUNED, cell) < info.Share.percent();
        default:
            return false;
    }
}

// The cell that decides for a cell: its group's, or the first where one picture goes across all.
int leader_of(const TVWallInfo& info, int cell) {
    if (info.Layout.value == TVWallInfo::AcrossAll) return 0;
    const int group = group_of(info, cell % info.Columns.value, cell / info.Columns.value);
    return group < 0 ? cell : group;
}

ScreenLook look_of(const TVWallInfo& info, int cell, int frame) {
    const Chances chances = chances_of(info, 0);
    const auto spread = [&](Choice kind, const FloatControlK7& amount, float most) {
        return 1.0F + most * amount.percent() * (2.0F * chances.unit(kind, cell) - 1.0F);
    };
    const float light = info.Brightness.percent() * spread(LIGHT, info.LightSpread, 0.6F);
    const float red = spread(RED_TINT, info.ColourSpread, 0.35F), blue = spread(BLUE_TINT, info.ColourSpread, 0.35F);
    ScreenLook look{{light * red, light, light * blue, 1.0F}, 0.0F, 0};
    if (chances.unit(OFF, cell) < info.Off.percent())
        look.gain[0] = look.gain[1] = look.gain[2] = 0.0F;
    else if (chances.unit(SNOWY, cell) < info.Snow.percent())
        look.snow = 1.0F;
    const int moving = info.Animate.value ? frame : 0;
    look.seed = video_stream({chances.seed, moving, 0}, GRAIN) + static_cast<std::uint32_t>(cell) * 7919U;
    return look;
}

WallShape shape_of(const TVWallInfo& info, const K7Image& frame, int width, int height) {
    const PlaneView plane(info.quad.corners(1.0F), 1.0F);
    const int columns = info.Columns.value, rows = info.Rows.value;
    const double wide = double(frame.width) * double(frame.pixel_aspect) / columns, high = double(frame.height) / rows;
    const auto tallness = static_cast<float>(high / wide);
    const float room = std::min(1.0F, tallness);
    const float gap = std::min(info.Gap.percent(), 0.45F * room),
                bezel = std::min(2.0F * info.Bezel.percent(), 0.9F * (room - gap));
    const float glass = room - gap - bezel;
    WallShape shape{{},
                    columns,
                    rows,
                    width,
                    height,
                    tallness,
                    gap,
                    bezel,
                    std::min(0.25F * bezel, room - gap),
                    std::clamp(info.Rounding.percent(), 0.0F, 1.0F) * glass * 0.95F,
                    gap + bezel + info.Rounding.percent() > 0.0F ? 0.0F : 1.0F,
                    BULGE * info.Curvature.percent()};
    std::copy(plane.to_plane.rows.begin(), plane.to_plane.rows.end(), shape.to_wall);
    return shape;
}

// A row's arrays, allocated once for each thread.
class RowStore {
  public:
    explicit RowStore(int width)
        : m_pitch(static_cast<std::size_t>(width) + LONGEST_REGISTER),
          m_values(12 * m_pitch),
          m_cells(m_pitch),
          m_samples(4 * m_pitch),
          m_light(4 * m_pitch) {
        row = {m_cells.data(), lane(0), lane(1), lane(2), lane(3), lane(4), lane(5), lane(6)};
    }
    float* lane(std::size_t i) { return m_values.data() + i * m_pitch; }
    float* samples() { return m_samples.data(); }
    float* light() { return m_light.data(); }
    WallRow row;

  private:
    std::size_t m_pitch;
    std::vector<float> m_values;
    std::vector<int> m_cells;
    std::vector<float> m_samples, m_light;
};

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

TVWallInfo::TVWallInfo() {
    ghost({&Share, &Shuffle}, Programme, isNot(Random));
    ghost({&DelayOrder}, Layout, is(AcrossAll));
    declarePresets();
    scene.inputs = {"street-small.png", "launch-small.png", "coffee-small.png"};
    scene.settings = {{"Programme", "2"}, {"Snow", "10"},    {"Off", "6"},       {"TL", "0.2,0.9"},
                      {"TR", "0.75,0.8"}, {"BL", "0.2,0.1"}, {"BR", "0.75,0.25"}};
    scene.frame = 5;
    scene.plates = {"street.jpg", "launch.jpg", "portrait.jpg"};
    scene.look = {{"Demos", "Shop Window"}};
}

void TVWall::FramePrepare(TVWallInfo& plan, const FrameSpan& frames) const {
    const int frame = frame_number(frames.current), cells = plan.Columns.value * plan.Rows.value;
    std::vector<int> wanted[2];
    for (int cell = 0; cell < cells; ++cell) {
        const int leader = leader_of(plan, cell);
        wanted[shows_second(plan, leader, frame) ? 1 : 0].push_back(frame - delay_of(plan, leader));
    }
    // The frame itself first, the oldest last: hosts are told of the range between the two ends.
    ClipRecord* clips[] = {&plan.clipA, &plan.clipB};
    for (int i = 0; i < 2; ++i) {
        wanted[i].push_back(frame);
        std::sort(wanted[i].begin(), wanted[i].end(), std::greater<>());
        wanted[i].erase(std::unique(wanted[i].begin(), wanted[i].end()), wanted[i].end());
        for (const int one : wanted[i]) clips[i]->addFrame(one);
    }
}

// ---- What is on -----------------------------------------------------------------------------------------------

struct TVWall::Screens {
    // The part of a picture that a screen shows, as fractions of the picture.
    struct View {
        const ImagelibPyramid* picture;
        float left, bottom, width, height;
        float roll;
    };
    struct Picture {
        int clip, delay;
        ImagePtr image;
        std::unique_ptr<ImagelibPyramid> pyramid;
    };
    std::vector<ScreenLook> looks;
    std::vector<View> views;
    std::vector<Picture> pictures;

    // Pixels from `first` on that lie on one screen.
    void read(const WallRow& row, int first, int count, RowStore& store) const {
        const View& view = views[static_cast<std::size_t>(row.cell[first])];
        const auto width = static_cast<float>(view.picture->width), height = static_cast<float>(view.picture->height);
        float *x = store.lane(8), *y = store.lane(9), *areas = store.lane(10);
        for (int i = 0; i < count; ++i) {
            const int at = first + i;
            const float v = rolled(row.v[at], view.roll);
            x[i] = (view.left + view.width * row.u[at]) * width - 0.5F;
            y[i] = (view.bottom + view.height * std::min(v, 1.0F)) * height - 0.5F;
            areas[i] = row.du[at] * view.width * width * (row.dv[at] * view.height * height);
        }
        view.picture->sample_points(x, y, areas, count, store.samples() + 4 * first);
        if (view.roll > 0.0F) blank(row, first, count, view.roll, store.samples());
    }
    // Up from the lower end of a picture, black following it, that has slipped down by a part of both.
    static float rolled(float v, float roll) {
        const float slipped = v + roll * (1.0F + BLANKING);
        return slipped >= 1.0F + BLANKING ? slipped - (1.0F + BLANKING) : slipped;
    }
    static void blank(const WallRow& row, int first, int count, float roll, float* samples) {
        for (int at = first; at < first + count; ++at) {
            const float v = rolled(row.v[at], roll), pixels = 1.0F / std::max(row.dv[at], 1e-6F);
            const float shown = std::clamp(std::min(1.0F - v, v) * pixels + 0.5F, 0.0F, 1.0F);
            for (int c = 0; c < 3; ++c) samples[4 * at + c] *= shown;
        }
    }
};

// False when the host wants an end.
bool TVWall::arrange(Screens& screens) {
    const int frame = frame_number(currentFrame), columns = Columns.value, rows = Rows.value;
    const K7Image& layout = *background.image;
    ClipRecord* clips[] = {&background, &clipA, &clipB};
    const auto clip_of = [&](int leader) {
        if (shows_second(*this, leader, frame) && clipB.isConnected()) return 2;
        return clipA.isConnected() ? 1 : 0;
    };
    // Screens are small: a picture for each is kept at twice their size at most.
    const auto picture_of = [&](int clip, int delay) -> const ImagelibPyramid* {
        for (const Screens::Picture& known : screens.pictures)
            if (known.clip == clip && known.delay == delay) return known.pyramid.get();
        ImagePtr late;
        const K7Image* shown = clips[clip]->image.get();
        if (clip > 0 && delay != 0) {
            late = made(make_image_uncleared(layout.width, layout.height, 4, SAMPLE_F32));
            if (clips[clip]->GetFrame(frame - delay, late.get())) shown = late.get();
        }
        const int spans = Layout.value == AcrossAll ? 1 : 2;
        const auto smaller = [&](int size, int parts) { return std::clamp(2 * spans * size / parts, 1, size); };
        const int width = smaller(shown->width, columns), height = smaller(shown->height, rows);
        ImagePtr image;
        if (Layout.value != AcrossAll && (width < shown->width || height < shown->height)) {
            image = made(make_image_uncleared(width, height, 4, SAMPLE_F32));
            made(image_scale(shown, image.get(), KERNEL_TRIANGLE, true));
        } else if (late) {
            image = std::move(late);
        }
        auto pyramid =
            std::make_unique<ImagelibPyramid>(image ? image.get() : shown, KERNEL_BSPLINE, EDGE_CLAMP, false, true);
        made(pyramid->valid() && pyramid->set_kernel(KERNEL_TRIANGLE, EDGE_CLAMP));
        screens.pictures.push_back({clip, delay, std::move(image), std::move(pyramid)});
        return screens.pictures.back().pyramid.get();
    };
    const WallShape shape = shape_of(*this, layout, 1, 1);
    const float glass_aspect = (1.0F - shape.gap - shape.bezel) / (shape.tallness - shape.gap - shape.bezel);
    const Chances chances = chances_of(*this, 0);
    for (int cell = 0; cell < columns * rows && !abortRequested(); ++cell) {
        const int leader = leader_of(*this, cell), column = cell % columns, row = cell / columns;
        Screens::View screen{picture_of(clip_of(leader), delay_of(*this, leader)), 0, 0, 1, 1, 0};
        // A picture fills its glass, cut where the two are of other proportions.
        if (Layout.value != AcrossAll) {
            const float wider = glass_aspect / (float(layout.width) * layout.pixel_aspect / float(layout.height));
            screen.width = std::min(1.0F / wider, 1.0F), screen.height = std::min(wider, 1.0F);
            screen.left = 0.5F * (1.0F - screen.width), screen.bottom = 0.5F * (1.0F - screen.height);
        }
        if (Layout.value == AcrossAll) {
            screen.width = 1.0F / float(columns), screen.height = 1.0F / float(rows);
            screen.left = float(column) * screen.width, screen.bottom = float(row) * screen.height;
        } else if (group_of(*this, column, row) >= 0) {
            screen.width *= 0.5F, screen.height *= 0.5F;
            screen.left += screen.width * float(column % 2), screen.bottom += screen.height * float(row % 2);
        }
        if (chances.unit(ROLLS, cell) < Rolling.percent()) {
            const double speed = 0.004 + 0.03 * double(chances.unit(ROLL_SPEED, cell));
            const double rolled = double(chances.unit(ROLL_SPEED, cell)) * 7 + (Animate.value ? frame * speed : 0.0);
            screen.roll = static_cast<float>(rolled - std::floor(rolled));
        }
        screens.views.push_back(screen);
        screens.looks.push_back(look_of(*this, cell, frame));
    }
    return !abortRequested();
}

// ---- The picture ----------------------------------------------------------------------------------------------

void TVWall::ProcessFrame() {
    const StageTimer timer("TVWall (CPU)");
    Screens screens;
    if (!arrange(screens)) return;
    K7Image& picture = *output.image;  // begins as the background
    std::vector<float> wave(WAVE_ENTRIES + 1);
    for (int i = 0; i <= WAVE_ENTRIES; ++i)
        wave[std::size_t(i)] = 1.0F + static_cast<float>(k7_cos(2.0 * 3.14159265358979323846 * i / WAVE_ENTRIES));
    const WallRows& loops = wall_rows();
    // The light of the screens in a row, and where they are.
    const auto shine = [&](const WallShape& shape, int y, RowStore& store) {
        loops.locate(shape, y, store.row);
        const WallRow& row = store.row;
        for (int x = 0; x < shape.width;) {
            int end = x + 1;
            if (row.glass[x] > 0.0F) {
                while (end < shape.width && row.glass[end] > 0.0F && row.cell[end] == row.cell[x]) ++end;
                screens.read(row, x, end - x, store);
            }
            x = end;
        }
        const WallLight light{screens.looks.data(), store.samples(),      Lines.value,
                              ScanLines.percent(),  Reflection.percent(), wave.data()};
        loops.shine(light, row, shape.width, store.light());
    };

    const int small_width = (picture.width + GLOW_SCALE - 1) / GLOW_SCALE,
              small_height = (picture.height + GLOW_SCALE - 1) / GLOW_SCALE;
    const ImagePtr glow = made(make_image(small_width, small_height, 4, SAMPLE_F32));
    const float strength = Glow.percent();
    if (strength > 0.0F) {
        const WallShape shape = shape_of(*this, picture, small_width, small_height);
        for_rows_float(small_height, [&](int first, int last) {
            if (first > last) return;
            RowStore store(small_width);
            for (int y = first; y <= last && !abortRequested(); ++y) {
                shine(shape, y, store);
                float* out = image_row<float>(glow.get(), y);
                for (int x = 0; x < small_width; ++x)
                    for (int c = 0; c < 3; ++c)
                        out[4 * x + c] =
                            store.row.glass[x] > 0.0F ? store.row.glass[x] * store.light()[4 * x + c] : 0.0F;
            }
        });
        const float radius = 0.35F * static_cast<float>(small_width) / static_cast<float>(Columns.value);
        made(image_gaussian_blur(glow.get(), radius, radius, -1));
    }
    if (abortRequested()) return;

    const WallShape shape = shape_of(*this, picture, picture.width, picture.height);
    const float rack = Rack.percent(), bezel[3] = {BezelColour.red, BezelColour.green, BezelColour.blue};
    for_rows_float(picture.height, [&](int first, int last) {
        if (first > last) return;
        RowStore store(picture.width);
        const WallRow& row = store.row;
        for (int y = first; y <= last && !abortRequested(); ++y) {
            shine(shape, y, store);
            float* out = image_row<float>(&picture, y);
            const float gy = std::clamp((float(y) + 0.5F) / GLOW_SCALE - 0.5F, 0.0F, float(small_height - 1));
            const int line = static_cast<int>(gy);
            const float up = gy - float(line);
            const float* below = image_row<float>(glow.get(), line);
            const float* above = image_row<float>(glow.get(), std::min(line + 1, small_height - 1));
            for (int x = 0; x < picture.width; ++x, out += 4) {
                const float on_glass = row.glass[x];
                if (on_glass < 1.0F) {
                    const float hidden = rack * row.rack[x], casing = row.casing[x], shade = 0.75F + 0.5F * row.v[x];
                    const float gx = std::clamp((float(x) + 0.5F) / GLOW_SCALE - 0.5F, 0.0F, float(small_width - 1));
                    const int column = static_cast<int>(gx), next = std::min(column + 1, small_width - 1);
                    const float across = gx - float(column);
                    for (int c = 0; c < 3; ++c) {
                        const float low =
                            below[4 * column + c] + across * (below[4 * next + c] - below[4 * column + c]);
                        const float high =
                            above[4 * column + c] + across * (above[4 * next + c] - above[4 * column + c]);
                        const float lit = strength * (low + up * (high - low));
                        float base = out[c] + hidden * (DARK - out[c]);
                        base += casing * (bezel[c] * shade - base);
                        out[c] = base * (1.0F + 3.0F * lit) + 0.04F * lit;
                    }
                    out[3] += std::max(hidden, casing) * (1.0F - out[3]);
                }
                if (!(on_glass > 0.0F)) continue;
                const float* light = store.light() + 4 * x;
                for (int c = 0; c < 3; ++c) out[c] += on_glass * (light[c] + DARK - out[c]);
                out[3] += on_glass * (1.0F - out[3]);
            }
        }
    });
}
