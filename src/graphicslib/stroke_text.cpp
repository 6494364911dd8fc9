#include "graphicslib/stroke_text.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int CAPITAL = 21;            // units from the base line to the top of a capital
constexpr int BASE_LINE = 9;           // units below the glyph's origin
constexpr float BLANK_ADVANCE = 16;    // units
constexpr float FARTHEST = 1e6F;       // pixels
constexpr int LARGEST_MASK = 1 << 24;  // pixels

const char* glyph_of(int code, const TextLook& look) {
    return HersheyFont::glyph(HersheyFont::number_for(code, look.style));
}

// The table gives the underline's glyph for what has none.
bool is_blank(int code, const TextLook& look) {
    return code != '_' && HersheyFont::number_for(code, look.style) == HersheyFont::number_for('_', look.style);
}

int pair_count(const char* glyph) {
    int count = 0;
    for (int i = 0; i < 3; ++i)
        if (glyph[i] >= '0' && glyph[i] <= '9') count = 10 * count + (glyph[i] - '0');
    return count;
}

}  // namespace

float glyph_advance(int code, const TextLook& look) {
    const char* glyph = glyph_of(code, look);
    const float units = glyph ? static_cast<float>(glyph[4] - glyph[3]) : BLANK_ADVANCE;
    return units * look.size / CAPITAL;
}

float text_width(std::string_view text, const TextLook& look) {
    float width = 0;
    for (const char c : text) width += glyph_advance(static_cast<unsigned char>(c), look);
    return width;
}

float append_glyph(int code, const TextLook& look, float x, float y, FlatPath& path) {
    const char* glyph = glyph_of(code, look);
    if (!glyph || is_blank(code, look)) return glyph_advance(code, look);
    const float unit = look.size / CAPITAL;
    bool drawing = false;
    for (int i = 1; i < pair_count(glyph); ++i) {  // after the margins
        const char* pair = glyph + 3 + 2 * std::ptrdiff_t(i);
        if (pair[0] == ' ' && pair[1] == 'R') {
            drawing = false;
            continue;
        }
        const float right = static_cast<float>(pair[0] - glyph[3]) * unit;
        const float up = static_cast<float>(BASE_LINE - (pair[1] - 'R')) * unit;
        const float px = x + right + look.slant * up, py = y + up;
        drawing = drawing ? path.line_to(px, py) : path.move_to(px, py);
    }
    return glyph_advance(code, look);
}

float append_text(std::string_view text, const TextLook& look, float x, float y, FlatPath& path) {
    float width = 0;
    for (const char c : text) width += append_glyph(static_cast<unsigned char>(c), look, x + width, y, path);
    return width;
}

std::unique_ptr<CoverageMask> GlyphCache::make(int code, float x, float y) const {
    FlatPath path;
    append_glyph(code, m_text_look, x, y, path);
    std::vector<float> xy;
    std::vector<std::uint32_t> ends;
    ShapeBatch::outline(path, m_text_look.size * m_text_look.weight, {StrokeStyle::ROUND, StrokeStyle::ROUND_CAP}, xy,
                        ends);
    auto mask = std::make_unique<CoverageMask>();
    float low[2] = {FARTHEST, FARTHEST}, high[2] = {-FARTHEST, -FARTHEST};
    for (std::size_t i = 0; i < xy.size(); ++i) {
        low[i % 2] = std::min(low[i % 2], xy[i]);
        high[i % 2] = std::max(high[i % 2], xy[i]);
    }
    const float columns = std::ceil(high[0]) - std::floor(low[0]), rows = std::ceil(high[1]) - std::floor(low[1]);
    if (!(columns > 0 && rows > 0 && columns * rows <= static_cast<float>(LARGEST_MASK))) return mask;
    mask->x = static_cast<int>(std::floor(low[0])), mask->y = static_cast<int>(std::floor(low[1]));
    mask->width = static_cast<int>(columns), mask->height = static_cast<int>(rows);
    mask->values.resize(static_cast<std::size_t>(mask->width) * static_cast<std::size_t>(mask->height));
    PolygonCoverage coverage;
    coverage.begin({mask->x, mask->y, mask->x + mask->width - 1, mask->y + mask->height - 1});
    std::uint32_t from = 0;
    for (const std::uint32_t end : ends) {
        coverage.add_contour(static_cast<int>(end - from), xy.data() + 2 * std::size_t(from), 2);
        from = end;
    }
    coverage.for_runs([&](const CoverageRun& run) {
        float* out = mask->values.data() + std::ptrdiff_t(run.y - mask->y) * mask->width + (run.x0 - mask->x);
        for (int i = 0; i <= run.x1 - run.x0; ++i) out[i] = run.coverage ? run.coverage[i] : 1;
    });
    return mask;
}

const CoverageMask* GlyphCache::mask(int code, int quarter_x, int quarter_y) {
    if (code < 0 || code >= CODES) return nullptr;
    auto& place = m_masks[std::size_t(code)][std::size_t(4 * (quarter_y & 3) + (quarter_x & 3))];
    if (!place)
        place = make(code, 0.25F * static_cast<float>(quarter_x & 3), 0.25F * static_cast<float>(quarter_y & 3));
    return place->width > 0 ? place.get() : nullptr;
}

bool GlyphCache::draw(ShapeBatch& batch, int code, float x, float y, const GraphicsColour& colour) {
    if (!(std::fabs(x) < FARTHEST && std::fabs(y) < FARTHEST)) return false;
    const int quarters_x = static_cast<int>(std::floor(4 * x + 0.5F)),
              quarters_y = static_cast<int>(std::floor(4 * y + 0.5F));
    const CoverageMask* glyph = mask(code, quarters_x, quarters_y);
    return glyph && batch.mask(*glyph, quarters_x >> 2, quarters_y >> 2, colour);
}

float GlyphCache::draw(ShapeBatch& batch, std::string_view text, float x, float y, const GraphicsColour& colour) {
    float width = 0;
    for (const char c : text) {
        const int code = static_cast<unsigned char>(c);
        draw(batch, code, x + width, y, colour);
        width += glyph_advance(code, m_text_look);
    }
    return width;
}
