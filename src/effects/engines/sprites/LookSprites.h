// Many small particles, drawn fast: points, streaks, blobs, stars, rings, flakes, slips of paper, leaves and pictures,
// laid over what is there, added or screened.
//
// All sprites of a batch have one look and one way to blend. But for pictures nothing is read: the coverage of a pixel
// is worked out from its place in the shape, many pixels abreast, and edges are a pixel wide or softer. A sprite that
// is smaller than a pixel is drawn as large as one, and fainter. Bands of rows are drawn in parallel, so that the bits
// are those of one thread.
//
// Places are in pixel widths from the lower left corner of the picture, both axes; radii too. So shapes are as round as
// the picture's pixels are wide. Who fills a batch from several threads writes into what grow() gives.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/engines/sprites/LookSprites_simd.h"
#include "graphicslib/draw_blend.h"
#include "graphicslib/mip_picture.h"
#include "imagelib/imagelib.h"

class LookSprites {
  public:
    struct Kind {
        SpriteLook look = SpriteLook::blob;
        DrawBlend blend = DrawBlend::over;
        float softness = 1;                   // of blobs, points and streaks: how much of the radius the edge takes
        const MipPicture* picture = nullptr;  // of SpriteLook::picture, which is a blob without one
    };
    // Forgets what was collected and begins anew, for pictures of this shape.
    void begin(const K7Image& picture, const Kind& kind);
    // `count` more sprites, to be filled; until then they draw nothing. The pointer lives until the next call.
    LookSprite* grow(std::size_t count);
    void add(const LookSprite& sprite) { *grow(1) = sprite; }
    std::size_t count() const { return m_sprites.size(); }
    const std::vector<LookSprite>& sprites() const { return m_sprites; }

    // Draws them into a float RGBA picture of that shape: by their depth, the highest last, and where it is equal in
    // the order of collection. Sprites that are not finite, or far outside, draw nothing.
    void draw(K7Image* image);

  private:
    struct Rows {
        int first, last;
    };
    void findRows();
    bool sortByDepth();
    void drawPictures(K7Image* image, const std::uint32_t* order) const;

    Kind m_kind;
    int m_width = 0, m_height = 0;
    float m_aspect = 1;  // width of a pixel over its height
    std::vector<LookSprite> m_sprites;
    std::vector<Rows> m_rows;
    std::vector<std::uint32_t> m_order, m_scratch;
};
