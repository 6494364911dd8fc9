#include "graphicslib/glyph_field.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "graphicslib/bit_text.h"

namespace {

constexpr int BITS = 8;        // columns of a bitmap glyph
constexpr int BASE_ROW = 2;    // of the bitmap font
constexpr int LARGEST = 4096;  // values along a side

struct Box {
    float x0, y0, x1, y1;
};

// A field over the box and `reach` around it, filled with the square of `reach`.
GlyphField empty_field(const Box& box, const GlyphFieldSize& size) {
    GlyphField field;
    if (!(box.x0 <= box.x1 && size.per_capital > 0 && size.reach > 0)) return field;
    const float columns = std::ceil((box.x1 - box.x0 + 2 * size.reach) * size.per_capital) + 2,
                rows = std::ceil((box.y1 - box.y0 + 2 * size.reach) * size.per_capital) + 2;
    if (!(columns <= LARGEST && rows <= LARGEST)) return field;
    field.x = box.x0 - size.reach, field.y = box.y0 - size.reach;
    field.per_capital = size.per_capital;
    field.width = static_cast<int>(columns), field.height = static_cast<int>(rows);
    field.values.assign(std::size_t(field.width) * std::size_t(field.height), size.reach * size.reach);
    return field;
}

// Lowers the squares of distances to those from a line, within reach of it.
void draw_near(float ax, float ay, float bx, float by, float reach, GlyphField& field) {
    const float dx = bx - ax, dy = by - ay, square = dx * dx + dy * dy, step = 1 / field.per_capital;
    const float along = square > 0 ? 1 / square : 0;
    const auto index = [&](float place, float first, int count) {
        return std::clamp(static_cast<int>((place - first) * field.per_capital), 0, count - 1);
    };
    const int x0 = index(std::min(ax, bx) - reach, field.x, field.width),
              x1 = index(std::max(ax, bx) + reach + step, field.x, field.width),
              y0 = index(std::min(ay, by) - reach, field.y, field.height),
              y1 = index(std::max(ay, by) + reach + step, field.y, field.height);
    for (int y = y0; y <= y1; ++y) {
        float* row = field.values.data() + std::ptrdiff_t(y) * field.width;
        const float py = field.y + static_cast<float>(y) * step - ay;
        for (int x = x0; x <= x1; ++x) {
            const float px = field.x + static_cast<float>(x) * step - ax;
            float t = (px * dx + py * dy) * along;
            t = t > 0 ? t : 0;
            t = t < 1 ? t : 1;
            const float ex = px - t * dx, ey = py - t * dy, near = ex * ex + ey * ey;
            row[x] = row[x] < near ? row[x] : near;
        }
    }
}

void take_roots(GlyphField& field) {
    for (float& value : field.values) value = std::sqrt(value);
}

struct BitGlyph {
    const std::uint8_t* rows;
    bool lit(int column, int row) const {
        return column >= 0 && column < BITS && row >= 0 && row < BitText::CELL_HEIGHT &&
               (rows[row] >> (BITS - 1 - column) & 1) != 0;
    }
};

// Distance from the middles of the strokes of a bitmap, as if a bit wide pen had drawn them: half a bit more than from
// its outline, below 0 inside of it. In bits.
float bitmap_distance(const BitGlyph& glyph, float x, float y) {
    const int column = static_cast<int>(std::floor(x)), row = static_cast<int>(std::floor(y));
    constexpr int AROUND = 3;
    const bool inside = glyph.lit(column, row);
    float nearest = AROUND * AROUND;
    for (int r = row - AROUND; r <= row + AROUND; ++r)
        for (int c = column - AROUND; c <= column + AROUND; ++c) {
            if (glyph.lit(c, r) == inside) continue;
            const auto left = static_cast<float>(c), low = static_cast<float>(r);
            const float dx = std::max({left - x, x - left - 1, 0.0F}), dy = std::max({low - y, y - low - 1, 0.0F});
            nearest = std::min(nearest, dx * dx + dy * dy);
        }
    const float distance = std::sqrt(nearest);
    return std::max(0.5F + (inside ? -distance : distance), 0.0F);
}

}  // namespace

GlyphField stroke_glyph_field(int code, const TextLook& look, float squeeze, const GlyphFieldSize& size) {
    TextLook unit = look;
    unit.size = 1;
    FlatPath path;
    append_glyph(code, unit, 0, 0, path);
    Box box{1e9F, 1e9F, -1e9F, -1e9F};
    for (int c = 0; c < path.contours(); ++c)
        for (int i = 0; i < path.points(c); ++i) {
            const float x = path.xy(c)[2 * i] * squeeze, y = path.xy(c)[2 * i + 1];
            box = {std::min(box.x0, x), std::min(box.y0, y), std::max(box.x1, x), std::max(box.y1, y)};
        }
    GlyphField field = empty_field(box, size);
    if (field.width == 0) return field;
    for (int c = 0; c < path.contours(); ++c) {
        const float* xy = path.xy(c);
        const int points = path.points(c);
        if (points == 1) draw_near(xy[0] * squeeze, xy[1], xy[0] * squeeze, xy[1], size.reach, field);
        for (int i = 1; i < points; ++i, xy += 2)
            draw_near(xy[0] * squeeze, xy[1], xy[2] * squeeze, xy[3], size.reach, field);
    }
    take_roots(field);
    return field;
}

GlyphField bitmap_glyph_field(int code, bool as_dots, float slant, const GlyphFieldSize& size) {
    const BitGlyph glyph{code < 0 || code > 255 ? nullptr : BitText::glyph(static_cast<unsigned char>(code))};
    if (!glyph.rows) return {};
    constexpr float BIT = 1 / BITMAP_CAPITAL;
    Box box{1e9F, 1e9F, -1e9F, -1e9F};
    const auto middle = [&](int column, int row) {
        const float y = (static_cast<float>(row - BASE_ROW) + 0.5F) * BIT;
        return std::pair{(static_cast<float>(column) + 0.5F) * BIT + slant * y, y};
    };
    for (int row = 0; row < BitText::CELL_HEIGHT; ++row)
        for (int column = 0; column < BITS; ++column)
            if (glyph.lit(column, row)) {
                const auto [x, y] = middle(column, row);
                box = {std::min(box.x0, x), std::min(box.y0, y), std::max(box.x1, x), std::max(box.y1, y)};
            }
    GlyphField field = empty_field(box, size);
    if (field.width == 0) return field;
    if (as_dots) {
        for (int row = 0; row < BitText::CELL_HEIGHT; ++row)
            for (int column = 0; column < BITS; ++column)
                if (glyph.lit(column, row)) {
                    const auto [x, y] = middle(column, row);
                    draw_near(x, y, x, y, size.reach, field);
                }
        take_roots(field);
        return field;
    }
    for (int row = 0; row < field.height; ++row)
        for (int column = 0; column < field.width; ++column) {
            const float y = field.y + static_cast<float>(row) / field.per_capital;
            const float x = field.x + static_cast<float>(column) / field.per_capital - slant * y;
            const float distance = bitmap_distance(glyph, x * BITMAP_CAPITAL, y * BITMAP_CAPITAL + BASE_ROW) * BIT;
            field.values[std::size_t(row) * std::size_t(field.width) + std::size_t(column)] =
                std::min(distance, size.reach);
        }
    return field;
}
