#include "effects/adjust/Darken.h"

#include "Library2/DeviceFrame.h"
#include "k7pi_baselib/k7pi_baselib.h"

void Darken::ProcessFrame() {
    K7Image* result = output.image.get();
    const DeviceExtreme job = extremeOf(Extreme::Darkest, {CutOff, Rad, channels}, *result);
    if (DeviceFrame* device = deviceFor(EXTREME_NANOSECONDS)) {
        const StageTimer timer("Darken (CUDA)");
        device->check("cuda_darken",
                      cuda_darken(device->picture(input), device->picture(output), job, device->stream()));
        return;
    }
    const StageTimer timer("Darken (CPU)");
    made(image_window_extreme(input.image.get(), result, false, job.windows, &job.gate));
}
