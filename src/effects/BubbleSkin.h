// How one bubble looks: the pictures of its shell for every size, and the painting of a whole or a bursting one.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "imagelib/imagelib.h"

// A shell seen from the front. Four floats a pixel: how much skin there is in the line of sight, the place on the
// bubble from -1 to 1 in x and y (weighted as the last), and how much of the pixel it covers. A frame of zeroes goes
// around, so that every sample a bilinear read touches exists.
class BubbleSprite {
  public:
    BubbleSprite() = default;
    explicit BubbleSprite(float radius);

    bool empty() const { return m_samples.empty(); }
    float radius() const { return m_radius; }
    int reach() const { return m_side / 2; }  // pixels from the middle one to the last
    // Four channels at an offset from the centre, in pixels. False (and nothing written) beyond the sprite.
    bool sample(float dx, float dy, float* out) const;
    const float* pixel(int dx, int dy) const;  // whole offsets, up to the reach

  private:
    std::vector<float> m_samples;
    float m_radius = 0;
    int m_side = 0, m_pitch = 0;  // without and with the frame, pixels
};

// Sprites of 2 to 40.5 pixels radius, made when they are first asked for; null when there is no memory.
class BubbleSprites {
  public:
    static constexpr int SIZES = 81;
    const BubbleSprite* get(float radius);  // entry by the truncated radius

  private:
    std::array<BubbleSprite, SIZES> m_sprites;
};

// Light on the skin of one bubble.
struct BubbleGloss {
    float half[3];        // between the directions to the light and to the eye, length 1
    float exponent = 1;   // of the highlight
    float strength[3]{};  // colour of the highlight; 0: none
};

struct Bubble {
    const BubbleSprite* sprite = nullptr;
    float x = 0, y = 0;  // now, and where the shutter opened
    float tail_x = 0, tail_y = 0;
    float colour[3]{};
    float coverage = 0;
    BubbleGloss gloss;
    bool bursting = false;  // the rest is of bursting ones
    std::uint32_t seed = 0;
    float droplets = 0;  // part of the skin's pixels that are seen as droplets
    float scatter = 0;   // pixels

    // The rows that it can touch, within a picture of that height. False: none.
    bool rows(float height, int* first, int* last) const;
    float reach() const;  // pixels that it can touch around the line from the tail
};

// Paints into rows first to last of a float RGBA picture. The mirrored picture, float RGBA too, may be null.
void paint_bubble(const Bubble& bubble, const K7Image* mirrored, float mirror_strength, K7Image* image, int first,
                  int last);
