#include "effects/adjust/Lighten.h"

#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"

void Lighten::ProcessFrame() {
    const StageTimer timer("Lighten (CPU)");
    K7Image* picture = input.image.get();
    const auto gamma = static_cast<float>(Gamma.value);
    if (Gamma.value != 1.0 && gamma > 0.0f) made(image_apply_gamma(picture, picture, gamma));
    spreadExtreme(Extreme::Lightest, {CutOff, Rad, channels}, picture, output.image.get());
}
