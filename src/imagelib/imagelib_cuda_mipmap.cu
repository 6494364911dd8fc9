// Pyramids on CUDA devices: their levels, and warps through them, a thread for each pixel. What a point reads, and in
// which order, is that of pyramid_simd.cpp inside the levels and of sample.cpp at their borders.
#include "imagelib/cuda_scaling.h"
#include "imagelib/imagelib_cuda.h"
#include "imagelib/sample_formulas.h"

struct alignas(8) MapPoint {
    float x, y;
};

// One use of a pyramid.
struct MipmapReading {
    tagCUDA_MIPMAP mipmap;
    const float* weights;  // of the kernel, 512 a pixel
    int kernel_type, radius, edge_x, edge_y;
    bool clamp_negative;  // rows of the filter that sum up below 0 count as 0
};

namespace {

using resample::TABLE_SCALE;

GPU_AND_CPU void add_weighted(GpuPixel& sum, float weight, const GpuPixel& pixel) {
    for (int c = 0; c < 4; ++c) sum.c[c] += weight * pixel.c[c];
}
GPU_AND_CPU void drop_negative(GpuPixel& pixel) {
    for (int c = 0; c < 4; ++c) pixel.c[c] = pixel.c[c] < 0 ? 0.0f : pixel.c[c];
}
// The limits let NaN pass.
GPU_AND_CPU GpuPixel limited_sample(GpuPixel pixel) {
    drop_negative(pixel);
    for (int c = 0; c < 4; ++c) pixel.c[c] = pixel.c[c] > 3.402823466e38f ? 3.402823466e38f : pixel.c[c];
    return pixel;
}

// ---- Level of detail ------------------------------------------------------------------------------------------

// As in pyramid_simd.cpp, of positive finite numbers.
GPU_AND_CPU float log2_of(float v) {
    const int bits = __builtin_bit_cast(int, v), fraction = bits & 0x7fffff;
    const int above = fraction > 0x3504f3 ? 1 : 0;  // mantissas above sqrt(2)
    const int exponent = (bits >> 23) - 127 + above;
    const float mantissa = __builtin_bit_cast(float, fraction | ((127 - above) << 23));
    const float t = (mantissa - 1) / (mantissa + 1), t2 = t * t;
    const float series = ((t2 * (1.0f / 9) + 1.0f / 7) * t2 + 1.0f / 5) * t2 + 1.0f / 3;
    return static_cast<float>(exponent) + 2.885390082f * (t + t * t2 * series);
}

// The level to read and how much of the next one to mix in: 0 reads one level only.
GPU_AND_CPU int choose_level(float area, int top_level, float& mix) {
    area = area > 1.0f ? (area < 3e38f ? area : 3e38f) : 1.0f;
    const float lod = fminf(0.5f * log2_of(area), static_cast<float>(top_level));
    const int lower = static_cast<int>(lod);
    const float part = lod - static_cast<float>(lower);
    const bool next = part > 0.999f;
    mix = part < 0.001f || next ? 0.0f : part;
    return next ? lower + 1 : lower;
}

// ---- One point of one level -----------------------------------------------------------------------------------

struct LevelView {
    const GpuPixel* pixels;
    int width, height;
    GPU_AND_CPU LevelView(const tagCUDA_MIPMAP& mipmap, int level)
        : pixels(mipmap.device_data + mipmap.level_offset[level]),
          width(mipmap.level_width[level]),
          height(mipmap.level_height[level]) {}
    GPU_AND_CPU const GpuPixel* at(int x, int y) const { return pixels + static_cast<std::ptrdiff_t>(y) * width + x; }
};

GPU_AND_CPU GpuPixel bilinear(const LevelView& level, int x, int y, float fx, float fy) {
    const float gx = 1 - fx, gy = 1 - fy;
    const GpuPixel* corner = level.at(x, y);
    GpuPixel sum{};
    add_weighted(sum, gx * gy, corner[0]);
    add_weighted(sum, fx * gy, corner[1]);
    add_weighted(sum, gx * fy, corner[level.width]);
    add_weighted(sum, fx * fy, corner[level.width + 1]);
    return sum;
}

// The table's entries for the four pixels around a fraction: 1 + f, f, 1 - f and 2 - f away, truncated.
GPU_AND_CPU void find_taps(const float* weights, float fraction, float* taps) {
    const float entry = fraction * TABLE_SCALE;
    const int below = static_cast<int>(entry), above = below + (static_cast<float>(below) < entry ? 1 : 0);
    taps[0] = weights[TABLE_SCALE + below];
    taps[1] = weights[below];
    taps[2] = weights[TABLE_SCALE - above];
    taps[3] = weights[2 * TABLE_SCALE - above];
}

GPU_AND_CPU GpuPixel filtered(const MipmapReading& reading, const LevelView& level, int x, int y, float fx, float fy) {
    float columns[4], rows[4];
    find_taps(reading.weights, fx, columns);
    find_taps(reading.weights, fy, rows);
    GpuPixel total{};
    for (int row = 0; row < 4; ++row) {
        const GpuPixel* at = level.at(x - 1, y - 1 + row);
        GpuPixel sum{};
        for (int k = 0; k < 4; ++k) add_weighted(sum, columns[k], at[k]);
        if (reading.clamp_negative) drop_negative(sum);
        add_weighted(total, rows[row], sum);
    }
    return limited_sample(total);
}

// False when the filter reaches over the border, or has no rule of its own for points inside.
GPU_AND_CPU bool sample_inside(const MipmapReading& reading, float x, float y, int index, GpuPixel& out) {
    const LevelView level(reading.mipmap, index);
    const float max_x = static_cast<float>(level.width - 1), max_y = static_cast<float>(level.height - 1);
    if (index > 0) {
        x = max_x * x * reading.mipmap.inv_w;
        y = max_y * y * reading.mipmap.inv_h;
    }
    const float margin = reading.kernel_type > KERNEL_TRIANGLE ? 1.0f : 0.0f;
    if (reading.kernel_type == KERNEL_BOX || !(x >= margin && x < max_x - margin && y >= margin && y < max_y - margin))
        return false;
    const int left = static_cast<int>(x), top = static_cast<int>(y);
    const float fx = x - static_cast<float>(left), fy = y - static_cast<float>(top);
    out = reading.kernel_type == KERNEL_TRIANGLE ? bilinear(level, left, top, fx, fy)
                                                 : filtered(reading, level, left, top, fx, fy);
    return true;
}

// ---- Borders --------------------------------------------------------------------------------------------------

struct EdgeReader {
    LevelView level;
    int edge_x, edge_y;
    GPU_AND_CPU void add(int x, int y, float weight, GpuPixel& sum) const {
        const int column = resample::edge_index(x, level.width, edge_x);
        const int row = resample::edge_index(y, level.height, edge_y);
        if (column >= 0 && row >= 0) add_weighted(sum, weight, *level.at(column, row));
    }
};

GPU_AND_CPU GpuPixel sample_window(const MipmapReading& reading, const EdgeReader& reader, float x, float y) {
    const resample::SampleWindow columns(x, 1, reading.radius), rows(y, 1, reading.radius);
    GpuPixel total{};
    for (int row = rows.first; row <= rows.last; ++row) {
        if (resample::edge_index(row, reader.level.height, reader.edge_y) < 0) continue;
        GpuPixel sum{};
        for (int column = columns.first; column <= columns.last; ++column)
            reader.add(column, row, reading.weights[columns.entry(column)], sum);
        if (reading.clamp_negative) drop_negative(sum);
        add_weighted(total, reading.weights[rows.entry(row)], sum);
    }
    return limited_sample(total);
}

// False, and zeros, at places that are not numbers.
GPU_AND_CPU bool sample_anywhere(const MipmapReading& reading, float x, float y, int index, GpuPixel& out) {
    const LevelView base(reading.mipmap, 0), level(reading.mipmap, index);
    out = GpuPixel{};
    if (index > 0) {
        x = resample::position_on_level(x, base.width, level.width, reading.mipmap.inv_w, reading.edge_x);
        y = resample::position_on_level(y, base.height, level.height, reading.mipmap.inv_h, reading.edge_y);
    }
    const bool is_area = reading.kernel_type > KERNEL_TRIANGLE;
    const float reach = is_area ? static_cast<float>(reading.radius) + 1 : 2;
    x = resample::safe_coordinate(x, level.width, reading.edge_x, reach);
    y = resample::safe_coordinate(y, level.height, reading.edge_y, reach);
    if (x != x || y != y) return false;

    const EdgeReader reader{level, reading.edge_x, reading.edge_y};
    if (is_area) {
        out = sample_window(reading, reader, x, y);
        return true;
    }
    const float left = floorf(x), top = floorf(y);
    const int column = static_cast<int>(left), row = static_cast<int>(top);
    if (reading.kernel_type == KERNEL_BOX) {
        reader.add(column, row, 1, out);
        return true;
    }
    const float fx = x - left, fy = y - top;
    reader.add(column, row, (1 - fx) * (1 - fy), out);
    reader.add(column + 1, row, fx * (1 - fy), out);
    reader.add(column, row + 1, (1 - fx) * fy, out);
    reader.add(column + 1, row + 1, fx * fy, out);
    return true;
}

// A point that lies inside of one level and at the border of the other counts as one of the border.
GPU_AND_CPU GpuPixel sample_levels(const MipmapReading& reading, float x, float y, int level, float mix) {
    GpuPixel value{}, coarser{};
    const bool inside =
        sample_inside(reading, x, y, level, value) && (!(mix > 0) || sample_inside(reading, x, y, level + 1, coarser));
    if (!inside) {
        if (!sample_anywhere(reading, x, y, level, value)) return GpuPixel{};
        if (mix > 0 && !sample_anywhere(reading, x, y, level + 1, coarser)) return GpuPixel{};
    }
    if (mix > 0)
        for (int c = 0; c < 4; ++c) value.c[c] = (1 - mix) * value.c[c] + mix * coarser.c[c];
    return value;
}

}  // namespace

// ---- Kernels --------------------------------------------------------------------------------------------------

GPU_AND_CPU void mipmapBaseKernel(GpuPlace at, tagCUDA_MIPMAP mipmap, const GpuPixel* base) {
    if (at.x >= mipmap.level_width[0] || at.y >= mipmap.level_height[0]) return;
    const std::ptrdiff_t pixel = static_cast<std::ptrdiff_t>(at.y) * mipmap.level_width[0] + at.x;
    mipmap.device_data[pixel] = base[pixel];
}

GPU_AND_CPU void unNormCoordsKernel(GpuPlace at, MapPoint* points, const MapPoint* map, int width, int height, int nx,
                                    int ny) {
    if (at.x >= width || at.y >= height) return;
    const std::ptrdiff_t pixel = static_cast<std::ptrdiff_t>(at.y) * width + at.x;
    const MapPoint point = map[pixel];
    points[pixel] = {point.x * static_cast<float>(nx - 1), point.y * static_cast<float>(ny - 1)};
}

GPU_AND_CPU void genWarpKernel(GpuPlace at, MipmapReading dmipmap, const MapPoint* daddrmap, GpuPixel* dresult, int nx,
                               int ny) {
    if (at.x >= nx || at.y >= ny) return;
    const MapPoint* row = daddrmap + static_cast<std::ptrdiff_t>(at.y) * nx;
    const MapPoint here = row[at.x];
    const float left = row[at.x > 0 ? at.x - 1 : 0].x, right = row[at.x < nx - 1 ? at.x + 1 : at.x].x;
    const float above = row[at.y > 0 ? at.x - nx : at.x].y, below = row[at.y < ny - 1 ? at.x + nx : at.x].y;
    float mix;
    const int level = choose_level(0.25f * fabsf((right - left) * (below - above)), dmipmap.mipmap.top_level, mix);
    dresult[static_cast<std::ptrdiff_t>(at.y) * nx + at.x] = sample_levels(dmipmap, here.x, here.y, level, mix);
}

// ---- Wrappers -------------------------------------------------------------------------------------------------

namespace {

// Levels down to one of two pixels, as ImagelibPyramid has them.
tagCUDA_MIPMAP layout_of(int width, int height) {
    tagCUDA_MIPMAP mipmap{};
    mipmap.inv_w = width > 1 ? 1 / static_cast<float>(width - 1) : 0;
    mipmap.inv_h = height > 1 ? 1 / static_cast<float>(height - 1) : 0;
    std::size_t pixels = 0;
    for (int level = 0;; ++level, width /= 2, height /= 2) {
        mipmap.level_width[level] = width;
        mipmap.level_height[level] = height;
        mipmap.level_offset[level] = pixels;
        mipmap.top_level = level;
        pixels += static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
        if (level + 1 == CUDA_MIPMAP_LEVELS || (width < height ? width : height) / 2 < 2) break;
    }
    mipmap.bytes = pixels * sizeof(GpuPixel);
    return mipmap;
}

}  // namespace

int cuda_create_mipmap(DeviceImage& base, int kernel_type, DeviceMipmap& mipmap, GpuStream stream) {
    const ImagelibKernel kernel(kernel_type, EDGE_CLAMP);
    if (!kernel.valid || mipmap.valid()) return GPU_NOT_LAUNCHED;
    tagCUDA_MIPMAP record = layout_of(base.width(), base.height());
    GpuOperation operation(stream);
    const auto* pixels = operation.read<GpuPixel>(base);
    if (!operation.failed() && !gpu_succeeded(mipmap.m_memory.allocate(record.bytes), "allocating a pyramid"))
        operation.fail(GPU_NO_ROOM_FOR_OUTPUT);
    record.device_data = static_cast<GpuPixel*>(mipmap.m_memory.get());
    operation.launch(gpu_kernel<mipmapBaseKernel>(), gpu_shape_of_picture(base.width(), base.height()), record, pixels);
    for (int level = 0; level < record.top_level && !operation.failed(); ++level)
        cuda_queue_next_level(operation, record, level, kernel);
    const int step = operation.finish();
    if (step == GPU_DONE) mipmap.m_record = record;
    return step;
}

int cuda_mipmap_warp(const DeviceMipmap& mipmap, const ImagelibKernel& kernel, DeviceImage& map, bool normalised,
                     DeviceImage& destination, GpuStream stream) {
    const int nx = map.width(), ny = map.height();
    if (!mipmap.valid() || !kernel.valid || nx != destination.width() || ny != destination.height())
        return GPU_NOT_LAUNCHED;
    GpuOperation operation(stream);
    const auto* points = operation.read<MapPoint>(map);
    auto* result = operation.write<GpuPixel>(destination);
    const GpuShape shape = gpu_shape_of_picture(nx, ny);
    if (normalised) {
        auto* scaled = operation.scratch<MapPoint>(static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny));
        operation.launch(gpu_kernel<unNormCoordsKernel>(), shape, scaled, points, nx, ny,
                         mipmap.record().level_width[0], mipmap.record().level_height[0]);
        points = scaled;
    }
    MipmapReading reading{
        mipmap.record(),        nullptr, kernel.kernel_type, kernel.radius, kernel.edge_mode_x, kernel.edge_mode_y,
        image_clamps_negative()};
    reading.weights = operation.table(kernel.weights, static_cast<std::size_t>(kernel.table_scale * kernel.radius) + 1);
    operation.launch(gpu_kernel<genWarpKernel>(), shape, reading, points, result, nx, ny);
    return operation.finish();
}
