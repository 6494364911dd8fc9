// A small retained pipeline: strokes and discs in space become a list of polygons, lines and discs in pixels, which
// render_list draws back to front, many samples a pixel, into the target image.
//
// A frame: prepare_device, set_colour, set_line_width, clear_device, enter_pixel_space, clear_list; for each stroke
// begin_stroke, set_vertex_colour and add_vertex for its vertices, end_stroke; leave_pixel_space, render_list. One
// object serves many frames and keeps its memory.
//
// The picture does not depend on the number of bands or threads: nodes are clipped against the whole device, never
// against a band, and every pixel's value follows from its nodes and samples alone.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "graphicslib/display_list.h"
#include "graphicslib/light_def.h"
#include "graphicslib/line_graphics.h"
#include "graphicslib/line_rasterizer.h"
#include "graphicslib/polygon_rasterizer.h"
#include "graphicslib/sampling_pattern.h"
#include "graphicslib/thick_line.h"

// What a shader gets, and may change through `sample` (r, g, b, a).
struct RasterFragment {
    int x, y;
    float* sample;
    float coverage;
    float position[3];  // as given with the vertex
    float normal[3];    // of strokes, as given, the first two over w, the third 1 / w; of discs, of a ball's surface
    float colour[4];
    float w;                  // 1 when there is no perspective
    float texture[2];         // of polygons with texture places
    float surface_normal[3];  // of polygons with normals, as given, not of unit length between vertices
    float texture_area;       // of the pixel, in units of the texture places, for the filtering of textures
    std::uint16_t material, second_id;
};
using RasterShader = void (*)(const RasterFragment& fragment, void* data);

// A vertex of a polygon in space. Normals are the shader's to use; texture places and normals are right in perspective.
struct RasterVertex {
    float position[3];  // in the world's space
    float normal[3] = {0, 0, 1};
    float texture[2] = {0, 0};
    float colour[4] = {1, 1, 1, 1};  // limited to 0 to 1
};

class RasterTile;

class RasterGraphics : public LineGraphics, public ImageDev, public StochasticSamplingPattern {
  public:
    static constexpr int vertex_floats = thick::FLOATS;
    // Places in a vertex: clip position, or pixel x, y and depth and w; position as given; normal, or texture place and
    // 1 / w; colour; spare, or surface normal.
    enum { CLIP = 0, POSITION = 4, NORMAL = 7, COLOUR = 10, SPARE = 14 };
    static constexpr int LIGHTS = 16, MATERIALS = 32768, TEXTURES = 256;
    using Vertex = thick::Vertex;

    RasterGraphics();
    ~RasterGraphics() override;
    RasterGraphics(const RasterGraphics&) = delete;
    RasterGraphics& operator=(const RasterGraphics&) = delete;

    // ---- State ------------------------------------------------------------------------------------------------
    void set_colour(const GraphicsColour& colour);  // of the pen, of clear_device and of coming vertices
    void clear_device() { ImageDev::clear_device(pen_colour()); }
    // Of the mean of the image's sides; below 0.001 strokes are antialiased lines of one pixel. Refuses negatives.
    bool set_line_width(float width);
    void set_stroke_style(StrokeStyle style) { m_stroke_style = style; }  // initially mitred and blunt
    bool set_samples_per_side(int samples);                               // 1 to 64; a picture takes the square of it
    // PolygonRasterizer::PLAIN, initially, or EXACT: smooth edges from a single sample, where pixels on the line
    // between two pieces of a stroke come out a little thinner.
    bool set_polygon_mode(int mode);
    bool set_num_bands(int bands);  // 1 to 1024
    // On: render_list draws over what the target holds, pre-multiplied. Off, initially: it replaces it.
    void set_keep_target(bool keep) { m_keep_target = keep; }
    void set_sampling_seed(std::uint32_t seed) { m_sampling_seed = seed; }
    void set_material(std::uint16_t material) { m_current_material = material; }
    void set_second_id(std::uint16_t id) { m_current_second_id = id; }
    void set_name(std::string_view name);  // up to 255 bytes, of which nodes keep eight
    bool set_shader(int material, RasterShader shader, void* data);
    bool set_texture(int index, const void* buffer, void* object);
    // The light at an index below LIGHTS, made when it is not there; 0 is "ambient".
    LightDef* add_light(int index, std::string_view name);
    LightDef* light(int index) const;
    LightDef* find_light(std::string_view name) const;

    // World units become pixels: x 0 to width - 1, y 0 to height - 1, z 0 to -hypotenuse. Entering twice fails.
    bool enter_pixel_space();
    bool leave_pixel_space();

    // ---- Drawing into the list ----------------------------------------------------------------------------------
    // A stroke belongs to one thread from begin to end; others wait in begin_stroke.
    bool begin_stroke();
    void set_vertex_colour(float r, float g, float b, float a);  // limited to 0 to 1
    void set_vertex_normal(float x, float y, float z);
    bool add_vertex(float x, float y, float z = 0);
    // False when memory ran out. A stroke of one vertex draws nothing, a closed one of two is open.
    bool end_stroke(bool closed);
    // A disc of pixels around a point of the world, fading from its centre. False outside the view.
    bool add_disc(const float centre[3], float radius, const GraphicsColour& colour);
    // A polygon of the world's space (x, y, z a point) in the colour of the last set_vertex_colour, clipped to the
    // view. Convex, or at least without overlaps. False where it reaches behind the eye, and when memory runs out.
    bool add_polygon(int count, const float* points);
    bool add_polygon(int count, const RasterVertex* vertices);

    void clear_list();
    int list_count() const { return m_list.count(); }
    const DisplayNode* list_head() const { return m_list.head(); }
    const float* bounds_low() const { return m_low; }
    const float* bounds_high() const { return m_high; }

    // ---- Rendering ----------------------------------------------------------------------------------------------
    // False when the device is not ready or memory runs out. With nothing in the list the target stays as it is, else
    // it is written whole, unless it is kept.
    bool render_list();

    void device_move(const float* ndc) override;
    void device_draw(const float* ndc) override;  // at once, into the target
    void device_set_colour(const GraphicsColour& colour) override { set_device_colour(colour); }
    void device_set_width(float width) override { set_line_width(width); }
    void device_set_style(int style) override { m_line_style = style; }

  private:
    struct Band;
    struct Render;
    friend struct Band;
    friend class RasterGraphicsPolygonRasterizer;
    friend class RasterGraphicsLineRasterizer;
    struct Material {
        RasterShader shader = nullptr;
        void* data = nullptr;
    };
    struct Texture {
        const void* buffer = nullptr;
        void* object = nullptr;
    };

    Vertex make_vertex(const float position[3]) const;
    static bool divide_by_w(Vertex& vertex);
    bool to_device(Vertex& vertex) const;
    bool add_projected();
    bool add_segment(const Vertex& a, const Vertex& b);
    bool flush_polyline(bool ring);
    bool add_line_node(const Vertex& a, const Vertex& b);
    static bool add_polygon_node(int count, const Vertex* vertices, void* graphics);
    DisplayNode* add_node(DisplayNode::Kind kind, int count, const Vertex* vertices);
    void widen_bounds(float x, float y, float z);
    const Material* material_of(const DisplayNode& node) const;
    bool has_shader(const DisplayNode& node) const { return material_of(node) != nullptr; }
    void write_fragment(const DisplayNode& node, RasterFragment& fragment, float z, RasterTile& tile);

    bool sort_list();
    void prepare_bands(const Render& render);
    void plan_samples(Render& render);
    void plan_nodes(Render& render);
    void clear_around(const Render& render);

    // The current vertex and stroke
    Vertex m_current_vertex{};
    std::vector<Vertex> m_stroke, m_polyline, m_polygon;
    bool m_stroke_failed = false;
    std::mutex m_stroke_lock;
    std::atomic<std::thread::id> m_stroke_owner{};

    float m_line_width = 0.005F;
    StrokeStyle m_stroke_style;
    int m_samples_per_side = 4;
    int m_polygon_mode = PolygonRasterizer::PLAIN;
    int m_num_bands = 1;
    int m_line_style = 0;
    bool m_keep_target = false;
    std::uint32_t m_sampling_seed = 1;

    DisplayList m_list;
    std::vector<DisplayNode*> m_sorted;
    float m_low[3], m_high[3];

    std::uint16_t m_current_material = 0, m_current_second_id = 0xFFFF;
    std::string m_current_name;
    std::vector<Material> m_materials;  // empty until the first shader
    std::array<Texture, TEXTURES> m_textures;
    std::array<std::unique_ptr<LightDef>, LIGHTS> m_lights;

    std::vector<std::unique_ptr<Band>> m_bands;
    bool m_in_pixel_space = false;
    SavedLevels m_saved_levels{};
    int m_saved_fit_mode = 1;
    float m_saved_text_height = 0.01F;
};
