#include "graphicslib/line_graphics.h"

#include <algorithm>
#include <cmath>

namespace {

// Clip space divided by w; false behind the eye.
bool divide(const float clip[4], float result[3]) {
    if (!(clip[3] > 1e-10F)) return false;
    for (int i = 0; i < 3; ++i) result[i] = clip[i] / clip[3];
    return true;
}

}  // namespace

void LineGraphics::to_clip_space(const float world[3], float clip[4]) const {
    float placed[3];
    for (int i = 0; i < 3; ++i) placed[i] = world[i] * m_coordinate_scale + (m_apply_offset ? m_offset[i] : 0);
    project_point(placed, clip);
}

void LineGraphics::move_to(const float world[3]) {
    std::copy_n(world, 3, m_current_point);
    float clip[4];
    to_clip_space(world, clip);
    clip_point_no_result(clip, false);
}

void LineGraphics::draw_to(const float world[3]) {
    std::copy_n(world, 3, m_current_point);
    float clip[4];
    to_clip_space(world, clip);
    clip_point_no_result(clip, true);
}

bool LineGraphics::set_view_box(const float low[3], const float high[3]) {
    for (int i = 0; i < 3; ++i)
        if (!(low[i] <= high[i])) return false;
    for (int i = 0; i < 3; ++i) {
        m_box_low[i] = low[i];
        m_box_high[i] = high[i];
        m_box_extent[i] = high[i] - low[i];
    }
    return PolygonClipBox::set_box(low, high) && LineClipBox::set_box(low, high);
}

void LineGraphics::on_move(const float* point) {
    float ndc[3];
    if (divide(point, ndc)) device_move(ndc);
}

void LineGraphics::on_draw(const float* point) {
    float ndc[3];
    if (divide(point, ndc)) device_draw(ndc);
}

void LineGraphics::set_pen_colour(const GraphicsColour& colour) {
    m_pen = colour;
    device_set_colour(colour);
}

bool LineGraphics::save_pen_colour(int place) {
    if (place < 0 || place > 2) return false;
    m_saved_colours[std::size_t(place)] = m_pen;
    return true;
}

bool LineGraphics::restore_pen_colour(int place) {
    if (place < 0 || place > 2) return false;
    set_pen_colour(m_saved_colours[std::size_t(place)]);
    return true;
}

bool LineGraphics::set_text_height(float height) {
    if (!(height >= 0) || !std::isfinite(height)) return false;
    m_step = {height, -2 * height, -2 * height, 0, 2 * height, 2 * height, 0};
    return true;
}

void LineGraphics::set_offset(const float new_offset[3], bool apply) {
    std::copy_n(new_offset, 3, m_offset);
    m_apply_offset = apply;
}
