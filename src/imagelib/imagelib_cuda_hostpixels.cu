// Pictures that a host has in the device's memory, in its own depths, and float pictures of ours.
#include "imagelib/imagelib_cuda_hostpixels.h"

#include <cstdint>

namespace {

GPU_AND_CPU float placed_sample(float sample) {
    const float value = sample > 0.0f ? sample : 0.0f;  // NaN too
    return value > 3.4028235e38f ? 65504.0f : value;
}
GPU_AND_CPU float sample_of(const unsigned char* pixel, int depth, int c) {
    if (depth == 8) return static_cast<float>(pixel[c]) / 255.0f;
    if (depth == 16) return static_cast<float>(reinterpret_cast<const std::uint16_t*>(pixel)[c]) / 65535.0f;
    return placed_sample(reinterpret_cast<const float*>(pixel)[c]);
}

GPU_AND_CPU int code_of(float sample, float full) {
    float level = sample * full;
    level = level > 0.0f ? level : 0.0f;  // NaN too
    return static_cast<int>(level < full ? level : full);
}

}  // namespace

struct DevicePixels {
    unsigned char* data;
    HostRect bounds;
    int depth;
    std::ptrdiff_t row_bytes;
    bool whole;  // float pixels that can be read and written at once; rows of a host may begin anywhere
};

GPU_AND_CPU void placeHostPixelsKernel(GpuPlace at, GpuPixel* image, int width, int height, DevicePixels host) {
    if (at.x >= width || at.y >= height) return;
    GpuPixel pixel{};
    if (at.x >= host.bounds.x1 && at.x < host.bounds.x2 && at.y >= host.bounds.y1 && at.y < host.bounds.y2) {
        const unsigned char* from = host.data + (at.y - static_cast<std::ptrdiff_t>(host.bounds.y1)) * host.row_bytes +
                                    (at.x - static_cast<std::ptrdiff_t>(host.bounds.x1)) * (host.depth / 2);
        if (host.whole) {
            pixel = *reinterpret_cast<const GpuPixel*>(from);
            for (int c = 0; c < 4; ++c) pixel.c[c] = placed_sample(pixel.c[c]);
        } else {
            for (int c = 0; c < 4; ++c) pixel.c[c] = sample_of(from, host.depth, c);
        }
    }
    image[static_cast<std::size_t>(at.y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(at.x)] = pixel;
}

GPU_AND_CPU void storeHostPixelsKernel(GpuPlace at, DevicePixels host, HostRect part, const GpuPixel* image,
                                       int width) {
    const int x = part.x1 + at.x, y = part.y1 + at.y;
    if (x >= part.x2 || y >= part.y2) return;
    const GpuPixel pixel =
        image[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    unsigned char* to = host.data + (y - static_cast<std::ptrdiff_t>(host.bounds.y1)) * host.row_bytes +
                        (x - static_cast<std::ptrdiff_t>(host.bounds.x1)) * (host.depth / 2);
    if (host.whole) {
        *reinterpret_cast<GpuPixel*>(to) = pixel;
        return;
    }
    for (int c = 0; c < 4; ++c) {
        if (host.depth == 8)
            to[c] = static_cast<unsigned char>(code_of(pixel.c[c], 255.0f));
        else if (host.depth == 16)
            reinterpret_cast<std::uint16_t*>(to)[c] = static_cast<std::uint16_t>(code_of(pixel.c[c], 65535.0f));
        else
            reinterpret_cast<float*>(to)[c] = pixel.c[c];
    }
}

bool device_takes(const void* data, int depth, std::ptrdiff_t row_bytes) {
    const int bytes = depth / 8;
    return (depth == 8 || depth == 16 || depth == 32) && reinterpret_cast<std::uintptr_t>(data) % bytes == 0 &&
           row_bytes % bytes == 0;
}

static DevicePixels device_pixels(const void* data, const HostRect& bounds, int depth, std::ptrdiff_t row_bytes) {
    constexpr int PIXEL = sizeof(GpuPixel);
    const bool whole = depth == 32 && reinterpret_cast<std::uintptr_t>(data) % PIXEL == 0 && row_bytes % PIXEL == 0;
    return {static_cast<unsigned char*>(const_cast<void*>(data)), bounds, depth, row_bytes, whole};
}

int cuda_place_host_pixels(const HostPixels& host, DeviceImage& image, GpuStream stream) {
    GpuOperation operation(stream);
    auto* to = operation.write<GpuPixel>(image);
    const DevicePixels pixels = device_pixels(host.data, host.bounds, host.depth, host.row_bytes);
    operation.launch(gpu_kernel<placeHostPixelsKernel>(), gpu_shape_of_picture(image.width(), image.height()), to,
                     image.width(), image.height(), pixels);
    return operation.finish();
}

int cuda_store_host_pixels(DeviceImage& image, const HostTarget& host, HostRect region, GpuStream stream) {
    const auto larger = [](int a, int b) { return a > b ? a : b; };
    const auto smaller = [](int a, int b) { return a < b ? a : b; };
    const HostRect part{larger(larger(region.x1, host.bounds.x1), 0), larger(larger(region.y1, host.bounds.y1), 0),
                        smaller(smaller(region.x2, host.bounds.x2), image.width()),
                        smaller(smaller(region.y2, host.bounds.y2), image.height())};
    if (part.x1 >= part.x2 || part.y1 >= part.y2) return GPU_DONE;
    GpuOperation operation(stream);
    const auto* from = operation.read<GpuPixel>(image);
    const DevicePixels pixels = device_pixels(host.data, host.bounds, host.depth, host.row_bytes);
    operation.launch(gpu_kernel<storeHostPixelsKernel>(), gpu_shape_of_picture(part.x2 - part.x1, part.y2 - part.y1),
                     pixels, part, from, image.width());
    return operation.finish();
}
