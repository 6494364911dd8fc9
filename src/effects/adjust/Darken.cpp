#include "effects/adjust/Darken.h"

#include "k7pi_baselib/k7pi_baselib.h"

void Darken::ProcessFrame() {
    const StageTimer timer("Darken (CPU)");
    spreadExtreme(Extreme::Darkest, {CutOff, Rad, channels}, input.image.get(), output.image.get());
}
