// Where the stars of Q_StarField stand and what kind each one is. Everything is a hash of a star's number.
#pragma once

#include <array>
#include <cstdint>

// A kind of star: its light as a multiple of the sun's, and its colour, of which the largest part is 1.
struct StarKind {
    float light;
    float colour[3];
};

// Kinds as a photograph of some hundred light years around shows them, dim ones less rarely than they are: parts of the
// main sequence and the giants of the Hertzsprung-Russell diagram. Any hash picks one. Colours are those of black
// bodies against daylight of 6504 K; saturation 1 leaves them so, 0 makes them white.
class StarKinds {
  public:
    explicit StarKinds(double saturation);
    const StarKind& operator[](std::uint32_t word) const { return m_kinds[word >> 24]; }
    // Of a globular cluster, whose hot stars have burnt out: giants in the place of most of them.
    const StarKind& old(std::uint32_t word) const { return m_kinds[m_old[word >> 24]]; }
    float mean_light() const { return m_mean_light; }  // of old ones

  private:
    std::array<StarKind, 256> m_kinds;
    std::array<std::uint8_t, 256> m_old;
    float m_mean_light = 0;
};

// Three vectors at right angles, of unit length: towards the band's bright middle, along the band, and to its pole.
struct StarBandAxes {
    float middle[3], along[3], pole[3];
};
StarBandAxes star_band_axes(double heading, double pitch, double tilt);  // degrees

struct StarScatter {
    std::uint32_t seed;
    float clumping;  // share of stars that stand in groups, 0 to 1
    std::uint32_t groups;
    float band_share;  // of far stars that crowd along the band, 0 to 1
    float band_width;  // radians
    StarBandAxes band;

    std::uint32_t near_word(std::uint32_t star) const;
    std::uint32_t far_word(std::uint32_t star) const;
    std::uint32_t cluster_word(std::uint32_t star) const;
    // In a box of edge 1 that repeats: groups may stick out.
    void near_place(std::uint32_t word, float (&place)[3]) const;
    // A direction of unit length.
    void far_direction(std::uint32_t word, float (&direction)[3]) const;
    // Around the centre of a cluster, in radii of its dense part: half of the stars within 1.3, all within 6.
    void cluster_place(std::uint32_t word, float (&place)[3]) const;
    // Light of a far star: the numbers of star counts, 0.5 a magnitude, where 1 is the faintest.
    float far_light(std::uint32_t word) const;
};

// Between -1 and 1, smooth in time; another star's is another one.
float star_flicker(std::uint32_t star, double time);
