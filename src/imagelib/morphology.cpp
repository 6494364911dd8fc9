// Windows, strips and threads of the box minimum and maximum; the work itself is in morphology_simd.cpp.
#include "imagelib/imagelib_morphology.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

#include "imagelib/morphology_simd.h"
#include "imagelib/samples.h"
#include "simdlib/cpu.h"

namespace {

// A strip's lines and running extremes stay in the first-level cache, its slots in the second-level one.
constexpr int MAX_STRIP_COLUMNS = 512, MIN_STRIP_COLUMNS = 64;
constexpr std::size_t STREAM_ABOVE_BYTES = std::size_t(8) << 20;
constexpr int SLOT_BUDGET_PIXELS = 384 * 1024 / 16;

// Window offsets limited to what can lie in an image of this size. Empty (count() < 1) where no place ever does.
Reach limited_reach(int half, int count, int size) {
    const long long last = static_cast<long long>(count) - 1 - half;
    if (count < 1 || last < 1 - size || half < 1 - size) return {0, -1};
    return {static_cast<int>(-std::min<long long>(half, size - 1)),
            static_cast<int>(std::min<long long>(last, size - 1))};
}

bool is_same(const WindowSize& a, const WindowSize& b) {
    return a.rows == b.rows && a.columns == b.columns && a.half == b.half;
}

struct Extreme {
    const K7Image* source;
    K7Image* destination;
    bool maximum;
    const ExtremeGate* gate;
};

struct ScratchDeleter {
    void operator()(float* floats) const { ::operator delete[](floats, std::align_val_t(EXTREME_ALIGNMENT)); }
};
using Scratch = std::unique_ptr<float[], ScratchDeleter>;

GateSide gate_side(const ExtremeGate* gate) {
    if (!gate) return GateSide::none;
    return gate->keep_above ? GateSide::keep_above : GateSide::keep_below;
}

// Writes the channels in `lanes`; the others are taken from `others`.
bool filter_lanes(const Extreme& extreme, Reach across, Reach down, unsigned lanes, const K7Image* others) {
    const K7Image* source = extreme.source;
    const int most =
        std::max(MIN_STRIP_COLUMNS, std::min(MAX_STRIP_COLUMNS, SLOT_BUDGET_PIXELS / down.count() / 16 * 16));
    const int strips = (source->width + most - 1) / most;
    const int strip_columns = ((source->width + strips - 1) / strips + 15) / 16 * 16;
    const ExtremeStripFunction run = extreme_strip();
    const std::size_t line_floats = extreme_line_floats(strip_columns, across.count());
    const std::size_t row_floats = extreme_row_floats(strip_columns);
    std::atomic<bool> has_memory{true};
    for_rows_float(source->height, [&](int first, int last) {
        if (first > last) return;
        const std::size_t floats = line_floats + row_floats * (std::size_t(down.count()) + 1);
        const Scratch scratch(static_cast<float*>(
            ::operator new[](floats * sizeof(float), std::align_val_t(EXTREME_ALIGNMENT), std::nothrow)));
        if (!scratch) {
            has_memory = false;
            return;
        }
        std::fill_n(scratch.get(), floats, 0.0f);
        for (int x = 0; x < source->width; x += strip_columns) {
            run({.source = image_row<float>(source, 0),
                 .destination = image_row<float>(extreme.destination, 0),
                 .others = image_row<float>(others, 0),
                 .row_floats = std::size_t(source->width) * 4,
                 .width = source->width,
                 .height = source->height,
                 .first_row = first,
                 .last_row = last,
                 .first_column = x,
                 .columns = std::min(strip_columns, source->width - x),
                 .across = across,
                 .down = down,
                 .maximum = extreme.maximum,
                 .lanes = lanes,
                 .gate = gate_side(extreme.gate),
                 .threshold = extreme.gate ? extreme.gate->threshold : 0.0f,
                 .is_streamed = buffer_bytes(extreme.destination) > STREAM_ABOVE_BYTES,
                 .line = scratch.get(),
                 .prefix = scratch.get() + line_floats,
                 .slots = scratch.get() + line_floats + row_floats});
        }
    });
    return has_memory;
}

}  // namespace

bool image_window_extreme(const K7Image* source, K7Image* destination, bool maximum, const WindowSize per_channel[4],
                          const ExtremeGate* gate) {
    if (!per_channel || !is_valid(source) || !is_valid(destination) || !image_same_layout(source, destination))
        return false;
    if (source->channels != 4 || source->sample_type != SAMPLE_F32) return false;
    ImagePtr kept;
    if (source->pixels == destination->pixels) {
        kept.reset(image_duplicate(source));
        if (!kept) return false;
        source = kept.get();
    }

    const Extreme extreme{source, destination, maximum, gate};
    unsigned left = 15;  // channels without their result
    for (int c = 0; c < 4; ++c) {
        if (!(left >> c & 1u)) continue;
        unsigned lanes = 0;
        for (int other = c; other < 4; ++other)
            if (is_same(per_channel[c], per_channel[other])) lanes |= 1u << other;
        const Reach across = limited_reach(per_channel[c].half, per_channel[c].columns, source->width);
        const Reach down = limited_reach(per_channel[c].half, per_channel[c].rows, source->height);
        if (per_channel[c].rows < 2 || across.count() < 1 || down.count() < 1) continue;
        if (!filter_lanes(extreme, across, down, lanes, left == 15 ? source : destination)) return false;
        left &= ~lanes;
    }
    if (left == 15) return image_copy(source, destination);
    destination->stats_valid = 0;
    return true;
}
