#include "graphicslib/shape_batch.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <type_traits>
#include <utility>

#include "graphicslib/ink.h"
#include "graphicslib/mip_reader.h"
#include "graphicslib/polygon_rasterizer.h"
#include "graphicslib/row_bands.h"

namespace {

using ink::Quad;

constexpr int MESH_FLOATS = 9;  // x, y; colour times alpha, alpha; u / w, v / w, 1 / w

// x0, y0, x1, y1 around points; false when one is not finite.
template <class Bounds>
bool bounds_of(std::size_t count, const float* xy, std::size_t stride, Bounds& bounds) {
    bounds = {INFINITY, INFINITY, -INFINITY, -INFINITY};
    for (std::size_t i = 0; i < count; ++i, xy += stride) {
        if (!std::isfinite(xy[0]) || !std::isfinite(xy[1])) return false;
        bounds.x0 = std::min(bounds.x0, xy[0]), bounds.x1 = std::max(bounds.x1, xy[0]);
        bounds.y0 = std::min(bounds.y0, xy[1]), bounds.y1 = std::max(bounds.y1, xy[1]);
    }
    return count > 0;
}

// Twice the area, above 0 when counter-clockwise.
template <class X, class Y>
double shoelace(int count, X x, Y y) {
    double twice = 0;
    for (int i = 1; i + 1 < count; ++i) twice += (x(i) - x(0)) * (y(i + 1) - y(0)) - (x(i + 1) - x(0)) * (y(i) - y(0));
    return twice;
}

// Values of a run, null: all 1.
void paint(float* out, const float* coverage, int count, const float* colour, DrawBlend blend) {
    const Quad full = ink::load(colour);
    ink::with_blend(blend, [&](auto mode) {
        for (int i = 0; i < count; ++i, out += 4) {
            const Quad here = coverage ? coverage[i] * full : full;
            ink::store(out, ink::blended<mode()>(here, ink::load(out)));
        }
    });
}

}  // namespace

class ShapeBatch::MeshRasterizer final : public PolygonRasterizer {
  public:
    explicit MeshRasterizer(K7Image* into) : m_image(into) {
        set_vertex_floats(MESH_FLOATS);
        set_mode(EXACT);
    }
    void draw(const Item& item, const float* vertices) {
        draw_polygon(static_cast<int>(item.end - item.begin) / MESH_FLOATS, vertices, const_cast<Item*>(&item));
    }
    void pixel(void*, int, int, float, const float*, int, void*, const float*, const float*) override {}
    void span(const Span& run) override {
        const auto& item = *static_cast<const Item*>(run.argument);
        ink::with_blend(item.blend,
                        [&](auto mode) { item.source ? textured<mode()>(run, item) : coloured<mode()>(run); });
    }

  private:
    template <DrawBlend BLEND>
    void coloured(const Span& run) {
        const Quad start = ink::load(run.start + 2), change = ink::load(run.change + 2);
        float* out = image_row<float>(m_image, run.y) + 4 * std::ptrdiff_t(run.x0);
        for (int x = run.x0; x <= run.x1; ++x, out += 4) {
            const float covered = run.coverage ? run.coverage[x - run.x0] : 1;
            const Quad here = covered * (start + parameter(run, x) * change);
            ink::store(out, ink::blended<BLEND>(here, ink::load(out)));
        }
    }
    template <DrawBlend BLEND>
    void textured(const Span& run, const Item& item) {
        const auto& texture = *static_cast<const MipPicture*>(item.source);
        const MipReader reader(texture, item.reading);
        const Quad start = ink::load(run.start + 2), change = ink::load(run.change + 2);
        const float *at = run.start + 6, *step = run.change + 6;
        float* out = image_row<float>(m_image, run.y) + 4 * std::ptrdiff_t(run.x0);
        for (int x = run.x0; x <= run.x1; ++x, out += 4) {
            const float covered = run.coverage ? run.coverage[x - run.x0] : 1, t = parameter(run, x);
            const float w = 1 / (at[2] + t * step[2]);
            const float u = (at[0] + t * step[0]) * w, v = (at[1] + t * step[1]) * w;
            const Quad here = covered * reader.sample(Quad{u, v, u, v}) * (start + t * change);
            ink::store(out, ink::blended<BLEND>(here, ink::load(out)));
        }
    }

    K7Image* m_image;
};

// ---- Collecting -----------------------------------------------------------------------------------------------------

void ShapeBatch::begin(int new_width, int new_height) {
    m_width = new_width;
    m_height = new_height;
    m_current_depth = 0;
    m_current_blend = DrawBlend::over;
    m_items.clear();
    m_floats.clear();
    m_contours.clear();
    m_order.clear();
}

// The rows within bounds in pixels. False when the picture has none of them.
bool ShapeBatch::reach(Item& item, const Bounds& bounds) const {
    if (!(bounds.x1 > 0 && bounds.x0 < static_cast<float>(m_width))) return false;
    if (!(bounds.y1 > 0 && bounds.y0 < static_cast<float>(m_height))) return false;
    item.first_row = bounds.y0 > 0 ? static_cast<int>(bounds.y0) : 0;
    item.last_row =
        bounds.y1 < static_cast<float>(m_height) ? static_cast<int>(std::ceil(bounds.y1)) - 1 : m_height - 1;
    return item.first_row <= item.last_row;
}

ShapeBatch::Item ShapeBatch::make_item(Kind kind, const GraphicsColour& colour) const {
    Item item;
    item.kind = kind;
    item.blend = m_current_blend;
    item.depth = m_current_depth;
    const float ink[4] = {colour.r * colour.a, colour.g * colour.a, colour.b * colour.a, colour.a};
    std::copy_n(ink, 4, item.ink);
    return item;
}

bool ShapeBatch::polygon(int count, const float* xy, const GraphicsColour& colour) {
    Bounds bounds;
    if (count < 3 || !xy || !bounds_of(static_cast<std::size_t>(count), xy, 2, bounds)) return false;
    Item item = make_item(Kind::POLYGON, colour);
    if (!reach(item, bounds)) return false;
    item.begin = static_cast<std::uint32_t>(m_floats.size());
    m_floats.insert(m_floats.end(), xy, xy + 2 * std::ptrdiff_t(count));
    item.end = static_cast<std::uint32_t>(m_floats.size());
    m_items.push_back(item);
    return true;
}

// What was appended to `floats` from this place on, up to `ends`; taken back when nothing of it is seen.
bool ShapeBatch::add_contours(std::size_t first_float, const GraphicsColour& colour) {
    Item item = make_item(Kind::CONTOURS, colour);
    item.points = static_cast<std::uint32_t>(first_float);
    const float* xy = m_floats.data() + first_float;
    Bounds bounds;
    if (!bounds_of((m_floats.size() - first_float) / 2, xy, 2, bounds) || !reach(item, bounds)) {
        m_floats.resize(first_float);
        return false;
    }
    item.begin = static_cast<std::uint32_t>(m_contours.size());
    std::uint32_t from = 0;
    for (const std::uint32_t end : m_ends) {
        bounds_of(end - from, xy + 2 * std::size_t(from), 2, bounds);
        m_contours.push_back({end, bounds.y0, bounds.y1});
        from = end;
    }
    item.end = static_cast<std::uint32_t>(m_contours.size());
    m_items.push_back(item);
    return true;
}

bool ShapeBatch::fill(const FlatPath& path, const GraphicsColour& colour) {
    const std::size_t first_float = m_floats.size();
    m_ends.clear();
    for (int i = 0; i < path.contours(); ++i) {
        m_floats.insert(m_floats.end(), path.xy(i), path.xy(i) + 2 * std::ptrdiff_t(path.points(i)));
        m_ends.push_back(static_cast<std::uint32_t>((m_floats.size() - first_float) / 2));
    }
    return add_contours(first_float, colour);
}

namespace {

struct Outline {
    std::vector<float>& xy;
    std::vector<std::uint32_t>& ends;
    std::size_t begin;  // floats of the first polygon of the stroke
};

bool add_piece(int count, const thick::Vertex* vertices, void* context) {
    const auto& outline = *static_cast<const Outline*>(context);
    const double twice = shoelace(
        count, [=](int i) { return double(vertices[i][0]); }, [=](int i) { return double(vertices[i][1]); });
    if (twice == 0) return true;
    for (int i = 0; i < count; ++i) {
        const thick::Vertex& vertex = vertices[twice > 0 ? i : count - 1 - i];
        outline.xy.insert(outline.xy.end(), {vertex[0], vertex[1]});
    }
    outline.ends.push_back(static_cast<std::uint32_t>((outline.xy.size() - outline.begin) / 2));
    return true;
}

}  // namespace

void ShapeBatch::outline(const FlatPath& path, float pen, StrokeStyle style, std::vector<float>& xy,
                         std::vector<std::uint32_t>& ends) {
    if (!(pen > 0) || !std::isfinite(pen)) return;
    Outline outline{xy, ends, xy.size()};
    std::vector<thick::Vertex> line;
    for (int i = 0; i < path.contours(); ++i) {
        line.clear();
        const float* points = path.xy(i);
        for (int k = 0; k < path.points(i); ++k, points += 2)
            if (line.empty() || line.back()[0] != points[0] || line.back()[1] != points[1])
                line.push_back({points[0], points[1]});
        if (line.size() == 1 && style.cap != StrokeStyle::BUTT)
            line.push_back({line[0][0] + 1e-3F, line[0][1]});  // a dot
        thick::thicken(line, path.closed(i), 0.5F * pen, style, add_piece, &outline);
    }
}

bool ShapeBatch::stroke(const FlatPath& path, float pen, StrokeStyle style, const GraphicsColour& colour) {
    const std::size_t first_float = m_floats.size();
    m_ends.clear();
    outline(path, pen, style, m_floats, m_ends);
    return add_contours(first_float, colour);
}

// The copies whose pixels are as large as the picture's, in the mean over the shape.
void ShapeBatch::choose_level(Item& item, const MipPicture& texture, int count, const ShapeVertex* vertices) {
    const double drawn = shoelace(
        count, [=](int i) { return double(vertices[i].x); }, [=](int i) { return double(vertices[i].y); });
    const double read = shoelace(
        count, [=](int i) { return double(vertices[i].u); }, [=](int i) { return double(vertices[i].v); });
    item.reading = texture.reading(drawn != 0 ? static_cast<float>(std::sqrt(std::fabs(read / drawn))) : 1);
}

bool ShapeBatch::mesh(int count, const ShapeVertex* vertices, const MipPicture* texture) {
    constexpr std::size_t STRIDE = sizeof(ShapeVertex) / sizeof(float);
    Bounds bounds;
    if (count < 3 || !vertices || (texture && !*texture)) return false;
    if (!bounds_of(static_cast<std::size_t>(count), &vertices->x, STRIDE, bounds)) return false;
    for (int i = 0; i < count; ++i)
        if (!(vertices[i].w > 0) || !std::isfinite(vertices[i].u) || !std::isfinite(vertices[i].v)) return false;
    Item item = make_item(Kind::MESH, {});
    if (!reach(item, bounds)) return false;
    item.source = texture;
    if (texture) choose_level(item, *texture, count, vertices);
    item.begin = static_cast<std::uint32_t>(m_floats.size());
    for (const ShapeVertex* v = vertices; v != vertices + count; ++v) {
        const GraphicsColour& c = v->colour;
        m_floats.insert(m_floats.end(),
                        {v->x, v->y, c.r * c.a, c.g * c.a, c.b * c.a, c.a, v->u / v->w, v->v / v->w, 1 / v->w});
    }
    item.end = static_cast<std::uint32_t>(m_floats.size());
    m_items.push_back(item);
    return true;
}

bool ShapeBatch::mask(const CoverageMask& mask, int x, int y, const GraphicsColour& colour) {
    Item item = make_item(Kind::MASK, colour);
    item.x = x + mask.x, item.y = y + mask.y;
    const auto place = [](int value) { return static_cast<float>(value); };
    if (mask.width < 1 || mask.height < 1 ||
        !reach(item, {place(item.x), place(item.y), place(item.x + mask.width), place(item.y + mask.height)}))
        return false;
    item.source = &mask;
    m_items.push_back(item);
    return true;
}

void ShapeBatch::sort_by_depth() {
    m_order.resize(m_items.size());
    std::iota(m_order.begin(), m_order.end(), 0U);
    std::stable_sort(m_order.begin(), m_order.end(),
                     [this](std::uint32_t a, std::uint32_t b) { return m_items[a].depth > m_items[b].depth; });
}

// ---- Drawing --------------------------------------------------------------------------------------------------------

void ShapeBatch::draw_item(const Item& item, K7Image* image, int first, int last, PolygonCoverage& coverage,
                           MeshRasterizer& meshes) const {
    const auto painted = [&](const CoverageRun& run) {
        paint(image_row<float>(image, run.y) + 4 * std::ptrdiff_t(run.x0), run.coverage, run.x1 - run.x0 + 1, item.ink,
              item.blend);
    };
    const PixelWindow window{0, std::max(first, item.first_row), m_width - 1, std::min(last, item.last_row)};
    switch (item.kind) {
        case Kind::POLYGON:
            coverage.set_polygon(static_cast<int>(item.end - item.begin) / 2, m_floats.data() + item.begin, 2, window);
            return coverage.for_runs(painted);
        case Kind::CONTOURS: {
            coverage.begin(window);
            std::uint32_t from = 0;
            for (std::uint32_t i = item.begin; i < item.end; from = m_contours[i++].end) {
                const Contour& contour = m_contours[i];
                if (contour.high > static_cast<float>(window.y0) && contour.low < static_cast<float>(window.y1 + 1))
                    coverage.add_contour(static_cast<int>(contour.end - from),
                                         m_floats.data() + item.points + 2 * std::size_t(from), 2);
            }
            return coverage.for_runs(painted);
        }
        case Kind::MESH:
            return meshes.draw(item, m_floats.data() + item.begin);
        case Kind::MASK: {
            const auto& mask = *static_cast<const CoverageMask*>(item.source);
            const int x0 = std::max(item.x, 0), x1 = std::min(item.x + mask.width, m_width) - 1;
            for (int y = window.y0; y <= window.y1; ++y)
                painted({y, x0, x1, mask.values.data() + std::ptrdiff_t(y - item.y) * mask.width + (x0 - item.x)});
            return;
        }
    }
}

bool ShapeBatch::draw(K7Image* image) const {
    if (!image || !image->pixels || image->channels != 4 || image->sample_type != SAMPLE_F32) return false;
    if (image->width != m_width || image->height != m_height) return false;
    if (m_items.empty()) return true;
    image->stats_valid = 0;  // before any thread draws
    row_bands::draw(
        m_items.size(), m_height,
        [this](std::size_t i) {
            return std::pair{m_items[i].first_row, m_items[i].last_row};
        },
        [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
            PolygonCoverage coverage;
            MeshRasterizer meshes(image);
            meshes.set_bounds(0, first, m_width - 1, last);
            for (; begin != end; ++begin) draw_item(m_items[*begin], image, first, last, coverage, meshes);
        },
        m_order.size() == m_items.size() ? m_order.data() : nullptr);
    return true;
}
