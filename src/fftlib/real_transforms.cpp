// Sine and cosine transforms: lines (rows or columns) in pairs, as the real and imaginary parts of complex ones.
#include <algorithm>

#include "fftlib/fft_work.h"
#include "fftlib/fftlib.h"
#include "fftlib/real_lines_simd.h"

namespace {

constexpr int LARGEST = 4096;
constexpr int PAIR_LINES = 2 * FFT_LINES;
// Smaller planes are done sooner than threads start: 128 x 128 takes 20 us a direction on one core of a Zen 5.
constexpr long SPLIT_FROM = 200L * 200L;

struct RealPlane {
    float* data;
    int width, height, pitch;
};

bool is_refused(const RealPlane& plane) {
    return !plane.data || plane.width < 1 || plane.width > LARGEST || plane.height < 1 || plane.height > LARGEST ||
           plane.pitch < plane.width;
}

// One kind of transform of lines of one length.
struct LineTransform {
    const FFTPlan* plan;
    int length;
    float scale;  // of what `run` leaves
    // Blocks of 16 + 16 lines: from the second point on in `block`, or else in `lines`, to `lines`.
    void (*run)(const LineTransform& transform, float* block, float* lines);
    bool from_block;
};

void run_sine(const LineTransform& transform, float* block, float* lines) {
    real_line_kernels().extend_odd(block, transform.length);
    transform.plan->to_frequencies(block, false);
    real_line_kernels().take_sines(block, transform.plan->positions(), transform.length, lines);
}

void run_cosine(const LineTransform& transform, float* block, float* lines) {
    const FFTPlan& plan = *transform.plan;
    real_line_kernels().fold_cosines(lines, transform.length, block);
    plan.to_frequencies(block, false);
    real_line_kernels().take_cosines(block, plan.positions(), plan.quarter_turns(), transform.length, lines);
}

void run_cosine_back(const LineTransform& transform, float* block, float* lines) {
    const FFTPlan& plan = *transform.plan;
    real_line_kernels().place_cosines(lines, plan.quarter_turns(), transform.length, plan.positions(), block);
    plan.from_frequencies(block, true);
    real_line_kernels().unfold_cosines(block, transform.length, lines);
}

LineTransform sine_transform(int length, FFTDirection direction) {
    const float scale = direction == FFTDirection::forward ? 0.5F : 1.0F / static_cast<float>(length + 1);
    return {FFTPlan::of(2 * (length + 1)), length, scale, run_sine, true};
}

LineTransform cosine_transform(int length, FFTDirection direction) {
    if (direction == FFTDirection::forward) return {FFTPlan::of(length), length, 0.5F, run_cosine, false};
    return {FFTPlan::of(length), length, 1.0F / static_cast<float>(length), run_cosine_back, false};
}

// Blocks of 32 rows: the first 16 as real parts.
bool transform_rows(const RealPlane& plane, const LineTransform& transform, FFTWork& work) {
    const FFTLineKernels& kernels = fft_line_kernels();
    const int pieces = fft_groups(plane.height, PAIR_LINES);
    return work.each(*transform.plan, transform.length, pieces, plane.height,
                     [&](float* block, float* lines, int piece) {
                         const std::size_t pitch = std::size_t(plane.pitch);
                         const auto rows = [&](int y) -> FFTRows {
                             const int count = std::clamp(plane.height - y, 0, FFT_LINES);
                             return {plane.data + std::size_t(count ? y : 0) * pitch, pitch, count, plane.width, false};
                         };
                         const FFTRows even = rows(piece * PAIR_LINES), odd = rows(piece * PAIR_LINES + FFT_LINES);
                         float* const loaded = transform.from_block ? block + FFT_POINT : lines;
                         kernels.load_rows(even, loaded);
                         kernels.load_rows(odd, loaded + FFT_LINES);
                         transform.run(transform, block, lines);
                         kernels.store_rows(even, lines, transform.scale);
                         kernels.store_rows(odd, lines + FFT_LINES, transform.scale);
                     });
}

bool transform_columns(const RealPlane& plane, const LineTransform& transform, FFTWork& work) {
    const RealLineKernels& kernels = real_line_kernels();
    const int pieces = fft_groups(plane.width, PAIR_LINES);
    return work.each(*transform.plan, transform.length, pieces, plane.width,
                     [&](float* block, float* lines, int piece) {
                         const int x = piece * PAIR_LINES;
                         const FFTColumns columns{plane.data + x, std::size_t(plane.pitch),
                                                  std::min(plane.width - x, PAIR_LINES), plane.height};
                         kernels.load_columns(columns, transform.from_block ? block + FFT_POINT : lines);
                         transform.run(transform, block, lines);
                         kernels.store_columns(columns, lines, transform.scale);
                     });
}

using Maker = LineTransform (*)(int length, FFTDirection direction);

bool transform_plane(const RealPlane& plane, FFTDirection direction, Maker make, bool columns_too) {
    if (is_refused(plane)) return false;
    const LineTransform rows = make(plane.width, direction);
    const LineTransform columns = columns_too ? make(plane.height, direction) : rows;
    if (!rows.plan || !columns.plan) return false;
    FFTWork work;
    if (long{plane.width} * plane.height >= SPLIT_FROM) work.runner.run = fft_image_rows;
    return transform_rows(plane, rows, work) && (!columns_too || transform_columns(plane, columns, work));
}

}  // namespace

bool sine_transform_rows(float* data, int width, int height, int pitch, FFTDirection direction) {
    return transform_plane({data, width, height, pitch}, direction, sine_transform, false);
}
bool sine_transform_2d(float* data, int width, int height, int pitch, FFTDirection direction) {
    return transform_plane({data, width, height, pitch}, direction, sine_transform, true);
}
bool cosine_transform_rows(float* data, int width, int height, int pitch, FFTDirection direction) {
    return transform_plane({data, width, height, pitch}, direction, cosine_transform, false);
}
bool cosine_transform_2d(float* data, int width, int height, int pitch, FFTDirection direction) {
    return transform_plane({data, width, height, pitch}, direction, cosine_transform, true);
}

void fft_image_rows(void*, RowWorker worker, int rows, void* job) { image_dispatch_rows_float(worker, rows, job); }
