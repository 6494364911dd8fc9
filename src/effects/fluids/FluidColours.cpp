#include "effects/fluids/FluidColours.h"

#include <algorithm>

namespace {

bool same_size(const K7Image& image, int width, int height) { return image.width == width && image.height == height; }

// Of a range that is written as its two ends: what their difference is multiplied by.
float scale_of(float low, float high) {
    const float range = high - low + 1e-7F;
    return range != 0.0F ? 1.0F / range : 0.0F;
}

constexpr double NOTHING_PASSES = 0.9999;
constexpr float STRONGEST_LIGHT = 1e12F;

}  // namespace

// ---- Fuel -----------------------------------------------------------------------------------------------------

FuelThreshold::FuelThreshold(double threshold)
    : m_low(threshold > 0.0 ? static_cast<float>(threshold) : 0.0F),
      m_scale(threshold >= NOTHING_PASSES ? 0.0F : 1.0F / (1.0F - m_low)) {}

void FuelThreshold::show(const K7Image& from, K7Image& to) const {
    const int step = from.channels == 4 ? 1 : 0;
    for_rows_float(to.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* sample = image_row<float>(&from, y);
            float* pixel = image_row<float>(&to, y);
            for (int x = 0; x < to.width; ++x, pixel += 4, sample += from.channels)
                for (int c = 0; c < 4; ++c) pixel[c] = (sample[c * step] - m_low) * m_scale;
        }
    });
    to.stats_valid = 0;
}

bool FuelThreshold::burn(const K7Image& from, float amount, ScalarField& heat, ScalarField& density) const {
    if (!heat.same_grid(density) || !same_size(from, heat.width, heat.height) || from.sample_type != SAMPLE_F32)
        return false;
    const FluidThreshold threshold{m_low, m_scale};
    const int begin = heat.first();
    for_rows_float(heat.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* samples = image_row<float>(&from, y);
            float* hot = heat.data.get() + heat.index(begin, begin + y);
            float* dense = density.data.get() + density.index(begin, begin + y);
            if (from.channels == 4) {
                fluid_colours().burn(threshold, samples, amount, heat.width, hot, dense);
                continue;
            }
            for (int x = 0; x < heat.width; ++x) {
                const float more = std::max((samples[x] - m_low) * m_scale, 0.0F) * amount;
                hot[x] = std::clamp(hot[x] + more, -FLUID_MAX_VALUE, FLUID_MAX_VALUE);
                dense[x] = std::clamp(dense[x] + more, -FLUID_MAX_VALUE, FLUID_MAX_VALUE);
            }
        }
    });
    heat.set_boundary();
    density.set_boundary();
    return true;
}

// ---- Colours --------------------------------------------------------------------------------------------------

bool render_fields(const ScalarField& colour_field, const ScalarField& alpha_field, K7Image& image, float low,
                   float high, FluidRamp ramp, float alpha_low, float alpha_high) {
    if (!colour_field.same_grid(alpha_field) || !same_size(image, colour_field.width, colour_field.height))
        return false;
    ramp.low = low;
    ramp.scale = scale_of(low, high);
    ramp.alpha_low = alpha_low;
    ramp.alpha_scale = scale_of(alpha_low, alpha_high);
    const int begin = colour_field.first();
    for_rows_float(image.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const std::size_t cell = colour_field.index(begin, begin + y);
            fluid_colours().colours(ramp, colour_field.data.get() + cell, alpha_field.data.get() + cell, image.width,
                                    image_row<float>(&image, y));
        }
    });
    image.stats_valid = 0;
    return true;
}

// ---- Compositing ----------------------------------------------------------------------------------------------

bool composite_fluid(const K7Image* source, K7Image& result, const K7Image& foreground, bool premultiplied) {
    if ((source && !image_same_layout(source, &result)) || !image_same_layout(&foreground, &result)) return false;
    for_rows_float(result.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            fluid_colours().over(image_row<float>(&foreground, y), source ? image_row<float>(source, y) : nullptr,
                                 premultiplied, result.width, image_row<float>(&result, y));
    });
    result.stats_valid = 0;
    return true;
}

void add_glow(K7Image& image, const K7Image& light, float brightness) {
    brightness = std::min(brightness, STRONGEST_LIGHT);
    for_rows_float(image.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            fluid_colours().add_light(image_row<float>(&light, y), brightness, image.width,
                                      image_row<float>(&image, y));
    });
    image.stats_valid = 0;
}

void illuminate(K7Image& image, const K7Image& light, float brightness) {
    brightness = std::min(brightness, STRONGEST_LIGHT);
    for_rows_float(image.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            fluid_colours().multiply_light(image_row<float>(&light, y), brightness, image.width,
                                           image_row<float>(&image, y));
    });
    image.stats_valid = 0;
}

void show_matte(K7Image& image) {
    constexpr int ALPHA_EVERYWHERE[] = {4, 4, 4, 4};
    image_copy_mapped(&image, &image, ALPHA_EVERYWHERE, 4);
}
