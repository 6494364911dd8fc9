#include "effects/fluids/ClipFlow.h"

#include "Library2/Made.h"

void ClipFlow::ProcessFrame() {
    const StageTimer timer("ClipFlow (CPU)");
    const K7Image* walls = UseBarriers.value ? barrier.image.get() : nullptr;
    arrive({RestartDSecret.value, double(UseBarriers.value)});
    FluidFlow& fluidFlow = advance({input.image.get(), force.image.get(), walls, boxB.boundaryLayer->value});
    made(fluidFlow.flow_image(input.image.get(), output.image.get(), EdgeEscape.value));
    show(background.image.get(), walls);
}
