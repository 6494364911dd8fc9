// What particles are drawn with: small one-channel pictures, made for a radius in pixels.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "imagelib/imagelib.h"

// The centre is the middle pixel.
ImagePtr make_soft_blob(float radius);      // a Gaussian of a third of the radius
ImagePtr make_textured_blob(float radius);  // the same, grainy
// A point with four rays, turned by the angle.
ImagePtr make_star(float radius, float degrees);
// A snow crystal of one of ten shapes, 2 * size + 1 pixels wide and high.
inline constexpr int FLAKE_VARIANTS = 10;
ImagePtr make_flake(int variant, int size);
// The shape itself, 8 bits.
ImagePtr make_flake_stamp(int variant);

// A sprite as the drawing loops read it: with a frame of zeroes, so that every sample they touch exists.
class Sprite {
  public:
    Sprite() = default;
    explicit Sprite(const K7Image* picture);  // one float channel; null: an empty sprite
    explicit operator bool() const { return !m_samples.empty(); }

    // Some samples beyond the last column of a row can be read too.
    static constexpr int SLACK = 16;
    const float* samples() const { return m_samples.data() + m_pitch + 1; }  // of the first row and column
    int width() const { return m_width; }
    int height() const { return m_height; }
    int pitch() const { return m_pitch; }

  private:
    std::vector<float> m_samples;
    int m_width = 0, m_height = 0, m_pitch = 0;
};

// The tables of an effect. Entries are made when they are first asked for.
class SpriteTables {
  public:
    static constexpr int SIZES = 81;
    static constexpr int FLAKE_SIZES = 100;

    explicit SpriteTables(std::uint32_t look_seed) { set_look_seed(look_seed); }
    void set_look_seed(std::uint32_t seed);  // turns the stars anew

    const Sprite* soft_blob(float size);  // entry by size, cut off to 0 to 80
    const Sprite* textured_blob(float size);
    const Sprite* star(float size);
    const Sprite* flake(int variant, float size);  // variants 1 to 10, sizes rounded up

  private:
    using Table = std::array<Sprite, SIZES>;
    std::array<float, SIZES> m_star_degrees{};
    Table m_soft, m_textured, m_stars;
    std::array<std::array<Sprite, FLAKE_SIZES>, FLAKE_VARIANTS> m_flakes;
};
