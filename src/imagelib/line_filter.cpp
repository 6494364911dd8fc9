#include "imagelib/line_filter.h"

#include <new>

#include "imagelib/resample_edges.h"

namespace resample {
namespace {

// Further away than any index, and still safe to add an index to.
constexpr double MAX_OFFSET = 1e9;

// `at(index)` reads a sample and applies the edge rule.
template <class T, class At>
T weighted_sample(const float* weights, const int* fixed_weights, int taps, At at) {
    if constexpr (std::is_floating_point_v<T>) {
        float sum = weights[0] * at(0);
        for (int k = 1; k < taps; ++k) sum += weights[k] * at(k);
        return sum;
    } else {
        std::int64_t sum = 0;
        for (int k = 0; k < taps; ++k) sum += std::int64_t(fixed_weights[k]) * at(k);
        return static_cast<T>(std::clamp<std::int64_t>(sum >> 10, 0, std::numeric_limits<T>::max()));
    }
}

}  // namespace

LineFilter make_line_filter(double offset, const ImagelibKernel& kernel) {
    offset = std::clamp(offset, -MAX_OFFSET, MAX_OFFSET);
    const double whole = std::floor(offset);
    LineFilter filter;
    filter.first = static_cast<int>(whole) - kernel.radius + 1;
    filter.taps = 2 * kernel.radius;
    for (int k = 0; k < filter.taps; ++k) {
        const int index = weight_index(k - kernel.radius + 1 - (offset - whole), kernel.radius);
        filter.weights[k] = kernel.weights[index];
        filter.fixed_weights[k] = kernel.fixed_weights[index];
    }
    return filter;
}

InnerRange inner_range(int first_tap, int taps, int inputs, int outputs) {
    return {std::max(0, -first_tap), std::min(outputs - 1, inputs - taps - first_tap)};
}

template <class T>
void filter_line(const T* in, int inputs, T* out, int outputs, int channels, const LineFilter& filter, int edge,
                 const ResampleKernels& kernels, bool stream) {
    auto general = [&](int first, int last) {
        for (int x = first; x <= last; ++x) {
            int at[MAX_LINE_TAPS];
            bool any = false;
            for (int k = 0; k < filter.taps; ++k) {
                at[k] = edge_index(x + filter.first + k, inputs, edge);
                any |= at[k] >= 0;
            }
            for (int c = 0; c < channels; ++c) {
                out[x * channels + c] =
                    !any ? T(0) : weighted_sample<T>(filter.weights, filter.fixed_weights, filter.taps, [&](int k) {
                        return at[k] < 0 ? T(0) : in[at[k] * channels + c];
                    });
            }
        }
    };
    auto border = [&](int first, int last) {
        if (edge != EDGE_BLACK) return general(first, last);
        const int reaching = std::clamp(1 - filter.first - filter.taps, first, last + 1);
        const int beyond = std::clamp(inputs - filter.first, reaching, last + 1);
        std::fill(out + first * channels, out + reaching * channels, T(0));
        general(reaching, beyond - 1);
        std::fill(out + beyond * channels, out + (last + 1) * channels, T(0));
    };
    const InnerRange inner = inner_range(filter.first, filter.taps, inputs, outputs);
    if (inner.first > inner.last) return border(0, outputs - 1);
    border(0, inner.first - 1);
    if constexpr (std::is_same_v<T, float>) {
        kernels.filter_row(out + inner.first * channels, in + (inner.first + filter.first) * channels, filter.weights,
                           filter.taps, channels, std::size_t(inner.last - inner.first + 1) * channels, stream);
    } else {
        for (int i = inner.first * channels; i < (inner.last + 1) * channels; ++i) {
            const T* p = in + filter.first * channels + i;
            out[i] = weighted_sample<T>(filter.weights, filter.fixed_weights, filter.taps,
                                        [&](int k) { return p[k * channels]; });
        }
    }
    border(inner.last + 1, outputs - 1);
}

bool make_column_filters(int columns, double shear, double offset, const ImagelibKernel& kernel,
                         ColumnFilters& filters) {
    filters.columns = columns;
    filters.taps = 2 * kernel.radius;
    const std::size_t count = std::size_t(columns) * filters.taps;
    filters.first.reset(new (std::nothrow) int[columns]);
    filters.weights.reset(new (std::nothrow) float[count]);
    filters.fixed_weights.reset(new (std::nothrow) int[count]);
    if (!filters.first || !filters.weights || !filters.fixed_weights) return false;
    for (int x = 0; x < columns; ++x) {
        const LineFilter filter = make_line_filter(offset - x * shear, kernel);
        filters.first[x] = filter.first;
        std::copy_n(filter.weights, filters.taps, &filters.weights[std::size_t(x) * filters.taps]);
        std::copy_n(filter.fixed_weights, filters.taps, &filters.fixed_weights[std::size_t(x) * filters.taps]);
    }
    return true;
}

template <class T>
void filter_columns(const K7Image* source, const ColumnFilters& filters, int y, T* out, int edge,
                    const ResampleKernels& kernels) {
    const int channels = source->channels, height = source->height, taps = filters.taps;
    const std::size_t stride = source->row_bytes / sizeof(T);
    auto inside = [&](int x) {
        const int first = y + filters.first[x];
        return first >= 0 && first + taps <= height;
    };
    auto general = [&](int x) {
        const T* rows[MAX_LINE_TAPS];
        bool any = false;
        for (int k = 0; k < taps; ++k) {
            const int row = edge_index(y + filters.first[x] + k, height, edge);
            rows[k] = row < 0 ? nullptr : image_row<T>(source, row) + x * channels;
            any |= row >= 0;
        }
        const std::size_t w = std::size_t(x) * taps;
        for (int c = 0; c < channels; ++c) {
            out[x * channels + c] = !any ? T(0)
                                         : weighted_sample<T>(&filters.weights[w], &filters.fixed_weights[w], taps,
                                                              [&](int k) { return rows[k] ? rows[k][c] : T(0); });
        }
    };
    for (int x = 0; x < filters.columns;) {
        if (!(std::is_same_v<T, float> && channels == 4 && inside(x))) {
            general(x++);
            continue;
        }
        int end = x + 1;
        while (end < filters.columns && inside(end)) ++end;
        kernels.shear_columns_rgba(reinterpret_cast<float*>(out),
                                   static_cast<const float*>(source->pixels) + std::ptrdiff_t(y) * stride, stride,
                                   filters.first.get(), filters.weights.get(), taps, x, end - 1);
        x = end;
    }
}

template void filter_line(const std::uint8_t*, int, std::uint8_t*, int, int, const LineFilter&, int,
                          const ResampleKernels&, bool);
template void filter_line(const std::uint16_t*, int, std::uint16_t*, int, int, const LineFilter&, int,
                          const ResampleKernels&, bool);
template void filter_line(const std::uint32_t*, int, std::uint32_t*, int, int, const LineFilter&, int,
                          const ResampleKernels&, bool);
template void filter_line(const float*, int, float*, int, int, const LineFilter&, int, const ResampleKernels&, bool);
template void filter_columns(const K7Image*, const ColumnFilters&, int, std::uint8_t*, int, const ResampleKernels&);
template void filter_columns(const K7Image*, const ColumnFilters&, int, std::uint16_t*, int, const ResampleKernels&);
template void filter_columns(const K7Image*, const ColumnFilters&, int, std::uint32_t*, int, const ResampleKernels&);
template void filter_columns(const K7Image*, const ColumnFilters&, int, float*, int, const ResampleKernels&);

}  // namespace resample
