#include "graphicslib/image_dev.h"

#include <cmath>

bool NDC_to_DC::set_fit_mode(int new_mode) {
    if (new_mode < 1 || new_mode > 5) return false;
    m_mode = new_mode;
    derive();
    return true;
}

bool NDC_to_DC::set_device(float new_width, float new_height, float device_aspect, float window_aspect) {
    for (const float value : {new_width, new_height, device_aspect, window_aspect})
        if (!(value > 0) || !std::isfinite(value)) return false;
    m_width = new_width;
    m_height = new_height;
    device_pixel_aspect = device_aspect;
    window_pixel_aspect = window_aspect;
    derive();
    return true;
}

void NDC_to_DC::derive() {
    x_centre = x_scale = m_width / 2;
    y_centre = y_scale = m_height / 2;
    const float wide = m_width * device_pixel_aspect / window_pixel_aspect;  // in the m_height of a pixel
    const int effective = m_mode < 5 && m_height > wide ? m_mode + 2 : m_mode;
    if (effective == 1 || effective == 4) x_scale *= m_height / wide;
    if (effective == 2 || effective == 3) y_scale *= wide / m_height;
}

bool ImageDev::prepare_device(int new_width, int new_height, float aspect, int depth_code, bool owns) {
    const bool sizes = new_width >= 2 && new_width <= 65535 && new_height >= 2 && new_height <= 65535;
    if (!sizes || !(aspect > 0 && aspect <= 1000) || depth_code < 0 || depth_code > 3) return false;
    const auto fits = [&](const ImagePtr& image, int type) {
        return image && image->width == new_width && image->height == new_height && image->sample_type == type;
    };
    const auto prepare = [&](ImagePtr& image, int channels, int type) {
        if (!fits(image, type)) image = make_image(new_width, new_height, channels, type);
        return image != nullptr;
    };
    if (!fits(accumulator_image, SAMPLE_F32)) written = {};
    if (!owns) own_target.reset();
    other_target = nullptr;
    owns_target = owns;
    target_depth = depth_code;
    ready = (!owns || prepare(own_target, 4, depth_code)) && prepare(accumulator_image, 4, SAMPLE_F32) &&
            prepare(sample_image, 4, SAMPLE_F32) && prepare(depth_image, 1, SAMPLE_F32);
    if (!ready) {
        for (ImagePtr* image : {&own_target, &accumulator_image, &sample_image, &depth_image}) image->reset();
        return false;
    }
    ready = owns;
    set_device(static_cast<float>(new_width), static_cast<float>(new_height), aspect);
    return true;
}

bool ImageDev::set_target(K7Image* image) {
    if (owns_target || !image || !image->pixels || image->channels != 4 || image->sample_type != target_depth)
        return false;
    if (static_cast<float>(image->width) != device_width() || static_cast<float>(image->height) != device_height())
        return false;
    other_target = image;
    ready = true;
    return true;
}

void ImageDev::launch(int count, RowWorker worker, void* job) const {
    if (process_launcher && count >= 2)
        process_launcher(process_context, worker, count, job);
    else
        worker(job, 0, count - 1);
}

double ImageDev::to_units(float level, int depth_code) {
    static constexpr double SCALES[] = {255.999, 65535.9, 4294967296.0}, LIMITS[] = {255, 65535, 4294967295.0};
    if (depth_code == SAMPLE_F32) return double(level);
    const double value = level * SCALES[depth_code];
    return value > 0 ? std::min(std::floor(value), LIMITS[depth_code]) : 0;
}

void ImageDev::store(void* out, int i, float level, int depth_code) {
    switch (depth_code) {
        case SAMPLE_U8:
            static_cast<std::uint8_t*>(out)[i] = static_cast<std::uint8_t>(to_units(level, depth_code));
            break;
        case SAMPLE_U16:
            static_cast<std::uint16_t*>(out)[i] = static_cast<std::uint16_t>(to_units(level, depth_code));
            break;
        case SAMPLE_U32:
            static_cast<std::uint32_t*>(out)[i] = static_cast<std::uint32_t>(to_units(level, depth_code));
            break;
        default:
            static_cast<float*>(out)[i] = level;
    }
}

void ImageDev::clear_device(const GraphicsColour& colour) {
    if (!ready) return;
    K7Image* image = target();
    launch(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            void* row = image_row<std::byte>(image, y);
            for (int x = 0; x < image->width; ++x) {
                store(row, 4 * x, colour.r, image->sample_type);
                store(row, 4 * x + 1, colour.g, image->sample_type);
                store(row, 4 * x + 2, colour.b, image->sample_type);
                store(row, 4 * x + 3, colour.a, image->sample_type);
            }
        }
    });
    image->stats_valid = 0;
    clear_buffers();
}

void ImageDev::clear_buffers() {
    if (!ready || written.empty()) return;
    const Rect rect = written;
    launch(rect.y1 - rect.y0 + 1, [&](int first, int last) {
        for (int y = rect.y0 + first; y <= rect.y0 + last; ++y) {
            const int pixels = rect.x1 - rect.x0 + 1;
            for (K7Image* image : {accumulator_image.get(), sample_image.get()})
                std::fill_n(image_row<float>(image, y) + 4 * rect.x0, 4 * pixels, 0.0F);
            std::fill_n(image_row<float>(depth_image.get(), y) + rect.x0, pixels, FARTHEST);
        }
    });
    written = {};
}

bool ImageDev::set_blend(int new_mode) {
    if (new_mode < REPLACE || new_mode > OVER) return false;
    blend_mode = new_mode;
    return true;
}

void ImageDev::pixel(int x, int y, float coverage, float t) {
    const float c = coverage > 0 ? std::min(coverage, 1.0F) : 0;
    const auto mix = [&](float from, float to) { return from + c * (to - from); };
    pixel_colour(x, y,
                 {mix(previous.r, current.r), mix(previous.g, current.g), mix(previous.b, current.b),
                  mix(previous.a, current.a) * t},
                 blend_mode);
}

void ImageDev::pixel_colour(int x, int y, const GraphicsColour& colour, int blend) {
    K7Image* image = target();
    if (!ready || x < 0 || y < 0 || x >= image->width || y >= image->height) return;
    float values[4] = {colour.r * colour.a, colour.g * colour.a, colour.b * colour.a, colour.a};
    const int type = image->sample_type;
    if (blend != REPLACE) {
        static constexpr double SCALES[] = {1 / 255.0, 1 / 65535.0, 1 / 4294967296.0, 1};
        const float keep = blend == ADD ? 1 : 1 - colour.a;
        for (int k = 0; k < 4; ++k)
            values[k] += keep * static_cast<float>(image_get_sample(image, x, y, k) * SCALES[type]);
    }
    void* row = image_row<std::byte>(image, y);
    for (int k = 0; k < 4; ++k) store(row, 4 * x + k, values[k], type);
    image->stats_valid = 0;
}
