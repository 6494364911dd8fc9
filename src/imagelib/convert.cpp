// Conversion between sample types and channel counts at equal size.
#include <algorithm>

#include "imagelib/samples.h"

namespace {

// Integers among each other in exact 64-bit arithmetic, all else in single precision.
template <class From, class To>
To convert_sample(From value, bool normalise) {
    if constexpr (std::is_same_v<From, To>) {
        return value;
    } else if constexpr (is_integer_sample<From> && is_integer_sample<To>) {
        constexpr std::uint64_t from_full = std::numeric_limits<From>::max(), to_full = std::numeric_limits<To>::max();
        if (normalise) return static_cast<To>(value * to_full / from_full);
        return static_cast<To>(std::min<std::uint64_t>(value, to_full));
    } else if constexpr (is_integer_sample<From>) {
        return normalise ? static_cast<float>(value) / full_value<From> : static_cast<float>(value);
    } else {
        return truncate_sample<To>(normalise ? value * full_value<To> : value);
    }
}

template <class From, class To>
void convert_rows(const K7Image* source, K7Image* destination, bool normalise, int mode, int first, int last) {
    const int shared = std::min(source->channels, destination->channels);
    const To filler = mode == 3 ? truncate_sample<To>(full_value<To>) : To(0);
    for (int y = first; y <= last; ++y) {
        const From* in = image_row<From>(source, y);
        To* out = image_row<To>(destination, y);
        for (int x = 0; x < source->width; ++x, in += source->channels, out += destination->channels) {
            for (int c = 0; c < shared; ++c) out[c] = convert_sample<From, To>(in[c], normalise);
            std::fill(out + shared, out + destination->channels, mode == 1 ? out[shared - 1] : filler);
        }
    }
}

}  // namespace

bool image_convert(const K7Image* source, K7Image* destination, bool normalise, int extra_channel_mode) {
    if (!is_valid(source) || !is_valid(destination)) return false;
    if (source->width != destination->width || source->height != destination->height) return false;
    if (image_same_layout(source, destination)) return image_copy(source, destination);
    visit_sample_type(source->sample_type, [&](auto from) {
        visit_sample_type(destination->sample_type, [&](auto to) {
            for_rows(source->height, [&](int first, int last) {
                convert_rows<decltype(from), decltype(to)>(source, destination, normalise, extra_channel_mode, first,
                                                           last);
            });
        });
    });
    image_copy_attributes(source, destination);
    destination->stats_valid = 0;
    return true;
}
