#include "effects/blur/CrashZoom.h"

#include <algorithm>
#include <vector>

#include "Library2/DeviceFrame.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_lic.h"
#include "k7pi_baselib/k7pi_baselib.h"

void CrashZoom::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    const float width = result->width, height = result->height;
    constexpr double FARTHEST = 1000.0;  // frames; lines are as long as the centre is far
    const float cx = width * static_cast<float>(std::clamp(Centre.x, -FARTHEST, FARTHEST));
    const float cy = height * static_cast<float>(std::clamp(Centre.y, -FARTHEST, FARTHEST));
    const float clear = static_cast<float>(Radius.value) * width * 0.5f;
    const float speed = static_cast<float>(Speed.value / 100.0);
    const float soft = std::max(static_cast<float>(SoftRadius.value) / result->unit_scale, 1.0f);

    const auto threshold = static_cast<float>(Threshold.value), rotation = static_cast<float>(Rotation.value);
    const bool screened = UseObject.value == ObjectImage;

    const StageTimer timer("Radial LIC");
    if (screened && InvertMask.value) image_invert_rgb(object.image.get());
    if (DeviceFrame* device = deviceFor(radial_lic_cost(source, cx, cy, speed, Samp.value, screened))) {
        DeviceImage &from = device->picture(input), &to = device->picture(output);
        const float xasp = source->pixel_width, yasp = source->pixel_height;
        if (screened)
            device->check("cuda_radial_lic_screened",
                          cuda_radial_lic_screened(from, device->picture(object), to, cx, cy, speed, Samp.value, xasp,
                                                   yasp, soft, threshold, device->stream()));
        else
            device->check("cuda_radial_lic", cuda_radial_lic(from, to, cx, cy, clear, speed, Samp.value, xasp, yasp,
                                                             soft, UseObject.value, rotation, device->stream()));
    } else if (screened) {
        made(image_radial_lic_screened(source, object.image.get(), result, cx, cy, speed, Samp.value, soft, threshold));
    } else {
        image_radial_lic(source, result, cx, cy, clear, speed, Samp.value, soft, UseObject.value, rotation);
    }
}

// ---- Overlay --------------------------------------------------------------------------------------------------

void CrashZoom::PrepareOverlay() {
    centreWidget.visible = !Centre.hidden();
    radiusWidget.visible = UseObject.overlayValue != ObjectImage;
}

// The polygon inside the circle of the clear radius.
void CrashZoom::DrawMore(const OverlayPen& pen) {
    const int sides = UseObject.overlayValue;
    if (sides < ThreeSides) return;
    const Point centre = view.place(Centre.overlayX, Centre.overlayY);
    const float radius = view.length(Radius.overlayValue);
    const auto corner = [&](int i) {
        const float degrees =
            360.0f * static_cast<float>(i) / static_cast<float>(sides) - static_cast<float>(Rotation.overlayValue);
        const Point arm = rotated({radius, 0.0f}, degrees);
        return Point{centre.x + arm.x, centre.y + arm.y * view.aspect};
    };
    pen.colour(OVERLAY_WHITE);
    for (int i = 0; i < sides; ++i) pen.line(corner(i), corner(i + 1));
}
