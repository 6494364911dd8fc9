// Moving whole pixels about. A pixel is a block of bytes here; the sizes that occur have loops of their own.
#include "imagelib/imagelib_geometry.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "imagelib/samples.h"

namespace {

// Calls visit with the bytes of a pixel, as a constant for the common sizes.
template <class Visit>
void visit_pixel_bytes(std::size_t bytes, Visit&& visit) {
    switch (bytes) {
        case 1:
            return visit(std::integral_constant<std::size_t, 1>{});
        case 2:
            return visit(std::integral_constant<std::size_t, 2>{});
        case 4:
            return visit(std::integral_constant<std::size_t, 4>{});
        case 8:
            return visit(std::integral_constant<std::size_t, 8>{});
        case 12:
            return visit(std::integral_constant<std::size_t, 12>{});
        case 16:
            return visit(std::integral_constant<std::size_t, 16>{});
        default:
            return visit(bytes);
    }
}

// Reads columns of the source in strips of this many bytes, one cache line of each row: a strip of TILE_ROWS rows
// stays in the first-level cache until all its columns are written.
constexpr std::size_t STRIP_BYTES = 64;
constexpr int TILE_ROWS = 64;

// Destination rows first to last, that is source columns.
template <class Bytes>
void transpose_columns(const K7Image* source, K7Image* destination, int first, int last, Bytes bytes) {
    const int strip = static_cast<int>(std::max<std::size_t>(STRIP_BYTES / bytes, 1));
    const std::size_t source_row = source->row_bytes;
    for (int top = 0; top < source->height; top += TILE_ROWS) {
        const int rows = std::min(TILE_ROWS, source->height - top);
        for (int left = first; left <= last; left += strip) {
            const int right = std::min(left + strip - 1, last);
            for (int x = left; x <= right; ++x) {
                const std::byte* from = image_row<std::byte>(source, top) + std::size_t(x) * bytes;
                std::byte* to = image_row<std::byte>(destination, x) + std::size_t(top) * bytes;
                for (int y = 0; y < rows; ++y, from += source_row, to += bytes) std::memcpy(to, from, bytes);
            }
        }
    }
}

template <class Bytes>
void reverse_row(std::byte* row, int width, Bytes bytes) {
    std::byte *left = row, *right = row + std::size_t(width - 1) * bytes;
    for (; left < right; left += bytes, right -= bytes) {
        if constexpr (std::is_same_v<Bytes, std::size_t>) {
            std::swap_ranges(left, left + bytes, right);
        } else {
            struct Pixel {
                std::byte of[Bytes::value];
            } a, b;
            std::memcpy(&a, left, bytes);
            std::memcpy(&b, right, bytes);
            std::memcpy(left, &b, bytes);
            std::memcpy(right, &a, bytes);
        }
    }
}

template <class T>
void mean_row(const T* above, const T* below, T* to, std::size_t samples) {
    for (std::size_t i = 0; i < samples; ++i) {
        if constexpr (is_integer_sample<T>)
            to[i] = static_cast<T>((std::uint64_t(above[i]) + below[i]) / 2);
        else
            to[i] = (above[i] + below[i]) * 0.5f;
    }
}

}  // namespace

bool image_transpose(const K7Image* source, K7Image* destination) {
    if (!is_valid(source) || !is_valid(destination) || source == destination) return false;
    if (source->width != destination->height || source->height != destination->width) return false;
    if (source->channels != destination->channels || source->sample_type != destination->sample_type) return false;
    visit_pixel_bytes(source->pixel_bytes, [&](auto bytes) {
        for_rows(destination->height,
                 [&](int first, int last) { transpose_columns(source, destination, first, last, bytes); });
    });
    destination->stats_valid = 0;
    return true;
}

K7Image* image_transposed_copy(const K7Image* source) {
    if (!is_valid(source)) return nullptr;
    ImagePtr copy = make_image(source->height, source->width, source->channels, source->sample_type);
    if (!copy || !image_transpose(source, copy.get())) return nullptr;
    image_copy_attributes(source, copy.get());
    std::swap(copy->physical_width, copy->physical_height);
    std::swap(copy->pixel_width, copy->pixel_height);
    std::swap(copy->origin_x, copy->origin_y);
    copy->physical_aspect = copy->physical_width / copy->physical_height;
    copy->pixel_aspect = copy->pixel_width / copy->pixel_height;
    return copy.release();
}

bool image_flip_vertical(K7Image* image) {
    if (!is_valid(image)) return false;
    for_rows(image->height / 2, [image](int first, int last) {
        for (int y = first; y <= last; ++y) {
            std::byte* const row = image_row<std::byte>(image, y);
            std::swap_ranges(row, row + image->row_bytes, image_row<std::byte>(image, image->height - 1 - y));
        }
    });
    image->stats_valid = 0;
    return true;
}

bool image_flip_horizontal(K7Image* image) {
    if (!is_valid(image)) return false;
    visit_pixel_bytes(image->pixel_bytes, [image](auto bytes) {
        for_rows(image->height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) reverse_row(image_row<std::byte>(image, y), image->width, bytes);
        });
    });
    image->stats_valid = 0;
    return true;
}

K7Image* image_rotated_180_copy(const K7Image* image) {
    ImagePtr copy(image_duplicate(image));
    if (copy) image_flip_vertical(copy.get());
    return copy.release();
}

bool image_weave_fields(const K7Image* a, const K7Image* b, K7Image* destination, bool a_first, bool swap_parity) {
    if (!is_valid(a) || !is_valid(b) || !is_valid(destination)) return false;
    if (!image_same_layout(a, b) || !image_same_layout(a, destination)) return false;
    if (swap_parity && (a == destination || b == destination)) return false;  // rows would be read after they changed
    for_rows(destination->height, [=](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const int pair = y ^ 1;
            const int from_y = swap_parity && pair < destination->height ? pair : y;
            const K7Image* const from = (from_y % 2 == 0) == a_first ? a : b;
            if (from == destination) continue;
            std::memcpy(image_row<std::byte>(destination, y), image_row<std::byte>(from, from_y), from->row_bytes);
        }
    });
    destination->stats_valid = 0;
    return true;
}

bool image_interpolate_field(const K7Image* source, K7Image* destination, int field, bool a_first, bool swap_parity) {
    if (!is_valid(source) || !is_valid(destination) || !image_same_layout(source, destination)) return false;
    const bool odd_kept = (field != 0) ^ !a_first ^ swap_parity;
    const int height = source->height;
    const std::size_t samples = std::size_t(source->width) * source->channels;
    visit_sample_type(source->sample_type, [&](auto sample) {
        using T = decltype(sample);
        for_rows(height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                T* const to = image_row<T>(destination, y);
                if ((y % 2 != 0) == odd_kept || height == 1) {
                    if (source != destination) std::memcpy(to, image_row<T>(source, y), source->row_bytes);
                } else {
                    const T* const above = image_row<T>(source, y > 0 ? y - 1 : y + 1);
                    const T* const below = image_row<T>(source, y + 1 < height ? y + 1 : y - 1);
                    mean_row(above, below, to, samples);
                }
            }
        });
    });
    destination->stats_valid = 0;
    return true;
}
