// Placing host pictures in the frame and storing frames into host pictures.
#include "imagelib/imagelib_hostpixels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "imagelib/hostpixels_simd.h"
#include "imagelib/samples.h"
#include "simdlib/cpu.h"

namespace {

constexpr int CHANNELS = 4;

// The part of the frame that the host picture covers, in frame coordinates; empty when it lies outside.
HostRect covered_part(HostRect bounds, int width, int height) {
    const HostRect part{std::max(bounds.x1, 0), std::max(bounds.y1, 0), std::min(bounds.x2, width),
                        std::min(bounds.y2, height)};
    return part.x1 < part.x2 && part.y1 < part.y2 ? part : HostRect{0, 0, 0, 0};
}

// The address of frame pixel (x, y) in a host picture whose data starts at the lower left corner of its bounds.
template <class Byte>
Byte* host_pixel(Byte* data, HostRect bounds, int depth, std::ptrdiff_t row_bytes, int x, int y) {
    const long long column = static_cast<long long>(x) - bounds.x1, row = static_cast<long long>(y) - bounds.y1;
    return data + row * row_bytes + column * (CHANNELS * depth / 8);
}

using FromHost = void (*)(const void* host, float* samples, std::size_t count);

FromHost from_host_kernel(int depth) {
    switch (depth) {
        case 8:
            return host_pixel_kernels().from_u8;
        case 16:
            return host_pixel_kernels().from_u16;
        case 32:
            return host_pixel_kernels().from_f32;
        default:
            return nullptr;
    }
}

void clear_pixels(float* row, int first, int last) {
    if (row && first < last)
        std::memset(row + first * CHANNELS, 0, std::size_t(last - first) * CHANNELS * sizeof(float));
}

// `second` may be null.
void convert_host_pixels(const HostPixels& host, HostRect bounds, K7Image* first, K7Image* second,
                         const RowRunner& runner) {
    const FromHost convert = from_host_kernel(host.depth);
    if (!convert) return;
    const HostRect part = covered_part(bounds, first->width, first->height);
    const auto* data = static_cast<const std::byte*>(host.data);
    runner(first->height, [&](int first_row, int last_row) {
        for (int y = first_row; y <= last_row; ++y) {
            float* rows[2] = {image_row<float>(first, y), second ? image_row<float>(second, y) : nullptr};
            const bool is_covered = y >= part.y1 && y < part.y2;
            for (float* row : rows) {
                clear_pixels(row, 0, is_covered ? part.x1 : first->width);
                if (is_covered) clear_pixels(row, part.x2, first->width);
            }
            if (!is_covered) continue;
            const std::size_t count = std::size_t(part.x2 - part.x1) * CHANNELS;
            float* target = rows[0] + part.x1 * CHANNELS;
            convert(host_pixel(data, bounds, host.depth, host.row_bytes, part.x1, y), target, count);
            if (rows[1]) std::memcpy(rows[1] + part.x1 * CHANNELS, target, count * sizeof(float));
        }
    });
}

void copy_clean(const K7Image* source, K7Image* destination, const RowRunner& runner) {
    const FromHost clean = host_pixel_kernels().from_f32;
    runner(source->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            clean(image_row<float>(source, y), image_row<float>(destination, y), std::size_t(source->width) * CHANNELS);
    });
}

void set_frame_attributes(K7Image* image, double aspect, double render_scale) {
    if (!image_set_pixel_size(image, static_cast<float>(aspect), 1.0f, 2)) image_set_pixel_size(image, 1.0f, 1.0f, 2);
    if (render_scale > 0.0) image_set_unit_scale(image, static_cast<float>(1.0 / render_scale));
    image_set_origin(image, 0.0f, 0.0f);
    image->stats_valid = 0;
}

HostRect bounds_of(const HostPixels& host, int width, int height) {
    return host.has_bounds ? host.bounds : HostRect{0, 0, width, height};
}

// Whether the conversion writes every pixel of an image, be it with zeroes.
bool is_convertible(const HostPixels& host) { return host.data && from_host_kernel(host.depth); }

K7Image* create_frame(int width, int height, bool written_whole) {
    return written_whole ? image_create_uncleared(width, height, CHANNELS, SAMPLE_F32)
                         : image_create(width, height, CHANNELS, SAMPLE_F32, 1);
}

}  // namespace

K7Image* make_float_image(const HostPixels& host, K7Image* existing, int width, int height, double aspect, bool reuse,
                          double render_scale, const RowRunner& runner) {
    if ((width <= 0 || height <= 0) && existing) width = existing->width, height = existing->height;
    const bool existing_fits = is_float_rgba(existing) && existing->width == width && existing->height == height;
    const bool is_fresh = !(existing && reuse);
    if (!is_fresh && !existing_fits) return nullptr;
    const bool written_whole = is_convertible(host) || (!host.data && existing_fits);
    K7Image* image = is_fresh ? create_frame(width, height, written_whole) : existing;
    if (!image) return nullptr;
    set_frame_attributes(image, aspect, render_scale);
    if (host.data)
        convert_host_pixels(host, bounds_of(host, width, height), image, nullptr, runner);
    else if (existing_fits)
        copy_clean(existing, image, runner);
    return image;
}

K7Image* make_frame_record(int width, int height, double aspect, double render_scale) {
    K7Image* image = image_create(width, height, CHANNELS, SAMPLE_F32, 0);
    if (image) set_frame_attributes(image, aspect, render_scale);
    return image;
}

bool make_float_image_pair(const HostPixels& host, int width, int height, double aspect, double render_scale,
                           K7Image** first, K7Image** second, const RowRunner& runner) {
    if (!first || !second) return false;
    ImagePtr images[2] = {ImagePtr(create_frame(width, height, is_convertible(host))),
                          ImagePtr(create_frame(width, height, is_convertible(host)))};
    if (!images[0] || !images[1]) return false;
    for (const ImagePtr& image : images) set_frame_attributes(image.get(), aspect, render_scale);
    if (host.data) convert_host_pixels(host, bounds_of(host, width, height), images[0].get(), images[1].get(), runner);
    *first = images[0].release();
    *second = images[1].release();
    return true;
}

void store_float_image(const K7Image* image, const HostTarget& host, HostRect region, const RowRunner& runner) {
    if (!is_float_rgba(image) || !host.data) return;
    if (host.depth != 8 && host.depth != 16 && host.depth != 32) return;
    const HostRect frame = covered_part(region, image->width, image->height);
    const HostRect part{std::max(frame.x1, host.bounds.x1), std::max(frame.y1, host.bounds.y1),
                        std::min(frame.x2, host.bounds.x2), std::min(frame.y2, host.bounds.y2)};
    if (part.x1 >= part.x2 || part.y1 >= part.y2) return;
    const HostPixelKernels& kernel = host_pixel_kernels();
    const std::size_t count = std::size_t(part.x2 - part.x1) * CHANNELS;
    runner(part.y2 - part.y1, [&](int first, int last) {
        for (int y = part.y1 + first; y <= part.y1 + last; ++y) {
            const float* samples = image_row<float>(image, y) + part.x1 * CHANNELS;
            std::byte* target =
                host_pixel(static_cast<std::byte*>(host.data), host.bounds, host.depth, host.row_bytes, part.x1, y);
            if (host.depth == 8)
                kernel.to_u8(samples, target, count);
            else if (host.depth == 16)
                kernel.to_u16(samples, target, count);
            else
                std::memcpy(target, samples, count * sizeof(float));
        }
    });
}
