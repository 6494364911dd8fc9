#include <algorithm>
#include <cmath>
#include <new>

#include "imagelib/device_call.h"
#include "imagelib/imagelib_pyramid.h"
#include "imagelib/sample_formulas.h"
#include "simdlib/cpu.h"

namespace {

constexpr int MAX_CHANNELS = 16;

bool is_float(const K7Image* image, int channels) {
    return image && image->pixels && image->channels == channels && image->sample_type == SAMPLE_F32;
}

}  // namespace

ImagelibPyramid::ImagelibPyramid(const K7Image* image, int kernel_type, int edge, bool copy_base, bool on_processor)
    : kernel(new (std::nothrow) ImagelibKernel(kernel_type, edge)) {
    if (!image || !image->pixels || image->sample_type > SAMPLE_F32 || !kernel || !kernel->valid) return;
    width = image->width, height = image->height;
    max_x = float(width - 1), max_y = float(height - 1);
    inv_w = width > 1 ? 1 / max_x : 0;
    inv_h = height > 1 ? 1 / max_y : 0;
    inv_full = 1 / image_full_value(image->sample_type);
    const double nanoseconds = kernel_type > KERNEL_TRIANGLE ? 14.5 : 6.5;  // levels and one warp
    cpu_only = on_processor || !image_pays_on_device(image, 2, nanoseconds);
    if (!cpu_only) {
        build_on_device(image, kernel_type);
        return;
    }
    owns_base = copy_base;
    levels[0] = copy_base ? image_duplicate(image) : const_cast<K7Image*>(image);
    build_levels(kernel_type);

    m_view.top_level = top_level;
    m_view.inv_w = inv_w, m_view.inv_h = inv_h;
    m_fast = valid() && is_float(levels[0], 4);
    for (int i = 0; m_fast && i <= top_level; ++i) {
        const K7Image* level = levels[i];
        m_view.levels[i] = {image_row<float>(level, 0), level->width, level->height, float(level->width - 1),
                            float(level->height - 1)};
    }
}

ImagelibPyramid::~ImagelibPyramid() {
    for (int i = owns_base ? 0 : 1; i < PYRAMID_LEVELS; ++i) image_destroy(levels[i]);
}

void ImagelibPyramid::build_levels(int kernel_type) {
    for (int smaller = std::min(width, height) / 2; smaller >= 2 && top_level + 1 < PYRAMID_LEVELS; smaller /= 2) {
        const K7Image* finer = levels[top_level++];
        if (!finer) continue;
        ImagePtr level = make_image_uncleared(finer->width / 2, finer->height / 2, finer->channels, finer->sample_type);
        if (level && image_scale(finer, level.get(), kernel_type, false)) levels[top_level] = level.release();
    }
}

void ImagelibPyramid::build_on_device(const K7Image* image, int kernel_type) {
    gpu_mipmap.reset(new (std::nothrow) DeviceMipmap);
    gpu_status = GPU_NO_ROOM_FOR_INPUT;
    DeviceStream stream;
    if (gpu_mipmap && gpu_succeeded(stream.create(), "creating a stream")) {
        DeviceImage base(host_picture(image), stream.get());
        gpu_status = cuda_create_mipmap(base, kernel_type, *gpu_mipmap, stream.get());
        // Warps have streams of their own.
        if (gpu_status == GPU_DONE && stream.finish() != GPU_SUCCESS) gpu_status = GPU_NOT_LAUNCHED;
    }
    if (gpu_status == GPU_DONE) return;
    gpu_mipmap.reset();
    Trace(TRACE_ERROR, "CUDA ERROR: cuda_create_mipmap() returned error: %d\n", gpu_status);
}

bool ImagelibPyramid::valid() const {
    if (!cpu_only) return gpu_mipmap && kernel && kernel->valid;
    return kernel && kernel->valid && std::all_of(levels, levels + top_level + 1, [](auto* level) { return level; });
}

bool ImagelibPyramid::set_kernel(int type, int edge) {
    std::unique_ptr<ImagelibKernel> other(new (std::nothrow) ImagelibKernel(type, edge));
    if (!other || !other->valid) return false;
    kernel = std::move(other);
    return true;
}

PyramidReading ImagelibPyramid::reading() const {
    return {&m_view, kernel->weights, kernel->kernel_type, image_clamps_negative(), this, &sample_anywhere};
}

bool ImagelibPyramid::sample_pixel(float x, float y, float footprint_area, float* out, int channels) const {
    if (!out || channels <= 0 || channels > MAX_CHANNELS) return false;
    if (m_fast && channels == 4 && x >= 0 && x <= max_x && y >= 0 && y <= max_y) {
        pyramid_kernels().sample_point(reading(), x, y, footprint_area, out);
        return true;
    }
    int level;
    float mix;
    pyramid_kernels().choose_level(footprint_area, top_level, &level, &mix);
    return sample_levels(x, y, level, mix, out, channels);
}

bool ImagelibPyramid::sample_unit(float u, float v, float du, float dv, float* out, int channels) const {
    return sample_pixel(u * max_x, v * max_y, du * max_x * dv * max_y, out, channels);
}

bool ImagelibPyramid::sample_points(const float* x, const float* y, const float* areas, int count, float* out) const {
    if (!valid() || !cpu_only || !x || !y || !out || count < 0) return false;
    if (m_fast) {
        pyramid_kernels().sample_points(reading(), x, y, areas, count, out);
    } else {
        for (int i = 0; i < count; ++i) sample_pixel(x[i], y[i], areas ? areas[i] : 1.0f, out + 4 * std::size_t(i), 4);
    }
    return true;
}

void ImagelibPyramid::sample_anywhere(const void* pyramid, float x, float y, int level, float mix, float* out) {
    static_cast<const ImagelibPyramid*>(pyramid)->sample_levels(x, y, level, mix, out, 4);
}

// `level`, and with a mix above 0 the next one too.
bool ImagelibPyramid::sample_levels(float x, float y, int level, float mix, float* out, int channels) const {
    if (!sample_level(x, y, level, out, channels)) return false;
    if (!(mix > 0)) return true;
    float coarser[MAX_CHANNELS];
    if (!sample_level(x, y, level + 1, coarser, channels)) {
        std::fill_n(out, channels, 0.0f);
        return false;
    }
    for (int c = 0; c < channels; ++c) out[c] = (1 - mix) * out[c] + mix * coarser[c];
    return true;
}

bool ImagelibPyramid::sample_level(float x, float y, int level, float* out, int channels) const {
    std::fill_n(out, channels, 0.0f);
    const K7Image* image = levels[level];
    if (!image) return false;
    if (level > 0) {
        x = resample::position_on_level(x, width, image->width, inv_w, kernel->edge_mode_x);
        y = resample::position_on_level(y, height, image->height, inv_h, kernel->edge_mode_y);
    }
    return image_sample(image, x, y, out, channels, kernel.get());
}

bool ImagelibPyramid::warp_on_device(const K7Image* map, K7Image* destination) const {
    return done_on_device("cuda_mipmap_warp", destination, [&](DeviceImage& result, GpuStream stream) {
        DeviceImage places(host_picture(map), stream);
        return cuda_mipmap_warp(*gpu_mipmap, *kernel, places, false, result, stream);
    });
}

bool image_pyramid_warp(const ImagelibPyramid* pyramid, const K7Image* map, K7Image* destination) {
    if (!pyramid || !pyramid->valid() || !is_float(map, 2) || !is_float(destination, 4)) return false;
    if (map->width != destination->width || map->height != destination->height) return false;
    if (!pyramid->cpu_only) return pyramid->warp_on_device(map, destination);
    if (destination->pixels == pyramid->levels[0]->pixels) return false;
    const int width = map->width, last_row = map->height - 1;
    PyramidReading reading = pyramid->reading();
    // Without the layout that the fast paths are made for every point goes the general way.
    if (!pyramid->m_fast) reading.kernel_type = KERNEL_BOX;
    const PyramidKernels& table = pyramid_kernels();
    for_rows_float(map->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            table.warp_row(reading, image_row<float>(map, std::max(y - 1, 0)), image_row<float>(map, y),
                           image_row<float>(map, std::min(y + 1, last_row)), width, image_row<float>(destination, y));
    });
    destination->stats_valid = 0;
    return true;
}
