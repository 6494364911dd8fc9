// Arithmetic in place. One loop over a row serves all operators, sample types and masks; it is bound by memory.
#include "imagelib/imagelib_arithmetic.h"

#include <algorithm>

#include "imagelib/arithmetic_formulas.h"
#include "imagelib/device_call.h"
#include "imagelib/samples.h"

namespace {

// What samples of type T are computed in: 32-bit integers do not fit into a float.
template <class T>
using Real = std::conditional_t<std::is_same_v<T, std::uint32_t>, double, float>;

// One over the full value.
template <class T>
constexpr Real<T> unit = 1 / (is_integer_sample<T> ? static_cast<Real<T>>(std::numeric_limits<T>::max()) : Real<T>(1));

template <class T>
T store_sample(Real<T> value) {
    if constexpr (is_integer_sample<T>) {
        constexpr auto full = static_cast<Real<T>>(std::numeric_limits<T>::max());
        return truncate_sample<T>((value > 0 ? std::min(value, full) : Real<T>(0)) + Real<T>(0.5));
    } else {
        return value;
    }
}

// Bits of a mask as one flag a channel; channels past the 32nd are only ever reached by the mask -1.
struct ChannelMask {
    int mask;
    bool all() const { return mask == -1; }
    bool operator[](int channel) const {
        return all() || (channel < 32 && (static_cast<unsigned>(mask) >> channel & 1u));
    }
};

// compute(place of the sample in the row) for every sample that the mask selects.
template <class T, class Compute>
void update_row(T* row, int width, int channels, ChannelMask mask, const Compute& compute) {
    const std::size_t count = std::size_t(width) * channels;
    if (mask.all()) {
        for (std::size_t i = 0; i < count; ++i) row[i] = store_sample<T>(compute(i));
    } else if (channels == 4) {
        const bool selected[4] = {mask[0], mask[1], mask[2], mask[3]};
        for (std::size_t i = 0; i < count; i += 4) {
            for (std::size_t c = 0; c < 4; ++c) {
                const T changed = store_sample<T>(compute(i + c));
                row[i + c] = selected[c] ? changed : row[i + c];
            }
        }
    } else {
        for (int c = 0; c < channels; ++c) {
            if (!mask[c]) continue;
            for (std::size_t i = c; i < count; i += channels) row[i] = store_sample<T>(compute(i));
        }
    }
}

template <class T, class Operate>
void update_constant(K7Image* image, int mask, float c, const Operate& operate) {
    const auto constant = static_cast<Real<T>>(c);
    for_rows(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            T* row = image_row<T>(image, y);
            update_row(row, image->width, image->channels, {mask}, [row, operate, constant](std::size_t i) {
                return operate(static_cast<Real<T>>(row[i]), constant);
            });
        }
    });
}

template <class T, class Operate>
void update_image(K7Image* a, const K7Image* b, int mask, const Operate& operate) {
    for_rows(a->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            T* row = image_row<T>(a, y);
            const T* other = image_row<T>(b, y);
            update_row(row, a->width, a->channels, {mask}, [row, other, operate](std::size_t i) {
                return operate(static_cast<Real<T>>(row[i]), static_cast<Real<T>>(other[i]));
            });
        }
    });
}

}  // namespace

bool image_arithmetic_constant(K7Image* image, ConstantOperator op, float c, int mask) {
    if (!is_valid(image)) return false;
    if (image_pays_on_device(image, 2, 0.57))
        return done_on_device("cuda_arith_image_constant", image, [=](DeviceImage& pixels, GpuStream stream) {
            return cuda_arith_image_constant(pixels, op, c, mask, stream);
        });
    if (op == ConstantOperator::subtract) op = ConstantOperator::add, c = -c;
    if (op == ConstantOperator::divide) op = ConstantOperator::multiply, c = factor_of_divisor(c);
    return visit_sample_type(image->sample_type, [&](auto sample) {
        using T = decltype(sample);
        if (op == ConstantOperator::add) update_constant<T>(image, mask, c, AddSamples());
        if (op == ConstantOperator::multiply) update_constant<T>(image, mask, c, MultiplySamples());
        if (op == ConstantOperator::reverse_subtract) update_constant<T>(image, mask, c, ReverseSubtractSamples());
        image->stats_valid = 0;
    });
}

bool image_arithmetic_image(K7Image* a, ImageOperator op, const K7Image* b, int mask) {
    if (!is_valid(a) || !is_valid(b) || !image_same_layout(a, b)) return false;
    if (image_pays_on_device(a, 3, 0.82))
        return done_on_device("cuda_arith_image_point", a, [=](DeviceImage& pixels, GpuStream stream) {
            DeviceImage second(host_picture(b), stream);
            return cuda_arith_image_point(pixels, op, a->pixels == b->pixels ? pixels : second, mask, stream);
        });
    return visit_sample_type(a->sample_type, [&](auto sample) {
        using T = decltype(sample);
        switch (op) {
            case ImageOperator::add:
                update_image<T>(a, b, mask, AddSamples());
                break;
            case ImageOperator::subtract:
                update_image<T>(a, b, mask, SubtractSamples());
                break;
            case ImageOperator::multiply:
                update_image<T>(a, b, mask, MultiplySamples());
                break;
            case ImageOperator::multiply_scaled:
                update_image<T>(a, b, mask, [](auto s, auto t) { return s * t * unit<T>; });
                break;
            case ImageOperator::divide:
                update_image<T>(a, b, mask, DivideSamples());
                break;
        }
        a->stats_valid = 0;
    });
}

bool image_add_constant(K7Image* image, float c) { return image_arithmetic_constant(image, ConstantOperator::add, c); }
bool image_multiply_constant(K7Image* image, float c) {
    return image_arithmetic_constant(image, ConstantOperator::multiply, c);
}
bool image_multiply_constant_masked(K7Image* image, float c, int mask) {
    return image_arithmetic_constant(image, ConstantOperator::multiply, c, mask);
}
bool image_divide_constant(K7Image* image, float c) {
    return image_arithmetic_constant(image, ConstantOperator::divide, c);
}

bool image_add_image(K7Image* a, const K7Image* b) { return image_arithmetic_image(a, ImageOperator::add, b); }
bool image_subtract_image(K7Image* a, const K7Image* b) {
    return image_arithmetic_image(a, ImageOperator::subtract, b);
}
bool image_multiply_image(K7Image* a, const K7Image* b) {
    return image_arithmetic_image(a, ImageOperator::multiply, b);
}
bool image_multiply_image_masked(K7Image* a, const K7Image* b, int mask) {
    return image_arithmetic_image(a, ImageOperator::multiply, b, mask);
}
bool image_multiply_image_scaled(K7Image* a, const K7Image* b) {
    return image_arithmetic_image(a, ImageOperator::multiply_scaled, b);
}
bool image_multiply_image_scaled_masked(K7Image* a, const K7Image* b, int mask) {
    return image_arithmetic_image(a, ImageOperator::multiply_scaled, b, mask);
}
