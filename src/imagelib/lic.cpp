#include <algorithm>
#include <cmath>

#include "imagelib/device_call.h"
#include "imagelib/imagelib_cuda.h"
#include "imagelib/imagelib_lic.h"
#include "imagelib/lic_cuda.h"
#include "imagelib/lic_simd.h"
#include "k7pi_baselib/portable_math.h"
#include "simdlib/cpu.h"

namespace {

constexpr int MAX_SIDES = 1024;
constexpr double PI = 3.14159265358979323846;

template <class... Values>
bool all_finite(Values... values) {
    return (std::isfinite(values) && ...);
}

bool usable_pixels(float pixel_width, float pixel_height) {
    return pixel_width > 0 && pixel_height > 0 && all_finite(pixel_width, pixel_height);
}

bool usable(const K7Image* source, const K7Image* destination) {
    return is_float_rgba(source) && image_same_layout(source, destination) && destination->pixels &&
           source->pixels != destination->pixels && usable_pixels(source->pixel_width, source->pixel_height);
}

// Without the pixels.
LicFrame make_frame(int width, int height, float pixel_width, float pixel_height, float cx, float cy, float speed,
                    int samples, float rsoft) {
    LicFrame frame{};
    frame.width = width, frame.height = height;
    frame.cx = cx, frame.cy = cy;
    // Each offset is divided by the size of a pixel along the other axis, and the line's vector by that along its own:
    // the line points to the centre whatever the shape of the pixels.
    frame.x_unit = 1.0 / pixel_height;
    frame.y_unit = 1.0 / pixel_width;
    frame.samples = samples < 1 ? 1 : samples;
    frame.reach = -double(speed) * frame.samples / (double(pixel_width) * pixel_height);
    frame.soft = rsoft;
    return frame;
}
LicFrame make_frame(const K7Image* source, float cx, float cy, float speed, int samples, float rsoft) {
    return make_frame(source->width, source->height, source->pixel_width, source->pixel_height, cx, cy, speed, samples,
                      rsoft);
}

// Angles run from the x axis towards greater y. A corner lies at -rotation, the first side half a sector further on.
// Normals are kept as floats: that hides the last bits of cos and sin, which differ between processors.
void polygon_normals(int sides, double rotation, float* normals) {
    for (int side = 0; side < sides; ++side) {
        const double angle = (side + 0.5) * 2 * PI / sides - rotation;
        *normals++ = float(k7_cos(angle));
        *normals++ = float(k7_sin(angle));
    }
}

// `normals` holds those of MAX_SIDES.
void set_shape(LicFrame& frame, float rclear, int sides, float rotation, float* normals) {
    frame.clear = rclear;
    if (sides < 3 || sides > MAX_SIDES) return;
    polygon_normals(sides, std::fmod(double(rotation), 360.0) * 0.017453292, normals);
    frame.normals = normals;
    frame.sides = sides;
    frame.clear = rclear * k7_cos(PI / sides);
}

float usable_threshold(float threshold) { return threshold < 0.999f ? threshold : 0.999f; }

void render(LicFrame& frame, const K7Image* source, K7Image* destination) {
    frame.source = image_row<float>(source, 0);
    frame.destination = image_row<float>(destination, 0);
    const LicRows rows = lic_rows();
    for_rows_float(frame.height, [&](int first, int last) { rows(frame, first, last); });
    destination->stats_valid = 0;
}

// What a sub-step on each screen pixel takes off the distance.
ImagePtr screen_terms(const K7Image* screen, float threshold) {
    ImagePtr terms = make_image_uncleared(screen->width, screen->height, 1, SAMPLE_F32);
    if (!terms) return nullptr;
    for_rows_float(screen->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* pixel = image_row<float>(screen, y);
            float* term = image_row<float>(terms.get(), y);
            for (int x = 0; x < screen->width; ++x, pixel += 4) term[x] = lic_screen_term(pixel, threshold);
        }
    });
    return terms;
}

// Nanoseconds a pixel on one thread, from lines that ignore the clear shape: what a pixel costs anyway, and what its
// samples do, looked up at points across the picture.
double cost_of_pixel(const LicFrame& frame) {
    constexpr double FIXED = 6, SAMPLE = 0.4, SCREEN_SAMPLE = 0.35;
    constexpr int POINTS = 8;
    double samples = 0, steps = 0;
    for (int i = 0; i < POINTS * POINTS; ++i) {
        const double dx = std::fabs((i % POINTS + 0.5) / POINTS * frame.width - frame.cx);
        const double dy = std::fabs((i / POINTS + 0.5) / POINTS * frame.height - frame.cy);
        // What is cut off at the border costs nothing.
        samples += std::min(std::max(dx, dy) * std::fabs(frame.reach), frame.width * frame.samples);
        steps += std::min(std::max(dx, dy), double(frame.screen.width)) * frame.samples;
    }
    return FIXED + (samples * SAMPLE + steps * SCREEN_SAMPLE) / (POINTS * POINTS);
}

void set_pictures(GpuOperation& operation, LicFrame& frame, DeviceImage& source, DeviceImage& destination) {
    frame.source = reinterpret_cast<const float*>(operation.read<GpuPixel>(source));
    frame.destination = reinterpret_cast<float*>(operation.write<GpuPixel>(destination));
}

bool same_size(const DeviceImage& a, const DeviceImage& b) {
    return &a != &b && a.width() == b.width() && a.height() == b.height();
}

}  // namespace

int cuda_radial_lic(DeviceImage& source, DeviceImage& destination, float cx, float cy, float rclear, float speed,
                    int samples, float xasp, float yasp, float rsoft, int sides, float rotation, GpuStream stream) {
    if (!same_size(source, destination) || !usable_pixels(xasp, yasp)) return GPU_NOT_LAUNCHED;
    if (!all_finite(cx, cy, rclear, speed, rsoft, rotation)) return GPU_NOT_LAUNCHED;
    LicFrame frame = make_frame(source.width(), source.height(), xasp, yasp, cx, cy, speed, samples, rsoft);
    float normals[2 * MAX_SIDES];
    set_shape(frame, rclear, sides, rotation, normals);
    GpuOperation operation(stream);
    set_pictures(operation, frame, source, destination);
    if (frame.sides > 0) frame.normals = operation.table(normals, 2 * std::size_t(frame.sides));
    operation.launch(radial_lic_kernel(), gpu_shape_of_picture(frame.width, frame.height), frame);
    return operation.finish();
}

int cuda_radial_lic_screened(DeviceImage& source, DeviceImage& screen, DeviceImage& destination, float cx, float cy,
                             float speed, int samples, float xasp, float yasp, float rsoft, float threshold,
                             GpuStream stream) {
    if (!same_size(source, destination) || &screen == &destination || !usable_pixels(xasp, yasp))
        return GPU_NOT_LAUNCHED;
    if (!all_finite(cx, cy, speed, rsoft, threshold)) return GPU_NOT_LAUNCHED;
    LicFrame frame = make_frame(source.width(), source.height(), xasp, yasp, cx, cy, speed, samples, rsoft);
    GpuOperation operation(stream);
    set_pictures(operation, frame, source, destination);
    const auto* light = operation.read<GpuPixel>(screen);
    float* terms = operation.scratch<float>(std::size_t(screen.width()) * std::size_t(screen.height()));
    frame.screen = {terms, screen.width(), screen.height()};
    operation.launch(radial_lic_terms_kernel(), gpu_shape_of_picture(screen.width(), screen.height()), terms, light,
                     screen.width(), screen.height(), usable_threshold(threshold));
    operation.launch(radial_lic_screened_kernel(), gpu_shape_of_picture(frame.width, frame.height), frame);
    return operation.finish();
}

double radial_lic_cost(const K7Image* source, float cx, float cy, float speed, int samples, bool screened) {
    if (!all_finite(cx, cy, speed) || !usable_pixels(source->pixel_width, source->pixel_height)) return 0;
    LicFrame frame = make_frame(source, cx, cy, speed, samples, 0);
    if (screened) frame.screen.width = frame.width;
    return cost_of_pixel(frame);
}

bool image_radial_lic(const K7Image* source, K7Image* destination, float cx, float cy, float rclear, float speed,
                      int samples, float rsoft, int sides, float rotation) {
    if (!usable(source, destination) || !all_finite(cx, cy, rclear, speed, rsoft, rotation)) return false;
    if (image_pays_on_device(destination, 2, radial_lic_cost(source, cx, cy, speed, samples, false))) {
        return done_on_device("cuda_radial_lic", destination, [&](DeviceImage& result, GpuStream stream) {
            DeviceImage from(host_picture(source), stream);
            return cuda_radial_lic(from, result, cx, cy, rclear, speed, samples, source->pixel_width,
                                   source->pixel_height, rsoft, sides, rotation, stream);
        });
    }
    LicFrame frame = make_frame(source, cx, cy, speed, samples, rsoft);
    float normals[2 * MAX_SIDES];
    set_shape(frame, rclear, sides, rotation, normals);
    render(frame, source, destination);
    return true;
}

bool image_radial_lic_screened(const K7Image* source, const K7Image* screen, K7Image* destination, float cx, float cy,
                               float speed, int samples, float rsoft, float threshold) {
    if (!usable(source, destination) || !is_float_rgba(screen) || screen->pixels == destination->pixels) return false;
    if (!all_finite(cx, cy, speed, rsoft, threshold)) return false;
    if (image_pays_on_device(destination, 3, radial_lic_cost(source, cx, cy, speed, samples, true))) {
        return done_on_device("cuda_radial_lic_screened", destination, [&](DeviceImage& result, GpuStream stream) {
            DeviceImage from(host_picture(source), stream), light(host_picture(screen), stream);
            return cuda_radial_lic_screened(from, light, result, cx, cy, speed, samples, source->pixel_width,
                                            source->pixel_height, rsoft, threshold, stream);
        });
    }
    const ImagePtr terms = screen_terms(screen, usable_threshold(threshold));
    if (!terms) return false;
    LicFrame frame = make_frame(source, cx, cy, speed, samples, rsoft);
    frame.screen = {image_row<float>(terms.get(), 0), screen->width, screen->height};
    render(frame, source, destination);
    return true;
}
