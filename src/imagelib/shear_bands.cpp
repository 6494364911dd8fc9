// The three shears of a rotation together, a band of result rows at a time.
//
// A row after the second shear crosses many rows of the picture, a few pixels in each. The band therefore keeps what
// the first shear makes in slanted rows: slanted row s holds at column x the pixel that the column's filter reads s
// rows below its first tap for the band's first row. On these the second shear is a plain vertical filter whose
// weights are loaded once a band, and bands pass the rows they share on to the next one.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "imagelib/line_filter.h"
#include "imagelib/resample_edges.h"
#include "imagelib/shears.h"

namespace resample {
namespace {

constexpr int TAPS = 4;
constexpr int BAND = 8;             // rows; slanted and sheared rows of an HD picture are 0.6 MB
constexpr int SHARED = TAPS - 1;    // slanted rows that a band has in common with the next
constexpr int ROWS_AHEAD = 24;      // of prefetching: about 400 ns of work
constexpr int PIXELS_PER_LINE = 4;  // of the cache
constexpr std::size_t STREAM_BYTES = std::size_t(8) << 20;

struct Bands {
    const K7Image* image;
    K7Image* result;
    const Shears& shears;
    const ImagelibKernel& kernel;
    const ResampleKernels& kernels = resample_kernels();
    std::unique_ptr<LineFilter[]> row_filters{};  // of the first shear, for each row of the picture
    ColumnFilters columns{};
    std::size_t stride = 0;                     // samples of a slanted row
    std::unique_ptr<std::ptrdiff_t[]> place{};  // of a column's pixel of row 0, from slanted row 0 of a band at 0
    std::ptrdiff_t columns_ahead = 0;           // that ROWS_AHEAD further down stand at the same slanted row
    std::atomic<bool> failed{false};

    bool prepare();
    void run(int first, int last);
    void fill_slanted(float* slanted, int band_first, int first, int last) const;
    void put_row(float* out, int row, int first, int last) const;
    void put_edge(float* out, const float* in, const LineFilter& filter, int first, int last) const;
    void prefetch_row(int row, int first, int last) const;
};

bool Bands::prepare() {
    const int width = shears.sheared_width;
    row_filters.reset(new (std::nothrow) LineFilter[image->height]);
    place.reset(new (std::nothrow) std::ptrdiff_t[width]);
    if (!row_filters || !place) return false;
    for (int y = 0; y < image->height; ++y) {
        row_filters[y] = make_line_filter(shears.first_offset - y * shears.row_shear, kernel);
    }
    if (!make_column_filters(width, shears.column_shear, shears.second_offset, kernel, columns)) return false;
    // An odd number of cache lines, so that the rows of a column do not meet in one set of the cache.
    stride = ((std::size_t(width) + PIXELS_PER_LINE - 1) / PIXELS_PER_LINE | 1) * PIXELS_PER_LINE * 4;
    for (int x = 0; x < width; ++x) place[x] = x * std::ptrdiff_t(4) - columns.first[x] * std::ptrdiff_t(stride);
    columns_ahead = static_cast<std::ptrdiff_t>(std::min<double>(width, ROWS_AHEAD / -shears.column_shear));
    return true;
}

// Pixels whose windows reach beyond the picture's sides.
void Bands::put_edge(float* out, const float* in, const LineFilter& filter, int first, int last) const {
    for (int x = first; x <= last; ++x) {
        float* pixel = out + place[x];
        const int start = x + filter.first;
        if (kernel.edge_mode == EDGE_BLACK && (start + TAPS <= 0 || start >= image->width)) {
            std::fill_n(pixel, 4, 0.0f);
            continue;
        }
        float sum[4];
        for (int k = 0; k < TAPS; ++k) {
            const int at = edge_index(start + k, image->width, kernel.edge_mode);
            for (int c = 0; c < 4; ++c) {
                const float term = filter.weights[k] * (at < 0 ? 0.0f : in[std::ptrdiff_t(at) * 4 + c]);
                sum[c] = k == 0 ? term : sum[c] + term;
            }
        }
        std::copy_n(sum, 4, pixel);
    }
}

// The first shear of a row, which may lie beyond the picture, at columns first to last.
void Bands::put_row(float* out, int row, int first, int last) const {
    row = edge_index(row, image->height, kernel.edge_mode);
    if (row < 0) {
        for (int x = first; x <= last; ++x) std::fill_n(out + place[x], 4, 0.0f);
        return;
    }
    const LineFilter& filter = row_filters[row];
    const float* in = image_row<float>(image, row);
    const InnerRange inner = inner_range(filter.first, TAPS, image->width, shears.sheared_width);
    const int inner_first = std::max(first, inner.first), inner_last = std::min(last, inner.last);
    if (inner_first > inner_last) return put_edge(out, in, filter, first, last);
    put_edge(out, in, filter, first, inner_first - 1);
    kernels.scatter_row_rgba(out, place.get(), in + std::ptrdiff_t(filter.first) * 4, filter.weights, inner_first,
                             inner_last);
    put_edge(out, in, filter, inner_last + 1, last);
}

// What the same slanted rows will need of a row further down. The walk is too steep for the processor to foresee.
void Bands::prefetch_row(int row, int first, int last) const {
    if (row < 0 || row >= image->height) return;
    const std::ptrdiff_t shift = row_filters[row].first + columns_ahead;
    const std::ptrdiff_t begin = std::max<std::ptrdiff_t>(first + shift, 0);
    const std::ptrdiff_t end = std::min<std::ptrdiff_t>(last + shift + TAPS, image->width);
    const float* in = image_row<float>(image, row);
    for (std::ptrdiff_t x = begin; x < end; x += PIXELS_PER_LINE) __builtin_prefetch(in + x * 4);
}

// Slanted rows first to last of the band that begins at result row `band_first`.
void Bands::fill_slanted(float* slanted, int band_first, int first, int last) const {
    const int width = shears.sheared_width;
    const int* start = columns.first.get();
    const int top = band_first + first, bottom = band_first + last;
    int from = 0, to = 0;  // columns that meet the row within these slanted rows
    for (int row = top + start[0]; row <= bottom + start[width - 1]; ++row) {
        while (from < width && start[from] + bottom < row) ++from;
        while (to < width && start[to] + top <= row) ++to;
        if (from >= to) continue;
        prefetch_row(row + ROWS_AHEAD, from, to - 1);
        put_row(slanted + (std::ptrdiff_t(row) - band_first) * std::ptrdiff_t(stride), row, from, to - 1);
    }
}

void Bands::run(int first, int last) {
    const ImagePtr memory = make_image_uncleared(int(stride / 4), 2 * BAND + SHARED, 4, SAMPLE_F32);
    if (!memory) return failed.store(true);
    float* slanted = static_cast<float*>(memory->pixels);
    float* lines = slanted + stride * (BAND + SHARED);
    const int width = shears.sheared_width;
    const bool stream = std::size_t(result->row_bytes) * result->height >= STREAM_BYTES;
    for (int y = first; y <= last; y += BAND) {
        const int rows = std::min(BAND, last - y + 1);
        const int kept = y == first ? 0 : SHARED;
        std::memmove(slanted, slanted + stride * BAND, stride * kept * sizeof(float));
        fill_slanted(slanted, y, kept, rows + SHARED - 1);
        kernels.sum_slanted_rgba(lines, slanted, stride, columns.weights.get(), rows, width);
        for (int i = 0; i < rows; ++i) {
            filter_line(lines + stride * i, width, image_row<float>(result, y + i), result->width, 4,
                        make_line_filter(shears.third_offset - (y + i) * shears.row_shear, kernel), kernel.edge_mode,
                        kernels, stream);
        }
    }
}

}  // namespace

bool suits_bands(const K7Image* image, const ImagelibKernel& kernel) {
    return image->sample_type == SAMPLE_F32 && image->channels == 4 && 2 * kernel.radius == TAPS;
}

bool shear_in_bands(const K7Image* image, K7Image* result, const Shears& shears, const ImagelibKernel& kernel) {
    Bands bands{image, result, shears, kernel};
    if (!bands.prepare()) return false;
    for_rows(result->height, [&bands](int first, int last) {
        if (first <= last) bands.run(first, last);
    });
    return !bands.failed;
}

}  // namespace resample
