#include "effects/paint/BrushCanvas.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_curves.h"
#include "imagelib/imagelib_structure.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/solidnoise.h"

namespace {

constexpr int FIELD_WIDTH = 512;   // of the copy that directions are taken from, at most
constexpr int WHOLE_WIDTH = 1024;  // pictures up to this width are read at full size too

using simd::load;
using simd::Pixel;
using simd::store;

Pixel multiplied(const float* pixel, bool straight) {
    const Pixel p = load<Pixel>(pixel);
    if (!straight) return p;
    const float alpha = pixel[3];
    return p * Pixel{alpha, alpha, alpha, 1.0f};
}

}  // namespace

// ---- Scales -------------------------------------------------------------------------------------------------------

BrushCanvas::BrushCanvas(const K7Image& picture) {
    add(picture, picture.width > WHOLE_WIDTH, true);
    while (m_copies.back()->width > 1 || m_copies.back()->height > 1) add(*m_copies.back(), true, false);
}

void BrushCanvas::add(const K7Image& from, bool halved, bool straight) {
    const int step = halved ? 2 : 1;
    const int width = (from.width + step - 1) / step, height = (from.height + step - 1) / step;
    ImagePtr to = made(make_image_uncleared(width, height, 4, SAMPLE_F32));
    image_copy_attributes(&from, to.get());
    for_rows_float(height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* low = image_row<float>(&from, step * y);
            const float* high = image_row<float>(&from, std::min(step * y + step - 1, from.height - 1));
            float* out = image_row<float>(to.get(), y);
            for (int x = 0; x < width; ++x) {
                const long a = 4L * step * x, b = 4L * std::min(step * x + step - 1, from.width - 1);
                const Pixel below = multiplied(low + a, straight) + multiplied(low + b, straight);
                const Pixel above = multiplied(high + a, straight) + multiplied(high + b, straight);
                store(out + 4L * x, 0.25f * (below + above));
            }
        }
    });
    m_scales.push_back((m_scales.empty() ? 1.0f : m_scales.back()) / static_cast<float>(step));
    m_copies.push_back(std::move(to));
}

Pixel BrushCanvas::sample(std::size_t copy, float x, float y) const {
    const K7Image& image = *m_copies[copy];
    const float px = std::clamp(x * m_scales[copy] - 0.5f, 0.0f, static_cast<float>(image.width - 1));
    const float py = std::clamp(y * m_scales[copy] - 0.5f, 0.0f, static_cast<float>(image.height - 1));
    const int column = static_cast<int>(px), row = static_cast<int>(py);
    const float fx = px - static_cast<float>(column), fy = py - static_cast<float>(row);
    const long right = column + 1 < image.width ? 4 : 0;
    const float* low = image_row<float>(&image, row) + 4L * column;
    const float* high = image_row<float>(&image, std::min(row + 1, image.height - 1)) + 4L * column;
    const Pixel a = load<Pixel>(low), b = load<Pixel>(high);
    const Pixel below = a + (load<Pixel>(low + right) - a) * fx, above = b + (load<Pixel>(high + right) - b) * fx;
    return below + (above - below) * fy;
}

Pixel BrushCanvas::mean(float x, float y, float size) const {
    float squeeze = size * m_scales[0];
    std::size_t copy = 0;
    for (; squeeze >= 2 && copy + 1 < m_copies.size(); ++copy) squeeze *= 0.5f;
    const float part = std::clamp(squeeze - 1, 0.0f, 1.0f);
    const Pixel fine = sample(copy, x, y);
    if (part == 0 || copy + 1 == m_copies.size()) return fine;
    return fine + (sample(copy + 1, x, y) - fine) * part;
}

BrushCanvas::Copy BrushCanvas::copy(int width) const {
    std::size_t i = 0;
    while (i + 1 < m_copies.size() && m_copies[i]->width > width) ++i;
    return {m_copies[i].get(), m_scales[i]};
}

// ---- Directions ---------------------------------------------------------------------------------------------------

namespace {

struct Twice {  // cosine and sine of twice an angle
    float x, y;
    Twice turned(const K7SineCosine& by) const {
        const auto c = static_cast<float>(by.cosine), s = static_cast<float>(by.sine);
        return {x * c - y * s, x * s + y * c};
    }
};
Twice twice(double angle) {
    const K7SineCosine t = k7_sine_cosine(2 * angle);
    return {static_cast<float>(t.cosine), static_cast<float>(t.sine)};
}

// Hue, 0 to 1, and how clearly a pixel has one.
struct Hue {
    double turn;
    float clear;
};
Hue hue_of(const float* c) {
    const float x = c[0] - 0.5f * (c[1] + c[2]), y = 0.8660254f * (c[1] - c[2]);
    const double angle = k7_atan2(double(y), double(x)) / 6.283185307179586;
    return {angle < 0 ? angle + 1 : angle, smooth_step(std::sqrt(x * x + y * y), 0.02f, 0.15f)};
}

}  // namespace

BrushField::BrushField(const BrushCanvas& canvas, const BrushCanvas* control, const BrushDirections& directions) {
    const bool other = control && directions.control == BrushDirections::EDGES;
    const auto [source, scale] = (other ? *control : canvas).copy(FIELD_WIDTH);
    const auto sigma = static_cast<float>(std::max(directions.smooth * source->width, 0.5));
    ImagePtr structure = made(image_structure(source, {.sigma = sigma, .wide_sigma = 3 * sigma, .half_size = false}));
    m_axes = made(make_image_uncleared(source->width, source->height, 2, SAMPLE_F32));
    fill(structure.get(), control && !other ? control->copy(FIELD_WIDTH).image : nullptr, directions);
    m_scale = scale;
}

void BrushField::fill(const K7Image* structure, const K7Image* control, const BrushDirections& d) {
    const SolidNoise noise(d.seed);
    const auto width = static_cast<float>(structure->width);
    const float cycle = 1.0f / static_cast<float>(d.wander_length * structure->width);
    const K7SineCosine turn = k7_sine_cosine(2 * d.turn);
    for_rows_float(structure->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* from = image_row<float>(structure, y);
            float* out = image_row<float>(m_axes.get(), y);
            for (int x = 0; x < structure->width; ++x, from += 4, out += 2) {
                double angle = d.angle;
                if (d.wander != 0)
                    angle += d.wander * 1.6 *
                             double(noise.noise(static_cast<float>(x) * cycle,
                                                static_cast<float>(y) * cycle / structure->pixel_aspect, 0.5f));
                const Twice free = twice(angle);
                const float clear = smooth_step(from[3] * width, 4.0f, 18.0f) * smooth_step(from[2], 0.05f, 0.4f) *
                                    static_cast<float>(d.follow);
                const Twice edge = Twice{from[0] * from[0] - from[1] * from[1], 2 * from[0] * from[1]}.turned(turn);
                Twice axis{free.x + (edge.x - free.x) * clear, free.y + (edge.y - free.y) * clear};
                if (control) {
                    const float* c = image_row<float>(control, std::min(y, control->height - 1)) +
                                     4L * std::min(x, control->width - 1);
                    if (d.control == BrushDirections::HUE) {
                        const Hue hue = hue_of(c);
                        const Twice given = twice(hue.turn * d.control_angle);
                        axis = {axis.x + (given.x - axis.x) * hue.clear, axis.y + (given.y - axis.y) * hue.clear};
                    } else {
                        const double light = std::clamp(double(luminance(c)), 0.0, 1.0);
                        axis = axis.turned(k7_sine_cosine(2 * light * d.control_angle));
                    }
                }
                out[0] = axis.x, out[1] = axis.y;
            }
        }
    });
}

BrushField::Axis BrushField::at(float x, float y, Axis before) const {
    const K7Image& axes = *m_axes;
    const float px = std::clamp(x * m_scale - 0.5f, 0.0f, static_cast<float>(axes.width - 1));
    const float py = std::clamp(y * m_scale - 0.5f, 0.0f, static_cast<float>(axes.height - 1));
    const int column = static_cast<int>(px), row = static_cast<int>(py);
    const float fx = px - static_cast<float>(column), fy = py - static_cast<float>(row);
    const long right = column + 1 < axes.width ? 2 : 0;
    const float* low = image_row<float>(&axes, row) + 2L * column;
    const float* high = image_row<float>(&axes, std::min(row + 1, axes.height - 1)) + 2L * column;
    const auto mixed = [&](int c) {
        const float below = low[c] + (low[right + c] - low[c]) * fx;
        return below + (high[c] + (high[right + c] - high[c]) * fx - below) * fy;
    };
    const float p = mixed(0), q = mixed(1), length = std::sqrt(p * p + q * q);
    if (!(length > 1e-6f)) return before;
    // Half the angle
    const float cosine = std::sqrt(std::max(0.5f * (1 + p / length), 0.0f));
    const float sine = std::copysign(std::sqrt(std::max(0.5f * (1 - p / length), 0.0f)), q);
    return cosine * before.x + sine * before.y < 0 ? Axis{-cosine, -sine} : Axis{cosine, sine};
}
