#include "effects/Clean.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <mutex>
#include <vector>

#include "effects/CleanPlane.h"
#include "k7pi_baselib/cpu.h"

namespace {

constexpr int RED = 0, ALPHA = 3;

const CleanKernels& kernels() {
    return cpu_select(baseline::clean_kernels, avx2::clean_kernels, avx512::clean_kernels);
}

bool is_picture(const K7Image* image) {
    return image && image->pixels && image->channels == 4 && image->sample_type == SAMPLE_F32;
}

// The channels as pictures of their own, and the range of each.
struct Planes {
    ImagePtr source[4], result[4];
    float range[4][2];

    Planes(int width, int height) {
        for (int c = 0; c < 4; ++c) {
            source[c] = make_image_uncleared(width, height, 1, SAMPLE_F32);
            result[c] = make_image_uncleared(width, height, 1, SAMPLE_F32);
            range[c][0] = std::numeric_limits<float>::infinity();
            range[c][1] = -range[c][0];
        }
    }
    bool valid() const {
        return std::all_of(std::begin(source), std::end(source), [](auto& p) { return p != nullptr; }) &&
               std::all_of(std::begin(result), std::end(result), [](auto& p) { return p != nullptr; });
    }
    void split(const K7Image& picture);
    void join(K7Image& picture) const;
};

void Planes::split(const K7Image& picture) {
    std::mutex mutex;
    for_rows_float(picture.height, [&](int first, int last) {
        if (first > last) return;
        float* rows[4];
        for (int c = 0; c < 4; ++c) rows[c] = image_row<float>(source[c].get(), first);
        float own[4][2];
        {
            const std::lock_guard lock(mutex);
            std::copy_n(&range[0][0], 8, &own[0][0]);
        }
        kernels().split(image_row<float>(&picture, first), long(last - first + 1) * picture.width, rows, own);
        const std::lock_guard lock(mutex);
        for (int c = 0; c < 4; ++c) {
            range[c][0] = std::min(range[c][0], own[c][0]);
            range[c][1] = std::max(range[c][1], own[c][1]);
        }
    });
}

void Planes::join(K7Image& picture) const {
    for_rows_float(picture.height, [&](int first, int last) {
        if (first > last) return;
        const float* rows[4];
        for (int c = 0; c < 4; ++c) rows[c] = image_row<float>(result[c].get(), first);
        kernels().join(rows, long(last - first + 1) * picture.width, image_row<float>(&picture, first));
    });
    picture.stats_valid = 0;
}

// All tasks of all planes, by whoever is free. False when there is no memory for it.
bool filter(const std::vector<CleanPlane>& planes, int rows) {
    int tasks = 0;
    std::size_t bytes = 0;
    for (const CleanPlane& plane : planes) {
        tasks += plane.tasks();
        bytes = std::max(bytes, plane.scratchBytes());
    }
    std::atomic<int> next{0};
    std::atomic<bool> complete{true};
    for_rows_float(rows, [&](int first, int last) {
        if (first > last) return;
        CleanScratch scratch;
        if (!scratch.allocate(bytes)) complete = false;
        for (int task; complete && (task = next.fetch_add(1)) < tasks;) {
            auto plane = planes.begin();
            for (; task >= plane->tasks(); ++plane) task -= plane->tasks();
            plane->run(task, scratch);
        }
    });
    return complete;
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
    Planes planes(source->width, source->height);
    if (!planes.valid()) return;
    planes.split(*source);

    std::vector<CleanPlane> filters;
    for (int c = RED; c <= ALPHA; ++c) {
        const Radii& radii = pairs[DoRGB.value ? 1 + c : 0];
        filters.emplace_back(image_row<float>(planes.source[c].get(), 0), image_row<float>(planes.result[c].get(), 0),
                             source->width, source->height, radii.x.value, DoSync.value ? radii.x.value : radii.y.value,
                             clean_bins(planes.range[c][0], planes.range[c][1]));
    }
    if (!filter(filters, source->height)) return;
    planes.join(*result);
    if (!doAlpha) image_copy_channels(source, result, 8);
}
