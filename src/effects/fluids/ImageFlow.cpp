#include "effects/fluids/ImageFlow.h"

#include <algorithm>

#include "Library2/Made.h"
#include "effects/fluids/FlowMaps.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float SOURCE = 0.1F, SINK = 0.1F;  // for a strength of 1
constexpr float SINK_REACH = 0.25F;          // of the picture: the radius of a blur, whose box is half as wide
constexpr double LEAST_PERCENT = 0.1;

// The luminance of a picture on the grid of the fluid.
void luminance(const K7Image& picture, ScalarField& cells) {
    const ImagePtr grey = made(make_image_uncleared(picture.width, picture.height, 1, SAMPLE_F32));
    const ImagePtr small = made(make_image_uncleared(cells.width, cells.height, 1, SAMPLE_F32));
    made(image_luminance_to_matte(&picture, grey.get(), false));
    made(image_scale(grey.get(), small.get(), KERNEL_TRIANGLE, false));
    for (int y = 0; y < cells.height; ++y)
        std::copy_n(image_row<float>(small.get(), y), cells.width, cells.data.get() + cells.index(1, y + 1));
    cells.set_boundary();
}

}  // namespace

void ImageFlow::changeMaps(FluidFlow& fluidFlow) {
    ScalarField bright(FLUID_BOUNDED, fluidFlow.density_width, fluidFlow.density_height);
    made(bright.valid());
    if (SinkMode.value != NoSource && SinkStrength.value > 0.0) {
        luminance(*(SinkMode.value == SelfSource ? input : sinks).image, bright);
        // Flat areas have no slope to stream along: blurred twice, a hard matte becomes a hill.
        for (int n = 0; n < 2; ++n) made(fluidFlow.blur_field(bright, SINK_REACH * static_cast<float>(bright.width)));
        made(drain(fluidFlow, bright, static_cast<float>(SinkStrength.value) * SINK));
    }
    if (UseDiff.value && Diff.value > 0.0) made(diffuse_maps(fluidFlow, static_cast<float>(Diff.value)));
    if (UseDiss.value) {
        const double left = std::max(DissPercent.value, LEAST_PERCENT) / 100.0;
        settle_maps(fluidFlow, static_cast<float>(k7_pow(left, 1.0 / DissFrames.value)));
    }
    if (SourceMode.value != NoSource && SourceStrength.value > 0.0) {
        luminance(*(SourceMode.value == SelfSource ? input : sources).image, bright);
        well_up(fluidFlow, bright, static_cast<float>(SourceStrength.value) * SOURCE);
    }
}

void ImageFlow::ProcessFrame() {
    const StageTimer timer("ImageFlow (CPU)");
    const K7Image* walls = UseBarriers.value ? barrier.image.get() : nullptr;
    arrive({RestartDSecret.value, RestartESecret.value, double(UseBarriers.value)});
    FluidFlow& fluidFlow = advance({input.image.get(), force.image.get(), walls, BoundaryLayer.value});
    changeMaps(fluidFlow);
    made(fluidFlow.flow_image(input.image.get(), output.image.get(), EdgeEscape.value));
    show(background.image.get(), walls);
}
