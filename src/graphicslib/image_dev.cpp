#include "graphicslib/image_dev.h"

#include <cmath>
#include <cstdint>

#include "simdlib/vectors.h"

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
    m_device_pixel_aspect = device_aspect;
    m_window_pixel_aspect = window_aspect;
    derive();
    return true;
}

void NDC_to_DC::derive() {
    m_x_centre = m_x_scale = m_width / 2;
    m_y_centre = m_y_scale = m_height / 2;
    const float wide = m_width * m_device_pixel_aspect / m_window_pixel_aspect;  // in heights of a pixel
    const int effective = m_mode < 5 && m_height > wide ? m_mode + 2 : m_mode;
    if (effective == 1 || effective == 4) m_x_scale *= m_height / wide;
    if (effective == 2 || effective == 3) m_y_scale *= wide / m_height;
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
    if (!owns) m_own_target.reset();
    m_other_target = nullptr;
    m_owns_target = owns;
    m_target_depth = depth_code;
    m_ready = false;
    if (owns && !prepare(m_own_target, 4, depth_code)) return false;
    m_ready = owns;
    set_device(static_cast<float>(new_width), static_cast<float>(new_height), aspect);
    return true;
}

bool ImageDev::set_target(K7Image* image) {
    if (m_owns_target || !image || !image->pixels || image->channels != 4 || image->sample_type != m_target_depth)
        return false;
    if (static_cast<float>(image->width) != device_width() || static_cast<float>(image->height) != device_height())
        return false;
    m_other_target = image;
    m_ready = true;
    return true;
}

double ImageDev::to_units(float level, int depth_code) {
    static constexpr double SCALES[] = {255.999, 65535.9, 4294967296.0}, LIMITS[] = {255, 65535, 4294967295.0};
    if (depth_code == SAMPLE_F32) return double(level);
    const double value = level * SCALES[depth_code];
    return value > 0 ? std::min(std::floor(value), LIMITS[depth_code]) : 0;
}

namespace {

template <class Sample>
void store_levels(void* out, int count, const float* levels, float divisor, double (*units)(float, int), int type) {
    for (int i = 0; i < count; ++i)
        static_cast<Sample*>(out)[i] = static_cast<Sample>(units(levels[i] / divisor, type));
}

}  // namespace

namespace {

constexpr double LEVELS[] = {1 / 255.0, 1 / 65535.0, 1 / 4294967296.0, 1};  // of one unit, by depth code

template <class Sample>
void store_over_levels(void* out, int pixels, const float* levels, float divisor, double (*units)(float, int),
                       int type) {
    auto* samples = static_cast<Sample*>(out);
    for (int i = 0; i < 4 * pixels; i += 4) {
        const float keep = 1 - levels[i + 3] / divisor;
        for (int k = i; k < i + 4; ++k) {
            const auto there = static_cast<float>(samples[k] * LEVELS[type]);
            const float level = levels[k] / divisor + keep * there;
            if constexpr (std::is_same_v<Sample, float>)
                samples[k] = level;
            else
                samples[k] = static_cast<Sample>(units(level, type));
        }
    }
}

}  // namespace

void ImageDev::store_over(void* out, int pixels, const float* levels, float divisor, int depth_code) {
    switch (depth_code) {
        case SAMPLE_U8:
            return store_over_levels<std::uint8_t>(out, pixels, levels, divisor, to_units, depth_code);
        case SAMPLE_U16:
            return store_over_levels<std::uint16_t>(out, pixels, levels, divisor, to_units, depth_code);
        case SAMPLE_U32:
            return store_over_levels<std::uint32_t>(out, pixels, levels, divisor, to_units, depth_code);
        default:
            return store_over_levels<float>(out, pixels, levels, divisor, to_units, depth_code);
    }
}

bool ImageDev::streams(const K7Image* image) {
    constexpr std::size_t CACHED = std::size_t(8) << 20;
    return std::size_t(image->row_bytes) * image->height > CACHED;
}

void ImageDev::finish_streams() { simd::finish_streams(); }

namespace {

bool aligned(const void* place) { return reinterpret_cast<std::uintptr_t>(place) % sizeof(simd::Pixel) == 0; }

}  // namespace

void ImageDev::clear_bytes(std::byte* out, std::size_t count, bool stream) {
    std::size_t done = 0;
    if (stream && aligned(out))
        for (; done + sizeof(simd::Pixel) <= count; done += sizeof(simd::Pixel))
            simd::stream(reinterpret_cast<float*>(out + done), simd::Pixel{});
    std::fill_n(out + done, count - done, std::byte{0});
}

void ImageDev::store(void* out, int count, const float* levels, float divisor, int depth_code, bool stream) {
    switch (depth_code) {
        case SAMPLE_U8:
            return store_levels<std::uint8_t>(out, count, levels, divisor, to_units, depth_code);
        case SAMPLE_U16:
            return store_levels<std::uint16_t>(out, count, levels, divisor, to_units, depth_code);
        case SAMPLE_U32:
            return store_levels<std::uint32_t>(out, count, levels, divisor, to_units, depth_code);
        default:
            break;
    }
    auto* samples = static_cast<float*>(out);
    int done = 0;
    if (stream && aligned(out))
        for (; done + 4 <= count; done += 4) {
            const auto values = simd::load<simd::Pixel>(levels + done);
            simd::stream(samples + done, divisor == 1 ? values : values / divisor);
        }
    for (; done < count; ++done) samples[done] = levels[done] / divisor;
}

void ImageDev::clear_device(const GraphicsColour& colour) {
    if (!m_ready) return;
    K7Image* image = target();
    const float levels[4] = {colour.r, colour.g, colour.b, colour.a};
    alignas(16) std::byte pixel_bytes[16];
    store(pixel_bytes, 4, levels, 1, image->sample_type);
    const bool stream = streams(image) && image->pixel_bytes == sizeof(simd::Pixel) && aligned(image->pixels);
    m_runner(image->height, [&](int first, int last) {
        if (first > last) return;
        auto* row = image_row<std::byte>(image, first);
        for (int x = 0; x < image->width; ++x)
            std::copy_n(pixel_bytes, image->pixel_bytes, row + std::ptrdiff_t(x) * image->pixel_bytes);
        for (int y = first + 1; y <= last; ++y) {
            auto* copy = image_row<std::byte>(image, y);
            if (!stream) {
                std::copy_n(row, image->row_bytes, copy);
                continue;
            }
            const auto pixel = simd::load<simd::Pixel>(reinterpret_cast<const float*>(pixel_bytes));
            for (int x = 0; x < image->width; ++x) simd::stream(reinterpret_cast<float*>(copy) + 4 * x, pixel);
        }
        if (stream) finish_streams();
    });
    image->stats_valid = 0;
}

bool ImageDev::set_blend(int new_mode) {
    if (new_mode < REPLACE || new_mode > OVER) return false;
    m_blend_mode = new_mode;
    return true;
}

void ImageDev::pixel(int x, int y, float coverage, float t) {
    const float c = coverage > 0 ? std::min(coverage, 1.0F) : 0;
    const auto mix = [&](float from, float to) { return from + c * (to - from); };
    pixel_colour(x, y,
                 {mix(m_previous.r, m_current.r), mix(m_previous.g, m_current.g), mix(m_previous.b, m_current.b),
                  mix(m_previous.a, m_current.a) * t},
                 m_blend_mode);
}

void ImageDev::pixel_colour(int x, int y, const GraphicsColour& colour, int blend) {
    K7Image* image = target();
    if (!m_ready || x < 0 || y < 0 || x >= image->width || y >= image->height) return;
    float values[4] = {colour.r * colour.a, colour.g * colour.a, colour.b * colour.a, colour.a};
    const int type = image->sample_type;
    if (blend != REPLACE) {
        const float keep = blend == ADD ? 1 : 1 - colour.a;
        for (int k = 0; k < 4; ++k)
            values[k] += keep * static_cast<float>(image_get_sample(image, x, y, k) * LEVELS[type]);
    }
    store(image_row<std::byte>(image, y) + std::ptrdiff_t(x) * image->pixel_bytes, 4, values, 1, type);
    image->stats_valid = 0;
}
