#include "effects/fluids/FlowEffect.h"

#include "effects/fluids/FluidColours.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_resample.h"

namespace {

constexpr float GRID_BLUR = 0.5F;  // cells

// As fine as the fluid's grid.
bool showGrid(K7Image& result, int cells) {
    const ImagePtr small = make_image_uncleared(cells, cells, 4, SAMPLE_F32);
    constexpr int ALL_CHANNELS = 15;
    return small && image_scale(&result, small.get(), KERNEL_TRIANGLE, false) &&
           image_gaussian_blur(small.get(), GRID_BLUR, GRID_BLUR, ALL_CHANNELS) &&
           image_scale(small.get(), &result, KERNEL_TRIANGLE, false);
}

}  // namespace

bool showFlow(const FlowView& view, K7Image& result) {
    switch (view.mode) {
        case FlowOverBack:
            return composite_fluid(view.behind, result, result, view.premultiplied);
        case FlowMatte:
            show_matte(result);
            return true;
        case FlowGridRes:
            return showGrid(result, view.cells);
        case FlowBarriers:
            return !view.barrier || image_copy(view.barrier, &result);
        default:
            return true;
    }
}
