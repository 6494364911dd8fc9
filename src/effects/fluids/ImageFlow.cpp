#include "effects/fluids/ImageFlow.h"

#include <algorithm>

#include "effects/fluids/FlowMaps.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float SOURCE = 0.1F, SINK = 0.1F;  // for a strength of 1
constexpr float SINK_REACH = 0.25F;          // of the picture: the radius of a blur, whose box is half as wide
constexpr double LEAST_PERCENT = 0.1;

// The luminance of a picture on the grid of the fluid. False without memory.
bool luminance(const K7Image& picture, ScalarField& cells) {
    const ImagePtr grey = make_image_uncleared(picture.width, picture.height, 1, SAMPLE_F32);
    const ImagePtr small = make_image_uncleared(cells.width, cells.height, 1, SAMPLE_F32);
    if (!cells.valid() || !grey || !small || !image_luminance_to_matte(&picture, grey.get(), false) ||
        !image_scale(grey.get(), small.get(), KERNEL_TRIANGLE, false))
        return false;
    for (int y = 0; y < cells.height; ++y)
        std::copy_n(image_row<float>(small.get(), y), cells.width, cells.data.get() + cells.index(1, y + 1));
    cells.set_boundary();
    return true;
}

}  // namespace

bool ImageFlow::changeMaps(FluidFlow& fluidFlow) {
    ScalarField bright(FLUID_BOUNDED, fluidFlow.density_width, fluidFlow.density_height);
    if (SinkMode.value != NoSource && SinkStrength.value > 0.0) {
        const ClipRecord& clip = SinkMode.value == SelfSource ? input : sinks;
        // Flat areas have no slope to stream along: blurred twice, a hard matte becomes a hill.
        const float reach = SINK_REACH * static_cast<float>(bright.width);
        if (!luminance(*clip.image, bright) || !fluidFlow.blur_field(bright, reach) ||
            !fluidFlow.blur_field(bright, reach))
            return false;
        if (!drain(fluidFlow, bright, static_cast<float>(SinkStrength.value) * SINK)) return false;
    }
    if (UseDiff.value && Diff.value > 0.0 && !diffuse_maps(fluidFlow, static_cast<float>(Diff.value))) return false;
    if (UseDiss.value) {
        const double left = std::max(DissPercent.value, LEAST_PERCENT) / 100.0;
        settle_maps(fluidFlow, static_cast<float>(k7_pow(left, 1.0 / DissFrames.value)));
    }
    if (SourceMode.value != NoSource && SourceStrength.value > 0.0) {
        const ClipRecord& clip = SourceMode.value == SelfSource ? input : sources;
        if (!luminance(*clip.image, bright)) return false;
        well_up(fluidFlow, bright, static_cast<float>(SourceStrength.value) * SOURCE);
    }
    return true;
}

void ImageFlow::ProcessFrame() {
    const StageTimer timer("ImageFlow (CPU)");
    const K7Image* walls = UseBarriers.value ? barrier.image.get() : nullptr;
    arrive({RestartDSecret.value, RestartESecret.value, double(UseBarriers.value)});
    FluidFlow* fluidFlow = advance({input.image.get(), force.image.get(), walls, BoundaryLayer.value});
    if (!fluidFlow || !changeMaps(*fluidFlow)) return;
    if (!fluidFlow->flow_image(input.image.get(), output.image.get(), EdgeEscape.value)) return;
    show(background.image.get(), walls);
}
