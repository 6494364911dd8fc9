#include "effects/abstract/Stones.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_structure.h"
#include "imagelib/imagelib_voronoi.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace {

constexpr int ROUNDS = 8;                          // of Lloyd's method
constexpr float FILL = 1.3f;                       // how much larger than its place a stone may be, to fill gaps
constexpr float FLAT = 0.1f;                       // levels a stone: edges that are weaker hardly turn stones
constexpr float CLEAR = 0.45f;                     // levels a stone: edges that push stones aside
constexpr float FINE = 0.25f;                      // stones: radius of the blur before edges are looked for
constexpr float AVOIDED = 0.8f;                    // how much less the middle of a stone likes a sharp edge
constexpr float FAINT = 0.03f;                     // of directions, against those of a sharp edge itself
constexpr double THIRD_ROOT = 1.0745699318235418;  // of two over the root of three: hexagons as large as squares

enum Chance : std::uint32_t { MOVE_X = 1, MOVE_Y, TURN, EDGE_TURN, EDGE_INSET };

float spread(std::uint32_t id, std::uint32_t kind) { return 2 * stone_chance(id, kind) - 1; }

bool is_round(StonePattern pattern) { return pattern == STONES_IRREGULAR || pattern == STONES_HEXAGON; }

// ---- The pattern --------------------------------------------------------------------------------------------------

struct Site {
    float x, y, ux, uy;
    float anchor_x, anchor_y;
    std::uint32_t id;
};

// Rows of sites `across` apart, `up` above each other, every other row shifted by `shift` of `across`.
struct Lattice {
    double across, up, shift;
};
Lattice lattice_of(const StoneShape& shape) {
    const double size = double(shape.size);
    switch (shape.pattern) {
        case STONES_BRICK:
            return {size * 2, size, 0.5};
        case STONES_HEXAGON:
            return {size * THIRD_ROOT, size / THIRD_ROOT, 0.5};
        case STONES_SCALE:
            return {size * 1.4, size * 0.7, 0.5};
        default:
            return {size, size, 0.0};
    }
}

std::vector<Site> regular_sites(const StoneShape& shape, float margin) {
    const Lattice lattice = lattice_of(shape);
    const K7SineCosine turn = k7_sine_cosine(double(shape.angle));
    const double half_x = 0.5 * shape.width + double(margin),
                 half_y = 0.5 * shape.height / double(shape.pixel_aspect) + double(margin);
    const double reach_x = half_x * std::fabs(turn.cosine) + half_y * std::fabs(turn.sine);
    const double reach_y = half_x * std::fabs(turn.sine) + half_y * std::fabs(turn.cosine);
    const int rows = static_cast<int>(reach_y / lattice.up) + 1,
              columns = static_cast<int>(reach_x / lattice.across) + 2;
    std::vector<Site> sites;
    for (int j = -rows; j <= rows; ++j)
        for (int i = -columns; i <= columns; ++i) {
            const double u = (i + (j & 1 ? lattice.shift : 0.0)) * lattice.across, v = j * lattice.up;
            const double x = u * turn.cosine - v * turn.sine, y = u * turn.sine + v * turn.cosine;
            if (std::fabs(x) > half_x || std::fabs(y) > half_y) continue;
            Site site{};
            site.x = site.anchor_x = static_cast<float>(x + 0.5 * shape.width);
            site.y = site.anchor_y = static_cast<float>(y + 0.5 * shape.height / double(shape.pixel_aspect));
            site.ux = static_cast<float>(turn.cosine), site.uy = static_cast<float>(turn.sine);
            site.id = place_hash(place_hash(shape.seed, static_cast<std::uint32_t>(i)), static_cast<std::uint32_t>(j));
            sites.push_back(site);
        }
    return sites;
}

// ---- Following the picture ----------------------------------------------------------------------------------------

// The direction at a place: the field's, mixed with the pattern's own where there is little of it.
struct Compass {
    const EdgeField& field;
    float own_x, own_y;  // the pattern's, fourfold
    float aspect;

    void turn(float x, float y, float& ux, float& uy) const {
        const float fx = std::clamp(x * field.scale - 0.5f, 0.0f, static_cast<float>(field.fourfold->width - 1));
        const float fy =
            std::clamp(y * aspect * field.scale - 0.5f, 0.0f, static_cast<float>(field.fourfold->height - 1));
        const int x0 = static_cast<int>(fx), y0 = static_cast<int>(fy);
        const int x1 = std::min(x0 + 1, field.fourfold->width - 1), y1 = std::min(y0 + 1, field.fourfold->height - 1);
        const float across = fx - static_cast<float>(x0), up = fy - static_cast<float>(y0);
        float v[2];
        for (int c = 0; c < 2; ++c) {
            const auto at = [&](int i, int j) { return image_row<float>(field.fourfold.get(), j)[2 * i + c]; };
            const float low = at(x0, y0) + across * (at(x1, y0) - at(x0, y0));
            v[c] = low + up * (at(x0, y1) + across * (at(x1, y1) - at(x0, y1)) - low);
        }
        const float rest = 1 - std::min(std::sqrt(v[0] * v[0] + v[1] * v[1]), 1.0f);
        const float cosine = v[0] + rest * own_x, sine = v[1] + rest * own_y;
        if (!(cosine * cosine + sine * sine > 1e-12f)) return;
        const K7SineCosine angle = k7_sine_cosine(0.25 * k7_atan2(double(sine), double(cosine)));
        ux = static_cast<float>(angle.cosine), uy = static_cast<float>(angle.sine);
    }
};

bool relax(const StoneShape& shape, const EdgeField& field, float margin, std::vector<Site>& sites,
           const StopRequested& stop) {
    // The canvas is larger than the picture, so that its edges push no stone that is seen.
    const int side = static_cast<int>(std::ceil(margin));
    const int rows = static_cast<int>(std::ceil(margin * shape.pixel_aspect));
    if (shape.width + 2 * side > 65535 || shape.height + 2 * rows > 65535) return true;
    const K7SineCosine own = k7_sine_cosine(4 * double(shape.angle));
    const Compass compass{field, static_cast<float>(own.cosine), static_cast<float>(own.sine), shape.pixel_aspect};
    const auto offset_x = static_cast<float>(side), offset_y = static_cast<float>(rows);
    const bool square = shape.pattern == STONES_TESSERAE;
    const auto direct = [&](VoronoiSite& site) {
        if (square) compass.turn(site.x - offset_x, (site.y - offset_y) / shape.pixel_aspect, site.ux, site.uy);
    };
    std::vector<VoronoiSite> moved;
    for (const Site& site : sites) {
        moved.push_back({site.x + offset_x, site.y * shape.pixel_aspect + offset_y, site.ux, site.uy});
        direct(moved.back());
    }
    RelaxationShape how{.width = shape.width + 2 * side,
                        .height = shape.height + 2 * rows,
                        .pixel_aspect = shape.pixel_aspect,
                        .metric = square ? VoronoiMetric::SQUARE : VoronoiMetric::ROUND,
                        .rounds = ROUNDS};
    ImagePtr weights;
    {
        const auto cells = [&](int pixels) { return std::max(static_cast<int>(float(pixels) * field.scale), 1); };
        weights = make_image_uncleared(cells(how.width), cells(how.height), 1, SAMPLE_F32);
        if (!weights) return false;
        const auto within = [&](int i, int margin_pixels, int count) {
            return std::clamp(i - static_cast<int>(float(margin_pixels) * field.scale), 0, count - 1);
        };
        for (int y = 0; y < weights->height; ++y) {
            const float* from = image_row<float>(field.weights.get(), within(y, rows, field.weights->height));
            float* to = image_row<float>(weights.get(), y);
            for (int x = 0; x < weights->width; ++x) to[x] = from[within(x, side, field.weights->width)];
        }
        how.weights = weights.get();
    }
    if (!voronoi_relax(moved, how, direct, stop)) return false;
    for (std::size_t i = 0; i < sites.size(); ++i) {
        sites[i].x = moved[i].x - offset_x, sites[i].y = (moved[i].y - offset_y) / shape.pixel_aspect;
        sites[i].ux = moved[i].ux, sites[i].uy = moved[i].uy;
    }
    return true;
}

void disarrange(const StoneShape& shape, std::vector<Site>& sites) {
    const float reach = (shape.pattern == STONES_IRREGULAR ? 0.38f : 0.13f) * shape.disorder * shape.size;
    const float most = 0.16f * shape.disorder;
    for (Site& site : sites) {
        site.x += reach * spread(site.id, MOVE_X), site.y += reach * spread(site.id, MOVE_Y);
        const K7SineCosine turn = k7_sine_cosine(double(most * spread(site.id, TURN)));
        const auto cosine = static_cast<float>(turn.cosine), sine = static_cast<float>(turn.sine);
        const float ux = site.ux * cosine - site.uy * sine, uy = site.ux * sine + site.uy * cosine;
        site.ux = ux, site.uy = uy;
    }
}

// ---- Cutting ------------------------------------------------------------------------------------------------------

// Half the sides of the rectangle that a stone is cut from.
struct Extent {
    float along, across;
    float towards(const Site& site, float nx, float ny) const {
        return along * std::fabs(nx * site.ux + ny * site.uy) + across * std::fabs(ny * site.ux - nx * site.uy);
    }
};

Extent extent_of(const StoneShape& shape) {
    if (is_round(shape.pattern)) return {1.5f * shape.size, 1.5f * shape.size};
    const float half = 0.5f * FILL * shape.size;
    return {shape.pattern == STONES_BRICK ? 2 * half : half, half};
}

// The line between a stone and its neighbour: what the stone keeps lies behind it. c counts from the stone's middle.
StoneEdge parting(const Site& a, const Site& b, const Extent& extent, bool round) {
    const float dx = b.x - a.x, dy = b.y - a.y, length = std::sqrt(dx * dx + dy * dy);
    if (!(length > 1e-4f)) return {1, 0, 1e9f};
    if (round) return {dx / length, dy / length, 0.5f * length};
    const float axes[4][2] = {{a.ux, a.uy}, {-a.uy, a.ux}, {b.ux, b.uy}, {-b.uy, b.ux}};
    float nx = 0, ny = 0;
    for (const auto& axis : axes) {
        const float distance = dx * axis[0] + dy * axis[1];
        const float overlap =
            extent.towards(a, axis[0], axis[1]) + extent.towards(b, axis[0], axis[1]) - std::fabs(distance);
        if (overlap <= 0) return {1, 0, 1e9f};
        // Small overlaps weigh far more than large ones.
        const float part = 0.05f + overlap / (extent.along + extent.across), squared = part * part;
        const float weight = (distance < 0 ? -1.0f : 1.0f) / (squared * squared * squared);
        nx += weight * axis[0], ny += weight * axis[1];
    }
    const float size = std::sqrt(nx * nx + ny * ny);
    if (!(size > 1e-9f)) return {dx / length, dy / length, 0.5f * length};
    nx /= size, ny /= size;
    const float own = extent.towards(a, nx, ny), other = extent.towards(b, nx, ny);
    return {nx, ny, 0.5f * (own - other + dx * nx + dy * ny)};
}

// A convex polygon around the middle of a stone; side i runs from corner i to the next one.
struct Outline {
    static constexpr int MOST = STONE_EDGES;
    int count = 0;
    float x[MOST + 1], y[MOST + 1];
    StoneEdge side[MOST + 1];
    std::uint32_t origin[MOST + 1];  // of the side: the neighbour's number, or which one of the rectangle

    float reach() const {
        float most = 0;
        for (int i = 0; i < count; ++i) most = std::max(most, x[i] * x[i] + y[i] * y[i]);
        return std::sqrt(most);
    }

    void cut(const StoneEdge& line, std::uint32_t by) {
        float beyond[MOST];
        bool any = false;
        for (int i = 0; i < count; ++i) {
            beyond[i] = x[i] * line.nx + y[i] * line.ny - line.c;
            any = any || beyond[i] > 0;
        }
        if (!any) return;
        Outline kept;
        const auto put = [&](float px, float py, const StoneEdge& edge, std::uint32_t from) {
            if (kept.count > MOST) return;
            kept.x[kept.count] = px, kept.y[kept.count] = py;
            kept.side[kept.count] = edge, kept.origin[kept.count++] = from;
        };
        for (int i = 0; i < count; ++i) {
            const int next = i + 1 < count ? i + 1 : 0;
            if (beyond[i] <= 0) put(x[i], y[i], side[i], origin[i]);
            if ((beyond[i] <= 0) == (beyond[next] <= 0)) continue;
            const float part = beyond[i] / (beyond[i] - beyond[next]);
            const float px = x[i] + part * (x[next] - x[i]), py = y[i] + part * (y[next] - y[i]);
            if (beyond[i] <= 0)
                put(px, py, line, by);
            else
                put(px, py, side[i], origin[i]);
        }
        if (kept.count <= MOST) *this = kept;  // one side more than there is room for: it would cut off a little corner
    }
};

Outline rectangle(const Site& site, const Extent& extent) {
    Outline outline;
    const float vx = -site.uy, vy = site.ux;
    const float normals[4][3] = {{-vx, -vy, extent.across},
                                 {site.ux, site.uy, extent.along},
                                 {vx, vy, extent.across},
                                 {-site.ux, -site.uy, extent.along}};
    const float corners[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    for (std::uint32_t i = 0; i < 4; ++i) {
        const float u = corners[i][0] * extent.along, v = corners[i][1] * extent.across;
        outline.x[i] = u * site.ux + v * vx, outline.y[i] = u * site.uy + v * vy;
        outline.side[i] = {normals[i][0], normals[i][1], normals[i][2]};
        outline.origin[i] = i;
    }
    outline.count = 4;
    return outline;
}

// Sites in square cells, so that neighbours are found.
class Buckets {
  public:
    Buckets(const std::vector<Site>& sites, float cell) : m_cell(cell) {
        float high_x = -1e30f, high_y = -1e30f;
        for (const Site& site : sites) {
            m_x = std::min(m_x, site.x), m_y = std::min(m_y, site.y);
            high_x = std::max(high_x, site.x), high_y = std::max(high_y, site.y);
        }
        m_columns = static_cast<int>((high_x - m_x) / cell) + 1;
        m_rows = static_cast<int>((high_y - m_y) / cell) + 1;
        m_first.assign(std::size_t(m_columns) * std::size_t(m_rows) + 1, 0);
        for (const Site& site : sites) ++m_first[of(site) + 1];
        for (std::size_t i = 1; i < m_first.size(); ++i) m_first[i] += m_first[i - 1];
        m_sites.resize(sites.size());
        std::vector<int> next(m_first.begin(), m_first.end() - 1);
        for (std::size_t i = 0; i < sites.size(); ++i) m_sites[std::size_t(next[of(sites[i])]++)] = int(i);
    }

    template <class Visit>
    void around(const Site& site, int cells, const Visit& visit) const {
        const int column = column_of(site), row = row_of(site);
        for (int y = std::max(row - cells, 0); y <= std::min(row + cells, m_rows - 1); ++y) {
            const std::size_t line = std::size_t(y) * std::size_t(m_columns);
            const int from = m_first[line + std::size_t(std::max(column - cells, 0))];
            const int to = m_first[line + std::size_t(std::min(column + cells, m_columns - 1)) + 1];
            for (int i = from; i < to; ++i) visit(m_sites[std::size_t(i)]);
        }
    }

  private:
    int column_of(const Site& site) const { return static_cast<int>((site.x - m_x) / m_cell); }
    int row_of(const Site& site) const { return static_cast<int>((site.y - m_y) / m_cell); }
    std::size_t of(const Site& site) const {
        return std::size_t(row_of(site)) * std::size_t(m_columns) + std::size_t(column_of(site));
    }
    float m_cell, m_x = 1e30f, m_y = 1e30f;
    int m_columns, m_rows;
    std::vector<int> m_first, m_sites;
};

struct Neighbour {
    float distance;
    int site;
};

class Cutter {
  public:
    Cutter(const StoneShape& shape, const std::vector<Site>& sites)
        : m_shape(shape),
          m_sites(sites),
          m_extent(extent_of(shape)),
          m_round(is_round(shape.pattern)),
          m_buckets(sites, shape.size) {}

    void cut(std::size_t number, std::vector<Neighbour>& near, Stone& stone) const {
        const Site& site = m_sites[number];
        near.clear();
        m_buckets.around(site, m_shape.pattern == STONES_TESSERAE ? 2 : 3, [&](int other) {
            if (std::size_t(other) == number) return;
            const float dx = m_sites[std::size_t(other)].x - site.x, dy = m_sites[std::size_t(other)].y - site.y;
            near.push_back({dx * dx + dy * dy, other});
        });
        std::sort(near.begin(), near.end(), [](const Neighbour& a, const Neighbour& b) {
            return a.distance != b.distance ? a.distance < b.distance : a.site < b.site;
        });
        Outline outline = rectangle(site, m_extent);
        const float own = m_extent.along + m_extent.across;
        for (const Neighbour& other : near) {
            const float reach = m_round ? 2 * outline.reach() : outline.reach() + own;
            if (other.distance > reach * reach || outline.count == 0) break;
            const Site& neighbour = m_sites[std::size_t(other.site)];
            outline.cut(parting(site, neighbour, m_extent, m_round), neighbour.id);
        }
        finish(site, outline, stone);
    }

  private:
    // Sides as a hand would cut them, and the grout's half.
    void finish(const Site& site, const Outline& outline, Stone& stone) const {
        stone.count = outline.count;
        stone.low_x = stone.high_x = site.x, stone.low_y = stone.high_y = site.y;
        for (int i = 0; i < outline.count; ++i) {
            stone.low_x = std::min(stone.low_x, site.x + outline.x[i]);
            stone.high_x = std::max(stone.high_x, site.x + outline.x[i]);
            stone.low_y = std::min(stone.low_y, site.y + outline.y[i]);
            stone.high_y = std::max(stone.high_y, site.y + outline.y[i]);
        }
        for (int i = 0; i < outline.count; ++i) {
            const int next = i + 1 < outline.count ? i + 1 : 0;
            const float mx = 0.5f * (outline.x[i] + outline.x[next]), my = 0.5f * (outline.y[i] + outline.y[next]);
            const std::uint32_t id = place_hash(site.id, outline.origin[i]);
            const float turn = 0.09f * m_shape.disorder * spread(id, EDGE_TURN);
            const StoneEdge& side = outline.side[i];
            const float length = std::sqrt(1 + turn * turn);
            const float nx = (side.nx - turn * side.ny) / length, ny = (side.ny + turn * side.nx) / length;
            const float inset =
                0.5f * m_shape.grout + 0.05f * m_shape.disorder * m_shape.size * stone_chance(id, EDGE_INSET);
            stone.edges[std::size_t(i)] = {nx, ny, nx * (site.x + mx) + ny * (site.y + my) - inset};
        }
    }

    const StoneShape& m_shape;
    const std::vector<Site>& m_sites;
    Extent m_extent;
    bool m_round;
    Buckets m_buckets;
};

// A disc without those of the row below it, which lie over it: arcs of radius half the distance of a row's scales.
void scale_at(const StoneShape& shape, const Site& site, Stone& stone) {
    const float radius = static_cast<float>(0.5 * lattice_of(shape).across), inset = 0.5f * shape.grout;
    const float vx = -site.uy, vy = site.ux;
    const auto place = [&](float u, float v) {
        return std::array{site.x + radius * (u * site.ux + v * vx), site.y + radius * (u * site.uy + v * vy)};
    };
    const auto left = place(-1, -1), right = place(1, -1), middle = place(0, 0.1f);
    stone.round = true, stone.count = 3;
    stone.edges[0] = {site.x, site.y, radius - inset};
    stone.edges[1] = {left[0], left[1], -(radius + inset)};
    stone.edges[2] = {right[0], right[1], -(radius + inset)};
    stone.low_x = site.x - radius, stone.high_x = site.x + radius;
    stone.low_y = site.y - radius, stone.high_y = site.y + radius;
    stone.x = middle[0], stone.y = middle[1];
}

}  // namespace

float stone_chance(std::uint32_t id, std::uint32_t kind) { return unit_of(place_hash(id, kind)); }

float distance_to(const Stone& stone, float x, float y) {
    float most = -1e9f;
    for (int i = 0; i < stone.count; ++i) {
        const StoneEdge& edge = stone.edges[std::size_t(i)];
        const float dx = x - edge.nx, dy = y - edge.ny;
        const float distance = stone.round ? (edge.c < 0 ? -1.0f : 1.0f) * std::sqrt(dx * dx + dy * dy) - edge.c
                                           : x * edge.nx + y * edge.ny - edge.c;
        most = std::max(most, distance);
    }
    return most;
}

bool edge_field(const K7Image* small, float scale, float stone, float far, float strength, EdgeField& field,
                const StopRequested& stop) {
    // Grain and texture finer than stones are no edges.
    const ImagePtr soft(image_duplicate(small));
    const float fine = FINE * stone;
    if (!soft || !image_gaussian_blur(soft.get(), fine, fine * small->pixel_aspect, 15)) return false;
    const ImagePtr structure = image_structure(soft.get(), {.sigma = 1.2f, .half_size = false}, stop);
    if (!structure) return false;
    field.scale = scale;
    field.weights = make_image_uncleared(small->width, small->height, 1, SAMPLE_F32);
    field.fourfold = make_image_uncleared(small->width, small->height, 2, SAMPLE_F32);
    if (!field.weights || !field.fourfold) return false;
    const auto stopped = [&] { return stop && stop(); };
    const float flat = FLAT * FLAT, clear = CLEAR * CLEAR;
    const bool measured = each_row_float(small->height, stopped, [&](int y) {
        const float* from = image_row<float>(structure.get(), y);
        float* to = image_row<float>(field.fourfold.get(), y);
        float* weights = image_row<float>(field.weights.get(), y);
        for (int x = 0; x < small->width; ++x, from += 4) {
            const float c2 = from[0] * from[0] - from[1] * from[1], s2 = 2 * from[0] * from[1];
            const float rise = from[3] * stone, energy = rise * rise;
            const float clearness = from[2] * (energy / (energy + flat));
            to[2 * x] = clearness * (c2 * c2 - s2 * s2), to[2 * x + 1] = clearness * (2 * c2 * s2);
            weights[x] = 1 - AVOIDED * strength * (energy / (energy + clear));
        }
    });
    // Far from edges what they tell gets faint, but counts all the same where nothing else is told.
    const float radius = far * stone;
    if (!measured || !image_gaussian_blur(field.fourfold.get(), radius, radius * small->pixel_aspect, 3)) return false;
    return each_row_float(small->height, stopped, [&](int y) {
        float* v = image_row<float>(field.fourfold.get(), y);
        for (int x = 0; x < small->width; ++x, v += 2) {
            const float scaling = strength / (std::sqrt(v[0] * v[0] + v[1] * v[1]) + FAINT);
            v[0] *= scaling, v[1] *= scaling;
        }
    });
}

bool lay_stones(const StoneShape& shape, const EdgeField& field, std::vector<Stone>& stones,
                const StopRequested& stop) {
    return in_memory([&] {
        const float margin = 3 * shape.size;
        std::vector<Site> sites = regular_sites(shape, margin);
        const bool moves = shape.pattern == STONES_TESSERAE || shape.pattern == STONES_IRREGULAR;
        if (moves && field.fourfold && !relax(shape, field, margin, sites, stop)) return false;
        disarrange(shape, sites);
        stones.assign(sites.size(), {});
        const Cutter cutter(shape, sites);
        std::atomic<bool> complete{true};
        for_rows_float(static_cast<int>((sites.size() + 63) / 64), [&](int first, int last) {
            if (first > last) return;
            const bool whole = in_memory([&] {
                std::vector<Neighbour> near;
                near.reserve(64);
                const std::size_t end = std::min(sites.size(), 64 * std::size_t(last + 1));
                for (std::size_t i = 64 * std::size_t(first); i < end; ++i) {
                    Stone& stone = stones[i];
                    stone.x = sites[i].x, stone.y = sites[i].y, stone.id = sites[i].id;
                    stone.anchor_x = sites[i].anchor_x, stone.anchor_y = sites[i].anchor_y;
                    if (shape.pattern == STONES_SCALE)
                        scale_at(shape, sites[i], stone);
                    else
                        cutter.cut(i, near, stone);
                }
                return true;
            });
            if (!whole) complete = false;
        });
        return complete.load();
    });
}
