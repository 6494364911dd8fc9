// The vector front end: a pen in the space of the world, whose visible moves and strokes reach device hooks.
#pragma once

#include <array>

#include "graphicslib/geometric_transform.h"
#include "graphicslib/graphics_path.h"
#include "graphicslib/hershey_font.h"
#include "graphicslib/image_dev.h"
#include "graphicslib/line_clip.h"
#include "graphicslib/polygon_clip.h"

class LineGraphics : public HersheyFont, public PolygonClipBox, public LineClipBox, public GeometricTransform {
  public:
    LineGraphics() { set_text_height(0.01F); }
    ~LineGraphics() override = default;

    virtual void move_to(const float world[3]);
    virtual void draw_to(const float world[3]);
    // The part of clip space that is seen; initially -1 to 1. False for an empty one.
    virtual bool set_view_box(const float low[3], const float high[3]);

    virtual void device_move(const float*) {}  // normalised x, y, z
    virtual void device_draw(const float*) {}
    virtual void device_set_colour(const GraphicsColour&) {}
    virtual void device_set_width(float) {}
    virtual void device_set_style(int) {}

    void set_pen_colour(const GraphicsColour& colour);
    const GraphicsColour& pen_colour() const { return m_pen; }
    bool save_pen_colour(int place);  // 0 to 2
    bool restore_pen_colour(int place);

    bool set_text_height(float height);
    const std::array<float, 7>& text_step() const { return m_step; }
    void set_coordinate_scale(float scale) { m_coordinate_scale = scale; }
    void set_offset(const float new_offset[3], bool apply = true);

    // Scaled, offset and through all transforms, into clip space.
    void to_clip_space(const float world[3], float clip[4]) const;

    void on_move(const float* point) override;
    void on_draw(const float* point) override;

    const float* view_low() const { return m_box_low; }
    const float* view_high() const { return m_box_high; }
    const float* view_extent() const { return m_box_extent; }
    const float* world_point() const { return m_current_point; }
    const GraphicsPathK7& path() const { return m_graphics_path; }

  private:
    float m_current_point[3] = {0, 0, 0};
    float m_box_low[3] = {-1, -1, -1}, m_box_high[3] = {1, 1, 1}, m_box_extent[3] = {2, 2, 2};
    GraphicsColour m_pen{1, 1, 1, 1};
    std::array<GraphicsColour, 3> m_saved_colours;
    std::array<float, 7> m_step{};
    float m_coordinate_scale = 1;
    float m_offset[3] = {0, 0, 0};
    bool m_apply_offset = true;
    GraphicsPathK7 m_graphics_path;
};
