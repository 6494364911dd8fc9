#include "effects/adjust/Lighten.h"

#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"

void Lighten::ProcessFrame() {
    const StageTimer timer("Lighten (CPU)");
    K7Image* picture = input.image.get();
    if (Gamma.value != 1.0) image_apply_gamma(picture, picture, static_cast<float>(Gamma.value));
    spreadExtreme(Extreme::Lightest, {CutOff, Rad, channels}, picture, output.image.get());
}
