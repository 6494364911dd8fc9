// Pictures of fluids, and fluids from pictures: thresholds, colour ramps, and the fluid over the background. Rows in
// parallel; float images of four channels.
#pragma once

#include "effects/fluids/FluidColours_simd.h"
#include "fluidlib/fluidlib.h"
#include "imagelib/imagelib.h"

// What a threshold of 0 to 1 leaves of a sample: it maps threshold to 1 on 0 to 1. At 0 or less that is the sample
// itself, from 0.9999 on nothing.
struct FuelThreshold {
    explicit FuelThreshold(double threshold);
    // Every sample, unlimited: how the user sees the threshold. A single channel is shown in all four.
    void show(const K7Image& from, K7Image& to) const;
    // Adds the mean of the colours, or the only channel, to two fields of one grid: nothing below 0, times amount.
    // False where the sizes differ.
    bool burn(const K7Image& from, float amount, ScalarField& heat, ScalarField& density) const;

  private:
    float m_low, m_scale;
};

// The ramp's colours of one field at each pixel, and alpha from another one. Sets the ramp's scales:
// `low` to `high` of the colour field are its 0 to 1, `alpha_low` to `alpha_high` of the other one alpha's.
// False where image and fields differ in size.
bool render_fields(const ScalarField& colour_field, const ScalarField& alpha_field, K7Image& image, float low,
                   float high, FluidRamp ramp, float alpha_low, float alpha_high);

// The foreground over the source, which is taken as it stands; null is black and transparent. A foreground that is not
// premultiplied is multiplied by its alpha first. The result may be either of them. False where sizes differ.
bool composite_fluid(const K7Image* source, K7Image& result, const K7Image& foreground, bool premultiplied);

// Adds a light's colours times `brightness`, and its opacity as far as there is room.
void add_glow(K7Image& image, const K7Image& light, float brightness);
// Multiplies the colours by those of a light times `brightness`.
void illuminate(K7Image& image, const K7Image& light, float brightness);

void show_matte(K7Image& image);  // alpha in all four channels
