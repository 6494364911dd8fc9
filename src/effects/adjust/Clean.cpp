#include "effects/adjust/Clean.h"

#include "Library2/DeviceFrame.h"
#include "effects/adjust/Clean_cuda.h"
#include "k7pi_baselib/k7pi_baselib.h"

CleanInfo::CleanInfo() {
    ghost({&XRad}, DoRGB, isOn);
    ghost({&XRadR, &XRadG, &XRadB, &XRadA}, DoRGB, isOff);
    const auto ghostRadiiY = [this] {
        int locked = 0, split = 0;
        if (!DoSync.GetValue(-1, &locked) || !DoRGB.GetValue(-1, &split)) return;
        for (const Radii& pair : pairs) {
            pair.y.SetGhosted(locked || (&pair == pairs) == (split != 0));
            if (locked) lockRadius(pair);
        }
    };
    rule(DoSync, ghostRadiiY, "All Y radii are greyed, and become their X radii, when Lock Radius is on");
    rule(DoRGB, ghostRadiiY, "Radius Y is greyed when Split RGB is on, the Y radii of the channels when it is off");
    scene.inputs = {"seeding-small.png"};
    scene.settings = {{"XRad", "4"}};
    scene.plates = {"portrait.jpg"};
    scene.look = {{"XRad", "9"}};
}

// In the interface a locked Y radius shows what its X radius is.
void CleanInfo::lockRadius(const Radii& pair) {
    int x = 0, y = 0;
    if (pair.x.GetValue(-1, &x) && pair.y.GetValue(-1, &y) && x != y) pair.y.SetValue(x);
}

void Clean::ControlChanged(ControlK7& control) {
    int locked = 0;
    if (!DoSync.GetValue(-1, &locked) || !locked) return;
    for (const Radii& pair : pairs)
        if (&pair.x == &control) lockRadius(pair);
}

MedianRadii Clean::radiiOf(int channel) const {
    const Radii& pair = pairs[DoRGB.value ? 1 + channel : 0];
    return {pair.x.value, DoSync.value ? pair.x.value : pair.y.value};
}

bool Clean::channelsShareRadii() const {
    const auto [x, y] = radiiOf(0);
    for (int c = 1; c < 4; ++c)
        if (radiiOf(c).x != x || radiiOf(c).y != y) return false;
    return true;
}

void Clean::ProcessFrame() {
    const MedianRadii radii[] = {radiiOf(0), radiiOf(1), radiiOf(2), radiiOf(3)};
    const auto [x, y] = radii[0];
    if (DeviceFrame* device = channelsShareRadii() ? deviceFor(clean_nanoseconds(x, y)) : nullptr) {
        const StageTimer timer("Clean (CUDA)");
        device->check("cuda_clean",
                      cuda_clean(device->picture(input), device->picture(output), x, y, device->stream()));
        return;
    }
    const StageTimer timer("Clean (CPU)");
    madeUnlessAborted(image_window_median(input.image.get(), output.image.get(), radii, stopRequested()));
}
