#include "effects/textures/TextureReader.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_guided.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float LARGEST = 65504;  // of a lit sample

float row_height(const K7Image& frame) { return 1.0F / std::clamp(frame.pixel_aspect, 0.1F, 10.0F); }

// Onto the paper; the luminance becomes the height.
void flatten(K7Image& texture, const float* paper) {
    for_rows_float(texture.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* p = image_row<float>(&texture, y);
            for (int x = 0; x < texture.width; ++x, p += 4) {
                const float alpha = std::clamp(p[3], 0.0F, 1.0F);
                for (int c = 0; c < 3; ++c) p[c] = paper[c] + alpha * (p[c] - paper[c]);
                p[3] = luminance(p);
            }
        }
    });
}

}  // namespace

// `texels`: of the texture for each width of the frame's pixels.
void TextureReader::place(float texels_x, float texels_y, const TextureLay& lay, const K7Image& frame) {
    const float rows = row_height(frame);
    const K7SineCosine turn = k7_sine_cosine(lay.angle);
    const float c = static_cast<float>(turn.cosine), s = static_cast<float>(turn.sine);
    m_xx = texels_x * c, m_xy = texels_x * s * rows;
    m_yx = -texels_y * s, m_yy = texels_y * c * rows;
    const float centre_x = 0.5F * static_cast<float>(frame.width - 1),
                centre_y = 0.5F * static_cast<float>(frame.height - 1);
    m_x = 0.5F * static_cast<float>(m_width - 1) - m_xx * centre_x - m_xy * centre_y;
    m_y = 0.5F * static_cast<float>(m_height - 1) - m_yx * centre_x - m_yy * centre_y;
    m_direct = m_xx == 1 && m_yy == 1 && m_xy == 0 && m_yx == 0;
    if (m_direct) m_x = std::floor(m_x), m_y = std::floor(m_y);
    m_pixels = image_row<float>(m_texture.get(), 0);
    m_pitch = 4L * m_width;
    m_mirrored = lay.mirrored;
}

// Brighter where the height rises towards the light. Slopes: what a step of the height between neighbours means.
void TextureReader::light(const TextureLay& lay, float slope_x, float slope_y) {
    const K7SineCosine from = k7_sine_cosine(lay.light - lay.angle);
    const float lx = -static_cast<float>(from.cosine) * slope_x * 0.5F * lay.relief,
                ly = -static_cast<float>(from.sine) * slope_y * 0.5F * lay.relief;
    const int width = m_width, height = m_height;
    for_rows_float(height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* row = image_row<float>(m_texture.get(), y);
            const float *below = image_row<float>(m_texture.get(), (y + height - 1) % height),
                        *above = image_row<float>(m_texture.get(), (y + 1) % height);
            const auto lit = [&](int x, int left, int right) {
                const float shine =
                    lx * (row[4 * right + 3] - row[4 * left + 3]) + ly * (above[4 * x + 3] - below[4 * x + 3]);
                const float factor = std::clamp(1.0F + shine, 0.15F, 1.85F);
                for (int c = 0; c < 3; ++c) row[4 * x + c] = std::min(row[4 * x + c] * factor, LARGEST);
            };
            lit(0, width - 1, std::min(1, width - 1));
            for (int x = 1; x + 1 < width; ++x) lit(x, x - 1, x + 1);
            if (width > 1) lit(width - 1, width - 2, 0);
        }
    });
}

bool TextureReader::lay_picture(const K7Image& picture, const float* paper, const TextureLay& lay,
                                const K7Image& frame) {
    const int shrink = std::clamp(static_cast<int>(1.0F / lay.size + 0.5F), 1, 100);
    m_texture = image_shrunk(&picture, shrink);
    if (!m_texture) return false;
    m_width = m_texture->width, m_height = m_texture->height;
    flatten(*m_texture, paper);
    const float texels = 1.0F / (lay.size * static_cast<float>(shrink)), rows = row_height(frame);
    const float slope = texels * 0.001F * static_cast<float>(frame.width);
    if (lay.relief > 0) light(lay, slope, slope / rows);
    place(texels, texels / rows, lay, frame);
    return true;
}

bool TextureReader::lay_tile(const K7Image& tile, float side, const TextureLay& lay, const K7Image& frame) {
    m_texture.reset(image_duplicate(&tile));
    if (!m_texture) return false;
    m_width = tile.width, m_height = tile.height;
    const float texels = static_cast<float>(tile.width) / std::max(side, 1.0F);
    const float slope = texels * 0.001F * static_cast<float>(frame.width);
    if (lay.relief > 0) light(lay, slope, slope);
    place(texels, texels, lay, frame);
    return true;
}
