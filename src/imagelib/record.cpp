// The image record: sizes, creation, attributes.
#include <cstring>
#include <limits>
#include <new>

#include "imagelib/samples.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int MAX_SIDE = 65535;

int checked_product(long long a, long long b) {
    if (a < 0 || b < 0) return -1;
    long long product = 0;
    if (__builtin_mul_overflow(a, b, &product) || product > std::numeric_limits<int>::max()) return -1;
    return static_cast<int>(product);
}

bool is_positive(float value) { return value > 0.0f && value <= std::numeric_limits<float>::max(); }  // false for NaN

}  // namespace

int image_bytes_per_sample(int sample_type) {
    switch (sample_type) {
        case SAMPLE_U8:
            return 1;
        case SAMPLE_U16:
            return 2;
        case SAMPLE_U32:
            return 4;
        case SAMPLE_F32:
            return 4;
        default:
            return -1;
    }
}

int image_bytes_per_sample(const K7Image* image) { return image ? image_bytes_per_sample(image->sample_type) : -1; }

int image_pixel_bytes(int channels, int sample_type) {
    return checked_product(channels, image_bytes_per_sample(sample_type));
}

int image_pixel_bytes(const K7Image* image) {
    return image ? image_pixel_bytes(image->channels, image->sample_type) : -1;
}

int image_row_bytes(int width, int channels, int sample_type) {
    return checked_product(width, image_pixel_bytes(channels, sample_type));
}

int image_row_bytes(const K7Image* image) {
    return image ? image_row_bytes(image->width, image->channels, image->sample_type) : -1;
}

int image_total_bytes(int width, int height, int channels, int sample_type) {
    return checked_product(height, image_row_bytes(width, channels, sample_type));
}

int image_total_bytes(const K7Image* image) {
    return image ? image_total_bytes(image->width, image->height, image->channels, image->sample_type) : -1;
}

float image_full_value(int sample_type) {
    float full = 1.0f;
    visit_sample_type(sample_type, [&](auto sample) { full = full_value<decltype(sample)>; });
    return full;
}

bool image_same_layout(const K7Image* a, const K7Image* b) {
    return a && b && a->width == b->width && a->height == b->height && a->channels == b->channels &&
           a->sample_type == b->sample_type;
}

namespace {

enum class Pixels { None, Zero, Uncleared };

K7Image* create(int width, int height, int channels, int sample_type, Pixels kind) {
    if (width < 1 || width > MAX_SIDE || height < 1 || height > MAX_SIDE) return nullptr;
    const int pixel_bytes = image_pixel_bytes(channels, sample_type);
    if (pixel_bytes < 1 || pixel_bytes > std::numeric_limits<std::uint16_t>::max()) return nullptr;
    const int total = image_total_bytes(width, height, channels, sample_type);
    if (total < 1) return nullptr;

    const auto bytes = static_cast<std::size_t>(total);
    void* pixels = kind == Pixels::Zero        ? k7_aligned_malloc(bytes, -1, true)
                   : kind == Pixels::Uncleared ? k7_aligned_malloc_uncleared(bytes, -1, true)
                                               : nullptr;
    if (kind != Pixels::None && !pixels) return nullptr;
    void* memory = k7_malloc(sizeof(K7Image));
    if (!memory) {
        if (pixels) k7_aligned_free(pixels, true);
        return nullptr;
    }
    auto* image = new (memory) K7Image{};
    image->width = static_cast<std::uint16_t>(width);
    image->height = static_cast<std::uint16_t>(height);
    image->channels = static_cast<std::uint16_t>(channels);
    image->sample_type = static_cast<std::uint16_t>(sample_type);
    image->owns_pixels = pixels != nullptr;
    image->physical_width = static_cast<float>(width);
    image->physical_height = static_cast<float>(height);
    image->physical_aspect = image->physical_width / image->physical_height;
    image->pixel_width = image->pixel_height = image->pixel_aspect = 1.0f;
    image->unit_scale = 1.0f;
    image->row_bytes = static_cast<std::uint32_t>(width * pixel_bytes);
    image->pixel_bytes = static_cast<std::uint16_t>(pixel_bytes);
    image->sample_bytes = static_cast<std::uint16_t>(image_bytes_per_sample(sample_type));
    image->pixels = pixels;
    return image;
}

}  // namespace

K7Image* image_create(int width, int height, int channels, int sample_type, int allocate) {
    return create(width, height, channels, sample_type, allocate ? Pixels::Zero : Pixels::None);
}

K7Image* image_create_uncleared(int width, int height, int channels, int sample_type) {
    return create(width, height, channels, sample_type, Pixels::Uncleared);
}

int image_destroy(K7Image* image) {
    if (!image) return -1;
    if (image->pixels && image->owns_pixels) k7_aligned_free(image->pixels, true);
    k7_free(image);
    return 0;
}

bool image_set_physical_size(K7Image* image, float width, float height, int units) {
    if (!image || !is_positive(width) || !is_positive(height) || units < 0 || units > 4) return false;
    image->physical_width = width;
    image->physical_height = height;
    image->physical_aspect = width / height;
    image->pixel_width = width / image->width;
    image->pixel_height = height / image->height;
    image->pixel_aspect = image->pixel_width / image->pixel_height;
    image->units = static_cast<std::uint32_t>(units);
    return true;
}

bool image_set_pixel_size(K7Image* image, float width, float height, int units) {
    if (!image || !is_positive(width) || !is_positive(height) || units < 0 || units > 4) return false;
    image->pixel_width = width;
    image->pixel_height = height;
    image->pixel_aspect = width / height;
    image->physical_width = width * image->width;
    image->physical_height = height * image->height;
    image->physical_aspect = image->physical_width / image->physical_height;
    image->units = static_cast<std::uint32_t>(units);
    return true;
}

bool image_set_origin(K7Image* image, float x, float y) {
    if (!image) return false;
    image->origin_x = x;
    image->origin_y = y;
    return true;
}

bool image_set_unit_scale(K7Image* image, float scale) {
    if (!image || !is_positive(scale)) return false;
    image->unit_scale = scale;
    return true;
}

bool image_copy_attributes(const K7Image* source, K7Image* destination) {
    if (!source || !destination) return false;
    destination->user_word = source->user_word;
    destination->min_value = source->min_value;
    destination->max_value = source->max_value;
    destination->stats_valid = source->stats_valid;
    destination->physical_width = source->physical_width;
    destination->physical_height = source->physical_height;
    destination->physical_aspect = source->physical_aspect;
    destination->pixel_width = source->pixel_width;
    destination->pixel_height = source->pixel_height;
    destination->pixel_aspect = source->pixel_aspect;
    destination->origin_x = source->origin_x;
    destination->origin_y = source->origin_y;
    destination->units = source->units;
    destination->unit_scale = source->unit_scale;
    return true;
}
