// Moving whole pixels about. A pixel is a block of bytes here; the sizes that occur have loops of their own.
#include "imagelib/imagelib_geometry.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "imagelib/samples.h"
#include "simdlib/vectors.h"

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

// Square blocks of one cache line a side: every line of the source is read and every line of the destination written
// once, as a whole. Blocks follow each other down the source, so that rows of the destination grow without a gap.
constexpr std::size_t LINE_BYTES = 64;
constexpr int LONGEST_SIDE = 16;

// From this many bytes on the destination will not fit into the caches, which then need not read it before it is
// written.
constexpr std::size_t STREAM_BYTES = std::size_t(8) << 20;

template <class Bytes>
void copy_pixel(std::byte* to, const std::byte* from, Bytes bytes, bool stream) {
    if constexpr (std::is_same_v<Bytes, std::integral_constant<std::size_t, 16>>) {
        if (stream)
            return simd::stream(reinterpret_cast<float*>(to),
                                simd::load<simd::Pixel>(reinterpret_cast<const float*>(from)));
    }
    std::memcpy(to, from, bytes);
}

// The processor fetches nothing ahead by itself where every line is on another page.
constexpr int ROWS_AHEAD = 16;

void fetch_rows(const K7Image* source, std::size_t offset, int first, int count) {
    for (int y = first; y < first + count; ++y) __builtin_prefetch(image_row<std::byte>(source, y) + offset);
}

// Destination rows first to last, that is source columns.
template <class Bytes>
void transpose_columns(const K7Image* source, K7Image* destination, int first, int last, Bytes bytes, bool stream) {
    const int side = std::clamp(static_cast<int>(LINE_BYTES / bytes), 1, LONGEST_SIDE);
    const std::size_t source_row = source->row_bytes;
    for (int left = first; left <= last; left += side) {
        const int right = std::min(left + side - 1, last);
        for (int top = 0; top < source->height; top += side) {
            const int rows = std::min(side, source->height - top);
            fetch_rows(source, left * bytes, top + ROWS_AHEAD, std::min(rows, source->height - top - ROWS_AHEAD));
            for (int x = left; x <= right; ++x) {
                const std::byte* from = image_row<std::byte>(source, top) + std::size_t(x) * bytes;
                std::byte* to = image_row<std::byte>(destination, x) + std::size_t(top) * bytes;
                for (int y = 0; y < rows; ++y, from += source_row, to += bytes) copy_pixel(to, from, bytes, stream);
            }
        }
    }
    if (stream) simd::finish_streams();
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
    const bool aligned = reinterpret_cast<std::uintptr_t>(destination->pixels) % 16 == 0;
    const bool stream = aligned && buffer_bytes(destination) >= STREAM_BYTES;
    visit_pixel_bytes(source->pixel_bytes, [&](auto bytes) {
        for_rows(destination->height,
                 [&](int first, int last) { transpose_columns(source, destination, first, last, bytes, stream); });
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
