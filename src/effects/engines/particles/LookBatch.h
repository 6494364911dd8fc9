// The particles of a frame, drawn: looks are worked out on all threads, sprites laid down in the particles' order,
// halos last.
#pragma once

#include <algorithm>
#include <vector>

#include "effects/engines/particles/ParticleLook.h"
#include "graphicslib/mip_picture.h"
#include "k7pi_baselib/rows.h"

namespace particles {

// A clip's picture as particles show it: cropped to what is not transparent and about twice as large as `drawn`, the
// width in pixels of the largest of them.
MipPicture particle_picture(const K7Image& from, double drawn, bool premultiplied);

class LookBatch {
  public:
    // Forgets what was collected. `picture`: of the look that shows one, may be null.
    void begin(const K7Image& result, const ParticleLook& how, const MipPicture* picture) {
        m_sprites.begin(result, how.kind(picture));
    }
    // Adds `count` particles; seen(i) is asked twice for each, from any thread.
    template <class SeenOf>
    void collect(const ParticleLook& how, int count, SeenOf seen);
    // `width`: of the whole picture, pixels.
    void draw(K7Image& result, const ParticleLook& how, float width);

  private:
    LookSprites m_sprites;
    SpriteGlow m_glow;
    std::vector<int> m_counts;
};

// Blocks are counted first, so that each has its place among the sprites whatever thread fills it.
template <class SeenOf>
void LookBatch::collect(const ParticleLook& how, int count, SeenOf seen) {
    constexpr int ABREAST = 512;
    const int blocks = (count + ABREAST - 1) / ABREAST;
    m_counts.assign(static_cast<std::size_t>(blocks) + 1, 0);
    const auto on_blocks = [&](auto work) {
        for_rows_float(blocks, [&](int first, int last) {
            for (int b = first; b <= last; ++b) work(b, b * ABREAST, std::min((b + 1) * ABREAST, count));
        });
    };
    on_blocks([&](int block, int first, int end) {
        int sum = 0;
        for (int i = first; i < end; ++i) sum += how.count(seen(i));
        m_counts[static_cast<std::size_t>(block) + 1] = sum;
    });
    for (std::size_t b = 1; b < m_counts.size(); ++b) m_counts[b] += m_counts[b - 1];
    LookSprite* sprites = m_sprites.grow(static_cast<std::size_t>(m_counts.back()));
    on_blocks([&](int block, int first, int end) {
        LookSprite* to = sprites + m_counts[static_cast<std::size_t>(block)];
        for (int i = first; i < end; ++i) {
            const Seen what = seen(i);
            const int n = how.count(what);
            how.show(what, to, n);
            to += n;
        }
    });
}

}  // namespace particles
