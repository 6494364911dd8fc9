#include "effects/sky/AuroraMap.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float PI = 3.14159265F;
constexpr float ROW_PIXELS = 1.1F;  // of the picture, for a row of the map where pixels are finest
constexpr int MOST_ROWS = 4096;
constexpr int MOST_TEXELS = 2400000;
constexpr float LOWEST_SLOPE = 0.012F, STEEPEST_SLOPE = 60.0F;  // of lines of sight that see anything
constexpr int BAND = 16;                                        // rows
constexpr int COARSE_ROWS = 8, COARSE_COLUMNS = AURORA_COARSE;  // of the map, in a texel of the glow's
constexpr int MOST_LEVELS = 9;
constexpr float ROWS_A_PIXEL = 1.7F;                   // up to so many need no halved tables
constexpr float LEAST_ROWS = 0.01F;                    // of a segment: keeps its squares apart
constexpr float NEAR_GLOW = 0.012F, FAR_GLOW = 0.08F;  // radians
constexpr float LEVEL_AND_STEEP = 0.4F;                // sine times cosine of the elevations that matter

int step_of(float logarithm) { return static_cast<int>(std::floor(logarithm / AURORA_STEP)); }

}  // namespace

AuroraMap::AuroraMap(const AuroraCamera& camera, const AuroraFrame& frame, const AuroraAir& air)
    : m_camera(camera), m_frame(frame), m_air(air) {
    choose_view(frame);
    make_profiles(air.height);
    make_air(air.haze);
}

// ---- What is seen ---------------------------------------------------------------------------------------------

// The part of the sky that is in the picture. Around its border the azimuth makes a whole turn where verticals meet
// inside.
void AuroraMap::choose_view(const AuroraFrame& frame) {
    constexpr int SIDE = 48;
    float low = 0, high = 0, turned = 0, last = 0, flattest = STEEPEST_SLOPE, steepest = LOWEST_SLOPE, widest = 1e-3F;
    m_least_level = 1e6F;
    const auto sight = [&](int i, int j) {
        return m_camera.sight(
            {static_cast<float>(i) / SIDE - 0.5F, (static_cast<float>(j) / SIDE - 0.5F) * frame.tallness});
    };
    for (int j = 0; j <= SIDE; ++j)
        for (int i = 0; i <= SIDE; ++i) {
            const AuroraCamera::Sight line = sight(i, j);
            const float level = std::sqrt(line.ahead * line.ahead + line.side * line.side);
            const float slope = line.up / std::max(level, 1e-6F);
            flattest = std::min(flattest, slope), steepest = std::max(steepest, slope);
            widest = std::max(widest, level), m_least_level = std::min(m_least_level, level);
        }
    for (int n = 0; n <= 4 * SIDE; ++n) {
        const int k = n % SIDE, side = n / SIDE % 4;
        const int across[] = {k, SIDE, SIDE - k, 0}, up[] = {0, k, SIDE, SIDE - k};
        const AuroraCamera::Sight line = sight(across[side], up[side]);
        const float azimuth = k7_atan2(line.side, line.ahead);
        if (n == 0) low = high = turned = last = azimuth;
        float change = azimuth - last;
        change -= 2 * PI * std::floor(change / (2 * PI) + 0.5F);
        turned += change, last = azimuth;
        low = std::min(low, turned), high = std::max(high, turned);
    }
    m_circle = high - low > 1.6F * PI;
    if (m_circle) m_least_level = std::min(m_least_level, 1e-3F), low = -PI, high = PI, steepest = STEEPEST_SLOPE;
    flattest = std::clamp(flattest, LOWEST_SLOPE, STEEPEST_SLOPE);
    steepest = std::clamp(steepest, flattest, STEEPEST_SLOPE);
    m_lowest = step_of(k7_log(flattest)) - 1;
    m_columns = step_of(k7_log(steepest)) + 3 - m_lowest;
    const float finest = ROW_PIXELS / (static_cast<float>(frame.width) * widest);
    const float wanted = std::clamp((high - low) / finest, 8.0F,
                                    std::min<float>(MOST_ROWS, static_cast<float>(MOST_TEXELS / m_columns)));
    m_rows = static_cast<int>(wanted);
    m_row_angle = (high - low) / static_cast<float>(m_circle ? m_rows : m_rows - 1);
    m_first_azimuth = low;
}

// ---- Light by height ------------------------------------------------------------------------------------------

// Heights are those of photographic triangulation (C. Stormer, "The Polar Aurora", 1955) and of computed emissions
// (M. H. Rees, "Auroral ionization and excitation by incident energetic electrons", Planetary and Space Science 11,
// 1963), over a lower border at 100 km. Below, light ends as a layer does that the air absorbs (S. Chapman, 1931), as
// exp(-exp(-z)); above it falls off by a scale height:
// - atomic oxygen's green line, 557.7 nm, brightest at 105 to 115 km; in rays up to 250 km and more;
// - atomic oxygen's red line, 630.0 nm, above 200 km: farther down collisions quench it;
// - molecular nitrogen, ionised at 427.8 nm and neutral from 600 nm on, a violet to pink border below the green.
void AuroraMap::make_profiles(float height) {
    struct Layer {
        float border, softness;  // of the lower side
        float scale;             // of the upper side
        float gain;
    };
    const Layer layers[AURORA_LIGHTS] = {{1.03F, 0.02F, 0.16F * height, 1.25F},
                                         {1.04F, 0.035F, 0.5F * height, 0.7F},
                                         {1.0F + 0.8F * height, 0.25F * height, 0.6F * height, 0.7F},
                                         {0.962F, 0.012F, 0.035F, 1.2F}};
    for (int light = 0; light < AURORA_LIGHTS; ++light) {
        const Layer& layer = layers[light];
        const float bottom = std::max(layer.border - 3.0F * layer.softness, 0.5F);
        const float top = layer.border + 5.5F * layer.scale;
        const int lowest = step_of(k7_log(bottom)), count = step_of(k7_log(top)) + 1 - lowest;
        std::vector<float>& values = m_profile_values[light];
        values.resize(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            const float h = k7_exp(static_cast<float>(lowest + i) * AURORA_STEP);
            const float rise = k7_exp(-k7_exp(-(h - layer.border) / layer.softness));
            const float fall = k7_exp(-std::max(h - layer.border, 0.0F) / layer.scale);
            values[std::size_t(i)] = layer.gain * rise * fall * smooth_step(h, top, bottom + 0.6F * (top - bottom));
        }
        m_profiles[light] = {values.data(), lowest, count};
    }
}

void AuroraMap::make_air(float haze) {
    m_through.resize(static_cast<std::size_t>(m_columns));
    for (int j = 0; j < m_columns; ++j) {
        const float slope = k7_exp(static_cast<float>(m_lowest + j) * AURORA_STEP);
        const float slant = std::sqrt(1.0F + slope * slope), sine = slope / slant;
        m_through[std::size_t(j)] = std::min(slant, 1.8F) * k7_exp(-haze * (1.0F / (sine + 0.03F) - 0.97F)) *
                                    smooth_step(slope, LOWEST_SLOPE, 5 * LOWEST_SLOPE);
    }
}

// ---- Curtains -------------------------------------------------------------------------------------------------

void AuroraMap::add_segment(const AuroraStrand& a, const AuroraStrand& b) {
    float change = b.azimuth - a.azimuth;
    change -= 2 * PI * std::floor(change / (2 * PI) + 0.5F);
    const float from = (a.azimuth - m_first_azimuth) / m_row_angle, to = from + change / m_row_angle;
    const auto rows = static_cast<float>(m_rows);
    const float half =
        std::clamp(0.5F * m_air.thickness / (a.distance * m_row_angle), 0.5F, 0.25F * std::max(rows, 2.0F));
    Segment segment{std::min(from, to), std::max(from, to), half, 0, {}};
    segment.to = std::clamp(segment.to, segment.from + LEAST_ROWS, segment.from + 0.5F * rows);
    segment.u = (0.5F * (a.log_distance + b.log_distance) - a.lift) / AURORA_STEP;
    // So much of the way of the lines of sight lies in the curtain, times rows.
    const float amount = m_air.brightness * a.length / (a.distance * m_row_angle);
    for (int i = 0; i < AURORA_LIGHTS; ++i) segment.light[i] = amount * a.light[i];
    for (const float shift : {-rows, 0.0F, rows}) {
        if (!m_circle && shift != 0) continue;
        Segment shifted = segment;
        shifted.from += shift, shifted.to += shift;
        if (shifted.to + half > -0.5F && shifted.from - half < rows - 0.5F) m_segments.push_back(shifted);
    }
}

void AuroraMap::collect(const std::vector<AuroraStrand>& strands) {
    constexpr std::size_t run = AuroraCurtains::BLOCK + 1;
    m_segments.clear();
    for (std::size_t i = 0; i < strands.size(); i += run)
        for (std::size_t k = i; k + 1 < i + run; ++k) add_segment(strands[k], strands[k + 1]);
    float low = 1e6F, high = -1e6F;
    for (const Segment& segment : m_segments) low = std::min(low, segment.u), high = std::max(high, segment.u);
    m_nearest = m_segments.empty() ? 0 : static_cast<int>(std::floor(low));
    m_cells = m_segments.empty() ? 0 : static_cast<int>(std::floor(high)) + 2 - m_nearest;
}

// Lists of segments by the bands of rows that they touch, each in the order of the segments.
void AuroraMap::sort_bands() {
    const int bands = (m_rows + BAND - 1) / BAND;
    const auto band_of = [&](float row) {
        return std::clamp(static_cast<int>(std::max(row + 0.5F, 0.0F)) / BAND, 0, bands - 1);
    };
    const auto first_band = [&](const Segment& segment) { return band_of(segment.from - segment.half); };
    const auto last_band = [&](const Segment& segment) { return band_of(segment.to + segment.half); };
    m_band_starts.assign(std::size_t(bands) + 1, 0);
    for (const Segment& segment : m_segments)
        for (int band = first_band(segment); band <= last_band(segment); ++band) ++m_band_starts[std::size_t(band) + 1];
    for (std::size_t band = 0; band < std::size_t(bands); ++band) m_band_starts[band + 1] += m_band_starts[band];
    std::vector<int> next(m_band_starts.begin(), m_band_starts.end() - 1);
    m_band_items.resize(static_cast<std::size_t>(m_band_starts.back()));
    for (std::size_t i = 0; i < m_segments.size(); ++i)
        for (int band = first_band(m_segments[i]); band <= last_band(m_segments[i]); ++band)
            m_band_items[static_cast<std::size_t>(next[std::size_t(band)]++)] = static_cast<int>(i);
}

// Rows `first` and the BAND - 1 after it. A segment's light is even along it, and then spread evenly over the
// thickness: so segments that follow each other join without a seam.
void AuroraMap::add_cells(const Segment& segment, int first, float* cells) const {
    const float low = segment.from - segment.half, high = segment.to + segment.half;
    const int from = std::max(static_cast<int>(std::floor(low + 0.5F)), first);
    const int to = std::min(static_cast<int>(std::floor(high + 0.5F)), first + BAND - 1);
    const float at = segment.u - static_cast<float>(m_nearest);
    const int cell = static_cast<int>(at);
    const float second = at - static_cast<float>(cell);
    const float length = segment.to - segment.from, scale = 0.25F / (segment.half * length);
    // The part of the light below a row's edge: two spreads of an even one make squares.
    const auto below = [&](float row) {
        const auto square = [](float x) { return x > 0 ? x * x : 0.0F; };
        const float x = std::min(row, high) - low, wide = 2 * segment.half;
        return scale * (square(x) - square(x - wide) - square(x - length) + square(x - wide - length));
    };
    float before = below(static_cast<float>(from) - 0.5F);
    for (int row = from; row <= to; ++row) {
        const float after = below(static_cast<float>(row) + 0.5F), inside = std::max(after - before, 0.0F);
        before = after;
        float* to_cell = cells + (long(row - first) * m_cells + cell) * AURORA_LIGHTS;
        for (int i = 0; i < AURORA_LIGHTS; ++i) {
            const float light = inside * segment.light[i];
            to_cell[i] += (1.0F - second) * light, to_cell[AURORA_LIGHTS + i] += second * light;
        }
    }
}

void AuroraMap::fill_band(int band, std::vector<float>& cells, std::vector<float>& planes) {
    const AuroraKernels& kernels = aurora_kernels();
    const int first = band * BAND, end = std::min(first + BAND, m_rows);
    std::fill(cells.begin(), cells.end(), 0.0F);
    for (int i = m_band_starts[std::size_t(band)]; i < m_band_starts[std::size_t(band) + 1]; ++i)
        add_cells(m_segments[std::size_t(m_band_items[std::size_t(i)])], first, cells.data());
    float* plane[AURORA_PLANES];
    for (int i = 0; i < AURORA_PLANES; ++i) plane[i] = planes.data() + long(i) * m_columns;
    const int coarse_columns = (m_columns + COARSE_COLUMNS - 1) / COARSE_COLUMNS;
    for (int row = first; row < end; ++row) {
        std::fill(planes.begin(), planes.end(), 0.0F);
        kernels.add_cells(m_profiles, cells.data() + long(row - first) * m_cells * AURORA_LIGHTS, m_cells, m_nearest,
                          plane, m_lowest, m_columns);
        float* to = texels(row);
        kernels.colour(plane, m_air.colours, m_through.data(), to, m_columns);
        float* coarse = m_coarse.data() + 4L * (row / COARSE_ROWS) * coarse_columns;
        const int rows_there = std::min(COARSE_ROWS, m_rows - row / COARSE_ROWS * COARSE_ROWS);
        for (int j = 0; j < m_columns; ++j) {
            const int k = j / COARSE_COLUMNS;
            const float part =
                1.0F / static_cast<float>(rows_there * std::min(COARSE_COLUMNS, m_columns - k * COARSE_COLUMNS));
            for (int c = 0; c < 4; ++c) coarse[4 * k + c] += part * to[4 * j + c];
        }
    }
}

// ---- Glow -----------------------------------------------------------------------------------------------------

// The light of the coarse map, spread closely and widely, with `pad` rows more at both ends.
ImagePtr AuroraMap::make_glow(int pad) const {
    const int columns = (m_columns + COARSE_COLUMNS - 1) / COARSE_COLUMNS;
    const int rows = (m_rows + COARSE_ROWS - 1) / COARSE_ROWS;
    ImagePtr glows[2];
    const float angles[2] = {NEAR_GLOW, FAR_GLOW};
    for (int n = 0; n < 2; ++n) {
        glows[n] = made(make_image_uncleared(columns + 2, rows + 2 * pad, 4, SAMPLE_F32));
        for (int y = 0; y < rows + 2 * pad; ++y) {
            const int from = m_circle ? (y - pad + rows) % rows : std::clamp(y - pad, 0, rows - 1);
            float* to = image_row<float>(glows[n].get(), y);
            for (int x = 0; x < columns + 2; ++x)
                std::copy_n(m_coarse.data() + 4L * (long(from) * columns + std::clamp(x - 1, 0, columns - 1)), 4,
                            to + 4L * x);
        }
        made(image_gaussian_blur(glows[n].get(), angles[n] / (AURORA_STEP * LEVEL_AND_STEEP * COARSE_COLUMNS),
                                 angles[n] / (m_row_angle * COARSE_ROWS), -1));
    }
    for (int y = 0; y < rows + 2 * pad; ++y) {
        float* sum = image_row<float>(glows[0].get(), y);
        const float* wide = image_row<float>(glows[1].get(), y);
        for (int i = 0; i < 4 * (columns + 2); ++i) sum[i] = m_air.near_glow * sum[i] + m_air.far_glow * wide[i];
    }
    return std::move(glows[0]);
}

bool AuroraMap::add_glow(const StopRequested& stop) {
    const int rows = (m_rows + COARSE_ROWS - 1) / COARSE_ROWS, pad = m_circle ? std::min(rows, 1 + rows / 4) : 1;
    const ImagePtr glow = make_glow(pad);
    const AuroraKernels& kernels = aurora_kernels();
    for_rows_float(m_rows, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> line(4 * static_cast<std::size_t>(glow->width) + 4 * 64);  // read beyond its end
        for (int row = first; row <= last && !wants_end(stop); ++row) {
            const float at = (static_cast<float>(row) + 0.5F) / COARSE_ROWS - 0.5F + static_cast<float>(pad);
            const int y = static_cast<int>(at);
            const float part = at - static_cast<float>(y);
            const float *a = image_row<float>(glow.get(), y), *b = image_row<float>(glow.get(), y + 1);
            for (int i = 0; i < 4 * glow->width; ++i) line[std::size_t(i)] = a[i] + part * (b[i] - a[i]);
            kernels.develop(line.data(), texels(row), m_columns);
        }
    });
    return !wants_end(stop);
}

// ---- The table ------------------------------------------------------------------------------------------------

// Where verticals draw together, tables of fewer azimuths, so that rays do not flicker there.
void AuroraMap::make_levels() {
    m_tables.clear(), m_halved.clear();
    const auto add_table = [this](ImagePtr& image, int rows) {
        m_tables.push_back({image_row<float>(image.get(), 0), image->row_bytes / long{sizeof(float)}, rows, m_columns});
    };
    const int seam = m_circle ? 1 : 0;  // the first row again, behind the last
    int rows = m_rows;
    if (m_circle) std::copy_n(texels(0), 4L * m_columns, texels(m_rows));
    add_table(m_texels, rows + seam);
    float fine = row(0).fine / m_least_level;
    for (; fine > 1.0F && rows >= 8 && m_tables.size() < MOST_LEVELS; fine *= 0.5F) {
        const K7Image& above = m_halved.empty() ? *m_texels : *m_halved.back();
        rows /= 2;
        ImagePtr half = made(make_image_uncleared(m_columns, rows + seam, 4, SAMPLE_F32));
        each_row_float(rows, [&](int y) {
            const float *a = image_row<float>(&above, 2 * y), *b = image_row<float>(&above, 2 * y + 1);
            float* to = image_row<float>(half.get(), y);
            for (int i = 0; i < 4 * m_columns; ++i) to[i] = 0.5F * (a[i] + b[i]);
        });
        if (m_circle) std::copy_n(image_row<float>(half.get(), 0), 4L * m_columns, image_row<float>(half.get(), rows));
        m_halved.push_back(std::move(half));
        add_table(m_halved.back(), rows + seam);
    }
}

bool AuroraMap::fill(const std::vector<AuroraStrand>& strands, const StopRequested& stop) {
    collect(strands);
    sort_bands();
    m_texels = made(make_image_uncleared(m_columns, m_rows + 1, 4, SAMPLE_F32));
    const int coarse_columns = (m_columns + COARSE_COLUMNS - 1) / COARSE_COLUMNS;
    m_coarse.assign(4 * std::size_t((m_rows + COARSE_ROWS - 1) / COARSE_ROWS) * std::size_t(coarse_columns), 0.0F);
    for_rows_float((m_rows + BAND - 1) / BAND, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> cells(std::size_t(BAND) * std::size_t(m_cells) * AURORA_LIGHTS);
        std::vector<float> planes(AURORA_PLANES * std::size_t(m_columns));
        for (int band = first; band <= last && !wants_end(stop); ++band) fill_band(band, cells, planes);
    });
    if (wants_end(stop) || !add_glow(stop)) return false;
    double sums[4] = {};
    for (std::size_t i = 0; i < m_coarse.size(); ++i) sums[i % 4] += double(m_coarse[i]);
    for (int c = 0; c < 3; ++c) m_mean[c] = static_cast<float>(4.0 * sums[c] / double(m_coarse.size()));
    make_levels();
    return true;
}

AuroraPixels AuroraMap::row(int y) const {
    const auto width = static_cast<float>(m_frame.width);
    const float up = ((static_cast<float>(y) + 0.5F) / static_cast<float>(m_frame.height) - 0.5F) * m_frame.tallness;
    const AuroraCamera::Sight first = m_camera.sight({0.5F / width - 0.5F, up}), last = m_camera.sight({0.5F, up});
    const float parts = 1.0F / (width - 0.5F);
    AuroraPixels pixels{};
    pixels.up = first.up, pixels.ahead = first.ahead, pixels.side = first.side;
    pixels.up_step = (last.up - first.up) * parts;
    pixels.ahead_step = (last.ahead - first.ahead) * parts;
    pixels.side_step = (last.side - first.side) * parts;
    pixels.first_azimuth = m_first_azimuth;
    pixels.rows_a_radian = 1.0F / m_row_angle;
    pixels.lowest = static_cast<float>(m_lowest) * AURORA_STEP;
    pixels.fine = 1.0F / (width * m_row_angle * ROWS_A_PIXEL);
    pixels.levels = static_cast<int>(m_tables.size());
    pixels.tables = m_tables.data();
    return pixels;
}
