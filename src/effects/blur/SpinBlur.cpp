#include "effects/blur/SpinBlur.h"

#include <algorithm>
#include <cmath>

#include "Library2/DeviceFrame.h"
#include "imagelib/imagelib_composite.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr float DEGREE = 0.017453292f;
constexpr float SLOWEST = -270.0f, FASTEST = 359.0f;  // degrees
constexpr int DASHES = 10, CHORDS = 4;                // of a soft ring of the overlay, and of each of its dashes

ArcProfile profile_of(int style) {
    switch (style) {
        case SpinBlurInfo::Fade:
            return ArcProfile::Ring;
        case SpinBlurInfo::TwirlIn:
            return ArcProfile::Outward;
        case SpinBlurInfo::TwirlOut:
            return ArcProfile::Inward;
        default:
            return ArcProfile::Constant;
    }
}

// What it takes the processor on one thread, a pixel: the means, and the circles that they are taken of. Where all are,
// many lie beyond the picture and are done sooner.
double nanoseconds(const ArcLengths& arcs, float max_distance) {
    const ArcRange range = range_of_arcs(arcs, max_distance);
    const double inner = std::max(double(range.smallest) / double(max_distance), 0.0),
                 outer = std::min(double(range.largest) / double(max_distance), 1.0);
    return std::min(6 + 70 * std::max(outer * outer - inner * inner, 0.0), 43.0);
}

}  // namespace

void SpinBlur::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    // A result that stays on the device is a copy already.
    if (mix() == 1.0f || !blur(*source, *result)) image_copy(source, result);
}

float SpinBlur::mix() const { return std::clamp(static_cast<float>(Blend.value) * 0.01f, 0.0f, 1.0f); }

// Radii are fractions of half the picture's width. The source is mixed back in. False where there is nothing to blur,
// or the circles can't be had.
bool SpinBlur::blur(const K7Image& source, K7Image& result) {
    const float width = result.width, height = result.height;
    const float angle = std::clamp(static_cast<float>(Speed.value), SLOWEST, FASTEST) * DEGREE;
    if (!(std::fabs(angle) >= SHORTEST_ARC)) return false;

    float inner = static_cast<float>(IRadius.value) * width * 0.5f;
    float outer = static_cast<float>(ORadius.value) * width * 0.5f;
    if (outer <= inner) std::swap(inner, outer);
    const ArcLengths arcs{.angle = angle,
                          .profile = profile_of(BStyle.value),
                          .inner = inner,
                          .outer = outer,
                          .soft = (outer - inner) * static_cast<float>(SRadius.value),
                          .exponent = std::max(static_cast<float>(Twirl.value), 0.0f),
                          .invert_matte = InvertMatte.value};
    const ArcGeometry geometry =
        arc_geometry(result, static_cast<float>(Centre.x) * width, static_cast<float>(Centre.y) * height);
    if (!geometry.valid()) return false;
    if (DeviceFrame* device = deviceFor(nanoseconds(arcs, geometry.max_distance))) {
        blurOnDevice(*device, geometry, arcs);
        return true;
    }
    ImagelibCircles circles(geometry);
    if (!circles.valid()) return false;
    if (!unwrap(source, arcs, circles)) return true;
    const StageTimer timer("SpinBlur (CPU)");
    if (!circles.average(source, DoMatte.value ? matte.image.get() : nullptr, arcs, result)) return false;
    if (mix() > 0.0f) image_cross_dissolve(&result, &source, mix());
    return true;
}

void SpinBlur::blurOnDevice(DeviceFrame& device, const ArcGeometry& geometry, const ArcLengths& arcs) {
    const StageTimer timer("SpinBlur (CUDA)");
    DeviceImage *amount = DoMatte.value ? &device.picture(matte) : nullptr, &result = device.picture(output);
    const bool blurred = device.check("cuda_spin_blur", cuda_spin_blur(device.picture(input), amount, result, geometry,
                                                                       m_turn, arcs, device.stream()));
    if (blurred && mix() > 0.0f)
        device.check("cuda_cross_dissolve", cuda_cross_dissolve(result, device.picture(input), mix(), device.stream()));
}

bool SpinBlur::unwrap(const K7Image& source, const ArcLengths& arcs, ImagelibCircles& circles) const {
    const StageTimer timer("Un-wrap image.");
    const ArcRange range = range_of_arcs(arcs, circles.max_distance());
    return madeUnlessAborted(circles.unwrap(source, m_turn, range.smallest, range.largest, stopRequested()));
}

// ---- Overlay --------------------------------------------------------------------------------------------------

void SpinBlur::PrepareOverlay() {
    centreWidget.visible = angleWidget.visible = !Centre.hidden();
    innerWidget.visible = outerWidget.visible = BStyle.overlayValue == Fade;
}

// The soft rings inside the two circles of the fading ring.
void SpinBlur::DrawMore(const OverlayPen& pen) {
    if (BStyle.overlayValue != Fade) return;
    const Point centre = view.place(Centre.overlayX, Centre.overlayY);
    const double soft = (ORadius.overlayValue - IRadius.overlayValue) * SRadius.overlayValue;
    pen.colour(OVERLAY_WHITE);
    for (const double ring : {ORadius.overlayValue - soft, IRadius.overlayValue + soft}) {
        const float radius = view.length(ring);
        for (int dash = 0; dash < DASHES; ++dash) {
            for (int chord = 0; chord < CHORDS; ++chord) {
                const float from =
                    (static_cast<float>(dash) + 0.5f * static_cast<float>(chord) / CHORDS) * 360.0f / DASHES;
                const Point a = rotated({radius, 0.0f}, from);
                const Point b = rotated({radius, 0.0f}, from + 180.0f / DASHES / CHORDS);
                pen.line({centre.x + a.x, centre.y + a.y * view.aspect},
                         {centre.x + b.x, centre.y + b.y * view.aspect});
            }
        }
    }
}
