#include "effects/film/Burn.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <new>
#include <vector>

#include "effects/film/Burn_simd.h"
#include "imagelib/imagelib_pyramid.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "noiselib/solidnoise.h"
#include "simdlib/cpu.h"

namespace {

float percent(double v) { return static_cast<float>(v * 0.01); }
double mix(double a, double b, double t) { return a + t * (b - a); }
double smoothStep(double low, double high, double v) {
    const double t = std::clamp((v - low) / (high - low), 0.0, 1.0);
    return (3.0 - 2.0 * t) * t * t;
}

// ---- The front ------------------------------------------------------------------------------------------------
//
// The whole burn follows from one number for each pixel: its depth behind the rim of the hole, in widths of the rim.
// The film warms from -HALO on, chars from 0 on, and is gone at 1.

constexpr uint32_t SEED = 1234567;
constexpr double RIM = 0.10;        // width of the rim, in widths of the picture
constexpr double HALO = 0.7;        // reach of the heat ahead of it, in rims
constexpr double RAGGED = 1.6;      // how far the rim departs from a circle, in rims
constexpr double RAGGED_AT = 0.3;   // progress from which on it does so fully
constexpr double CELLS = 12.0;      // of the noise over the width of the picture
constexpr float FINEST = 21.0F;     // frequencies of the noise below this, in cells
constexpr double MORPH = 0.6;       // cells that the noise goes through from start to end
constexpr double GROWTH = 0.15;     // and how much larger they get; with more of either, burnt film would come back
constexpr double WANDER = 0.08;     // of the centre from its corner, in picture sizes
constexpr double PACE = 0.4;        // speed at the start over the mean speed: the burn accelerates
constexpr int FRONT_COLUMNS = 960;  // at least, in large pictures

// Picture pixels for one of the front's: what the front shows is smooth at this scale.
int frontStep(const K7Image& picture) { return std::max(1, picture.width / FRONT_COLUMNS); }

// The hole at one moment: a circle about a corner, and how ragged its rim is by now.
class Hole {
  public:
    Hole(const K7Image& picture, const SolidNoise& noise, int corner, double progress);
    // A row of the front: `count` places from column 0 of the picture on, `step` apart.
    void drawRow(const SolidNoise& noise, int y, int step, float* rough, float* depth, int count) const;

  private:
    double m_x, m_y, m_tall;  // centre in pixels, height of a pixel in widths
    double m_rim, m_radius;   // pixels
    double m_ragged;          // rims
    double m_scale;           // noise cells a pixel
    float m_moment;
};

Hole::Hole(const K7Image& picture, const SolidNoise& noise, int corner, double progress)
    : m_tall(picture.pixel_width > 0 ? double(picture.pixel_height) / double(picture.pixel_width) : 1.0),
      m_rim(RIM * picture.width),
      m_ragged(RAGGED * smoothStep(0.0, RAGGED_AT, progress)),
      // The wave grows with the hole: the noise is magnified about the centre.
      m_scale(CELLS / picture.width / (1.0 + GROWTH * progress)),
      m_moment(static_cast<float>(MORPH * progress)) {
    const double right = corner == Burn::BottomRight || corner == Burn::TopRight ? 1.0 : 0.0;
    const double top = corner == Burn::TopRight || corner == Burn::TopLeft ? 1.0 : 0.0;
    m_x = (right + WANDER * double(noise.noise(m_moment, 1.5F, 0.5F))) * picture.width;
    m_y = (top + WANDER * double(noise.noise(m_moment, 2.5F, 0.5F))) * picture.height;
    const double dx = std::max(m_x, picture.width - m_x), dy = std::max(m_y, picture.height - m_y) * m_tall;
    const double farthest = std::sqrt(dx * dx + dy * dy);
    m_radius = mix(-HALO * m_rim, farthest + (1.05 + RAGGED) * m_rim, progress * (PACE + (1.0 - PACE) * progress));
}

void Hole::drawRow(const SolidNoise& noise, int y, int step, float* rough, float* depth, int count) const {
    // Noise is needed only where it can decide between cold, burning and gone.
    const auto coldest = static_cast<float>(-HALO - m_ragged), deepest = static_cast<float>(1.0 + m_ragged);
    const double dy = (y - m_y) * m_tall;
    int begin = count, end = 0;
    for (int i = 0; i < count; ++i) {
        const double dx = i * step - m_x;
        depth[i] = static_cast<float>((m_radius - std::sqrt(dx * dx + dy * dy)) / m_rim);
        if (!(depth[i] > coldest && depth[i] < deepest)) continue;
        begin = std::min(begin, i), end = i + 1;
    }
    if (begin >= end) return;
    const NoiseLine line{-m_x * m_scale, step * m_scale, static_cast<float>(dy * m_scale), m_moment};
    noise.turbulence_row(line, begin, 1.0F, FINEST, rough, end - begin);
    for (int i = begin; i < end; ++i)
        depth[i] += static_cast<float>(m_ragged) * std::clamp(rough[i - begin], -1.0F, 1.0F);
}

// Interpolates linearly between the samples of the front, `step` pixels for each. STEP is `step` as a constant, or 0.
template <int STEP>
void spread(const float* between, float* depth, int count, int step) {
    const int each = STEP > 0 ? STEP : step;
    const float share = 1.0F / static_cast<float>(each);
    for (int i = 0; i < count; ++i)
        for (int k = 0; k < each; ++k)
            depth[i * each + k] = between[i] + static_cast<float>(k) * ((between[i + 1] - between[i]) * share);
}

// The columns [begin, end) of the picture; `begin` is also a column of the front.
struct Columns {
    int begin, end;
};

// A row of the picture, interpolated from the front: `depth` of the columns that are warm, which are returned. `depth`
// has room for one step more than the row.
Columns magnifyRow(const K7Image& front, int y, int step, float* between, float* depth, int width) {
    const int row = y / step;
    const float part = static_cast<float>(y % step) / static_cast<float>(step);
    const float* lower = image_row<float>(&front, row);
    const float* upper = image_row<float>(&front, row + 1);
    constexpr auto cold = static_cast<float>(-HALO);
    int begin = 0, end = front.width - 1;
    const auto isCold = [&](int i) { return lower[i] <= cold && upper[i] <= cold; };
    while (begin < end && isCold(begin) && isCold(begin + 1)) ++begin;
    while (end > begin && isCold(end) && isCold(end - 1)) --end;
    for (int i = begin; i <= end; ++i) between[i] = lower[i] + part * (upper[i] - lower[i]);
    const auto fill = step == 1 ? spread<1> : step == 2 ? spread<2> : step == 4 ? spread<4> : spread<0>;
    fill(between + begin, depth + begin * step, end - begin, step);
    return {begin * step, std::min(end * step, width)};
}

// ---- What the heat does to the film ---------------------------------------------------------------------------

struct Rgb {
    double r, g, b;
};
struct Stop {
    double depth;
    Rgb colour;
};

// Colours by depth, smooth from stop to stop.
template <std::size_t N>
Rgb along(const std::array<Stop, N>& stops, double depth) {
    std::size_t i = 0;
    while (i + 2 < N && depth > stops[i + 1].depth) ++i;
    const Stop &a = stops[i], &b = stops[i + 1];
    const double t = smoothStep(a.depth, b.depth, depth);
    return {mix(a.colour.r, b.colour.r, t), mix(a.colour.g, b.colour.g, t), mix(a.colour.b, b.colour.b, t)};
}

// What the emulsion lets through: it yellows, browns, and is charcoal before it goes.
constexpr double CONSUMED = 0.62;  // nothing of the picture is left, embers and light alone
constexpr std::array<Stop, 4> EMULSION = {
    {{-HALO, {1, 1, 1}}, {-0.05, {0.95, 0.72, 0.45}}, {0.30, {0.30, 0.14, 0.05}}, {CONSUMED, {0, 0, 0}}}};
// The light that comes with it: a glow ahead of the rim, embers in it, and behind it the lamp or nothing.
constexpr std::array<Stop, 6> GLOW_TO_WHITE = {{{-HALO, {0, 0, 0}},
                                                {0.0, {0.16, 0.055, 0.01}},
                                                {0.30, {0.55, 0.16, 0.02}},
                                                {0.55, {1.0, 0.55, 0.12}},
                                                {0.78, {1.0, 0.92, 0.62}},
                                                {1.0, {1, 1, 1}}}};
constexpr std::array<Stop, 6> GLOW_TO_BLACK = {{{-HALO, {0, 0, 0}},
                                                {0.0, {0.14, 0.045, 0.005}},
                                                {0.34, {0.75, 0.24, 0.03}},
                                                {0.46, {1.0, 0.52, 0.12}},
                                                {0.66, {0.42, 0.08, 0.0}},
                                                {1.0, {0, 0, 0}}}};

void fillTable(ScorchTable& table, bool toWhite, bool grey) {
    table.first = static_cast<float>(-HALO);
    table.scale = static_cast<float>(SCORCH_ENTRIES / (1.0 + HALO));
    table.grey = grey;
    for (int i = 0; i <= SCORCH_ENTRIES; ++i) {
        const double depth = -HALO + i * (1.0 + HALO) / SCORCH_ENTRIES;
        const Rgb keep = along(EMULSION, depth), add = along(toWhite ? GLOW_TO_WHITE : GLOW_TO_BLACK, depth);
        const double gone = std::clamp(depth, 0.0, 1.0), there = i < SCORCH_ENTRIES ? 1.0 : 0.0;
        const double entry[8] = {keep.r, keep.g, keep.b, there, add.r, add.g, add.b, toWhite ? gone : -gone * there};
        std::copy_n(entry, 8, table.values[i]);
    }
}

// ---- The molten picture ---------------------------------------------------------------------------------------

constexpr double SAG = 128.0 / 1920.0;  // widths of the picture that the film is drawn to the hole before it is gone
constexpr float SAG_BY_RED = 0.05F;     // of that, more where the film is red
constexpr int CHUNK = 64;               // pixels at once

struct Melt {
    const ImagelibPyramid* film;
    const ScorchTable* table;
    float right, up;  // signs: where the film is read, seen from its place
    float sag;        // pixels of this picture
};

// Pixels of one row from column x on; depth and pixels are those of the first.
void meltPixels(const Melt& melt, int x, int y, const float* depth, float* pixels, int count) {
    float heat[CHUNK], pull[CHUNK + 1], xs[CHUNK], ys[CHUNK], areas[CHUNK];
    alignas(64) float molten[4 * CHUNK];
    for (int i = 0; i < count; ++i) {
        const float before = (depth[i] + float(HALO)) * float(1.0 / HALO),
                    to = (depth[i] + float(HALO)) * float(1.0 / (1.0 + HALO));
        const float h = before > 0 ? (before < 1 ? before : 1) : 0, m = to > 0 ? (to < 1 ? to : 1) : 0;
        heat[i] = (3 - 2 * h) * h * h;
        pull[i] = ((3 - 2 * m) * m * m + SAG_BY_RED * pixels[4 * i] * heat[i]) * melt.sag;
    }
    pull[count] = pull[count - 1];
    for (int i = 0; i < count; ++i) {
        const float step = 1 + melt.right * (pull[i + 1] - pull[i]);
        areas[i] = step * step;
        xs[i] = static_cast<float>(x + i) + melt.right * pull[i];
        ys[i] = static_cast<float>(y) + melt.up * pull[i];
    }
    melt.film->sample_points(xs, ys, areas, count, molten);
    burn_kernels().scorch(*melt.table, depth, heat, molten, pixels, count);
}

void burnRow(const Melt& melt, Columns hot, int y, const float* depth, float* pixels) {
    static constexpr float COLD[CHUNK] = {};
    for (int x = hot.begin; x < hot.end; x += CHUNK) {
        const int count = std::min(CHUNK, hot.end - x);
        int warm = 0, left = 0;
        for (int i = x; i < x + count; ++i) {
            warm |= depth[i] > melt.table->first;
            left |= depth[i] < static_cast<float>(CONSUMED);
        }
        if (warm && left) {
            meltPixels(melt, x, y, depth + x, pixels + 4L * x, count);
        } else if (warm) {
            burn_kernels().scorch(*melt.table, depth + x, COLD, pixels + 4L * x, pixels + 4L * x, count);
        }
    }
}

}  // namespace

// How deep every place lies behind the rim. All is cold before the start, and nothing is left at the end.
void Burn::drawFront(const K7Image& picture, double progress) {
    const int step = frontStep(picture);
    const int columns = (picture.width - 1) / step + 2, rows = (picture.height - 1) / step + 2;
    if (!m_front || m_front->width != columns || m_front->height != rows)
        m_front = made(make_image_uncleared(columns, rows, 1, SAMPLE_F32));

    const SolidNoise noise(SEED);
    const Hole hole(picture, noise, Direction.value, progress);
    for_rows_float(rows, [&](int first, int last) {
        std::vector<float> rough(static_cast<std::size_t>(columns));
        for (int j = first; j <= last && !abortRequested(); ++j)
            hole.drawRow(noise, j * step, step, rough.data(), image_row<float>(m_front.get(), j), columns);
    });
}

void Burn::burnHole(K7Image& picture, double progress) {
    const StageTimer timer("Burn (CPU)");
    drawFront(picture, progress);
    const ImagelibPyramid film(&picture, KERNEL_BSPLINE, EDGE_MIRROR, true, true);
    made(film.valid());
    ScorchTable table;
    fillTable(table, BurnTo.value == White, FilmType.value == BlackAndWhite);
    const bool fromRight = Direction.value == BottomRight || Direction.value == TopRight;
    const bool fromTop = Direction.value == TopRight || Direction.value == TopLeft;
    const Melt melt{.film = &film,
                    .table = &table,
                    .right = fromRight ? -1.0F : 1.0F,
                    .up = fromTop ? -1.0F : 1.0F,
                    .sag = static_cast<float>(SAG * picture.width)};
    const int step = frontStep(picture);
    for_rows_float(picture.height, [&](int first, int last) {
        std::vector<float> between(m_front->width), depth(std::size_t(m_front->width) * std::size_t(step));
        for (int y = first; y <= last && !abortRequested(); ++y) {
            const Columns hot = magnifyRow(*m_front, y, step, between.data(), depth.data(), picture.width);
            burnRow(melt, hot, y, depth.data(), image_row<float>(&picture, y));
        }
    });
}

void Burn::grade(K7Image& picture) {
    const StageTimer timer("Grade (CPU)");
    const bool tinted = FilmType.value == Tinted;
    const FilmGrade how{
        .stock = FilmType.value == BlackAndWhite ? FilmGrade::BLACK_AND_WHITE
                 : tinted                        ? FilmGrade::TINTED
                                                 : FilmGrade::COLOUR,
        .gain = percent(Brightness.value),
        .lift = percent(Contrast.value),
        .factors = {percent(tinted ? Tred.value : Red.value), percent(tinted ? Tgreen.value : Green.value),
                    percent(tinted ? Tblue.value : Blue.value)},
        .saturation = percent(Colour.value)};
    const auto& table = burn_kernels();
    eachRow(picture.height, [&](int y) { table.grade(how, image_row<float>(&picture, y), picture.width); });
}

void Burn::ProcessFrame() {
    K7Image& picture = *output.image;
    const bool burns = BurnInfo::Burn.value;
    const double burning = currentFrame - Starts.value;
    if (burns && burning > Duration.value) {
        const float remains = BurnTo.value == White ? 1.0F : 0.0F;
        image_fill(&picture, remains);
        return;
    }
    grade(picture);
    if (burns && burning > 0.0) burnHole(picture, burning / std::max(Duration.value, 1));
}
