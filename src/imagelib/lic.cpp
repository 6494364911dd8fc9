#include <cmath>

#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_lic.h"
#include "imagelib/lic_simd.h"
#include "k7pi_baselib/portable_math.h"
#include "simdlib/cpu.h"

namespace {

constexpr int MAX_SIDES = 1024;
constexpr double PI = 3.14159265358979323846;

bool is_rgba_float(const K7Image* image) {
    return image && image->pixels && image->channels == 4 && image->sample_type == SAMPLE_F32;
}

bool usable(const K7Image* source, const K7Image* destination) {
    return is_rgba_float(source) && image_same_layout(source, destination) && destination->pixels &&
           source->pixels != destination->pixels && source->pixel_width > 0 && source->pixel_height > 0 &&
           std::isfinite(source->pixel_width) && std::isfinite(source->pixel_height);
}

template <class... Values>
bool all_finite(Values... values) {
    return (std::isfinite(values) && ...);
}

LicFrame make_frame(const K7Image* source, K7Image* destination, float cx, float cy, float speed, int samples,
                    float rsoft) {
    LicFrame frame{};
    frame.source = image_row<float>(source, 0);
    frame.destination = image_row<float>(destination, 0);
    frame.width = source->width, frame.height = source->height;
    frame.cx = cx, frame.cy = cy;
    // Each offset is divided by the size of a pixel along the other axis, and the line's vector by that along its own:
    // the line points to the centre whatever the shape of the pixels.
    frame.x_unit = 1.0 / source->pixel_height;
    frame.y_unit = 1.0 / source->pixel_width;
    frame.samples = samples < 1 ? 1 : samples;
    frame.reach = -double(speed) * frame.samples / (double(source->pixel_width) * source->pixel_height);
    frame.soft = rsoft;
    return frame;
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

void render(const LicFrame& frame, K7Image* destination) {
    const LicRows rows = lic_rows();
    for_rows_float(frame.height, [&](int first, int last) { rows(frame, first, last); });
    destination->stats_valid = 0;
}

// What a sub-step on each screen pixel takes off the distance.
ImagePtr screen_terms(const K7Image* screen, float threshold) {
    ImagePtr terms = make_image_uncleared(screen->width, screen->height, 1, SAMPLE_F32);
    if (!terms) return nullptr;
    const float range = 1.0f - threshold;
    for_rows_float(screen->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* pixel = image_row<float>(screen, y);
            float* term = image_row<float>(terms.get(), y);
            for (int x = 0; x < screen->width; ++x, pixel += 4) {
                const float light = luminance(pixel);
                term[x] = ((light < 1.0f ? light : 1.0f) - threshold) / range;
            }
        }
    });
    return terms;
}

}  // namespace

bool image_radial_lic(const K7Image* source, K7Image* destination, float cx, float cy, float rclear, float speed,
                      int samples, float rsoft, int sides, float rotation) {
    if (!usable(source, destination) || !all_finite(cx, cy, rclear, speed, rsoft, rotation)) return false;
    LicFrame frame = make_frame(source, destination, cx, cy, speed, samples, rsoft);
    frame.clear = rclear;
    float normals[2 * MAX_SIDES];
    if (sides >= 3 && sides <= MAX_SIDES) {
        polygon_normals(sides, std::fmod(double(rotation), 360.0) * 0.017453292, normals);
        frame.normals = normals;
        frame.sides = sides;
        frame.clear = rclear * k7_cos(PI / sides);
    }
    render(frame, destination);
    return true;
}

bool image_radial_lic_screened(const K7Image* source, const K7Image* screen, K7Image* destination, float cx, float cy,
                               float speed, int samples, float rsoft, float threshold) {
    if (!usable(source, destination) || !is_rgba_float(screen) || screen->pixels == destination->pixels) return false;
    if (!all_finite(cx, cy, speed, rsoft, threshold)) return false;
    const ImagePtr terms = screen_terms(screen, threshold < 0.999f ? threshold : 0.999f);
    if (!terms) return false;
    LicFrame frame = make_frame(source, destination, cx, cy, speed, samples, rsoft);
    frame.screen = {image_row<float>(terms.get(), 0), screen->width, screen->height};
    render(frame, destination);
    return true;
}
