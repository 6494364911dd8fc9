#include "effects/trails/TrailPathDrawing.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "effects/trails/TrailPath.h"
#include "effects/trails/TrailPath_simd.h"
#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int BAND = 16;    // rows that a thread draws at once
constexpr int CELLS = 320;  // of the grid for glow, across the picture

// Close to 1 - exp(-light), which a film makes of light.
float shoulder(float light) { return 1.0F - 1.0F / (1.0F + light + 0.5F * light * light); }
void screen(const float* light, float* under) {
    float most = 0.0F;
    for (int c = 0; c < 3; ++c) {
        const float lit = shoulder(std::max(light[c], 0.0F));
        most = std::max(most, lit);
        under[c] += lit * std::max(1.0F - std::max(under[c], 0.0F), 0.0F);
    }
    under[3] += most * std::max(1.0F - under[3], 0.0F);
}

}  // namespace

// Which things reach which band of rows, in their order.
struct PathDrawing::Bins {
    std::vector<std::vector<std::uint32_t>> of;
    Bins(int rows, float row_height)
        : of(static_cast<std::size_t>((rows + BAND - 1) / BAND)), m_scale(1.0F / (row_height * BAND)) {}
    void add(std::size_t i, float low, float high) {
        const auto count = static_cast<float>(of.size());
        low = low * m_scale - 0.1F, high = high * m_scale + 0.1F;
        if (!(high >= 0.0F) || !(low < count)) return;
        const auto from = static_cast<std::size_t>(std::max(low, 0.0F)),
                   to = static_cast<std::size_t>(std::min(high, count - 1.0F));
        for (std::size_t band = from; band <= to; ++band) of[band].push_back(static_cast<std::uint32_t>(i));
    }

  private:
    float m_scale;
};

// Glow on a coarse grid.
struct PathDrawing::Grid {
    int width, height;
    float cell;  // pixels
    ImagePtr light;
    std::vector<int> cells;    // of each pixel of a row: the cell to its left
    std::vector<float> parts;  // and how far it is from that to the next one

    Grid(const K7Image& picture, float row_height) {
        width = std::min<int>(CELLS, picture.width);
        cell = static_cast<float>(picture.width) / static_cast<float>(width);
        const float high = static_cast<float>(picture.height) * row_height / cell;
        height = static_cast<int>(std::clamp(std::ceil(high), 1.0F, 4.0F * CELLS));
        light = made(make_image(width, height, 4, SAMPLE_F32));
        for (int x = 0; x < picture.width; ++x) {
            const float at =
                std::clamp((static_cast<float>(x) + 0.5F) / cell - 0.5F, 0.0F, static_cast<float>(width - 1));
            cells.push_back(static_cast<int>(at)), parts.push_back(at - std::floor(at));
        }
    }
    void splat(float x, float y, const float* colour, float part) const {
        const float gx = x / cell - 0.5F, gy = y / cell - 0.5F;
        if (!(gx > -1.0F && gy > -1.0F && gx < static_cast<float>(width) && gy < static_cast<float>(height))) return;
        const int left = static_cast<int>(gx + 1.0F) - 1, low = static_cast<int>(gy + 1.0F) - 1;
        const float fx = gx - static_cast<float>(left), fy = gy - static_cast<float>(low);
        for (int j = 0; j < 2; ++j)
            for (int i = 0; i < 2; ++i) {
                if (left + i < 0 || left + i >= width || low + j < 0 || low + j >= height) continue;
                const float weight = part * (i ? fx : 1.0F - fx) * (j ? fy : 1.0F - fy);
                float* out = image_row<float>(light.get(), low + j) + 4 * (left + i);
                for (int c = 0; c < 3; ++c) out[c] += weight * colour[c];
            }
    }
    // The light that a stroke throws: as bright beside a narrow stroke as beside a wide one.
    void gather(const StrokeLine& line, const BrushLook& look, const BrushGlow& glow) const {
        for (std::size_t i = 0; i + 1 < line.vertices.size(); ++i) {
            const StrokeVertex &a = line.vertices[i], &b = line.vertices[i + 1];
            const float s = 0.5F * (a.s + b.s), there = look.present(s) * look.opacity * 0.5F * (a.size + b.size);
            if (!(there > 0.0F)) continue;
            float tint[3];
            look.colour_at(s, tint);
            const float way = std::sqrt((b.x - a.x) * (b.x - a.x) + (b.y - a.y) * (b.y - a.y)) / cell;
            const int pieces = std::clamp(static_cast<int>(2.0F * way) + 1, 1, 64);
            for (int k = 0; k < pieces; ++k) {
                const float t = (static_cast<float>(k) + 0.5F) / static_cast<float>(pieces);
                splat(a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), tint, there * way / static_cast<float>(pieces));
            }
        }
        const ImagePtr wide = made(ImagePtr(image_duplicate(light.get())));
        const float radius = std::min(glow.radius / cell, static_cast<float>(width));
        const float near = std::max(0.25F * radius, 0.5F);
        made(image_gaussian_blur(light.get(), near, near, -1));
        made(image_gaussian_blur(wide.get(), radius, radius, -1));
        const float strength = glow.strength * look.brightness;
        for (int y = 0; y < height; ++y) {
            float* to = image_row<float>(light.get(), y);
            const float* far = image_row<float>(wide.get(), y);
            for (int i = 0; i < 4 * width; ++i)
                to[i] = strength * (0.9F * near * std::max(to[i], 0.0F) + 0.8F * radius * std::max(far[i], 0.0F));
        }
    }
};

struct PathDrawing::Band {
    StrokeBand strokes;
    int index = 0, from = 0, to = -1;
    std::vector<float> light;    // of sparks: four numbers a pixel
    std::vector<float> upright;  // a line of the grid, with its last cell twice
    bool sparked = false;

    Band(int width, float row_height) : strokes(width, BAND, row_height) {}
};

PathDrawing::PathDrawing(K7Image& picture, const BrushLook& look, StopRequested stop)
    : m_picture(picture), m_look(look), m_stop(std::move(stop)), m_row_height(1.0F / picture.pixel_aspect) {}

void PathDrawing::put(const BrushPixel& pixel, float* under) const {
    const float cover = pixel.cover;
    if (cover > 0.0F) {
        if (m_look.blend == TrailPathInfo::Ink)
            for (int c = 0; c < 3; ++c) under[c] *= 1.0F - cover * (1.0F - std::min(pixel.paint[c], 1.0F));
        else
            for (int c = 0; c < 3; ++c) under[c] += cover * (pixel.paint[c] - under[c]);
        under[3] += cover * (1.0F - under[3]);
    }
    if (pixel.light[0] > 0.0F || pixel.light[1] > 0.0F || pixel.light[2] > 0.0F) screen(pixel.light, under);
}

// ---- Stamps ---------------------------------------------------------------------------------------------------

void PathDrawing::stampRows(const Band& band) const {
    const ImagelibPyramid& clip = *m_stamps->picture;
    const auto wide = static_cast<float>(clip.width), high = static_cast<float>(clip.height);
    std::vector<float> xs, ys, areas, samples;
    std::vector<int> columns;
    for (const std::uint32_t i : m_prints->of[static_cast<std::size_t>(band.index)]) {
        const BrushStamp& stamp = m_stamps->places[i];
        if (m_stop()) return;
        const float scale = high * m_row_height / (2.0F * stamp.half);  // clip pixels in a pixel
        const float reach_x = 0.5F * wide / scale + 1.0F, reach_y = stamp.half + 1.0F;
        const float there = m_look.opacity * m_look.present(stamp.s),
                    radius = std::sqrt(reach_x * reach_x + reach_y * reach_y);
        float tint[3];
        m_look.colour_at(stamp.s, tint);
        for (int y = band.from; y <= band.to; ++y) {
            const float dy = (static_cast<float>(y) + 0.5F) * m_row_height - stamp.y;
            if (std::fabs(dy) > radius) continue;
            const float limit = static_cast<float>(m_picture.width - 1);
            const int first = static_cast<int>(std::clamp(stamp.x - radius, 0.0F, limit)),
                      last = static_cast<int>(std::clamp(stamp.x + radius, 0.0F, limit));
            xs.clear(), ys.clear(), columns.clear();
            for (int x = first; x <= last; ++x) {
                const float dx = static_cast<float>(x) + 0.5F - stamp.x;
                const float along = dx * stamp.ux + dy * stamp.uy, across = dy * stamp.ux - dx * stamp.uy;
                if (std::fabs(along) > reach_x || std::fabs(across) > reach_y) continue;
                columns.push_back(x);
                xs.push_back(0.5F * (wide - 1.0F) + along * scale);
                ys.push_back(0.5F * (high - 1.0F) + across * scale / m_row_height);
            }
            if (columns.empty()) continue;
            areas.assign(columns.size(), std::max(scale * scale / m_row_height, 1.0F));
            samples.resize(4 * columns.size());
            clip.sample_points(xs.data(), ys.data(), areas.data(), static_cast<int>(columns.size()), samples.data());
            float* row = image_row<float>(&m_picture, y);
            for (std::size_t k = 0; k < columns.size(); ++k) {
                const float *sample = &samples[4 * k], shape = std::clamp(sample[3], 0.0F, 1.0F);
                if (!(shape > 1e-5F)) continue;
                BrushPixel pixel;
                for (int c = 0; c < 3; ++c)
                    pixel.paint[c] = m_stamps->own_colours ? std::max(sample[c], 0.0F) / shape : tint[c];
                if (m_look.blend == TrailPathInfo::Light)
                    for (int c = 0; c < 3; ++c)
                        pixel.light[c] = 1.6F * m_look.brightness * there * shape * pixel.paint[c];
                else
                    pixel.cover = there * shape;
                put(pixel, row + 4L * columns[k]);
            }
        }
    }
}

// ---- Light ----------------------------------------------------------------------------------------------------

void PathDrawing::lightRows(Band& band) const {
    const auto width = static_cast<std::size_t>(m_picture.width);
    const std::vector<std::uint32_t>& order = m_flying->of[static_cast<std::size_t>(band.index)];
    band.sparked = !order.empty();
    if (band.sparked) band.light.assign(4 * width * BAND, 0.0F);
    for (const std::uint32_t i : order) {
        const SparkLine& s = (*m_sparks)[i];
        const float wx = s.bx - s.ax, wy = s.by - s.ay, length = std::max(std::sqrt(wx * wx + wy * wy), 1e-3F);
        const float ux = wx / length, uy = wy / length, inverse = 1.0F / s.radius;
        for (int y = band.from; y <= band.to; ++y) {
            const float py = (static_cast<float>(y) + 0.5F) * m_row_height - s.ay;
            if (py < std::min(wy, 0.0F) - s.radius || py > std::max(wy, 0.0F) + s.radius) continue;
            // Where the row meets the line, and as far to both sides as that is thick.
            float low = std::min(wx, 0.0F), high = std::max(wx, 0.0F);
            if (std::fabs(uy) > 1e-3F) {
                const float at = py * ux / uy, half = s.radius / std::fabs(uy);
                low = std::max(low, at - half), high = std::min(high, at + half);
            }
            const float limit = static_cast<float>(m_picture.width - 1);
            const int first = static_cast<int>(std::clamp(std::ceil(s.ax + low - s.radius - 0.5F), 0.0F, limit + 1.0F)),
                      last = static_cast<int>(std::clamp(std::floor(s.ax + high + s.radius - 0.5F), -1.0F, limit));
            float* out = &band.light[4 * (width * static_cast<std::size_t>(y - band.from))];
            for (int x = first; x <= last; ++x) {
                const float px = static_cast<float>(x) + 0.5F - s.ax;
                const float u = px * ux + py * uy, v = std::fabs(py * ux - px * uy) * inverse;
                const float along = std::clamp(1.0F - u / length, 0.0F, 1.0F),
                            ends = u < 0.0F ? 1.0F + u * inverse : 1.0F;
                if (v >= 1.0F || ends <= 0.0F) continue;
                const float weight = (1.0F - v) * ends * along * (0.35F + 0.65F * along);
                for (int c = 0; c < 3; ++c) out[4 * x + c] += weight * s.light[c];
            }
        }
    }
    if (!band.sparked && !m_glow) return;
    for (int y = band.from; y <= band.to; ++y) {
        float* row = image_row<float>(&m_picture, y);
        const float* sparks = band.sparked ? &band.light[4 * width * static_cast<std::size_t>(y - band.from)] : nullptr;
        const float* line = nullptr;
        if (m_glow) {
            const float at = std::clamp((static_cast<float>(y) + 0.5F) * m_row_height / m_glow->cell - 0.5F, 0.0F,
                                        static_cast<float>(m_glow->height - 1));
            const int low = static_cast<int>(at), high = std::min(low + 1, m_glow->height - 1);
            const float part = at - static_cast<float>(low);
            const float *below = image_row<float>(m_glow->light.get(), low),
                        *above = image_row<float>(m_glow->light.get(), high);
            const auto cells = static_cast<std::size_t>(4 * m_glow->width);
            band.upright.resize(cells + 4);
            float most = 0.0F;
            for (std::size_t i = 0; i < cells; ++i) {
                band.upright[i] = below[i] + part * (above[i] - below[i]);
                most = std::max(most, band.upright[i]);
            }
            for (std::size_t i = 0; i < 4; ++i) band.upright[cells + i] = band.upright[cells + i - 4];
            if (most > 1e-4F) line = band.upright.data();
        }
        if (!line && !sparks) continue;
        path_kernels().light({line, m_glow ? m_glow->cells.data() : nullptr, m_glow ? m_glow->parts.data() : nullptr,
                              sparks, row, m_picture.width});
    }
}

// ---- All ------------------------------------------------------------------------------------------------------

void PathDrawing::drawBand(int band, Band& scratch) const {
    scratch.index = band, scratch.from = band * BAND;
    scratch.to = std::min(scratch.from + BAND, static_cast<int>(m_picture.height)) - 1;
    const auto finish = [&](int x, int y, const StrokeHit& hit) {
        const float px = static_cast<float>(x) + 0.5F, py = (static_cast<float>(y) + 0.5F) * m_row_height;
        put(m_look.pixel(hit, px, py), image_row<float>(&m_picture, y) + 4L * x);
    };
    const std::vector<std::uint32_t>& pieces = m_pieces->of[static_cast<std::size_t>(band)];
    if (!pieces.empty()) {
        scratch.strokes.begin(scratch.from, scratch.to);
        for (const std::uint32_t i : pieces) scratch.strokes.sweep(*m_line, i, finish);
        scratch.strokes.end(finish);
    }
    if (!m_stamps->places.empty()) stampRows(scratch);
    lightRows(scratch);
}

void PathDrawing::draw(const StrokeLine& line, const BrushStamps& stamps, const std::vector<SparkLine>& sparks,
                       const BrushGlow& glow) {
    Bins pieces(m_picture.height, m_row_height), prints = pieces, flying = pieces;
    if (stamps.places.empty())
        for (std::size_t i = 0; i + 1 < line.vertices.size(); ++i) {
            const StrokeVertex &a = line.vertices[i], &b = line.vertices[i + 1];
            const float reach = line.brush.reach * std::max(a.size, b.size) + 2.0F;
            pieces.add(i, std::min(a.y, b.y) - reach, std::max(a.y, b.y) + reach);
        }
    const auto shape = [&](const BrushStamp& stamp) {
        const float scale = static_cast<float>(stamps.picture->height) * m_row_height / (2.0F * stamp.half);
        return 0.5F * static_cast<float>(stamps.picture->width) / scale + stamp.half + 3.0F;
    };
    for (std::size_t i = 0; i < stamps.places.size(); ++i)
        prints.add(i, stamps.places[i].y - shape(stamps.places[i]), stamps.places[i].y + shape(stamps.places[i]));
    for (std::size_t i = 0; i < sparks.size(); ++i)
        flying.add(i, std::min(sparks[i].ay, sparks[i].by) - sparks[i].radius,
                   std::max(sparks[i].ay, sparks[i].by) + sparks[i].radius);
    std::unique_ptr<Grid> grid;
    if (glow.strength > 0.0F) {
        grid = std::make_unique<Grid>(m_picture, m_row_height);
        grid->gather(line, m_look, glow);
    }
    m_line = &line, m_stamps = &stamps, m_sparks = &sparks, m_glow = grid.get();
    m_pieces = &pieces, m_prints = &prints, m_flying = &flying;
    for_rows_float(static_cast<int>(pieces.of.size()), [&](int first, int last) {
        if (first > last) return;
        Band scratch(m_picture.width, m_row_height);
        for (int band = first; band <= last && !m_stop(); ++band) drawBand(band, scratch);
    });
}
