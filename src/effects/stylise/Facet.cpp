#include "effects/stylise/Facet.h"

#include <algorithm>
#include <cmath>

#include "Library2/DeviceFrame.h"
#include "effects/stylise/Facet_cuda.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_composite.h"
#include "imagelib/imagelib_mode.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int LARGEST_SIZE = 2 * WINDOW_MODE_MOST_HALF + 1;  // pixels; the largest radius comes to 31 at full scale

int half_of(int size) { return std::max(size / 2, 1); }

}  // namespace

// Sizes in pixels of this image. The windows are odd: twice half the size, plus one pixel.
Facet::Window Facet::window(const K7Image& source) const {
    const auto whole = [](double size) {
        return static_cast<int>(std::clamp(size, -double{LARGEST_SIZE}, double{LARGEST_SIZE}));
    };
    const double scale = double{source.unit_scale};
    const int x = whole(XRad.value / scale + 1.0);
    const double aspect = double{source.pixel_width} / double{source.pixel_height};
    return {x, DoSync.value ? whole(x * aspect + 0.5) : whole(YRad.value / scale + 1.0)};
}

void Facet::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    const auto [x, y] = window(*source);
    const bool filters = x != 0 || y != 0;  // the output is a copy of the source as yet
    if (filters && !facetOnDevice(half_of(x), half_of(y))) {
        const StageTimer timer("Facet (CPU)");
        made(image_window_mode(source, result, half_of(x), half_of(y)));
    }
    applyMatte(*source, *result);
}

// False: it is left to the processor. There the largest windows cost no more than others, so they go to a device only
// where the host has its pictures. The matte goes on from the picture in main memory.
bool Facet::facetOnDevice(int half_x, int half_y) {
    constexpr int MOST_HALF = 127;
    if (std::max(half_x, half_y) > MOST_HALF && input.image->pixels) return false;
    DeviceFrame* device = deviceFor(facet_nanoseconds(half_x, half_y));
    if (!device) return false;
    const StageTimer timer("Facet (CUDA)");
    const int error = cuda_facet(device->picture(input), device->picture(output), half_x, half_y, device->stream());
    if (device->check("cuda_facet", error) && (DoMask.value || DoComp.value)) device->fetch(output);
    return true;
}

// Use Mask mixes the facets into the source by the matte's luminance, Composite puts the picture over the source with
// the same as its alpha.
void Facet::applyMatte(const K7Image& source, K7Image& result) {
    if (!DoMask.value && !DoComp.value) return;
    K7Image* mask = matte.image.get();
    image_luminance_in_place(mask, DoMask.value && InvertMask.value);
    if (DoMask.value) {
        for_rows_float(result.height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                const float *from = image_row<float>(&source, y), *weight = image_row<float>(mask, y);
                float* to = image_row<float>(&result, y);
                for (int i = 0; i < 4 * result.width; ++i) {
                    const float m = std::clamp(weight[i], 0.0f, 1.0f);
                    to[i] = from[i] + m * (to[i] - from[i]);
                }
            }
        });
    }
    if (DoComp.value) {
        constexpr int ALPHA_FROM_FIRST[] = {-1, -1, -1, 1};
        made(image_copy_mapped(mask, &result, ALPHA_FROM_FIRST, 4));
        image_composite(&result, &result, COMPOSITE_OVER, &source, false, -1, -1, -1, -1);
    }
}
