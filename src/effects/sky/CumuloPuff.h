// A puff of cloud: a soft sphere, lit from one side and broken up by noise, laid into rows of a float RGBA picture.
//
// Puffs of all sizes are one shape, so that no pictures of them are kept: a pixel's place in the puff tells how dense
// the cloud is there and which way the sphere faces. Places are in radii from the middle, y upwards. The texture moves
// the place that a pixel reads by noise. Its noise is read on a coarse grid, eight times a cell, and pixels lie
// between.
#pragma once

#include <vector>

#include "effects/sky/CumuloPuff_simd.h"
#include "imagelib/imagelib.h"
#include "noiselib/solidnoise.h"

// What all puffs of a frame share.
class PuffLook {
  public:
    // Density sin(pi/2 (1 - distance))^fluff at the distance from the middle.
    void set_fluff(float fluff);
    // Direction towards the light, of any length; one that is too short lights from the front. A place is as dark as
    // cloud can be where its cosine to the light is brightness - (2 - contrast) and lit where it is brightness +
    // (2 - contrast): higher brightness is darker.
    void set_light(float x, float y, float z, float contrast, float brightness);
    void set_even_light();  // all lit, from nowhere
    void set_colours(const float shadow[3], const float lit[3]);
    // How far the noise moves places, in diameters of the puff, and its cells over a diameter.
    void set_texture(float magnitude, float cells_x, float cells_y);
    // Weights of further stamps that lie on each puff.
    void set_repeats(std::vector<float> weights);

    const PuffShading& shading() const { return m_shading; }
    bool textured() const { return m_magnitude > 0; }
    float magnitude() const { return m_magnitude; }
    const float* cells() const { return m_cells; }

  private:
    std::vector<float> m_profile;
    float m_fluff = -1;
    std::vector<float> m_repeats;
    PuffShading m_shading{};
    float m_magnitude = 0;
    float m_cells[2] = {};
};

struct Puff {
    float x, y;    // of the middle, pixels; whole numbers are pixel centres
    float radius;  // pixels along a row, above 0
    float amount;  // coverage where it is densest, 0 to 1
    float depth;   // of the texture's noise: each puff has its own
    bool once;     // without the repeats

    // Rows that it reaches in a picture of that height; false: none. `squash`: rows for a pixel along a row.
    bool rows(float squash, int height, int* first, int* last) const;
};

// Rows first to last of the picture.
void paint_puff(const Puff& puff, const PuffLook& look, const SolidNoise& noise, float squash, K7Image* image,
                int first, int last);
