// render_list: the list, sorted back to front, into the accumulator and from there into the target.
//
// The picture is cut into tiles that stay in the second-level cache while all of their samples are drawn, weighed and
// summed; the images are read and written once, whatever the number of samples.
#include <algorithm>
#include <cmath>
#include <new>

#include "graphicslib/raster_band.h"
#include "k7pi_baselib/cpu.h"

namespace {

constexpr int TILE_WIDTH = 256, TILE_HEIGHT = 64;
constexpr float FILTER_RADIUS = 0.707F;  // pixels, of the Gaussian at half height
constexpr int CLIP_MARGIN = 10;          // pixels around the device

int to_pixel(float value, int limit) {  // NaN: 0
    return value > 0 ? static_cast<int>(std::min(value, static_cast<float>(limit))) : 0;
}

}  // namespace

const raster::Kernels& raster::kernels() { return cpu_select(baseline::KERNELS, avx2::KERNELS, avx512::KERNELS); }

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
    sorted.clear();
    try {
        sorted.reserve(std::size_t(list.count()));
    } catch (const std::bad_alloc&) {
        return false;
    }
    for (DisplayNode* node = list.head(); node; node = node->next) sorted.push_back(node);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const DisplayNode* a, const DisplayNode* b) { return a->depth > b->depth; });
    list.relink(sorted);
    return true;
}

void RasterGraphics::plan_samples(Render& render) {
    const int count = samples_per_side * samples_per_side;
    if (count == 1) {
        render.samples.push_back({0, 0, 1});
        render.total_weight = 1;
        return;
    }
    StochasticSamplingPattern::init(sampling_seed, samples_per_side, count, POISSON);
    for (int i = 0; i < count; ++i) {
        set_cursor(i);
        float offset[3];
        const float weight = gaussian_sample(FILTER_RADIUS, offset);
        render.samples.push_back({offset[0], offset[1], weight});
        render.total_weight += weight;
    }
}

bool RasterGraphics::prepare_bands() {
    std::size_t largest = 2;
    for (const DisplayNode* node : sorted) largest = std::max(largest, std::size_t(node->count));
    try {
        while (bands.size() < std::size_t(num_bands)) bands.push_back(std::make_unique<Band>(this));
        for (const auto& band : bands) {
            band->row_nodes.reserve(sorted.size());
            band->tile_nodes.reserve(sorted.size());
            if (band->moved.size() < largest * vertex_floats) band->moved.resize(largest * vertex_floats);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool RasterGraphics::render_list() {
    if (!device_ready()) return false;
    if (!(low[0] < high[0]) || !(low[1] < high[1])) return true;
    if (!sort_list() || !prepare_bands()) return false;
    Render render;
    try {
        plan_samples(render);
    } catch (const std::bad_alloc&) {
        return false;
    }
    float reach = 1;
    for (const auto& sample : render.samples)
        reach = std::max({reach, std::fabs(sample.dx) + 1, std::fabs(sample.dy) + 1});
    const int width = target()->width, height = target()->height;
    render.drawn = {to_pixel(low[0] - reach, width - 1), to_pixel(low[1] - reach, height - 1),
                    to_pixel(high[0] + reach, width - 1), to_pixel(high[1] + reach, height - 1)};
    render.band_count = num_bands;
    clear_buffers();
    mark_buffers({render.drawn.x0, render.drawn.y0, render.drawn.x1, render.drawn.y1});
    for (const auto& band : bands) {
        band->polygons.kernels = &raster::kernels();
        band->polygons.set_mode(polygon_mode);
    }
    launch(num_bands, [&](int first, int last) {
        for (int i = first; i <= last; ++i) bands[std::size_t(i)]->render(render, render.band(i));
    });
    write_target(render);
    used = true;
    return true;
}

void RasterGraphics::write_target(const Render& render) {
    K7Image* image = target();
    const PixelRect& drawn = render.drawn;
    const int type = image->sample_type;
    launch(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            auto* out = image_row<std::byte>(image, y);
            if (y < drawn.y0 || y > drawn.y1) {
                std::fill_n(out, image->row_bytes, std::byte{0});
                continue;
            }
            const std::size_t from = std::size_t(drawn.x0) * image->pixel_bytes;
            const std::size_t to = std::size_t(drawn.x1 + 1) * image->pixel_bytes;
            std::fill_n(out, from, std::byte{0});
            std::fill_n(out + to, image->row_bytes - to, std::byte{0});
            const float* sums = image_row<float>(accumulator(), y);
            for (int i = 4 * drawn.x0; i < 4 * (drawn.x1 + 1); ++i) store(out, i, sums[i] / render.total_weight, type);
        }
    });
    image->stats_valid = 0;
}

const RasterGraphics::Material* RasterGraphics::material_of(const DisplayNode& node) const {
    if (node.material == 0 || node.material >= materials.size()) return nullptr;
    const Material& material = materials[node.material];
    return material.shader ? &material : nullptr;
}

// ---- A band
// -----------------------------------------------------------------------------------------------------------

void RasterGraphics::Band::render(const Render& picture, const PixelRect& rect) {
    for (int y = rect.y0; y <= rect.y1; y += TILE_HEIGHT) {
        PixelRect tile{0, y, 0, std::min(y + TILE_HEIGHT - 1, rect.y1)};
        const auto reaches = [](float low, float high, int first, int last) {
            constexpr float MARGIN = 4;  // more than any sample moves
            return high + MARGIN >= static_cast<float>(first) && low - MARGIN <= static_cast<float>(last);
        };
        row_nodes.clear();
        for (const DisplayNode* node : graphics->sorted)
            if (reaches(node->y0, node->y1, tile.y0, tile.y1)) row_nodes.push_back(node);
        for (int x = rect.x0; x <= rect.x1 && !row_nodes.empty(); x += TILE_WIDTH) {
            tile.x0 = x;
            tile.x1 = std::min(x + TILE_WIDTH - 1, rect.x1);
            tile_nodes.clear();
            for (const DisplayNode* node : row_nodes)
                if (reaches(node->x0, node->x1, tile.x0, tile.x1)) tile_nodes.push_back(node);
            if (!tile_nodes.empty()) render_tile(picture, tile);
        }
    }
}

void RasterGraphics::Band::render_tile(const Render& picture, const PixelRect& tile) {
    const raster::Kernels& kernels = *polygons.kernels;
    const int pixels = tile.x1 - tile.x0 + 1;
    polygons.set_bounds(tile.x0, tile.y0, tile.x1, tile.y1);
    lines.set_bounds(tile.x0, tile.y0, tile.x1 + 1, tile.y1 + 1);
    bool first = true;
    for (const Render::Sample& sample : picture.samples) {
        for (int y = tile.y0; y <= tile.y1; ++y) {
            kernels.fill(image_row<float>(graphics->sample(), y) + 4 * tile.x0, 4 * pixels, 0);
            kernels.fill(image_row<float>(graphics->depth(), y) + tile.x0, pixels, FARTHEST);
        }
        clip_to_device(sample);
        for (const DisplayNode* node : tile_nodes) draw(*node, sample, tile);
        for (int y = tile.y0; y <= tile.y1; ++y) {
            float* sums = image_row<float>(graphics->accumulator(), y) + 4 * tile.x0;
            const float* values = image_row<float>(graphics->sample(), y) + 4 * tile.x0;
            (first ? kernels.weigh : kernels.add_weighted)(sums, values, 4 * pixels, sample.weight);
        }
        first = false;
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

void RasterGraphics::Band::draw(const DisplayNode& node, const Render::Sample& sample, const PixelRect& tile) {
    auto* argument = const_cast<DisplayNode*>(&node);
    if (node.kind == DisplayNode::DISC) return draw_disc(node, sample, tile);
    if (node.kind == DisplayNode::LINE) {
        if (line_clip.offset_and_clip(node.vertices, sample.dx, sample.dy, moved.data(), vertex_floats))
            lines.draw_line(moved.data(), argument);
        return;
    }
    if (node.x1 + sample.dx < static_cast<float>(tile.x0) || node.x0 + sample.dx > static_cast<float>(tile.x1 + 1) ||
        node.y1 + sample.dy < static_cast<float>(tile.y0) || node.y0 + sample.dy > static_cast<float>(tile.y1 + 1))
        return;
    std::copy_n(node.vertices, node.count * vertex_floats, moved.data());
    for (int i = 0; i < node.count; ++i) {
        moved[std::size_t(i * vertex_floats)] += sample.dx;
        moved[std::size_t(i * vertex_floats + 1)] += sample.dy;
    }
    if (inside_device(node, sample)) {
        polygons.draw_polygon(node.count, moved.data(), argument);
        return;
    }
    polygon_clip.set_extra_floats(vertex_floats - 2);
    if (polygon_clip.clip(node.count, moved.data()) != PolygonClip::outside)
        polygons.draw_polygon(polygon_clip.result_count(), polygon_clip.result(), argument);
}

// ---- Pixels
// ----------------------------------------------------------------------------------------------------------

namespace {

void blend(float* out, const float* colour, float coverage) {
    const float a = colour[3] * coverage, keep = 1 - a;
    for (int k = 0; k < 3; ++k) out[k] = a * colour[k] + keep * out[k];
    out[3] = keep * out[3] + a;
}

}  // namespace

// The write that polygons, lines and discs share: depth test, shading, depth.
void RasterGraphics::write_fragment(const DisplayNode& node, RasterFragment& fragment, float z) {
    float& stored = image_row<float>(depth(), fragment.y)[fragment.x];
    if (stored < z || fragment.coverage == 0) return;
    fragment.sample = image_row<float>(sample(), fragment.y) + 4 * fragment.x;
    fragment.material = node.material;
    fragment.second_id = node.second_id;
    if (const Material* material = material_of(node))
        material->shader(fragment, material->data);
    else
        blend(fragment.sample, fragment.colour, fragment.coverage);
    stored = z;
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
    graphics->write_fragment(*static_cast<const DisplayNode*>(argument), fragment, attributes[2]);
}

void RasterGraphicsPolygonRasterizer::span(const Span& run) {
    if (graphics->has_shader(*static_cast<const DisplayNode*>(run.argument))) {
        PolygonRasterizer::span(run);
        return;
    }
    constexpr int C = RasterGraphics::COLOUR;
    const float *from = run.start + C, *change = run.change + C;
    const raster::SpanShade shade{{from[0], from[1], from[2], from[3]},
                                  {change[0], change[1], change[2], change[3]},
                                  run.start[2],
                                  run.change[2],
                                  run.x_start,
                                  run.scale};
    kernels->shade(image_row<float>(graphics->sample(), run.y) + 4 * run.x0,
                   image_row<float>(graphics->depth(), run.y) + run.x0, run.coverage, run.x0, run.x1 - run.x0 + 1,
                   shade);
}

void RasterGraphicsLineRasterizer::pixel(void*, int x, int y, float coverage, const float* attributes, void* argument) {
    RasterFragment fragment = make_fragment(x, y, coverage, attributes);
    graphics->write_fragment(*static_cast<const DisplayNode*>(argument), fragment, attributes[2]);
}

void RasterGraphics::Band::draw_disc(const DisplayNode& node, const Render::Sample& sample, const PixelRect& tile) {
    const float cx = node.centre[0] + sample.dx, cy = node.centre[1] + sample.dy;
    const int x0 = std::max(tile.x0, to_pixel(cx - node.radius, tile.x1 + 1));
    const int x1 = std::min(tile.x1, to_pixel(cx + node.radius, tile.x1));
    const int y0 = std::max(tile.y0, to_pixel(cy - node.radius, tile.y1 + 1));
    const int y1 = std::min(tile.y1, to_pixel(cy + node.radius, tile.y1));
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
            graphics->write_fragment(node, fragment, node.depth);
        }
}
