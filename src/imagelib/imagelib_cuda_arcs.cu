// Averages along arcs on CUDA devices. The picture is read once along circles, each circle is summed by one thread for
// each channel, and every pixel takes its mean from four sums, as arc_average_simd.cpp does with the same arithmetic.
#include <cmath>

#include "imagelib/arc_tables.h"
#include "imagelib/imagelib_cuda.h"

// Circles from `first` on. Neighbouring pixels lie on neighbouring circles: those are side by side in memory, entry
// (column, row) at column * rows + row - first.
struct DeviceCircles {
    ArcSource source;
    GpuPixel* sums;   // columns + 2 entries for each row
    GpuPixel* means;  // of each row
    int first, rows, columns;
    double period;
    float last_position;

    GPU_AND_CPU GpuPixel* at(int column, int row) const {
        return sums + static_cast<std::ptrdiff_t>(column) * rows + (row - first);
    }
};

namespace {

constexpr float PI = 3.14159265f;

// `b` where the two do not compare.
GPU_AND_CPU float smaller(float a, float b) { return a < b ? a : b; }
GPU_AND_CPU float larger(float a, float b) { return a > b ? a : b; }
GPU_AND_CPU float limited(float v, float low, float high) { return smaller(larger(v, low), high); }
GPU_AND_CPU int limited(int v, int low, int high) { return v < low ? low : (v > high ? high : v); }

// ---- Unwrapping -----------------------------------------------------------------------------------------------

// The filter table's four weights for a fraction of a pixel.
GPU_AND_CPU const float* weights_at(const ArcSource& source, float fraction) {
    const float step = fraction * static_cast<float>(ARC_FILTER_STEPS);
    const int below = static_cast<int>(step);
    return source.filter + 4 * (2 * below + (static_cast<float>(below) < step ? 1 : 0));
}

// The mean of sixteen pixels under the filter. Beyond the edges the nearest pixel is seen; where all are the same one,
// it is not weighted. Rows with a negative sum, and NaN, count as 0.
GPU_AND_CPU GpuPixel filtered(const ArcSource& source, int left, int top, const float* across, const float* down) {
    const bool one_column = left <= -2 || left >= source.width, one_row = top <= -2 || top >= source.height;
    const auto* picture = reinterpret_cast<const GpuPixel*>(source.pixels);
    GpuPixel rows[4];
    for (int i = 0; i < 4; ++i) {
        const GpuPixel* row =
            picture + static_cast<std::ptrdiff_t>(source.width) * limited(top - 1 + i, 0, source.height - 1);
        GpuPixel pixels[4];
        for (int k = 0; k < 4; ++k) pixels[k] = row[limited(left - 1 + k, 0, source.width - 1)];
        for (int c = 0; c < 4; ++c) {
            const float sum = (across[0] * pixels[0].c[c] + across[2] * pixels[2].c[c]) +
                              (across[1] * pixels[1].c[c] + across[3] * pixels[3].c[c]);
            rows[i].c[c] = larger(one_column ? pixels[0].c[c] : sum, 0.0f);
            if (!(one_column && one_row)) rows[i].c[c] *= down[i];
        }
    }
    if (one_column && one_row) return rows[0];
    GpuPixel value;
    for (int c = 0; c < 4; ++c) value.c[c] = (rows[0].c[c] + rows[2].c[c]) + (rows[1].c[c] + rows[3].c[c]);
    return value;
}

// take(column, sample) for the samples of a circle in their order. Several are read before the first is taken: a thread
// that waited for each of them would wait for the memory all the time.
template <class Take>
GPU_AND_CPU void in_batches(const float* samples, std::ptrdiff_t step, int columns, const Take& take) {
    constexpr int BATCH = 32;
    int column = 0;
    for (; column + BATCH <= columns; column += BATCH) {
        float batch[BATCH];
        for (int i = 0; i < BATCH; ++i) batch[i] = samples[(column + i) * step];
        for (int i = 0; i < BATCH; ++i) take(column + i, static_cast<double>(batch[i]));
    }
    for (; column < columns; ++column) take(column, static_cast<double>(samples[column * step]));
}

// ---- Averaging ------------------------------------------------------------------------------------------------

// As in arc_average_simd.cpp, where the sources are.
GPU_AND_CPU float arc_tangent(float y, float x) {
    const float ax = fabsf(x), ay = fabsf(y);
    const float z = smaller(ax, ay) / larger(larger(ax, ay), 1e-30f), u = z * z;
    float p = u * 0.00283406419f - 0.0160050299f;
    p = p * u + 0.0425876081f;
    p = p * u - 0.0749544576f;
    p = p * u + 0.106367543f;
    p = p * u - 0.142025709f;
    p = p * u + 0.199924842f;
    p = p * u - 0.333330661f;
    p = p * u + 1.0f;
    float angle = z * p;
    angle = ay > ax ? 0.5f * PI - angle : angle;
    angle = x < 0.0f ? PI - angle : angle;
    return y < 0.0f ? -angle : angle;
}

GPU_AND_CPU float power(float base, float exponent) {
    if (!(exponent > 0)) return 1.0f;
    using Bits = unsigned long long;
    const auto bits = __builtin_bit_cast(Bits, static_cast<double>(larger(base, 1e-30f)));
    constexpr double shift = 4503599627370496.0;  // 2^52
    const Bits offset = bits - 0x3fe6a09e667f3bcdULL, raised = offset + (1024ULL << 52);
    const double whole = __builtin_bit_cast(double, (raised >> 52) | 0x4330000000000000ULL) - (shift + 1024);
    const double mantissa = __builtin_bit_cast(double, bits - (offset & 0xfff0000000000000ULL));
    const double s = (mantissa - 1) / (mantissa + 1), s2 = s * s;
    double series = s2 * (1.0 / 13) + 1.0 / 11;
    series = series * s2 + 1.0 / 9;
    series = series * s2 + 1.0 / 7;
    series = series * s2 + 1.0 / 5;
    series = series * s2 + 1.0 / 3;
    series = series * s2 + 1.0;
    double y = static_cast<double>(exponent) * (whole + 2.8853900817779268 * s * series);
    y = y > -140.0 ? y : -140.0;
    const double nearest = y + 1.5 * shift;
    const double rest = 0.69314718055994531 * (y - (nearest - 1.5 * shift));
    double result = rest * (1.0 / 40320) + 1.0 / 5040;
    result = result * rest + 1.0 / 720;
    result = result * rest + 1.0 / 120;
    result = result * rest + 1.0 / 24;
    result = result * rest + 1.0 / 6;
    result = result * rest + 0.5;
    result = result * rest + 1.0;
    result = result * rest + 1.0;
    result = __builtin_bit_cast(double, __builtin_bit_cast(Bits, result) + (__builtin_bit_cast(Bits, nearest) << 52));
    return base > 0 ? static_cast<float>(result) : 0.0f;
}

// The fraction of the full angle at a distance from the centre.
GPU_AND_CPU float strength(const ArcShape& arcs, float distance) {
    switch (arcs.profile) {
        case ArcProfile::Ring: {
            const float ramp = smaller(distance - arcs.inner, arcs.outer - distance) / arcs.soft;
            return distance > arcs.inner && distance < arcs.outer ? smaller(1.0f, ramp) : 0.0f;
        }
        case ArcProfile::Outward:
            return power(smaller(distance / arcs.max_distance, 1.0f), arcs.exponent);
        case ArcProfile::Inward:
            return power(larger(1.0f - distance / arcs.max_distance, 0.0f), arcs.exponent);
        case ArcProfile::Constant:
            break;
    }
    return 1.0f;
}

GPU_AND_CPU float matte_factor(const ArcShape& arcs, const GpuPixel& matte) {
    const float factor = limited(0.3f * matte.c[0] + 0.5f * matte.c[1] + 0.2f * matte.c[2], 0.0f, 1.0f);
    return arcs.invert_matte ? 1.0f - factor : factor;
}

// A column and the part of it at one end of an arc.
struct ArcEnd {
    int column;
    float part;
};

// The other end, `length` columns on. It is found from the fraction, so that short arcs keep their length to the last
// bit.
GPU_AND_CPU ArcEnd other_end(const DeviceCircles& circles, const ArcEnd& from, float length) {
    const float leftover = static_cast<float>(circles.period - circles.columns);
    const float reach = from.part + length;
    int steps = static_cast<int>(reach);
    steps -= static_cast<float>(steps) > reach ? 1 : 0;
    ArcEnd to{from.column + steps, reach - static_cast<float>(steps)};
    // Over the seam, which lies at a fraction of a column
    if (to.column < 0)
        to = {to.column + circles.columns, to.part + leftover};
    else if (to.column > circles.columns || (to.column == circles.columns && to.part >= leftover))
        to = {to.column - circles.columns, to.part - leftover};
    if (to.part >= 1)
        to = {to.column + 1, to.part - 1};
    else if (to.part < 0)
        to = {to.column - 1, to.part + 1};
    to.column = limited(to.column, 0, circles.columns);
    return to;
}

// The sum between two places of a row less its mean: whole columns first, so that what both ends share cancels exactly.
GPU_AND_CPU float between(float a, float a1, float b, float b1, float from_part, float to_part) {
    return (b - a) + (to_part * (b1 - b) - from_part * (a1 - a));
}

GPU_AND_CPU GpuPixel averaged(const DeviceCircles& circles, const ArcEnd& from, const ArcEnd& to, int row,
                              float row_part, float inverse) {
    // Sums at both ends, in two columns, each of two circles.
    GpuPixel a[2][2], b[2][2];
    for (int column = 0; column < 2; ++column)
        for (int circle = 0; circle < 2; ++circle) {
            a[column][circle] = circles.at(from.column + column, row)[circle];
            b[column][circle] = circles.at(to.column + column, row)[circle];
        }
    const GpuPixel *mean = circles.means + (row - circles.first), lower_mean = mean[0], upper_mean = mean[1];
    GpuPixel value;
    for (int c = 0; c < 4; ++c) {
        const float lower = between(a[0][0].c[c], a[1][0].c[c], b[0][0].c[c], b[1][0].c[c], from.part, to.part);
        const float upper = between(a[0][1].c[c], a[1][1].c[c], b[0][1].c[c], b[1][1].c[c], from.part, to.part);
        const float sum = lower + row_part * (upper - lower);
        value.c[c] = larger(sum * inverse + (lower_mean.c[c] + row_part * (upper_mean.c[c] - lower_mean.c[c])), 0.0f);
    }
    return value;
}

}  // namespace

// ---- Kernels --------------------------------------------------------------------------------------------------

// Samples of the circles, where their sums are to be: along x the circles, along y the columns.
GPU_AND_CPU void arcUnwrapKernel(GpuPlace at, DeviceCircles circles) {
    if (at.x >= circles.rows || at.y >= circles.columns) return;
    const ArcSource& source = circles.source;
    const float radius = static_cast<float>(circles.first + at.x);
    // Two pixels beyond the edge the filter sees nothing but the edge.
    const float x = limited(radius * source.cosines[at.y] + source.cx, -2.0f, static_cast<float>(source.width + 1));
    const float y = limited(radius * source.sines[at.y] + source.cy, -2.0f, static_cast<float>(source.height + 1));
    const int left = static_cast<int>(x + 2) - 2, top = static_cast<int>(y + 2) - 2;
    const float* across = weights_at(source, x - static_cast<float>(left));
    const float* down = weights_at(source, y - static_cast<float>(top));
    GpuPixel value = filtered(source, left, top, across, down);
    // NaN counts as 0, and infinity as a large number: neither may spoil its whole circle.
    for (int c = 0; c < 4; ++c) value.c[c] = limited(value.c[c], 0.0f, 1e30f);
    *circles.at(at.y, circles.first + at.x) = value;
}

// From samples to sums: entry c is the sum of the columns before c, less c times the mean. A thread for each channel of
// each circle, so that the order of the sum is the processor's; neighbouring threads read side by side.
GPU_AND_CPU void arcSumKernel(GpuPlace at, DeviceCircles circles) {
    if (at.x >= 4 * circles.rows) return;
    float* entry = reinterpret_cast<float*>(circles.sums) + at.x;
    const std::ptrdiff_t step = 4 * static_cast<std::ptrdiff_t>(circles.rows);
    double total = 0;
    in_batches(entry, step, circles.columns, [&](int, double sample) { total += sample; });
    const double first = static_cast<double>(entry[0]);
    const double mean = (total + (circles.period - circles.columns) * first) / circles.period;
    reinterpret_cast<float*>(circles.means)[at.x] = static_cast<float>(mean);
    double sum = 0;
    in_batches(entry, step, circles.columns, [&](int column, double sample) {
        entry[column * step] = static_cast<float>(sum - column * mean);
        sum += sample;
    });
    entry[circles.columns * step] = static_cast<float>(total - circles.columns * mean);
    entry[(circles.columns + 1) * step] = static_cast<float>((total + first) - (circles.columns + 1) * mean);
}

// `matte` may be null: 1 everywhere.
GPU_AND_CPU void arcLicKernel(GpuPlace at, GpuPixel* doutimage, DeviceCircles circles, ArcShape arcs,
                              const GpuPixel* matte) {
    const int width = circles.source.width;
    if (at.x >= width || at.y >= circles.source.height) return;
    const std::ptrdiff_t pixel = static_cast<std::ptrdiff_t>(at.y) * width + at.x;
    const float dx = (static_cast<float>(at.x) - arcs.cx) * arcs.pixel_width;
    const float dy = 0.0f + (static_cast<float>(at.y) - arcs.cy) * arcs.pixel_height;
    const float radius = sqrtf(dx * dx + dy * dy);
    const float factor = matte ? matte_factor(arcs, matte[pixel]) : 1.0f;
    const float arc = -(arcs.angle * strength(arcs, radius) * factor);
    if (!(fabsf(arc) >= SHORTEST_ARC)) {
        doutimage[pixel] = reinterpret_cast<const GpuPixel*>(circles.source.pixels)[pixel];
        return;
    }
    const float length = arc * arcs.max_distance;
    const float position = limited((arc_tangent(dy, dx) + PI) * arcs.max_distance, 0.0f, circles.last_position);
    ArcEnd from{static_cast<int>(position), 0};
    from.part = position - static_cast<float>(from.column);
    const int last = circles.first + circles.rows - 2;
    const int row = limited(static_cast<int>(radius), circles.first, last);
    doutimage[pixel] =
        averaged(circles, from, other_end(circles, from, length), row, radius - static_cast<float>(row), 1.0f / length);
}

// ---- The wrapper ----------------------------------------------------------------------------------------------

int cuda_spin_blur(DeviceImage& source, DeviceImage* matte, DeviceImage& destination, const ArcGeometry& circles,
                   const TurnTable& turn, const ArcLengths& lengths, GpuStream stream) {
    const auto fits = [&](const DeviceImage& image) {
        return image.width() == source.width() && image.height() == source.height();
    };
    if (!circles.valid() || &source == &destination || matte == &destination || !fits(destination) ||
        (matte && !fits(*matte)))
        return GPU_NOT_LAUNCHED;
    GpuOperation operation(stream);
    ArcTables tables;
    if (!make_arc_tables(circles, turn, tables)) operation.fail(GPU_NO_ROOM_FOR_INPUT);
    const GpuPixel* pixels = operation.read<GpuPixel>(source);
    const GpuPixel* factors = matte ? operation.read<GpuPixel>(*matte) : nullptr;
    GpuPixel* result = operation.write<GpuPixel>(destination);

    // Averages need two circles.
    ArcRows rows = rows_of_arcs(circles, range_of_arcs(lengths, circles.max_distance));
    rows.first = limited(rows.first, 0, circles.rows - 2);
    rows.end = limited(rows.end, rows.first + 2, circles.rows);
    DeviceCircles device{};
    device.first = rows.first, device.rows = rows.end - rows.first;
    device.columns = circles.columns, device.period = circles.period;
    device.last_position = circles.last_position();
    const auto count = static_cast<std::size_t>(device.rows), columns = static_cast<std::size_t>(device.columns);
    device.sums = operation.scratch<GpuPixel>(count * (columns + 2));
    device.means = operation.scratch<GpuPixel>(count);
    device.source = {.pixels = reinterpret_cast<const float*>(pixels),
                     .width = source.width(),
                     .height = source.height(),
                     .cx = circles.cx,
                     .cy = circles.cy,
                     .filter = operation.table(tables.filter.data(), tables.filter.size()),
                     .cosines = operation.table(tables.cosines.data(), tables.cosines.size()),
                     .sines = operation.table(tables.sines.data(), tables.sines.size())};
    operation.launch(gpu_kernel<arcUnwrapKernel>(), gpu_shape_of_picture(device.rows, device.columns), device);
    operation.launch(gpu_kernel<arcSumKernel>(), gpu_shape_of_line(4 * device.rows), device);
    operation.launch(gpu_kernel<arcLicKernel>(), gpu_shape_of_picture(source.width(), source.height()), result, device,
                     shape_of_arcs(circles, lengths), factors);
    return operation.finish();
}
