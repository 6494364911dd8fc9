#include "effects/engines/sprites/SpriteGlow.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "effects/engines/sprites/SpriteGlow_simd.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr int STEP = 4;      // pixels of the picture to one of the layer
constexpr int BORDER = 2;    // of the layer, around the picture
constexpr int BLOCK = 1024;  // sprites that a thread takes at once

// The light of a sprite is that of its area; its halo spreads a part of it.
LookSprite halo_of(const LookSprite& s, const SpriteGlow::Halo& halo) {
    LookSprite h = s;
    h.radius = std::max(s.radius * halo.reach, halo.least) / STEP;
    h.x = s.x / STEP + BORDER;
    h.y = s.y / STEP + BORDER;
    h.way_x = s.way_x / STEP;
    h.way_y = s.way_y / STEP;
    const float wide = STEP * h.radius, share = std::min(s.radius * halo.reach / std::max(wide, 1e-6f), 1.0f);
    h.opacity = std::min(s.opacity, 1.0f) * halo.strength * share * share;
    h.depth = 0;
    return h;
}

}  // namespace

void SpriteGlow::draw(K7Image* image, const LookSprite* sprites, std::size_t count, const Halo& halo) {
    if (!image || image->channels != 4 || image->sample_type != SAMPLE_F32 || count == 0 || !(halo.strength > 0))
        return;
    const int width = (image->width + STEP - 1) / STEP + 2 * BORDER;
    const int height = (image->height + STEP - 1) / STEP + 2 * BORDER;
    const ImagePtr layer = made(make_image(width, height, 4, SAMPLE_F32));
    layer->pixel_aspect = image->pixel_aspect;
    m_halos.begin(*layer, {.look = SpriteLook::blob, .blend = DrawBlend::add});
    LookSprite* halos = m_halos.grow(count);
    const int blocks = static_cast<int>((count + BLOCK - 1) / BLOCK);
    // The border counts rows and the sprites pixel widths.
    const float shift = BORDER / (image->pixel_aspect > 0 ? image->pixel_aspect : 1.0f) - BORDER;
    for_rows_float(blocks, [&](int first, int last) {
        const std::size_t end = std::min(static_cast<std::size_t>(last + 1) * BLOCK, count);
        for (std::size_t i = static_cast<std::size_t>(first) * BLOCK; i < end; ++i) {
            halos[i] = halo_of(sprites[i], halo);
            halos[i].y += shift;
        }
    });
    m_halos.draw(layer.get());
    image->stats_valid = 0;
    for_rows_float(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float v = (static_cast<float>(y) + 0.5f) / STEP + (BORDER - 0.5f);
            const int row = static_cast<int>(v);
            glow_kernels().screen(image_row<float>(layer.get(), row), image_row<float>(layer.get(), row + 1),
                                  v - static_cast<float>(row), image_row<float>(image, y), image->width);
        }
    });
}
