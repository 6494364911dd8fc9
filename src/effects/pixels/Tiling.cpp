#include "effects/pixels/Tiling.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/place_hash.h"

namespace {

constexpr float PI = 3.14159265F;
constexpr float LEAST_SIZE = 0.003F, MOST_SIZE = 2.0F;
constexpr int MOST_ROWS = 600;  // of tiles
constexpr float MOST_ACROSS = 220;
constexpr float LEAST_AREA = 1e-9F;  // square widths: what is smaller is no tile

std::uint32_t word_of(std::uint32_t seed, int column, int row) {
    return place_hash(place_hash(seed, static_cast<std::uint32_t>(column)), static_cast<std::uint32_t>(row));
}

// A convex polygon that half planes are taken away from (I. Sutherland and G. Hodgman, 1974).
struct Convex {
    std::array<TilePoint, Tiling::MOST_CORNERS> corners;
    int count = 0;

    // Keeps what lies where a x + b y <= c.
    void keep(float a, float b, float c) {
        std::array<TilePoint, Tiling::MOST_CORNERS> kept;
        int kept_count = 0;
        const auto add = [&](TilePoint point) {
            if (kept_count < Tiling::MOST_CORNERS) kept[std::size_t(kept_count++)] = point;
        };
        for (int i = 0; i < count; ++i) {
            const TilePoint p = corners[std::size_t(i)], q = corners[std::size_t(i + 1 == count ? 0 : i + 1)];
            const float beyond_p = a * p.x + b * p.y - c, beyond_q = a * q.x + b * q.y - c;
            if (beyond_p <= 0) add(p);
            if ((beyond_p < 0 && beyond_q > 0) || (beyond_p > 0 && beyond_q < 0)) {
                const float t = beyond_p / (beyond_p - beyond_q);
                add({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)});
            }
        }
        corners = kept, count = kept_count;
    }
    float farthest_squared(TilePoint from) const {
        float most = 0;
        for (int i = 0; i < count; ++i) {
            const float x = corners[std::size_t(i)].x - from.x, y = corners[std::size_t(i)].y - from.y;
            most = std::max(most, x * x + y * y);
        }
        return most;
    }
};

bool turns_left(const TilePoint triangle[3]) {
    const TilePoint &a = triangle[0], &b = triangle[1], &c = triangle[2];
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x) > 0;
}

// Rows or columns of this size that reach half a picture of `extent` from the middle, and one more.
int half_count(float extent, float size) {
    return std::min(static_cast<int>(std::ceil(0.5F * extent / size)) + 1, MOST_ROWS / 2);
}

}  // namespace

// Cuts off what lies outside the picture and works out what is asked of a tile.
void Tiling::add(int count, const TilePoint* corners, std::uint32_t word) {
    Convex shape;
    shape.count = std::min(count, MOST_CORNERS);
    bool outside = false;
    for (int i = 0; i < shape.count; ++i) {
        shape.corners[std::size_t(i)] = corners[i];
        outside |= std::fabs(corners[i].x) > 0.5F || std::fabs(corners[i].y) > m_half_height;
    }
    if (outside) {
        shape.keep(1, 0, 0.5F), shape.keep(-1, 0, 0.5F);
        shape.keep(0, 1, m_half_height), shape.keep(0, -1, m_half_height);
    }
    if (shape.count < 3) return;
    const auto* at = shape.corners.data();
    float area = 0, x = 0, y = 0;  // of triangles around the first corner, so that little is lost to rounding
    for (int i = 1; i + 1 < shape.count; ++i) {
        const float ax = at[i].x - at[0].x, ay = at[i].y - at[0].y;
        const float bx = at[i + 1].x - at[0].x, by = at[i + 1].y - at[0].y, twice = ax * by - ay * bx;
        area += twice, x += twice * (ax + bx), y += twice * (ay + by);
    }
    if (!(area > 2 * LEAST_AREA)) return;
    const TilePoint middle{at[0].x + x / (3 * area), at[0].y + y / (3 * area)};
    m_tiles.push_back({middle, std::sqrt(shape.farthest_squared(middle)), static_cast<std::uint32_t>(m_corners.size()),
                       static_cast<std::uint32_t>(shape.count), word});
    m_corners.insert(m_corners.end(), at, at + shape.count);
}

void Tiling::append(const Tiling& other) {
    const auto offset = static_cast<std::uint32_t>(m_corners.size());
    for (Tile tile : other.m_tiles) {
        tile.first += offset;
        m_tiles.push_back(tile);
    }
    m_corners.insert(m_corners.end(), other.m_corners.begin(), other.m_corners.end());
}

// As many whole ones as fit best, so that no slivers are left at the edges.
void Tiling::cut_squares(const TilingShape& shape) {
    const auto fitted = [](float extent, float size) {
        return static_cast<int>(std::clamp(extent / size + 0.5F, 1.0F, float(MOST_ROWS)));
    };
    const int columns = fitted(1, shape.size), rows = fitted(shape.tallness, shape.size / shape.aspect);
    const auto column_at = [&](float i) { return i / static_cast<float>(columns) - 0.5F; };
    const auto row_at = [&](int j) {
        return (static_cast<float>(j) / static_cast<float>(rows) - 0.5F) * shape.tallness;
    };
    for (int j = 0; j < rows; ++j) {
        const bool shifted = shape.kind == TilingShape::Bricks && j % 2 != 0;
        for (int i = shifted ? -1 : 0; i < columns; ++i) {
            const float column = static_cast<float>(i) + (shifted ? 0.5F : 0.0F);
            const float x0 = column_at(column), x1 = column_at(column + 1), y0 = row_at(j), y1 = row_at(j + 1);
            const TilePoint corners[4] = {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
            add(4, corners, word_of(shape.seed, i, j));
        }
    }
}

// Strips of them, every other one standing on its point.
void Tiling::cut_triangles(const TilingShape& shape) {
    const float half_width = 0.5F * shape.size, height = 0.8660254F * shape.size / shape.aspect;
    const int columns = half_count(1, half_width) + 1, rows = half_count(shape.tallness, height);
    for (int j = -rows; j < rows; ++j)
        for (int i = -columns; i < columns; ++i) {
            const auto at = [&](int column, int row) {
                return TilePoint{static_cast<float>(column) * half_width, static_cast<float>(row) * height};
            };
            const bool up = (i + j) % 2 == 0;
            const TilePoint upwards[3] = {at(i, j), at(i + 2, j), at(i + 1, j + 1)};
            const TilePoint downwards[3] = {at(i, j + 1), at(i + 1, j), at(i + 2, j + 1)};
            add(3, up ? upwards : downwards, word_of(shape.seed, i, j));
        }
}

void Tiling::cut_hexagons(const TilingShape& shape) {
    const float half_width = 0.5F * shape.size, side = shape.size / (1.7320508F * shape.aspect);
    const int columns = half_count(1, shape.size) + 1, rows = half_count(shape.tallness, 1.5F * side) + 1;
    for (int j = -rows; j <= rows; ++j)
        for (int i = -columns; i <= columns; ++i) {
            // All corners lie on one lattice of half widths and half sides.
            const int column = 2 * i + (j % 2 != 0 ? 1 : 0), row = 3 * j;
            const auto at = [&](int dx, int dy) {
                return TilePoint{static_cast<float>(column + dx) * half_width,
                                 static_cast<float>(row + dy) * (0.5F * side)};
            };
            const TilePoint corners[6] = {at(0, -2), at(1, -1), at(1, 1), at(0, 2), at(-1, 1), at(-1, -1)};
            add(6, corners, word_of(shape.seed, i, j));
        }
}

// The cell of a site: what is nearer to it than to any site around. Sites lie within half a cell of their lattice's
// nodes, so that two rings of neighbours hold all that matter.
void Tiling::cut_shards(const TilingShape& shape) {
    const float wide = shape.size, high = shape.size / shape.aspect;
    const int columns = half_count(1, wide), rows = half_count(shape.tallness, high);
    const auto site = [&](int i, int j) {
        const std::uint32_t word = word_of(shape.seed, i, j);
        return TilePoint{wide * (static_cast<float>(i) + 0.5F * shape.irregular * signed_of(place_hash(word, 11))),
                         high * (static_cast<float>(j) + 0.5F * shape.irregular * signed_of(place_hash(word, 12)))};
    };
    // Near ones first: once no more of them reach the cell, none does.
    static constexpr int AROUND[24][2] = {{1, 0}, {-1, 0}, {0, 1},  {0, -1},  {1, 1}, {-1, 1}, {1, -1}, {-1, -1},
                                          {2, 0}, {-2, 0}, {0, 2},  {0, -2},  {2, 1}, {-2, 1}, {2, -1}, {-2, -1},
                                          {1, 2}, {-1, 2}, {1, -2}, {-1, -2}, {2, 2}, {-2, 2}, {2, -2}, {-2, -2}};
    std::vector<Tiling> parts(std::size_t(2 * rows + 1), Tiling());
    for_rows_float(2 * rows + 1, [&](int first, int last) {
        for (int row = first; row <= last; ++row) {
            Tiling& part = parts[std::size_t(row)];
            part.m_half_height = m_half_height;
            for (int i = -columns; i <= columns; ++i) {
                const int j = row - rows;
                const TilePoint own = site(i, j);
                Convex cell;
                cell.count = 4;
                const float x = 2 * wide, y = 2 * high;
                cell.corners[0] = {own.x - x, own.y - y}, cell.corners[1] = {own.x + x, own.y - y};
                cell.corners[2] = {own.x + x, own.y + y}, cell.corners[3] = {own.x - x, own.y + y};
                for (const auto& step : AROUND) {
                    const TilePoint other = site(i + step[0], j + step[1]);
                    const float dx = other.x - own.x, dy = other.y - own.y, square = dx * dx + dy * dy;
                    if (square > 4 * cell.farthest_squared(own)) continue;
                    cell.keep(dx, dy, dx * own.x + dy * own.y + 0.5F * square);
                }
                part.add(cell.count, cell.corners.data(), word_of(shape.seed, i, j));
            }
        }
    });
    for (const Tiling& part : parts) append(part);
}

// Triangles between rings that widen outwards, their corners jittered along and across.
void Tiling::cut_cracks(const TilingShape& shape) {
    const float sectors_wanted = 0.5F * PI / shape.size;
    const int sectors = static_cast<int>(std::clamp(sectors_wanted, 6.0F, 256.0F));
    const float sector = 2 * PI / static_cast<float>(sectors), ratio = 1 + 2.2F * sector;
    const float reach_x = 0.5F + std::fabs(shape.centre_x), reach_y = m_half_height + std::fabs(shape.centre_y);
    const float reach = std::sqrt(reach_x * reach_x + reach_y * reach_y);
    std::vector<float> radii{0, 0.35F * shape.size};
    while (radii.back() * (1 - 0.4F * (1 - 1 / ratio)) * 0.8F < reach) radii.push_back(radii.back() * ratio);
    const auto corner = [&](std::size_t ring, int index) {
        const int i = index % sectors;
        const std::uint32_t word = word_of(shape.seed, i, static_cast<int>(ring));
        const float shift = 0.38F * shape.irregular * signed_of(place_hash(word, 21));
        const float stretch = 1 + 0.4F * (1 - 1 / ratio) * shape.irregular * signed_of(place_hash(word, 22));
        const float angle = sector * (static_cast<float>(i) + shift), radius = radii[ring] * stretch;
        return TilePoint{shape.centre_x + radius * k7_cos(angle), shape.centre_y + radius * k7_sin(angle)};
    };
    for (std::size_t ring = 0; ring + 1 < radii.size(); ++ring)
        for (int i = 0; i < sectors; ++i) {
            const TilePoint a = corner(ring, i), b = corner(ring + 1, i), c = corner(ring + 1, i + 1);
            const TilePoint d = corner(ring, i + 1);
            const std::uint32_t word = word_of(shape.seed ^ 0x5bd1e995U, i, static_cast<int>(ring));
            // Where jitter has bent the four inwards, only one of the two diagonals lies between them.
            const TilePoint halves[2][2][3] = {{{a, b, c}, {a, c, d}}, {{a, b, d}, {b, c, d}}};
            const auto& chosen = halves[ring == 0 ? 0 : word & 1U];
            const auto& pair =
                ring == 0 || (turns_left(chosen[0]) && turns_left(chosen[1])) ? chosen : halves[~word & 1U];
            add(3, pair[0], place_hash(word, 31));
            if (ring > 0) add(3, pair[1], place_hash(word, 32));
        }
}

Tiling::Tiling(const TilingShape& given) : m_half_height(0.5F * given.tallness) {
    TilingShape shape = given;
    shape.size = std::clamp(shape.size, LEAST_SIZE, MOST_SIZE);
    shape.aspect = std::clamp(shape.aspect, 0.1F, 10.0F);
    // Pictures of any shape: no more tiles than the limits allow for.
    shape.size = std::max({shape.size, shape.aspect * shape.tallness / MOST_ACROSS, 1.0F / MOST_ACROSS});
    switch (shape.kind) {
        case TilingShape::Triangles:
            cut_triangles(shape);
            break;
        case TilingShape::Hexagons:
            cut_hexagons(shape);
            break;
        case TilingShape::Shards:
            cut_shards(shape);
            break;
        case TilingShape::Cracks:
            cut_cracks(shape);
            break;
        default:
            cut_squares(shape);
    }
}
