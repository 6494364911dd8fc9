#include "effects/adjust/Clean.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <mutex>
#include <vector>

#include "effects/adjust/CleanPlane.h"
#include "k7pi_baselib/cpu.h"

namespace {

constexpr int RED = 0, ALPHA = 3;

const CleanKernels& kernels() {
    return cpu_select(baseline::clean_kernels, avx2::clean_kernels, avx512::clean_kernels);
}

bool is_picture(const K7Image* image) {
    return image && image->pixels && image->channels == 4 && image->sample_type == SAMPLE_F32;
}

struct Range {
    float of[4][2];
    Range() {
        constexpr float ENDLESS = std::numeric_limits<float>::infinity();
        for (auto& channel : of) channel[0] = ENDLESS, channel[1] = -ENDLESS;
    }
};

Range range_of(const K7Image& picture) {
    std::mutex mutex;
    Range range;
    for_rows_float(picture.height, [&](int first, int last) {
        if (first > last) return;
        Range own;
        kernels().find_range(image_row<float>(&picture, first), long(last - first + 1) * picture.width, own.of);
        const std::lock_guard lock(mutex);
        for (int c = 0; c < 4; ++c) {
            range.of[c][0] = std::min(range.of[c][0], own.of[c][0]);
            range.of[c][1] = std::max(range.of[c][1], own.of[c][1]);
        }
    });
    return range;
}

// All tasks, by whoever is free and has memory: each a band of one large channel, or of all others. False when nobody
// has memory for them, or the host wants an end.
bool filter(const std::vector<CleanPlane>& planes, int rows, const PluginK7* effect) {
    std::vector<const CleanPlane*> large, others;
    std::size_t bytes = 0;
    for (const CleanPlane& plane : planes) {
        (plane.isLarge() ? large : others).push_back(&plane);
        // The others of a band take their parts of the memory at the same time.
        bytes = std::max(bytes, plane.isLarge() ? plane.scratchBytes() : 4 * plane.scratchBytes());
    }
    const int large_bands = CleanPlane::bands(rows, true), bands = CleanPlane::bands(rows, false);
    const int large_tasks = int(large.size()) * large_bands;
    const int tasks = large_tasks + (others.empty() ? 0 : bands);
    std::atomic<int> next{0};
    for_rows_float(rows, [&](int first, int last) {
        if (first > last) return;
        CleanScratch scratch;
        if (!scratch.allocate(bytes)) return;
        for (int task; !host_wants_abort(effect) && (task = next.fetch_add(1)) < tasks;) {
            if (task < large_tasks)
                large[std::size_t(task / large_bands)]->runBand(task % large_bands, scratch);
            else
                CleanPlane::runBand(others, task - large_tasks, scratch);
        }
    });
    return next >= tasks;
}

}  // namespace

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

void Clean::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    if (!is_picture(source) || !is_picture(result)) return;
    if (source->width != result->width || source->height != result->height) return;
    const StageTimer timer("Clean (CPU)");
    const Range range = range_of(*source);

    std::vector<CleanPlane> filters;
    for (int c = RED; c <= ALPHA; ++c) {
        const Radii& radii = pairs[DoRGB.value ? 1 + c : 0];
        filters.emplace_back(*source, *result, c, radii.x.value, DoSync.value ? radii.x.value : radii.y.value,
                             clean_bins(range.of[c][0], range.of[c][1]));
    }
    if (!filter(filters, source->height, this)) return;
    result->stats_valid = 0;
    if (!doAlpha) image_copy_channels(source, result, 8);
}
