#include "effects/water/Pool3D.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/water/Pool3D_simd.h"
#include "imagelib/imagelib_composite.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr float WATER_INDEX = 1.45f;
constexpr float STILL = 0.5f;  // height of still water

}  // namespace

void Pool3D::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    const float mix = std::clamp(float(Blend.value) * 0.01f, 0.0f, 1.0f);
    if (mix == 1.0f) {
        image_copy(source, result);
        return;
    }
    const float width = source->width, height = source->height;
    const bool inPlane = DoPersp.value;
    const float rowScale = inPlane ? width / height : height / width / source->pixel_aspect;
    const PlaneView plane = inPlane ? PlaneView(quad.corners(rowScale), rowScale) : PlaneView();
    const ImagePtr water = heights(*source, plane.to_plane, rowScale);
    if (region.UseMatte.value) weigh_by_matte(*matte.image, region.InvertMatte.value, *water);
    if (abortRequested()) return;

    const RefractingSurface look{.base = STILL,
                                 .index = WATER_INDEX,
                                 .chromatic = surface.parting(),
                                 .edge = edge_of_choice(FillMode.value),
                                 .light = surface.shining(),
                                 .to_plane = plane.to_plane,
                                 .row_scale = inPlane ? rowScale : 1.0f};
    if (!refract_through(*water, *source, look, doAlpha, stopRequested(), *result)) return;
    if (mix > 0.0f) made(image_cross_dissolve(result, source, mix));
}

// Heights above still water. Whole turns and whole waves do not show, so that the offset keeps its precision in long
// shots.
ImagePtr Pool3D::heights(const K7Image& frame, const PlaneMap& to_plane, float row_scale) const {
    const StageTimer timer("Waves");
    const int mode = PoolMode.value;
    const double waves = Frequency.value, arms = std::max(std::trunc(waves), 1.0), scale = double(row_scale);
    PoolWaves job{.width = frame.width,
                  .step = 1.0 / std::max(frame.width - 1, 1),
                  .to_plane = {},
                  .centre_x = Center.x,
                  .centre_y = Center.y * scale,
                  .along = mode == Twirl ? Tightness.value : (mode == Central ? 0.0 : waves),
                  .easing = mode == Swirl,
                  .around = mode == Pond ? 0.0 : (mode == Swirl ? 1.0 : arms),
                  .offset = std::fmod(-Phase.value * currentFrame, 1.0),
                  .radius = Radius.value,
                  .amplitude = float(Height.value) * 0.01f,
                  .table = m_wave.heights.data()};
    std::copy_n(to_plane.rows.data(), 9, job.to_plane);

    ImagePtr water = made(make_image_uncleared(frame.width, frame.height, 1, SAMPLE_F32));
    const double row = scale / std::max(frame.height - 1, 1);
    for_rows_float(frame.height, [&](int first, int last) {
        constexpr std::size_t BEYOND = 16;
        std::vector<int> index(std::size_t(frame.width) + BEYOND);
        std::vector<float> part(index.size());
        for (int y = first; y <= last; ++y)
            pool_kernels().pool_row(job, row * y, index.data(), part.data(), image_row<float>(water.get(), y));
    });
    return water;
}

void Pool3D::PrepareOverlay() {
    quadWidget.visible = centreWidget.inPerspective = !quad.TL.ghosted();
    lightWidget.visible = !surface.Light.ghosted();
}
