#include "graphicslib/line_draw.h"

#include <algorithm>
#include <cmath>

#include "graphicslib/wu_line.h"

namespace {

bool is_float_image(const K7Image* image, int channels) {
    return image && image->pixels && image->sample_type == SAMPLE_F32 && image->channels >= channels;
}

// Bands of one image are drawn into by several threads; where the statistics have been forgotten before, none writes.
void forget_stats(K7Image* image) {
    if (image->stats_valid) image->stats_valid = 0;
}

}  // namespace

bool draw_line(K7Image* image, const float colour[4], float x0, float y0, float x1, float y1, float opacity_start,
               float opacity_end) {
    if (!is_float_image(image, 4) || !colour) return false;
    wu::Line line;
    if (!wu::prepare(x0, y0, x1, y1, line)) return false;
    const float start = colour[3] * opacity_start, change = colour[3] * (opacity_end - opacity_start);
    const int channels = image->channels;
    wu::walk(line, {0, 0, image->width - 1, image->height - 1}, [&](int x, int y, float coverage, float t) {
        float* out = image_row<float>(image, y) + x * channels;
        const float c = coverage * (start + change * t), keep = 1 - c;
        out[0] = c * colour[0] + keep * out[0];
        out[1] = c * colour[1] + keep * out[1];
        out[2] = c * colour[2] + keep * out[2];
        out[3] = c + keep * out[3];
    });
    forget_stats(image);
    return true;
}

LineDraw::LineDraw(K7Image* target, void* user)
    : m_user_pointer(user), m_image(is_float_image(target, 1) ? target : nullptr) {
    if (!m_image) return;
    m_clip_x1 = m_image->width - 1;
    m_clip_y1 = m_image->height - 1;
}

bool LineDraw::set_clip(int x0, int y0, int x1, int y1) {
    if (!m_image) return false;
    x0 = std::max(x0, 0), y0 = std::max(y0, 0);
    x1 = std::min(x1, m_image->width - 1), y1 = std::min(y1, m_image->height - 1);
    if (x0 > x1 || y0 > y1) return false;
    m_clip_x0 = x0, m_clip_y0 = y0, m_clip_x1 = x1, m_clip_y1 = y1;
    return true;
}

bool LineDraw::draw(float x0, float y0, float x1, float y1) {
    wu::Line line;
    if (!m_image || !wu::prepare(x0, y0, x1, y1, line)) return false;
    m_swapped_axes = line.swapped;
    m_line_length = static_cast<float>(line.length);
    wu::walk(line, {m_clip_x0, m_clip_y0, m_clip_x1, m_clip_y1},
             [this](int x, int y, float coverage, float t) { pixel(x, y, coverage, t); });
    forget_stats(m_image);
    return true;
}

StreakLineDraw::StreakLineDraw(K7Image* target, const float* table, int half_width, float fade_from)
    : LineDraw(is_float_image(target, 3) ? target : nullptr),
      m_colours(table),
      m_entries(half_width > 0 && table ? 2 * half_width : 0),
      m_fade_start(fade_from) {}

void StreakLineDraw::pixel(int x, int y, float coverage, float t) {
    if (m_entries == 0) return;
    float fade = 1;
    if (t > m_fade_start) {
        const float s = std::clamp((t - m_fade_start) / (1 - m_fade_start), 0.0F, 1.0F);
        fade = 1 - (3 - 2 * s) * s * s;
    }
    const float position = t * length();
    const int entry =
        position < static_cast<float>(m_entries) ? std::max(static_cast<int>(position), 0) : m_entries - 1;
    const float* colour = m_colours + 3 * static_cast<std::ptrdiff_t>(entry);
    const float weight = coverage * fade;
    float* out = pixel_at(x, y);
    out[0] += weight * m_red * colour[0];
    out[1] += weight * m_green * colour[1];
    out[2] += weight * m_blue * colour[2];
}

MyLineDraw::MyLineDraw(K7Image* target, const Ink* ink)
    : LineDraw(is_float_image(target, 4) && ink ? target : nullptr, const_cast<Ink*>(ink)) {}

void MyLineDraw::pixel(int x, int y, float coverage, float t) {
    const auto& ink = *static_cast<const Ink*>(user());
    const float a = coverage * t * ink.strength;
    const float keep = ink.keep_background ? 1 : std::max(1 - a, 0.0F);
    float* out = pixel_at(x, y);
    out[0] = a * ink.r + keep * out[0];
    out[1] = a * ink.g + keep * out[1];
    out[2] = a * ink.b + keep * out[2];
    out[3] = keep * out[3] + a;
}
