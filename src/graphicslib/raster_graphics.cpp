#include "graphicslib/raster_graphics.h"

#include <algorithm>
#include <cmath>

#include "graphicslib/raster_band.h"
#include "graphicslib/wu_line.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float HAIRLINE = 0.001F;    // widths below are lines of one pixel
constexpr float SAME_POINT = 0.001F;  // pixels
constexpr float PIXEL_TEXT_HEIGHT = 0.64F;

float unit(float value) { return value > 0 ? std::min(value, 1.0F) : 0; }

void interpolate(const RasterGraphics::Vertex& a, const RasterGraphics::Vertex& b, float t,
                 RasterGraphics::Vertex& result) {
    for (std::size_t k = 0; k < result.size(); ++k) result[k] = a[k] + t * (b[k] - a[k]);
}

}  // namespace

RasterGraphics::RasterGraphics() {
    m_current_vertex[POSITION - 1] = 1;  // w
    m_current_vertex[SPARE] = 1;
    RasterGraphics::set_colour({1, 1, 1, 1});
    add_light(0, "ambient");
    m_lights[0]->red = m_lights[0]->green = m_lights[0]->blue = 1;
    clear_list();
}

RasterGraphics::~RasterGraphics() = default;

void RasterGraphics::set_colour(const GraphicsColour& colour) {
    set_pen_colour(colour);
    set_vertex_colour(colour.r, colour.g, colour.b, colour.a);
}

bool RasterGraphics::set_line_width(float width) {
    if (!(width >= 0) || !std::isfinite(width)) return false;
    m_line_width = width;
    return true;
}

bool RasterGraphics::set_samples_per_side(int samples) {
    if (samples < 1 || samples > 64) return false;
    m_samples_per_side = samples;
    return true;
}

bool RasterGraphics::set_polygon_mode(int mode) {
    if (mode != PolygonRasterizer::EXACT && mode != PolygonRasterizer::PLAIN) return false;
    m_polygon_mode = mode;
    return true;
}

bool RasterGraphics::set_num_bands(int count) {
    if (count < 1 || count > 1024) return false;
    m_num_bands = count;
    return true;
}

void RasterGraphics::set_name(std::string_view name) { m_current_name = name.substr(0, 255); }

bool RasterGraphics::set_shader(int material, RasterShader shader, void* data) {
    if (material < 1 || material >= MATERIALS) return false;
    return in_memory([&] {
        m_materials.resize(MATERIALS);
        m_materials[std::size_t(material)] = {shader, data};
    });
}

bool RasterGraphics::set_texture(int index, const void* buffer, void* object) {
    if (index < 0 || index >= TEXTURES) return false;
    m_textures[std::size_t(index)] = {buffer, object};
    return true;
}

LightDef* RasterGraphics::add_light(int index, std::string_view name) {
    if (index < 0 || index >= LIGHTS) return nullptr;
    auto& place = m_lights[std::size_t(index)];
    return in_memory([&] {
        if (!place) place = std::make_unique<LightDef>(std::string(name));
        return place.get();
    });
}

LightDef* RasterGraphics::light(int index) const {
    return index < 0 || index >= LIGHTS ? nullptr : m_lights[std::size_t(index)].get();
}

LightDef* RasterGraphics::find_light(std::string_view name) const {
    for (const auto& light : m_lights)
        if (light && light->name == name) return light.get();
    return nullptr;
}

bool RasterGraphics::enter_pixel_space() {
    if (m_in_pixel_space) return false;
    m_saved_levels = save_levels();
    m_saved_fit_mode = fit_mode();
    m_saved_text_height = text_step()[0];
    const int stack_before = GeometricTransform::mode();
    bool pushed = true;
    for (const int stack : {VIEW, MODEL}) {
        set_mode(stack);
        pushed &= push();
        if (pushed) load_identity();
    }
    set_mode(stack_before);
    const float width = device_width(), height = device_height();
    if (!pushed || !set_window(0, width - 1, 0, height - 1, 0, k7_hypot(width, height))) {
        restore_levels(m_saved_levels);
        return false;
    }
    set_fit_mode(5);
    set_text_height(PIXEL_TEXT_HEIGHT);
    m_in_pixel_space = true;
    return true;
}

bool RasterGraphics::leave_pixel_space() {
    if (!m_in_pixel_space) return false;
    restore_levels(m_saved_levels);
    set_fit_mode(m_saved_fit_mode);
    set_text_height(m_saved_text_height);
    m_in_pixel_space = false;
    return true;
}

// ---- Strokes ------------------------------------------------------------------------------------------------------

bool RasterGraphics::begin_stroke() {
    if (m_stroke_owner.load() != std::this_thread::get_id()) {
        m_stroke_lock.lock();
        m_stroke_owner = std::this_thread::get_id();
    }
    m_stroke.clear();
    m_stroke_failed = false;
    return true;
}

void RasterGraphics::set_vertex_colour(float r, float g, float b, float a) {
    const float values[4] = {unit(r), unit(g), unit(b), unit(a)};
    std::copy_n(values, 4, m_current_vertex.data() + COLOUR);
}

void RasterGraphics::set_vertex_normal(float x, float y, float z) {
    const float values[3] = {x, y, z};
    std::copy_n(values, 3, m_current_vertex.data() + NORMAL);
}

RasterGraphics::Vertex RasterGraphics::make_vertex(const float position[3]) const {
    Vertex vertex = m_current_vertex;
    std::copy_n(position, 3, vertex.data() + POSITION);
    to_clip_space(position, vertex.data());
    return vertex;
}

bool RasterGraphics::add_vertex(float x, float y, float z) {
    if (m_stroke_failed || m_stroke_owner.load() != std::this_thread::get_id()) return false;
    const float position[3] = {x, y, z};
    m_stroke_failed = !in_memory([&] {
        if (m_stroke.capacity() == 0) m_stroke.reserve(16);
        m_stroke.push_back(make_vertex(position));
    });
    if (m_stroke_failed) m_stroke = {};
    return !m_stroke_failed;
}

bool RasterGraphics::end_stroke(bool closed) {
    if (m_stroke_owner.load() != std::this_thread::get_id()) return false;
    const std::size_t count = m_stroke.size(), segments = count < 2 ? 0 : (closed && count > 2 ? count : count - 1);
    bool done = !m_stroke_failed;
    done = in_memory([&] {
        if (m_polyline.capacity() == 0) m_polyline.reserve(4);
        for (std::size_t i = 0; i < segments && done; ++i) done = add_segment(m_stroke[i], m_stroke[(i + 1) % count]);
        // A ring that nothing was cut off joins its ends.
        const bool whole = segments > count - 1 && m_polyline.size() == segments + 1;
        return flush_polyline(whole) && done;
    });
    m_polyline.clear();
    m_stroke.clear();
    m_stroke_owner = std::thread::id();
    m_stroke_lock.unlock();
    return done;
}

// From clip space to normalised coordinates; what is interpolated in perspective is divided too. False behind the eye.
bool RasterGraphics::divide_by_w(Vertex& vertex) {
    const float w = vertex[3];
    if (!(w > 1e-10F)) return false;
    const float reciprocal = 1 / w;
    for (std::size_t i = 0; i < 3; ++i) vertex[i] *= reciprocal;
    vertex[NORMAL] *= reciprocal;
    vertex[NORMAL + 1] *= reciprocal;
    vertex[NORMAL + 2] = reciprocal;
    for (std::size_t i = SPARE; i < SPARE + 3; ++i) vertex[i] *= reciprocal;
    return true;
}

// Clip space to pixels. False where there is nothing to see.
bool RasterGraphics::to_device(Vertex& vertex) const {
    if (!divide_by_w(vertex)) return false;
    NDC_to_DC::to_device(vertex.data(), vertex.data());
    return std::isfinite(vertex[0]) && std::isfinite(vertex[1]) && std::isfinite(vertex[2]);
}

bool RasterGraphics::add_segment(const Vertex& a, const Vertex& b) {
    float t0, t1;
    if (!clip_segment(a.data(), b.data(), t0, t1)) return true;
    Vertex from = a, to = b;
    if (t0 > 0) interpolate(a, b, t0, from);
    if (t1 < 1) interpolate(a, b, t1, to);
    if (!to_device(from) || !to_device(to)) return true;
    if (m_line_width < HAIRLINE) return add_line_node(from, to);
    bool done = true;
    if (!m_polyline.empty() && (std::fabs(m_polyline.back()[0] - from[0]) > SAME_POINT ||
                                std::fabs(m_polyline.back()[1] - from[1]) > SAME_POINT))
        done = flush_polyline(false);
    if (m_polyline.empty()) m_polyline.push_back(from);
    const Vertex& last = m_polyline.back();
    if (std::fabs(last[0] - to[0]) > 1e-4F || std::fabs(last[1] - to[1]) > 1e-4F) m_polyline.push_back(to);
    return done;
}

bool RasterGraphics::flush_polyline(bool ring) {
    const float half_width = (device_width() + device_height()) * m_line_width * 0.25F;
    const bool done = thick::thicken(m_polyline, ring, half_width, m_stroke_style, add_polygon_node, this);
    m_polyline.clear();
    return done;
}

// ---- The list -------------------------------------------------------------------------------------------------------

void RasterGraphics::widen_bounds(float x, float y, float z) {
    const float point[3] = {x, y, z};
    for (int i = 0; i < 3; ++i) {
        m_low[i] = std::min(m_low[i], point[i]);
        m_high[i] = std::max(m_high[i], point[i]);
    }
}

DisplayNode* RasterGraphics::add_node(DisplayNode::Kind kind, int count, const Vertex* vertices) {
    for (int i = 0; i < count; ++i)
        for (int k = 0; k < 3; ++k)
            if (!std::isfinite(vertices[i][std::size_t(k)])) return nullptr;
    DisplayNode* node = m_list.add(count, vertex_floats);
    if (!node) return nullptr;
    node->kind = kind;
    node->material = m_current_material;
    node->second_id = m_current_second_id;
    node->level = node->one_colour = true;
    node->name_length = static_cast<std::uint8_t>(std::min<std::size_t>(m_current_name.size(), DisplayNode::NAME_ROOM));
    std::copy_n(m_current_name.data(), node->name_length, node->name);
    if (count == 0) return node;
    node->depth = -ImageDev::FARTHEST;
    node->x0 = node->y0 = ImageDev::FARTHEST;
    node->x1 = node->y1 = -ImageDev::FARTHEST;
    for (int i = 0; i < count; ++i) {
        const Vertex& v = vertices[i];
        std::copy(v.begin(), v.end(), node->vertices + i * vertex_floats);
        node->depth = std::max(node->depth, v[2]);
        node->level &= v[2] == vertices[0][2];
        node->one_colour &= std::equal(v.begin() + COLOUR, v.begin() + COLOUR + 4, vertices[0].begin() + COLOUR);
        node->x0 = std::min(node->x0, v[0]), node->x1 = std::max(node->x1, v[0]);
        node->y0 = std::min(node->y0, v[1]), node->y1 = std::max(node->y1, v[1]);
    }
    return node;
}

bool RasterGraphics::add_polygon_node(int count, const Vertex* vertices, void* graphics) {
    auto& self = *static_cast<RasterGraphics*>(graphics);
    DisplayNode* node = self.add_node(DisplayNode::POLYGON, count, vertices);
    if (!node) return false;
    self.widen_bounds(node->x0, node->y0, node->depth);
    self.widen_bounds(node->x1, node->y1, node->depth);
    return true;
}

bool RasterGraphics::add_line_node(const Vertex& a, const Vertex& b) {
    const Vertex ends[2] = {a, b};
    DisplayNode* node = add_node(DisplayNode::LINE, 2, ends);
    if (!node) return false;
    node->x0 -= 1, node->y0 -= 1, node->x1 += 1, node->y1 += 1;  // a line covers two pixels across
    widen_bounds(node->x0, node->y0, node->depth);
    widen_bounds(node->x1, node->y1, node->depth);
    return true;
}

bool RasterGraphics::add_disc(const float centre[3], float radius, const GraphicsColour& colour) {
    float clip[4];
    to_clip_space(centre, clip);
    if (!(radius > 0) || radius > 1e6F || !(clip[3] > 1e-10F) || !(std::fabs(clip[2]) <= clip[3])) return false;
    const float ndc[2] = {clip[0] / clip[3], clip[1] / clip[3]};
    float place[2];
    NDC_to_DC::to_device(ndc, place);
    const bool seen = place[0] + radius > 0 && place[0] - radius < device_width() && place[1] + radius > 0 &&
                      place[1] - radius < device_height();
    if (!seen) return false;
    DisplayNode* node = add_node(DisplayNode::DISC, 0, nullptr);
    if (!node) return false;
    node->depth = clip[2] / clip[3];
    node->x0 = place[0] - radius, node->x1 = place[0] + radius;
    node->y0 = place[1] - radius, node->y1 = place[1] + radius;
    const float values[4] = {unit(colour.r), unit(colour.g), unit(colour.b), unit(colour.a)};
    std::copy_n(values, 4, node->colour);
    std::copy_n(place, 2, node->centre);
    node->radius = radius;
    widen_bounds(node->x0, node->y0, node->depth);
    widen_bounds(node->x1, node->y1, node->depth);
    return true;
}

// The polygon in normalised coordinates, where all that is interpolated runs evenly: clipped, then placed.
bool RasterGraphics::add_projected() {
    set_extra_floats(vertex_floats - 2);
    if (clip(static_cast<int>(m_polygon.size()), m_polygon.data()->data()) == PolygonClip::outside) return true;
    const auto count = static_cast<std::size_t>(result_count());
    if (result() != m_polygon.data()->data()) {
        m_polygon.resize(count);
        std::copy_n(result(), count * vertex_floats, m_polygon.data()->data());
    }
    for (Vertex& vertex : m_polygon) NDC_to_DC::to_device(vertex.data(), vertex.data());
    return add_polygon_node(static_cast<int>(count), m_polygon.data(), this);
}

bool RasterGraphics::add_polygon(int count, const float* points) {
    if (count < 3 || !points) return false;
    return in_memory([&] {
        m_polygon.resize(static_cast<std::size_t>(count));
        for (Vertex& vertex : m_polygon) {
            vertex = make_vertex(points);
            points += 3;
            if (!divide_by_w(vertex)) return false;
        }
        return add_projected();
    });
}

bool RasterGraphics::add_polygon(int count, const RasterVertex* vertices) {
    if (count < 3 || !vertices) return false;
    return in_memory([&] {
        m_polygon.resize(static_cast<std::size_t>(count));
        for (Vertex& vertex : m_polygon) {
            const RasterVertex& from = *vertices++;
            vertex = make_vertex(from.position);
            std::copy_n(from.texture, 2, vertex.begin() + NORMAL);
            std::copy_n(from.normal, 3, vertex.begin() + SPARE);
            std::transform(from.colour, from.colour + 4, vertex.begin() + COLOUR, unit);
            if (!divide_by_w(vertex)) return false;
        }
        return add_projected();
    });
}

void RasterGraphics::clear_list() {
    m_list.clear();
    std::fill_n(m_low, 3, 1e6F);
    std::fill_n(m_high, 3, -1.0F);
}

// ---- The pen, at once ---------------------------------------------------------------------------------------------

void RasterGraphics::device_move(const float* ndc) {
    NDC_to_DC::to_device(ndc, m_device_pen);
    m_device_pen[2] = ndc[2];
}

void RasterGraphics::device_draw(const float* ndc) {
    const float from[2] = {m_device_pen[0], m_device_pen[1]};
    device_move(ndc);
    wu::Line line;
    if (!target() || !wu::prepare(from[0], from[1], m_device_pen[0], m_device_pen[1], line)) return;
    m_swap_axes = line.swapped;
    m_used = true;
    // From the previous colour at the line's start to the current one at its end.
    wu::walk(line, {0, 0, target()->width - 1, target()->height - 1},
             [this](int x, int y, float coverage, float t) { pixel(x, y, t, coverage); });
}
