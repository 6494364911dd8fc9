// The columns of a strip go through the caches once. Along the rows the window grows by doubling: the extreme over 2p
// pixels is that of two neighbouring runs of p, and two overlapping runs cover any window. Down the columns the method
// of van Herk (Pattern Recognition Letters 13, 1992) and of Gil and Werman (IEEE PAMI 15, 1993): rows are taken in
// blocks as long as the window, which then is the tail of one block and the head of the next.
#include "imagelib/morphology_simd.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// One or two RGBA pixels. Wider vectors cross a cache line with every shifted load, and were slower.
using Vector = Vec<float, REGISTER == 16 ? 4 : 8>;
constexpr int STEP = COUNT_OF<Vector>;

inline Vector pixels(float r, float g, float b, float a) {
    const float two[8] = {r, g, b, a, r, g, b, a};
    return load<Vector>(two);
}
inline Vector take(const float* from) { return load<Vector>(from); }

// ---- The loops ------------------------------------------------------------------------

// What the loops compare with. Passed by value: a reference would be reloaded after every store, which may alias it.
template <bool maximum, GateSide gate, bool is_partial>
struct Comparison {
    Vector nothing, threshold, weights, is_written;
    bool is_pixel_apart;  // the window does not contain the pixel

    explicit Comparison(const ExtremeStrip& job)
        : nothing(all<Vector>(maximum ? -__builtin_inff() : __builtin_inff())),  // loses every comparison
          threshold(all<Vector>(job.threshold)),
          weights(pixels(0.3f, 0.5f, 0.2f, 0.0f)),
          is_written(pixels(job.lanes & 1 ? 1.0f : 0.0f, job.lanes & 2 ? 1.0f : 0.0f, job.lanes & 4 ? 1.0f : 0.0f,
                            job.lanes & 8 ? 1.0f : 0.0f)),
          is_pixel_apart(job.across.first > 0 || job.across.last < 0 || job.down.first > 0 || job.down.last < 0) {}

    static Vector extreme(Vector a, Vector b) { return maximum ? larger(a, b) : smaller(a, b); }

    // NaN takes no part: of an unordered pair the processor gives the second. Negative zeros become positive: which of
    // two equal zeros wins must not depend on the order.
    Vector clean(Vector v) const { return extreme(v, nothing) + all<Vector>(0.0f); }

    Vector finish(Vector found, Vector source, Vector other) const {
        if (is_pixel_apart) found = extreme(found, clean(source));
        found = found == nothing ? source : found;
        if constexpr (gate != GateSide::none) {
            const Vector parts = source * weights;
            const Vector luminance = spread<0>(parts) + spread<1>(parts) + spread<2>(parts);
            const auto keeps = gate == GateSide::keep_above ? luminance > threshold : luminance < threshold;
            found = keeps ? source : found;
        }
        if constexpr (is_partial) found = is_written > 0.0f ? found : other;
        return found;
    }
};

// Rows of a strip are short and far apart, which the processor does not foresee.
constexpr std::size_t PREFETCH_ROWS = 1;

void fill(float* from, const float* end, Vector value) {
    for (; from < end; from += STEP) store(from, value);
}

// The line starts where its first pixel inside the image falls on a cache line.
float* line_start(const ExtremeStrip& job) {
    const int first = job.first_column + job.across.first;
    return job.line + (first < 0 ? (first & 3) * 4 : 0);
}

// The pixels that the windows of the strip reach in row y, padded with nothing where they leave the image.
template <class Compare>
void load_line(const ExtremeStrip& job, Compare compare, int y) {
    float* const line = line_start(job);
    const int line_pixels = job.columns + job.across.count() - 1;
    const int first = job.first_column + job.across.first;  // image column of the line's first pixel
    const int inside_first = first > 0 ? first : 0;
    const int inside_end = first + line_pixels < job.width ? first + line_pixels : job.width;
    if (y < 0 || y >= job.height || inside_first >= inside_end)
        return fill(line, line + line_pixels * 4, compare.nothing);

    const float* const source = job.source + std::size_t(y) * job.row_floats + std::size_t(inside_first) * 4;
    const int count = (inside_end - inside_first) * 4;
    const float* const next = source + PREFETCH_ROWS * job.row_floats;
    float* const target = line + (inside_first - first) * 4;
    fill(line, target, compare.nothing);
    int i = 0;
    for (; i + STEP <= count; i += STEP) {
        __builtin_prefetch(next + i);
        store(target + i, compare.clean(take(source + i)));
    }
    if (i < count) {
        float tail[STEP] = {};
        __builtin_memcpy(tail, source + i, std::size_t(count - i) * sizeof(float));
        store(target + i, compare.clean(take(tail)));
    }
    fill(target + count, line + line_pixels * 4, compare.nothing);
}

// Afterwards pixel i of the line holds the extreme of the run i to i + length - 1; length is the largest power of two
// within the window. Ascending, so that each step reads what the step before left.
template <class Compare>
int grow_runs(float* line, int columns, int window) {
    const int line_floats = (columns + window - 1) * 4;
    int length = 1;
    for (; length * 4 <= window; length *= 4) {
        const int a = length * 4, b = length * 8, c = length * 12;
        for (int i = 0; i < line_floats - c; i += STEP)
            store(line + i, Compare::extreme(Compare::extreme(take(line + i), take(line + i + a)),
                                             Compare::extreme(take(line + i + b), take(line + i + c))));
    }
    if (length * 2 > window) return length;
    const int a = length * 4;
    for (int i = 0; i < line_floats - a; i += STEP)
        store(line + i, Compare::extreme(take(line + i), take(line + i + a)));
    return length * 2;
}

// The extreme along row y into its slot and into the running extreme of its block.
template <class Compare>
void take_row(const ExtremeStrip& job, Compare compare, int y, float* slot, bool starts_block) {
    load_line(job, compare, y);
    const int window = job.across.count(), floats = job.columns * 4;
    float* const left = line_start(job);
    const int length = grow_runs<Compare>(left, job.columns, window);
    const float* const right = left + (window - length) * 4;
    float* const prefix = job.prefix;
    if (starts_block) fill(prefix, prefix + floats, compare.nothing);
    for (int i = 0; i < floats; i += STEP) {
        const Vector across = Compare::extreme(take(left + i), take(right + i));
        store(slot + i, across);
        store(prefix + i, Compare::extreme(across, take(prefix + i)));
    }
}

// The whole vectors of a row. Streamed past the caches a row is not read before it is written; measured on a Zen 4 with
// 5x5 windows: 4.6 instead of 6.3 ms.
template <bool streamed, class Compare>
int write_vectors(Compare compare, const float* head, const float* tail, const float* source, const float* other,
                  float* target, int floats) {
    int i = 0;
    for (; i + STEP <= floats; i += STEP) {
        const Vector found = Compare::extreme(take(head + i), take(tail + i));
        const Vector result = compare.finish(found, take(source + i), take(other + i));
        if constexpr (streamed)
            stream(target + i, result);
        else
            store(target + i, result);
    }
    return i;
}

// `head` is the part of the window in the newest block, `tail` the part in the block before.
template <class Compare>
void write_row(const ExtremeStrip& job, Compare compare, int y, const float* head, const float* tail) {
    const std::size_t place = std::size_t(y) * job.row_floats + std::size_t(job.first_column) * 4;
    const float* const source = job.source + place;
    const float* const other = job.others + place;
    float* const target = job.destination + place;
    const int floats = job.columns * 4;
    const bool streamed = job.is_streamed && reinterpret_cast<std::size_t>(target) % sizeof(Vector) == 0;
    const int i = streamed ? write_vectors<true>(compare, head, tail, source, other, target, floats)
                           : write_vectors<false>(compare, head, tail, source, other, target, floats);
    if (i < floats) {
        const std::size_t bytes = std::size_t(floats - i) * sizeof(float);
        float source_end[STEP] = {}, other_end[STEP] = {};
        __builtin_memcpy(source_end, source + i, bytes);
        __builtin_memcpy(other_end, other + i, bytes);
        const Vector found = Compare::extreme(take(head + i), take(tail + i));
        store(source_end, compare.finish(found, take(source_end), take(other_end)));
        __builtin_memcpy(target + i, source_end, bytes);
    }
}

// Each row of a full block becomes the extreme from itself to the block's end.
template <class Compare>
void scan_block(float* slots, std::size_t slot_floats, int rows, int floats) {
    for (int row = rows - 2; row >= 0; --row) {
        float* const slot = slots + row * slot_floats;
        for (int i = 0; i < floats; i += STEP)
            store(slot + i, Compare::extreme(take(slot + i), take(slot + slot_floats + i)));
    }
}

template <class Compare>
void run_rows(const ExtremeStrip& job) {
    const Compare compare(job);
    const std::size_t slot_floats = extreme_row_floats(job.columns);
    const int block = job.down.count();
    int place = 0;  // of the row within its block
    for (int y = job.first_row + job.down.first; y <= job.last_row + job.down.last; ++y) {
        take_row(job, compare, y, job.slots + place * slot_floats, place == 0);
        const int written = y - job.down.last;
        const bool ends_block = ++place == block;
        // A window that is one whole block has no part in the block before.
        const float* const tail = ends_block ? job.prefix : job.slots + place * slot_floats;
        if (written >= job.first_row) write_row(job, compare, written, job.prefix, tail);
        if (!ends_block) continue;
        scan_block<Compare>(job.slots, slot_floats, block, job.columns * 4);
        place = 0;
    }
    if (job.is_streamed) finish_streams();
}

template <bool maximum, GateSide gate>
void run_gated(const ExtremeStrip& job) {
    if (job.lanes == 15)
        run_rows<Comparison<maximum, gate, false>>(job);
    else
        run_rows<Comparison<maximum, gate, true>>(job);
}

template <bool maximum>
void run_way(const ExtremeStrip& job) {
    switch (job.gate) {
        case GateSide::none:
            return run_gated<maximum, GateSide::none>(job);
        case GateSide::keep_above:
            return run_gated<maximum, GateSide::keep_above>(job);
        case GateSide::keep_below:
            return run_gated<maximum, GateSide::keep_below>(job);
    }
}

void run_strip(const ExtremeStrip& job) { job.maximum ? run_way<true>(job) : run_way<false>(job); }

}  // namespace

const ExtremeStripFunction extreme_strip = run_strip;

}  // namespace QUILLON_SIMD
