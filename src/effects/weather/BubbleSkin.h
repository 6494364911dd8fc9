// How one bubble looks: the pictures of its shell for every size, and the painting of a whole or a bursting one.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "imagelib/imagelib.h"

struct ShellSprite;

// A shell seen from the front. Four planes: how much skin there is in the line of sight, the place on the bubble from
// -1 to 1 in x and y (weighted as the last), and how much of the pixel it covers.
class BubbleSprite {
  public:
    enum Plane { Skin, PlaceX, PlaceY, Cover };

    BubbleSprite() = default;
    explicit BubbleSprite(float radius);

    bool empty() const { return m_samples.empty(); }
    float radius() const { return m_radius; }
    int reach() const { return m_reach; }  // pixels from the middle one to the last
    float at(Plane plane, int dx, int dy) const { return m_samples[index(plane, dx, dy)]; }  // up to the reach
    ShellSprite shell() const;

  private:
    // A frame of zeroes goes around, so that every sample that a bilinear read touches exists; the loops also read
    // some more to the right.
    static constexpr int FRAME = 1, SLACK = 16;
    int pitch() const { return 2 * m_reach + 1 + 2 * FRAME + SLACK; }
    int rows() const { return 2 * m_reach + 1 + 2 * FRAME; }
    std::size_t index(int plane, int dx, int dy) const {
        return static_cast<std::size_t>((plane * rows() + dy + m_reach + FRAME) * pitch() + dx + m_reach + FRAME);
    }

    std::vector<float> m_samples;
    float m_radius = 0;
    int m_reach = 0;
};

// Sprites of 2 to 40.5 pixels radius, made when they are first asked for.
class BubbleSprites {
  public:
    static constexpr int SIZES = 81;
    const BubbleSprite* get(float radius);  // entry by the truncated radius

  private:
    std::array<BubbleSprite, SIZES> m_sprites;
};

// The powers of 0 to 1 for the exponent of a highlight.
class GlossPowers {
  public:
    const float* of(float exponent);  // made anew when the exponent changes

  private:
    std::vector<float> m_powers;
    float m_exponent = 0;
};

// Light on the skin of one bubble.
struct BubbleGloss {
    float half[3]{};                // between the directions to the light and to the eye, length 1
    const float* powers = nullptr;  // of the highlight; null: none
    float strength[3]{};            // its colour
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

// The means of square cells, of which fewer than twice that many lie side by side; a small picture as it is. Null:
// nothing to mirror.
ImagePtr mirrored_picture(const K7Image* picture, int cells);

// A picture as bubbles of all sizes mirror it. A bubble shows a wide view in a few pixels, so that detail which is
// finer than these would only flicker.
class MirroredPicture {
  public:
    void make(const K7Image* picture);  // null: nothing to mirror
    // What a bubble of that radius shows: about a cell a pixel in its middle. Null: nothing.
    const K7Image* at(float radius) const;

  private:
    std::array<ImagePtr, 5> m_levels;  // from 128 cells, each with half as many as the one before
};

// Paints into rows first to last of a float RGBA picture. The mirrored picture, float RGBA too, is read bilinearly; it
// may be null.
void paint_bubble(const Bubble& bubble, const K7Image* mirrored, float mirror_strength, K7Image* image, int first,
                  int last);
