// Passes of constant shift and of shear over whole images, and what places one image on another with them.
#include <cmath>
#include <cstring>

#include "imagelib/imagelib_resample.h"
#include "imagelib/line_filter.h"
#include "imagelib/resample_edges.h"

namespace {

using namespace resample;

bool may_pass(const K7Image* source, const K7Image* destination, const ImagelibKernel* kernel) {
    return has_pixels(source) && has_pixels(destination) && source != destination && usable(kernel) &&
           source->channels == destination->channels && source->sample_type == destination->sample_type;
}

// `offset_of(y)` is the offset of row y.
template <class OffsetOf>
void filter_rows(const K7Image* source, K7Image* destination, const ImagelibKernel& kernel, OffsetOf offset_of) {
    destination->stats_valid = 0;
    const ResampleKernels& kernels = resample_kernels();
    for_rows(destination->height, [&](int first, int last) {
        with_sample_type(source->sample_type, [&](auto sample) {
            using T = decltype(sample);
            for (int y = first; y <= last; ++y) {
                filter_line(image_row<T>(source, y), source->width, image_row<T>(destination, y), destination->width,
                            source->channels, make_line_filter(offset_of(y), kernel), kernel.edge_mode, kernels, false);
            }
        });
    });
}

// A pass without a shift: rows or columns beyond the source follow the edge rule.
void copy_cropped(const K7Image* source, K7Image* destination, int edge) {
    destination->stats_valid = 0;
    const std::size_t pixel = source->pixel_bytes;
    for_rows(destination->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const int row = edge_index(y, source->height, edge);
            auto* out = image_row<std::byte>(destination, y);
            if (row < 0) {
                std::memset(out, 0, destination->row_bytes);
                continue;
            }
            const auto* in = image_row<std::byte>(source, row);
            const int shared = std::min(source->width, destination->width);
            std::memcpy(out, in, shared * pixel);
            for (int x = shared; x < destination->width; ++x) {
                const int from = edge_index(x, source->width, edge);
                if (from < 0) {
                    std::memset(out + x * pixel, 0, pixel);
                } else {
                    std::memcpy(out + x * pixel, in + from * pixel, pixel);
                }
            }
        }
    });
}

struct Placement {
    double left, top;
    bool outside;
};

// The middle of a picture is half its width and height from its outer corner.
Placement place(const K7Image* source, const K7Image* destination, float cx, float cy) {
    Placement p{cx - source->width * 0.5, cy - source->height * 0.5, false};
    p.outside = !(p.left < destination->width && p.left + source->width > 0 && p.top < destination->height &&
                  p.top + source->height > 0);
    return p;
}

// The mix of one source pixel, from 0 to 1.
template <class T>
float mix_of(const T* pixel, int channels, float full) {
    float mix = 0;
    if (channels >= 4) {
        mix = static_cast<float>(pixel[3]);
    } else {
        for (int c = 0; c < channels; ++c) mix += static_cast<float>(pixel[c]);
        mix /= static_cast<float>(channels);
    }
    mix /= full;
    return mix > 0 ? std::min(mix, 1.0f) : 0.0f;
}

// Lays `layer`, with its corner pixel at (left, top), over the destination.
template <class T>
void lay_over(const K7Image* layer, K7Image* destination, int left, int top, bool premultiplied) {
    const int channels = layer->channels;
    const float full = image_full_value(layer->sample_type);
    const int first_x = std::max(0, left), last_x = std::min<int>(destination->width, left + layer->width) - 1;
    for_rows(destination->height, [&](int first, int last) {
        first = std::max(first, top);
        last = std::min(last, top + layer->height - 1);
        for (int y = first; y <= last; ++y) {
            for (int x = first_x; x <= last_x; ++x) {
                const T* over = image_row<T>(layer, y - top) + (x - left) * channels;
                T* under = image_row<T>(destination, y) + x * channels;
                const float mix = mix_of(over, channels, full);
                const float share = premultiplied ? 1 : mix;
                for (int c = 0; c < channels; ++c) {
                    under[c] =
                        store_sample<T>(static_cast<float>(under[c]) * (1 - mix) + static_cast<float>(over[c]) * share);
                }
            }
        }
    });
}

}  // namespace

bool shift_row_pass(const K7Image* source, K7Image* destination, float offset, const ImagelibKernel* kernel) {
    if (!may_pass(source, destination, kernel) || source->height != destination->height || !std::isfinite(offset)) {
        return false;
    }
    if (offset == 0) {
        copy_cropped(source, destination, kernel->edge_mode);
    } else {
        filter_rows(source, destination, *kernel, [offset](int) { return double(offset); });
    }
    return true;
}

bool shift_column_pass(const K7Image* source, K7Image* destination, float offset, const ImagelibKernel* kernel) {
    if (!may_pass(source, destination, kernel) || source->width != destination->width) return false;
    if (offset != 0) return shear_column_pass(source, destination, 0, offset, kernel);
    copy_cropped(source, destination, kernel->edge_mode);
    return true;
}

bool shear_row_pass(const K7Image* source, K7Image* destination, double shear, double offset,
                    const ImagelibKernel* kernel) {
    if (!may_pass(source, destination, kernel) || source->height != destination->height || !std::isfinite(shear) ||
        !std::isfinite(offset)) {
        return false;
    }
    filter_rows(source, destination, *kernel, [=](int y) { return offset - y * shear; });
    return true;
}

bool shear_column_pass(const K7Image* source, K7Image* destination, double shear, double offset,
                       const ImagelibKernel* kernel) {
    if (!may_pass(source, destination, kernel) || source->width != destination->width || !std::isfinite(shear) ||
        !std::isfinite(offset)) {
        return false;
    }
    ColumnFilters filters;
    if (!make_column_filters(destination->width, shear, offset, *kernel, filters)) return false;
    destination->stats_valid = 0;
    const ResampleKernels& kernels = resample_kernels();
    for_rows(destination->height, [&](int first, int last) {
        with_sample_type(source->sample_type, [&](auto sample) {
            using T = decltype(sample);
            for (int y = first; y <= last; ++y) {
                filter_columns(source, filters, y, image_row<T>(destination, y), kernel->edge_mode, kernels);
            }
        });
    });
    return true;
}

bool image_translate_subpixel(const K7Image* source, K7Image* destination, float dx, float dy, int kernel_type,
                              int edge) {
    if (!has_pixels(source) || !has_pixels(destination) || !std::isfinite(dx) || !std::isfinite(dy)) return false;
    if (dx == 0 && dy == 0 && image_same_layout(source, destination)) return image_copy(source, destination);
    ImagelibKernel kernel(kernel_type, EDGE_BLACK);
    if (!may_pass(source, destination, &kernel)) return false;
    if (edge >= EDGE_CLAMP && edge <= EDGE_MIRROR) {
        kernel.edge_mode = kernel.edge_mode_x = kernel.edge_mode_y = edge;
    }
    ImagePtr shifted = make_image(destination->width, source->height, source->channels, source->sample_type);
    return shifted && shift_row_pass(source, shifted.get(), dx, &kernel) &&
           shift_column_pass(shifted.get(), destination, dy, &kernel);
}

bool image_paste_at(const K7Image* source, K7Image* destination, float cx, float cy, int kernel_type) {
    if (!has_pixels(source) || !has_pixels(destination) || std::isnan(cx) || std::isnan(cy)) return false;
    if (source->channels != destination->channels || source->sample_type != destination->sample_type) return false;
    const Placement p = place(source, destination, cx, cy);
    if (p.outside) return image_clear(destination);
    return image_translate_subpixel(source, destination, static_cast<float>(-p.left), static_cast<float>(-p.top),
                                    kernel_type, EDGE_BLACK);
}

bool image_composite_at(const K7Image* source, K7Image* destination, float cx, float cy, int kernel_type,
                        bool premultiplied) {
    if (!has_pixels(source) || !has_pixels(destination) || std::isnan(cx) || std::isnan(cy)) return false;
    if (source->channels != destination->channels || source->sample_type != destination->sample_type) return false;
    const Placement p = place(source, destination, cx, cy);
    if (p.outside) return true;
    const double left = std::floor(p.left), top = std::floor(p.top);
    ImagePtr layer = make_image(source->width + 1, source->height + 1, source->channels, source->sample_type);
    if (!layer || !image_translate_subpixel(source, layer.get(), static_cast<float>(left - p.left),
                                            static_cast<float>(top - p.top), kernel_type, EDGE_BLACK)) {
        return false;
    }
    destination->stats_valid = 0;
    with_sample_type(source->sample_type, [&](auto sample) {
        lay_over<decltype(sample)>(layer.get(), destination, static_cast<int>(left), static_cast<int>(top),
                                   premultiplied);
    });
    return true;
}
