// The halos of many small sprites: their light, softened over a multiple of their size, on a picture of a quarter of
// the size, and screened over the result. The
// layer is laid over in the same time however large the halos are.
#pragma once

#include "effects/engines/sprites/LookSprites.h"

class SpriteGlow {
  public:
    // The halos of what was collected: `reach` times as large, at least `least` pixel widths, times `strength`. Light
    // does not depend on the size of the sprite below a pixel width. Draws into a float RGBA picture of that shape.
    struct Halo {
        float reach, least, strength;
    };
    void draw(K7Image* image, const LookSprite* sprites, std::size_t count, const Halo& halo);

  private:
    LookSprites m_halos;
};
