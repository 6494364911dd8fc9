#include "effects/paint/NumbersPainter.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr float FINE_WIDTH = 1920;   // columns of a picture whose pixels are those of the marks
constexpr float MARK_DEPTH = 0.16F;  // of the strongest marks, in parts of the colour
constexpr float WIPE_EDGE = 0.10F;   // width of the brush's front, in parts of the field
constexpr float WIPE_ROUGH = 0.10F;  // how far bristles run ahead

float unit(float v) { return v > 0 ? (v < 1 ? v : 1.0F) : 0.0F; }

}  // namespace

NumbersPainter::NumbersPainter(const NumbersSheet& sheet, const NumbersLook& look, int width)
    : m_sheet(sheet),
      m_look(look),
      m_near((0.5F * look.line_width + 1.0F) / static_cast<float>(sheet.factor) + 0.75F),
      m_fineness(FINE_WIDTH / static_cast<float>(width)),
      m_along{k7_cos(look.angle), k7_sin(look.angle)} {
    m_near = std::min(m_near, sheet.reach);
    m_columns.resize(static_cast<std::size_t>(width));
    for (int x = 0; x < width; ++x) m_columns[std::size_t(x)] = static_cast<int>(static_cast<float>(x) * m_fineness);
    make_marks();
    prepare_fields();
}

// Noise, drawn out along rows, about 0 and mostly within -1 to 1.
void NumbersPainter::make_marks() {
    m_marks.assign(std::size_t(TILE) * TILE, 0.0F);
    if (m_look.marks <= 0 &&
        std::all_of(m_sheet.painted.begin(), m_sheet.painted.end(), [](float p) { return p <= 0 || p >= 1; }))
        return;
    const ImagePtr tile = make_image_uncleared(TILE, TILE, 1, SAMPLE_F32);
    if (!tile) throw std::bad_alloc();
    MTRandom random(77);
    for (int y = 0; y < TILE; ++y)
        for (int x = 0; x < TILE; ++x) image_row<float>(tile.get(), y)[x] = random.next_float();
    if (!image_wrap_blur(tile.get(), 22, 0, 1) || !image_wrap_blur(tile.get(), 0, 1, 1)) throw std::bad_alloc();
    for (int y = 0; y < TILE; ++y)
        for (int x = 0; x < TILE; ++x)
            m_marks[std::size_t(y) * TILE + std::size_t(x)] = (image_row<float>(tile.get(), y)[x] - 0.5F) * 16.0F;
}

// Brushes go level, upright or aslant, as their colour wants it.
class NumbersPainter::MarkReader {
  public:
    MarkReader(const NumbersPainter& painter, std::uint32_t label, int y)
        : m_marks(painter.m_marks.data()), m_columns(painter.m_columns.data()) {
        constexpr int WAYS[4][4] = {{4, 0, 0, 4}, {3, 3, -3, 3}, {0, 4, 4, 0}, {3, -3, 3, 3}};
        const int* const way = WAYS[label & 3];
        const int v = static_cast<int>(static_cast<float>(y) * painter.m_fineness);
        m_along = way[0], m_across = way[2];
        m_column = way[1] * v + static_cast<int>(label) * 524, m_row = way[3] * v;
    }
    float at(int x) const {
        const int u = m_columns[x];
        const int column = ((m_along * u + m_column) >> 2) & (TILE - 1),
                  row = ((m_across * u + m_row) >> 2) & (TILE - 1);
        return m_marks[row * TILE + column];
    }

  private:
    const float* m_marks;
    const int* m_columns;
    int m_along, m_across, m_column, m_row;
};

// What all pixels of a field share.
void NumbersPainter::prepare_fields() {
    const float scale = 1.0F / static_cast<float>(m_sheet.factor);
    m_fields.resize(m_sheet.found.size());
    for (std::size_t i = 0; i < m_fields.size(); ++i) {
        const PictureRegion& region = m_sheet.found[i];
        FieldLook& field = m_fields[i];
        field.label = region.label, field.painted = m_sheet.painted[i];
        for (int c = 0; c < 3; ++c) {
            field.paint[c] = m_sheet.paint[region.label][c];
            field.bare[c] = m_look.paper[c] + m_look.tint * (field.paint[c] - m_look.paper[c]);
        }
        // How far along the painting's way a pixel lies: 0 where it enters the field's box, 1 where it leaves it.
        const float half_x = 0.5F * static_cast<float>(region.right - region.left + 1),
                    half_y = 0.5F * static_cast<float>(region.top - region.bottom + 1);
        const float span = std::fabs(m_along[0]) * half_x + std::fabs(m_along[1]) * half_y;
        const float slope = 0.5F / std::max(span, 1.0F);
        field.way_x = m_along[0] * slope * scale, field.way_y = m_along[1] * slope * scale;
        field.way = 0.5F - slope * (m_along[0] * (static_cast<float>(region.left) + half_x) +
                                    m_along[1] * (static_cast<float>(region.bottom) + half_y));
        field.front = field.painted * (1.0F + WIPE_EDGE + 2 * WIPE_ROUGH) - WIPE_ROUGH;
    }
}

NumbersPainter::Shade NumbersPainter::shade(const FieldLook& field, const MarkReader& marks, int x, int y) const {
    if (field.painted <= 0) return {{field.bare[0], field.bare[1], field.bare[2]}, 0};
    Shade result{{}, field.painted};
    const float mark = marks.at(x);
    if (field.painted < 1) {
        const float way =
            field.way + field.way_x * (static_cast<float>(x) + 0.5F) + field.way_y * (static_cast<float>(y) + 0.5F);
        const float bristle = WIPE_ROUGH * std::clamp(mark, -1.0F, 1.0F);
        result.painted = unit((field.front - way + bristle) * (1.0F / WIPE_EDGE));
    }
    const float relief = std::max(1.0F + MARK_DEPTH * m_look.marks * mark, 0.0F);
    for (int c = 0; c < 3; ++c)
        result.colour[c] = field.bare[c] + result.painted * (field.paint[c] * relief - field.bare[c]);
    return result;
}

// Whether the four pixels about a cell, between two rows and two columns, are of the field and so far inside.
bool NumbersPainter::Rows::are_inside(int cell, int columns, std::uint32_t field, float depth) const {
    const int left = std::max(cell, 0), right = std::min(cell + 1, columns - 1);
    return fields_low[left] == field && fields_high[left] == field && fields_low[right] == field &&
           fields_high[right] == field && depth_low[left] >= depth && depth_low[right] >= depth &&
           depth_high[left] >= depth && depth_high[right] >= depth;
}

// Between four pixels of the sheet: their depths count for their own fields and against the others.
NumbersPainter::Meeting NumbersPainter::meeting(const Rows& rows, int left, int right, float mix) const {
    const float high = rows.mix, low = 1 - high, on_right = mix, on_left = 1 - mix;
    const std::uint32_t fields[] = {rows.fields_low[left], rows.fields_low[right], rows.fields_high[left],
                                    rows.fields_high[right]};
    const float depths[] = {low * on_left * rows.depth_low[left], low * on_right * rows.depth_low[right],
                            high * on_left * rows.depth_high[left], high * on_right * rows.depth_high[right]};
    std::uint32_t kinds[4];
    float sums[4];
    int count = 0;
    for (int i = 0; i < 4; ++i) {
        int k = 0;
        while (k < count && kinds[k] != fields[i]) ++k;
        if (k == count) kinds[count] = fields[i], sums[count++] = 0;
        sums[k] += depths[i];
    }
    int best = 0, next = -1;
    for (int k = 1; k < count; ++k) {
        if (sums[k] > sums[best])
            next = best, best = k;
        else if (next < 0 || sums[k] > sums[next])
            next = k;
    }
    const float scale = static_cast<float>(m_sheet.factor);
    if (next < 0) return {kinds[best], kinds[best], sums[best] * scale};
    return {kinds[best], kinds[next], (sums[best] - sums[next]) * scale};
}

void NumbersPainter::paint_pixel(const Meeting& m, int x, int y, float* pixel) const {
    const FieldLook &field = m_fields[m.own], &neighbour = m_fields[m.other];
    Shade own = shade(field, MarkReader(*this, field.label, y), x, y);
    float least = std::min(own.painted, neighbour.painted);
    if (m.other != m.own && m.inside < 0.5F) {
        const Shade other = shade(neighbour, MarkReader(*this, neighbour.label, y), x, y);
        const float cover = 0.5F + m.inside;
        for (int c = 0; c < 3; ++c) own.colour[c] = other.colour[c] + cover * (own.colour[c] - other.colour[c]);
        least = std::min(own.painted, other.painted);
    }
    const float half = 0.5F * m_look.line_width;
    const float thin = std::min(m_look.line_width, 1.0F);
    const float ink = thin * unit(std::max(half, 0.5F) + 0.5F - m.inside) * (1 + (m_look.lines_on_paint - 1) * least);
    for (int c = 0; c < 3; ++c) pixel[c] = own.colour[c] + ink * (m_look.line[c] - own.colour[c]);
}

void NumbersPainter::paint_inside(std::uint32_t index, int x, int count, int y, float* pixels) const {
    const FieldLook& field = m_fields[index];
    const MarkReader marks(*this, field.label, y);
    if (field.painted > 0 && field.painted < 1) {
        for (int i = 0; i < count; ++i) {
            const Shade s = shade(field, marks, x + i, y);
            for (int c = 0; c < 3; ++c) pixels[4 * i + c] = s.colour[c];
        }
        return;
    }
    const float* const colour = field.painted >= 1 ? field.paint : field.bare;
    const float depth = MARK_DEPTH * m_look.marks * field.painted;
    for (int i = 0; i < count; ++i) {
        const float relief = depth > 0 ? std::max(1.0F + depth * marks.at(x + i), 0.0F) : 1.0F;
        for (int c = 0; c < 3; ++c) pixels[4 * i + c] = colour[c] * relief;
    }
}

void NumbersPainter::paint_row(K7Image& picture, int y) const {
    const int factor = m_sheet.factor, columns = m_sheet.fields->width, lines = m_sheet.fields->height;
    const float scale = 1.0F / static_cast<float>(factor);
    const float at = (static_cast<float>(y) + 0.5F) * scale - 0.5F, low = std::floor(at);
    const int y0 = std::clamp(static_cast<int>(low), 0, lines - 1),
              y1 = std::clamp(static_cast<int>(low) + 1, 0, lines - 1);
    const Rows rows{image_row<std::uint32_t>(m_sheet.fields.get(), y0),
                    image_row<std::uint32_t>(m_sheet.fields.get(), y1), image_row<float>(m_sheet.depth.get(), y0),
                    image_row<float>(m_sheet.depth.get(), y1), at - low};
    float* out = image_row<float>(&picture, y);
    const auto begin_of = [&](int cell) { return std::clamp(factor * cell + factor / 2, 0, int{picture.width}); };
    for (int cell = -1; cell < columns;) {
        const std::uint32_t field = rows.fields_low[std::max(cell, 0)];
        int end = cell;  // of the run of cells that lie well inside the field
        while (end < columns && rows.are_inside(end, columns, field, m_near)) ++end;
        if (end > cell) {
            paint_inside(field, begin_of(cell), begin_of(end) - begin_of(cell), y, out + 4L * begin_of(cell));
            cell = end;
            continue;
        }
        for (int x = begin_of(cell); x < begin_of(cell + 1); ++x) {
            const float mix = (static_cast<float>(x) + 0.5F) * scale - 0.5F - static_cast<float>(cell);
            paint_pixel(meeting(rows, std::max(cell, 0), std::min(cell + 1, columns - 1), mix), x, y, out + 4L * x);
        }
        ++cell;
    }
}
