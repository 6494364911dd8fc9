#include "effects/night/Thermo.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "effects/night/NightLook.h"
#include "imagelib/imagelib_composite.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int COLDNESS_ENTRIES = 3201, INTENSITY_ENTRIES = 4096;
constexpr double COLDEST_HUE = 240.0;  // degrees: blue
constexpr double GLOW = 0.9;           // intensity from which a colour turns white; at 1 it is
constexpr double LEAST_GAMMA = 0.01;

// A saturated colour of hue 0 to 240 degrees, from red over green to blue, that glows white at its most intense.
void put_colour(double hue, double intensity, float* rgb) {
    const double sector = hue / 60.0;
    const double pure[3] = {std::clamp(2.0 - sector, 0.0, 1.0), std::clamp(std::min(sector, 4.0 - sector), 0.0, 1.0),
                            std::clamp(sector - 2.0, 0.0, 1.0)};
    const double white = std::max(intensity - GLOW, 0.0) / (1.0 - GLOW);
    for (int c = 0; c < 3; ++c) rgb[c] = static_cast<float>(pure[c] * intensity * (1.0 - white) + white);
}

}  // namespace

void Thermo::ProcessFrame() {
    const StageTimer timer("Thermo (CPU)");
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    const float mix = std::clamp(static_cast<float>(Blend.value / 100.0), 0.0f, 1.0f);
    if (mix == 1.0f) {
        image_copy(source, result);
    } else {
        if (!image_heat(*source, *result)) return;
        if (mix > 0.0f) image_cross_dissolve(result, source, mix);
    }
}

// The colour of each brightness: gamma, both curves and the turn around the colour circle in one look-up.
std::vector<float> Thermo::palette() const {
    std::vector<float> table(4 * PALETTE_ENTRIES);
    std::array<float, COLDNESS_ENTRIES> coldness;
    std::array<float, INTENSITY_ENTRIES> brightness;
    temperature.curve().tabulate(COLDNESS_ENTRIES, [&](std::size_t i, float y) { coldness[i] = 1.0f - y; });
    intensity.curve().tabulate(INTENSITY_ENTRIES, [&](std::size_t i, float y) { brightness[i] = y; });
    for (int i = 0; i < PALETTE_ENTRIES; ++i) {
        const float g = m_gamma.entries()[i];
        const double cold = double(coldness[static_cast<std::size_t>(g * (COLDNESS_ENTRIES - 1))]);
        const double value = double(brightness[static_cast<std::size_t>(g * (INTENSITY_ENTRIES - 1))]);
        put_colour(COLDEST_HUE * cold, value, &table[std::size_t(4 * i)]);
    }
    return table;
}

// False when the host wants an end.
bool Thermo::image_heat(const K7Image& source, K7Image& result) {
    const double gamma = Gamma.value > LEAST_GAMMA ? Gamma.value : LEAST_GAMMA;
    const ImagePtr working = softened(source, Soften.value, Softening.value);
    m_gamma.prepare(PALETTE_ENTRIES, PALETTE_ENTRIES - 1, 1.0 / gamma);
    const std::vector<float> table = palette();
    const float boost = static_cast<float>(LuminanceBoost.value / 100.0);
    const NightLookRows& rows = night_look_rows();
    return eachRow(result.height, [&](int y) {
        rows.palette(table.data(), boost, image_row<float>(&source, y), image_row<float>(working.get(), y),
                     image_row<float>(&result, y), result.width);
    });
}
