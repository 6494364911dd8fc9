// How the median filter's work is split among threads: value ranges first, then bands of rows.
#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <mutex>
#include <vector>

#include "imagelib/imagelib_median.h"
#include "imagelib/median_channel.h"
#include "imagelib/median_formulas.h"
#include "imagelib/samples.h"
#include "k7pi_baselib/in_memory.h"
#include "simdlib/cpu.h"

namespace {

struct Range {
    float of[4][2];
    Range() {
        constexpr float ENDLESS = std::numeric_limits<float>::infinity();
        for (auto& channel : of) channel[0] = ENDLESS, channel[1] = -ENDLESS;
    }
};

Range range_of(const K7Image& image) {
    const MedianKernels& kernels = median_kernels();
    std::mutex mutex;
    Range range;
    for_rows_float(image.height, [&](int first, int last) {
        if (first > last) return;
        Range own;
        kernels.find_range(image_row<float>(&image, first), long(last - first + 1) * image.width, own.of);
        const std::lock_guard lock(mutex);
        for (int c = 0; c < 4; ++c) {
            range.of[c][0] = std::min(range.of[c][0], own.of[c][0]);
            range.of[c][1] = std::max(range.of[c][1], own.of[c][1]);
        }
    });
    return range;
}

// Threads take tasks from a shared counter. A task is a band of one channel with a large window, or of all other
// channels together. False when no thread has memory, or an abort was requested.
bool filter(const std::vector<MedianChannel>& channels, int rows, const StopRequested& stop) {
    std::vector<const MedianChannel*> large, others;
    std::size_t bytes = 0;
    for (const MedianChannel& channel : channels) {
        (channel.is_large() ? large : others).push_back(&channel);
        // The others of a band use their parts of the memory at the same time.
        bytes = std::max(bytes, channel.is_large() ? channel.scratch_bytes() : 4 * channel.scratch_bytes());
    }
    const int large_bands = MedianChannel::bands(rows, true), bands = MedianChannel::bands(rows, false);
    const int large_tasks = int(large.size()) * large_bands;
    const int tasks = large_tasks + (others.empty() ? 0 : bands);
    std::atomic<int> next{0};
    for_rows_float(rows, [&](int first, int last) {
        if (first > last) return;
        MedianScratch scratch;
        if (!scratch.allocate(bytes)) return;
        for (int task; !wants_end(stop) && (task = next.fetch_add(1)) < tasks;) {
            if (task < large_tasks)
                large[std::size_t(task / large_bands)]->run_band(task % large_bands, scratch);
            else
                MedianChannel::run_band(others, task - large_tasks, scratch);
        }
    });
    return next >= tasks;
}

}  // namespace

bool image_window_median(const K7Image* source, K7Image* destination, const MedianRadii per_channel[4],
                         const StopRequested& stop) {
    if (!per_channel || !is_float_rgba(source) || !is_float_rgba(destination)) return false;
    if (!image_same_layout(source, destination) || source->pixels == destination->pixels) return false;
    const Range range = range_of(*source);
    destination->stats_valid = 0;
    return in_memory([&] {
        std::vector<MedianChannel> channels;
        for (int c = 0; c < 4; ++c)
            channels.emplace_back(*source, *destination, c, per_channel[c],
                                  median_bins(range.of[c][0], range.of[c][1]));
        return filter(channels, source->height, stop);
    });
}
