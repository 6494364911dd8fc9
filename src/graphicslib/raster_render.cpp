// render_list: the list, sorted back to front, tile by tile into the target.
//
// A tile's memory stays in the second-level cache while all of its samples are drawn, weighed and summed. The target is
// written once and never read, whatever the number of samples. With exact coverage, half of the time goes into the
// rows of polygons (edges, coverage), and most of the rest into blending at the speed of that cache.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "graphicslib/raster_band.h"
#include "k7pi_baselib/in_memory.h"
#include "simdlib/cpu.h"

namespace {

constexpr float FILTER_RADIUS = 0.707F;  // pixels, of the Gaussian at half height
constexpr int CLIP_MARGIN = 10;          // pixels around the device

int to_pixel(float value, int limit) {  // NaN: 0
    return value > 0 ? static_cast<int>(std::min(value, static_cast<float>(limit))) : 0;
}

}  // namespace

// Equal parts of the longer side, disjoint.
PixelRect RasterGraphics::Render::band(int index) const {
    PixelRect rect = drawn;
    const bool columns = drawn.x1 - drawn.x0 > drawn.y1 - drawn.y0;
    int& first = columns ? rect.x0 : rect.y0;
    int& last = columns ? rect.x1 : rect.y1;
    const int start = first, extent = last - first + 1;
    first = start + static_cast<int>(std::int64_t(extent) * index / band_count);
    last = start + static_cast<int>(std::int64_t(extent) * (index + 1) / band_count) - 1;
    return rect;
}

bool RasterGraphics::sort_list() {
    m_sorted.clear();
    if (!in_memory([&] { m_sorted.reserve(std::size_t(m_list.count())); })) return false;
    bool in_order = true;
    for (DisplayNode* node = m_list.head(); node; node = node->next) {
        in_order &= !(!m_sorted.empty() && node->depth > m_sorted.back()->depth);
        m_sorted.push_back(node);
    }
    if (in_order) return true;
    std::stable_sort(m_sorted.begin(), m_sorted.end(),
                     [](const DisplayNode* a, const DisplayNode* b) { return a->depth > b->depth; });
    m_list.relink(m_sorted);
    return true;
}

void RasterGraphics::plan_samples(Render& render) {
    const int count = m_samples_per_side * m_samples_per_side;
    if (count == 1) {
        render.samples.push_back({0, 0, 1});
        render.total_weight = 1;
        return;
    }
    StochasticSamplingPattern::init(m_sampling_seed, m_samples_per_side, count, POISSON);
    for (int i = 0; i < count; ++i) {
        set_cursor(i);
        float offset[3];
        const float weight = gaussian_sample(FILTER_RADIUS, offset);
        render.samples.push_back({offset[0], offset[1], weight});
        render.total_weight += weight;
    }
}

void RasterGraphics::plan_nodes(Render& render) {
    render.reaches.reserve(m_sorted.size());
    for (const DisplayNode* node : m_sorted) render.reaches.push_back({node->x0, node->y0, node->x1, node->y1});
    float reach = 1;
    for (const auto& sample : render.samples)
        reach = std::max({reach, std::fabs(sample.dx) + 1, std::fabs(sample.dy) + 1});
    const int width = target()->width, height = target()->height;
    render.drawn = {to_pixel(m_low[0] - reach, width - 1), to_pixel(m_low[1] - reach, height - 1),
                    to_pixel(m_high[0] + reach, width - 1), to_pixel(m_high[1] + reach, height - 1)};
    render.band_count = m_num_bands;
    render.streamed = streams(target());
}

// May throw std::bad_alloc.
void RasterGraphics::prepare_bands(const Render& render) {
    std::size_t largest = 2;
    for (const DisplayNode* node : m_sorted) largest = std::max(largest, std::size_t(node->count));
    while (m_bands.size() < std::size_t(m_num_bands)) m_bands.push_back(std::make_unique<Band>(this));
    for (int i = 0; i < m_num_bands; ++i) {
        Band& band = *m_bands[std::size_t(i)];
        band.row_nodes.reserve(m_sorted.size());
        band.tile_nodes.reserve(m_sorted.size());
        if (band.moved.size() < largest * vertex_floats) band.moved.resize(largest * vertex_floats);
        band.tile.reserve(render.band(i), render.samples.size() > 1);
        band.polygons.kernels = &raster::kernels();
        band.polygons.set_mode(m_polygon_mode);
    }
}

bool RasterGraphics::render_list() {
    if (!device_ready()) return false;
    if (!(m_low[0] < m_high[0]) || !(m_low[1] < m_high[1])) return true;
    if (!sort_list()) return false;
    Render render;
    const bool room = in_memory([&] {
        plan_samples(render);
        plan_nodes(render);
        prepare_bands(render);
    });
    if (!room) return false;
    m_runner(m_num_bands, [&](int first, int last) {
        for (int i = first; i <= last; ++i) m_bands[std::size_t(i)]->render(render, render.band(i));
    });
    if (!m_keep_target) clear_around(render);
    target()->stats_valid = 0;
    m_used = true;
    return true;
}

// Bands write what is drawn; this writes the rest.
void RasterGraphics::clear_around(const Render& render) {
    K7Image* image = target();
    const PixelRect& drawn = render.drawn;
    m_runner(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            auto* out = image_row<std::byte>(image, y);
            const bool beside = y < drawn.y0 || y > drawn.y1;
            const std::size_t from = beside ? image->row_bytes : std::size_t(drawn.x0) * image->pixel_bytes;
            const std::size_t to = beside ? image->row_bytes : std::size_t(drawn.x1 + 1) * image->pixel_bytes;
            clear_bytes(out, from, render.streamed);
            clear_bytes(out + to, image->row_bytes - to, render.streamed);
        }
        finish_streams();
    });
}

const RasterGraphics::Material* RasterGraphics::material_of(const DisplayNode& node) const {
    if (node.material == 0 || node.material >= m_materials.size()) return nullptr;
    const Material& material = m_materials[node.material];
    return material.shader ? &material : nullptr;
}

// ---- A band -------------------------------------------------------------------------------------------------------

void RasterTile::reserve(const PixelRect& limits, bool with_sums) {
    constexpr std::size_t LINE = 16;  // floats of a cache line
    const int rows = std::clamp(limits.y1 - limits.y0 + 1, 0, HEIGHT);
    const int columns = std::clamp(limits.x1 - limits.x0 + 1, 0, WIDTH);
    m_stride = (columns + 3) / 4 * 4 + 2 * raster::ROW_PADDING;
    const std::size_t pixels = std::size_t(rows) * std::size_t(m_stride);
    const std::size_t floats = (with_sums ? 9 : 5) * pixels + LINE;
    if (m_memory.size() < floats) m_memory.resize(floats);
    const auto place = reinterpret_cast<std::uintptr_t>(m_memory.data()) / sizeof(float);
    m_samples = m_memory.data() + (LINE - place % LINE) % LINE;
    m_depths = m_samples + 4 * pixels;
    m_sums = with_sums ? m_depths + pixels : nullptr;
}

void RasterTile::begin(const PixelRect& place, bool with_depths) {
    rect = place;
    m_deep = with_depths;
}

void RasterTile::clear(const raster::Kernels& kernels) {
    const int pixels = rect.x1 - rect.x0 + 1;
    for (int y = rect.y0; y <= rect.y1; ++y) {
        kernels.fill(sample(rect.x0, y), 4 * pixels, 0);
        if (m_deep) kernels.fill(depth(rect.x0, y), pixels, ImageDev::FARTHEST);
    }
}

void RasterGraphics::Band::render(const Render& picture, const PixelRect& rect) {
    constexpr float MARGIN = 4;  // more than any sample moves
    const auto reaches = [](float lowest, float highest, int first, int last) {
        return highest + MARGIN >= static_cast<float>(first) && lowest - MARGIN <= static_cast<float>(last);
    };
    for (int y = rect.y0; y <= rect.y1; y += RasterTile::HEIGHT) {
        PixelRect place{0, y, 0, std::min(y + RasterTile::HEIGHT - 1, rect.y1)};
        row_nodes.clear();
        for (std::size_t i = 0; i < picture.reaches.size(); ++i)
            if (reaches(picture.reaches[i].y0, picture.reaches[i].y1, place.y0, place.y1))
                row_nodes.push_back(static_cast<int>(i));
        for (int x = rect.x0; x <= rect.x1; x += RasterTile::WIDTH) {
            place.x0 = x;
            place.x1 = std::min(x + RasterTile::WIDTH - 1, rect.x1);
            tile_nodes.clear();
            for (const int i : row_nodes) {
                const Render::Reach& node = picture.reaches[std::size_t(i)];
                if (reaches(node.x0, node.x1, place.x0, place.x1))
                    tile_nodes.push_back(graphics->m_sorted[std::size_t(i)]);
            }
            render_tile(picture, place);
        }
    }
    finish_streams();
}

// The list is drawn back to front. Where every node lies level, none can be hidden by one before it.
void RasterGraphics::Band::render_tile(const Render& picture, const PixelRect& rect) {
    const raster::Kernels& kernels = *polygons.kernels;
    tile.begin(rect, !std::all_of(tile_nodes.begin(), tile_nodes.end(), [](const auto* node) { return node->level; }));
    polygons.set_bounds(rect.x0, rect.y0, rect.x1, rect.y1);
    lines.set_bounds(rect.x0, rect.y0, rect.x1 + 1, rect.y1 + 1);
    const int floats = 4 * (rect.x1 - rect.x0 + 1);
    bool first = true;
    for (const Render::Sample& sample : picture.samples) {
        if (tile_nodes.empty()) break;
        tile.clear(kernels);
        clip_to_device(sample);
        for (const DisplayNode* node : tile_nodes) draw(*node, sample);
        if (picture.samples.size() == 1) break;
        for (int y = rect.y0; y <= rect.y1; ++y)
            (first ? kernels.weigh : kernels.add_weighted)(tile.sum(rect.x0, y), tile.sample(rect.x0, y), floats,
                                                           sample.weight);
        first = false;
    }
    write_tile(picture);
}

void RasterGraphics::Band::write_tile(const Render& picture) {
    K7Image* image = graphics->target();
    const PixelRect& rect = tile.rect;
    const int pixels = rect.x1 - rect.x0 + 1;
    for (int y = rect.y0; y <= rect.y1; ++y) {
        std::byte* out = image_row<std::byte>(image, y) + std::size_t(rect.x0) * image->pixel_bytes;
        const float* levels = picture.samples.size() == 1 ? tile.sample(rect.x0, y) : tile.sum(rect.x0, y);
        if (graphics->m_keep_target)
            store_over(out, tile_nodes.empty() ? 0 : pixels, levels, picture.total_weight, image->sample_type);
        else if (tile_nodes.empty())
            clear_bytes(out, std::size_t(pixels) * image->pixel_bytes, picture.streamed);
        else
            store(out, 4 * pixels, levels, picture.total_weight, image->sample_type, picture.streamed);
    }
}

void RasterGraphics::Band::clip_to_device(const Render::Sample& sample) {
    const float x = CLIP_MARGIN + std::fabs(sample.dx), y = CLIP_MARGIN + std::fabs(sample.dy);
    polygon_clip.set_rect(-x, -y, graphics->device_width() + x, graphics->device_height() + y);
    line_clip.set_rect(-x, -y, graphics->device_width() + x, graphics->device_height() + y);
}

bool RasterGraphics::Band::inside_device(const DisplayNode& node, const Render::Sample& sample) const {
    return node.x0 + sample.dx >= -CLIP_MARGIN && node.y0 + sample.dy >= -CLIP_MARGIN &&
           node.x1 + sample.dx <= graphics->device_width() + CLIP_MARGIN &&
           node.y1 + sample.dy <= graphics->device_height() + CLIP_MARGIN;
}

void RasterGraphics::Band::draw(const DisplayNode& node, const Render::Sample& sample) {
    switch (node.kind) {
        case DisplayNode::DISC:
            return draw_disc(node, sample);
        case DisplayNode::LINE:
            if (line_clip.offset_and_clip(node.vertices, sample.dx, sample.dy, moved.data(), vertex_floats))
                lines.draw_line(moved.data(), const_cast<DisplayNode*>(&node));
            return;
        default:
            return draw_polygon(node, sample);
    }
}

// The vertices with the sample's offset and as much of them as the shading needs: so many floats each.
int RasterGraphics::Band::place_polygon(const DisplayNode& node, const Render::Sample& sample) {
    const bool shaded = graphics->has_shader(node), shape = node.one_colour && !tile.has_depths();
    const int floats = shaded  ? vertex_floats
                       : shape ? RasterGraphicsPolygonRasterizer::SHAPE_FLOATS
                               : RasterGraphicsPolygonRasterizer::INK_FLOATS;
    float* to = moved.data();
    const float* from = node.vertices;
    for (int i = 0; i < node.count; ++i, to += floats, from += vertex_floats) {
        if (shaded) {
            std::copy_n(from, vertex_floats, to);
        } else if (!shape) {
            to[2] = from[2];
            std::copy_n(from + COLOUR, 4, to + 3);
        }
        to[0] = from[0] + sample.dx;
        to[1] = from[1] + sample.dy;
    }
    return floats;
}

void RasterGraphics::Band::draw_polygon(const DisplayNode& node, const Render::Sample& sample) {
    auto* argument = const_cast<DisplayNode*>(&node);
    const PixelRect& rect = tile.rect;
    if (node.x1 + sample.dx < static_cast<float>(rect.x0) || node.x0 + sample.dx > static_cast<float>(rect.x1 + 1) ||
        node.y1 + sample.dy < static_cast<float>(rect.y0) || node.y0 + sample.dy > static_cast<float>(rect.y1 + 1))
        return;
    const int floats = place_polygon(node, sample);
    polygons.set_vertex_floats(floats);
    if (inside_device(node, sample)) {
        polygons.draw_polygon(node.count, moved.data(), argument);
        return;
    }
    polygon_clip.set_extra_floats(floats - 2);
    if (polygon_clip.clip(node.count, moved.data()) != PolygonClip::outside)
        polygons.draw_polygon(polygon_clip.result_count(), polygon_clip.result(), argument);
}

// ---- Pixels -------------------------------------------------------------------------------------------------------

namespace {

void blend(float* out, const float* colour, float coverage) {
    const float a = colour[3] * coverage, keep = 1 - a;
    for (int k = 0; k < 3; ++k) out[k] = a * colour[k] + keep * out[k];
    out[3] = keep * out[3] + a;
}

}  // namespace

// The write that polygons, lines and discs share: depth test, shading, depth.
void RasterGraphics::write_fragment(const DisplayNode& node, RasterFragment& fragment, float z, RasterTile& tile) {
    float* stored = tile.depth(fragment.x, fragment.y);
    if ((stored && *stored < z) || fragment.coverage == 0) return;
    fragment.sample = tile.sample(fragment.x, fragment.y);
    fragment.material = node.material;
    fragment.second_id = node.second_id;
    if (const Material* material = material_of(node))
        material->shader(fragment, material->data);
    else
        blend(fragment.sample, fragment.colour, fragment.coverage);
    if (stored) *stored = z;
}

namespace {

RasterFragment make_fragment(int x, int y, float coverage, const float* attributes) {
    RasterFragment fragment{};
    fragment.x = x;
    fragment.y = y;
    fragment.coverage = coverage;
    std::copy_n(attributes + RasterGraphics::POSITION, 3, fragment.position);
    std::copy_n(attributes + RasterGraphics::NORMAL, 3, fragment.normal);
    std::copy_n(attributes + RasterGraphics::COLOUR, 4, fragment.colour);
    const float reciprocal = attributes[RasterGraphics::NORMAL + 2];
    fragment.w = reciprocal > 1e-6F ? 1 / reciprocal : reciprocal;
    for (int k = 0; k < 2; ++k) fragment.texture[k] = fragment.normal[k] * fragment.w;
    for (int k = 0; k < 3; ++k) fragment.surface_normal[k] = attributes[RasterGraphics::SPARE + k] * fragment.w;
    return fragment;
}

}  // namespace

void RasterGraphicsPolygonRasterizer::pixel(void*, int x, int y, float coverage, const float* attributes, int,
                                            void* argument, const float* step, const float* left_step) {
    constexpr int S = RasterGraphics::NORMAL, T = S + 1, RECIPROCAL = S + 2;
    RasterFragment fragment = make_fragment(x, y, coverage, attributes);
    const float square = attributes[RECIPROCAL] * attributes[RECIPROCAL];
    const float area = std::fabs(step[S] * left_step[T] - step[T] * left_step[S]);
    fragment.texture_area = square > 1e-12F ? area / square : area;
    m_graphics->write_fragment(*static_cast<const DisplayNode*>(argument), fragment, attributes[2], *tile);
}

void RasterGraphicsPolygonRasterizer::span(const Span& run) {
    const int count = run.x1 - run.x0 + 1;
    float* sample = tile->sample(run.x0, run.y);
    if (run.floats == 0) {
        const auto& node = *static_cast<const DisplayNode*>(run.argument);
        kernels->paint(sample, run.coverage, count, node.vertices + RasterGraphics::COLOUR);
        return;
    }
    if (run.floats == RasterGraphics::vertex_floats) {
        PolygonRasterizer::span(run);
        return;
    }
    const float *from = run.start + 3, *change = run.change + 3;
    const raster::SpanShade shade{{from[0], from[1], from[2], from[3]},
                                  {change[0], change[1], change[2], change[3]},
                                  run.start[2],
                                  run.change[2],
                                  run.x_start,
                                  run.scale};
    kernels->shade(sample, tile->depth(run.x0, run.y), run.coverage, run.x0, count, shade);
}

void RasterGraphicsLineRasterizer::pixel(void*, int x, int y, float coverage, const float* attributes, void* argument) {
    RasterFragment fragment = make_fragment(x, y, coverage, attributes);
    m_graphics->write_fragment(*static_cast<const DisplayNode*>(argument), fragment, attributes[2], *tile);
}

void RasterGraphics::Band::draw_disc(const DisplayNode& node, const Render::Sample& sample) {
    const PixelRect& rect = tile.rect;
    const float cx = node.centre[0] + sample.dx, cy = node.centre[1] + sample.dy;
    const int x0 = std::max(rect.x0, to_pixel(cx - node.radius, rect.x1 + 1));
    const int x1 = std::min(rect.x1, to_pixel(cx + node.radius, rect.x1));
    const int y0 = std::max(rect.y0, to_pixel(cy - node.radius, rect.y1 + 1));
    const int y1 = std::min(rect.y1, to_pixel(cy + node.radius, rect.y1));
    for (int y = y0; y <= y1; ++y)
        for (int x = x0; x <= x1; ++x) {
            const float dx = static_cast<float>(x) + 0.5F - cx, dy = static_cast<float>(y) + 0.5F - cy;
            const float square = dx * dx + dy * dy, t = std::min(1 - std::sqrt(square) / node.radius, 1.0F);
            if (!(t > 0)) continue;
            RasterFragment fragment{};
            fragment.x = x;
            fragment.y = y;
            fragment.coverage = 1;
            fragment.w = 1;
            const float device[2] = {static_cast<float>(x) + 0.5F, static_cast<float>(y) + 0.5F};
            graphics->from_device(device, fragment.position);
            fragment.position[2] = node.depth;
            // Of a ball of the disc's radius, so of unit length.
            const float up = std::sqrt(std::max(node.radius * node.radius - square, 0.0F));
            fragment.normal[0] = dx / node.radius;
            fragment.normal[1] = dy / node.radius;
            fragment.normal[2] = up / node.radius;
            for (int k = 0; k < 4; ++k) fragment.colour[k] = node.colour[k] * t;
            graphics->write_fragment(node, fragment, node.depth, tile);
        }
}
