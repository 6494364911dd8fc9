#include "effects/adjust/Lighten.h"

#include "Library2/DeviceFrame.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"

void Lighten::ProcessFrame() {
    K7Image* picture = input.image.get();
    K7Image* result = output.image.get();
    const auto gamma = static_cast<float>(Gamma.value);
    const bool boosts = Gamma.value != 1.0 && gamma > 0.0f;
    const DeviceExtreme job = extremeOf(Extreme::Lightest, {CutOff, Rad, channels}, *result);
    if (DeviceFrame* device = deviceFor(EXTREME_NANOSECONDS + (boosts ? GAMMA_NANOSECONDS : 0))) {
        const StageTimer timer("Lighten (CUDA)");
        DeviceImage& source = device->picture(input);
        if (!boosts || device->check("cuda_apply_gamma", cuda_apply_gamma(source, source, gamma, device->stream())))
            device->check("cuda_lighten", cuda_lighten(source, device->picture(output), job, device->stream()));
        return;
    }
    const StageTimer timer("Lighten (CPU)");
    if (boosts) made(image_apply_gamma(picture, picture, gamma));
    made(image_window_extreme(picture, result, true, job.windows, &job.gate));
}
