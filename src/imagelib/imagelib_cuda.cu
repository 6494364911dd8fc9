// Radial line integral convolution on CUDA devices: a thread for each pixel, the arithmetic of lic_simd.cpp in its
// order.
#include "imagelib/imagelib_colour.h"
#include "imagelib/lic_cuda.h"
#include "imagelib/lic_formulas.h"

namespace {

struct LicColour {
    const GpuPixel* pixels;
    using Sum = GpuPixel;
    GPU_AND_CPU static void add(GpuPixel& sum, const GpuPixel& value) {
        for (int c = 0; c < 4; ++c) sum.c[c] += value.c[c];
    }
};
struct LicTerm {
    const float* pixels;
    using Sum = float;
    GPU_AND_CPU static void add(float& sum, float value) { sum += value; }
};

// The sum of a line's samples, blocks first.
template <class Plane>
GPU_AND_CPU typename Plane::Sum walk(const Plane& plane, int width, int height, lic::Line line) {
    typename Plane::Sum total{};
    while (line.count > 0) {
        const int steps = line.count < lic::BLOCK ? line.count : lic::BLOCK;
        typename Plane::Sum sum{};
        for (int k = 0; k < steps; ++k) {
            const int x = lic::clamped_pixel(line.x, width), y = lic::clamped_pixel(line.y, height);
            Plane::add(sum, plane.pixels[static_cast<lic::Fixed>(y) * width + x]);
            line.x += line.step_x;
            line.y += line.step_y;
        }
        Plane::add(total, sum);
        line.count -= steps;
    }
    return total;
}

GPU_AND_CPU GpuPixel mean_of_line(const LicFrame& frame, const GpuPixel& own, lic::LineOfPixel line) {
    if (line.samples == 0) return own;
    const auto* source = reinterpret_cast<const GpuPixel*>(frame.source);
    const int tail = lic::stays_inside(frame, line) ? 0 : lic::cut_tail(frame, line);
    GpuPixel value = walk(LicColour{source}, frame.width, frame.height, line);
    if (tail > 0) {
        const lic::Fixed last = line.count - 1;
        const int x = lic::clamped_pixel(line.x + last * line.step_x, frame.width);
        const int y = lic::clamped_pixel(line.y + last * line.step_y, frame.height);
        const GpuPixel resting = source[static_cast<lic::Fixed>(y) * frame.width + x];
        for (int c = 0; c < 4; ++c) value.c[c] += static_cast<float>(tail) * resting.c[c];
    }
    for (int c = 0; c < 4; ++c) {
        value.c[c] /= static_cast<float>(line.samples);
        if (line.mix < 1) value.c[c] = own.c[c] + line.mix * (value.c[c] - own.c[c]);
    }
    return value;
}

// A pixel's place as seen from the centre.
struct Offset {
    double dx, dy, distance;
};
GPU_AND_CPU Offset offset_of(const LicFrame& frame, GpuPlace at) {
    const double dx = at.x - frame.cx, dy = at.y - frame.cy;
    return {dx, dy, lic::distance(frame, dx, dy)};
}

GPU_AND_CPU double clear_of_shape(const LicFrame& frame, const Offset& from_centre) {
    if (frame.sides <= 0) return frame.clear;
    double nearest = 0;
    for (int side = 0; side < frame.sides; ++side) {
        const double projection = lic::projection(frame, side, from_centre.dx, from_centre.dy);
        nearest = projection > nearest ? projection : nearest;
    }
    return lic::polygon_extent(frame, nearest, from_centre.distance);
}

GPU_AND_CPU double clear_of_screen(const LicFrame& frame, const Offset& from_centre) {
    if (!lic::has_screen_line(frame)) return 0;
    lic::Line line = lic::screen_line(frame, from_centre.dx, from_centre.dy);
    lic::end_at_border(frame.screen, line);
    return walk(LicTerm{frame.screen.terms}, frame.screen.width, frame.screen.height, line) / frame.samples;
}

GPU_AND_CPU void smear_pixel(GpuPlace at, const LicFrame& frame, const Offset& from_centre, double clear) {
    const lic::Fixed pixel = static_cast<lic::Fixed>(at.y) * frame.width + at.x;
    const GpuPixel own = reinterpret_cast<const GpuPixel*>(frame.source)[pixel];
    const lic::LineOfPixel line =
        lic::line_of_pixel(frame, at.x, at.y, from_centre.dx, from_centre.dy, from_centre.distance, clear);
    reinterpret_cast<GpuPixel*>(frame.destination)[pixel] = mean_of_line(frame, own, line);
}

}  // namespace

GPU_AND_CPU void radialLicKernel(GpuPlace at, LicFrame frame) {
    if (at.x >= frame.width || at.y >= frame.height) return;
    const Offset from_centre = offset_of(frame, at);
    smear_pixel(at, frame, from_centre, clear_of_shape(frame, from_centre));
}

GPU_AND_CPU void radialLicScreenedKernel(GpuPlace at, LicFrame frame) {
    if (at.x >= frame.width || at.y >= frame.height) return;
    const Offset from_centre = offset_of(frame, at);
    smear_pixel(at, frame, from_centre, clear_of_screen(frame, from_centre));
}

GPU_AND_CPU void radialLicTermsKernel(GpuPlace at, float* terms, const GpuPixel* screen, int width, int height,
                                      float threshold) {
    if (at.x >= width || at.y >= height) return;
    const std::size_t pixel =
        static_cast<std::size_t>(at.y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(at.x);
    terms[pixel] = lic_screen_term(screen[pixel].c, threshold);
}

GpuKernel<LicFrame> radial_lic_kernel() { return gpu_kernel<radialLicKernel>(); }
GpuKernel<LicFrame> radial_lic_screened_kernel() { return gpu_kernel<radialLicScreenedKernel>(); }
GpuKernel<float*, const GpuPixel*, int, int, float> radial_lic_terms_kernel() {
    return gpu_kernel<radialLicTermsKernel>();
}
