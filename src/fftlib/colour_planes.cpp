// Pictures in colour as planes, and back.
#include <cstdint>

#include "fftlib/fftlib.h"
#include "fftlib/yuva_formulas.h"

namespace {

// visit(sample, channel count as a constant) for pictures of 8 bits, 16 bits or float with 3 or 4 channels; false for
// others.
template <class Visit>
bool visit_colour_picture(const K7Image* picture, Visit&& visit) {
    if (!picture || !picture->pixels || (picture->channels != 3 && picture->channels != 4)) return false;
    const auto with_channels = [&](auto sample) {
        if (picture->channels == 3)
            visit(sample, std::integral_constant<int, 3>{});
        else
            visit(sample, std::integral_constant<int, 4>{});
        return true;
    };
    switch (picture->sample_type) {
        case SAMPLE_U8:
            return with_channels(std::uint8_t{});
        case SAMPLE_U16:
            return with_channels(std::uint16_t{});
        case SAMPLE_F32:
            return with_channels(float{});
        default:
            return false;
    }
}

// work(index of the pixel, pixels) for all of them.
template <class Work>
void for_pixels(const K7Image* picture, const Work& work) {
    const std::size_t width = picture->width, count = width * picture->height;
    for_rows(picture->height, [&](int first, int last) {
        for (std::size_t i = std::size_t(first) * width; i < std::size_t(last + 1) * width; ++i) work(i, count);
    });
}

}  // namespace

bool fft_split_colours(const K7Image* picture, float* planes) {
    return planes && visit_colour_picture(picture, [&](auto sample, auto channels) {
               using Sample = decltype(sample);
               const Sample* const pixels = image_row<Sample>(picture, 0);
               for_pixels(picture, [=](std::size_t i, std::size_t count) {
                   split_pixel<Sample, channels()>(planes, pixels, i, count);
               });
           });
}

bool fft_join_colours(const float* planes, K7Image* picture) {
    if (!planes) return false;
    const bool joined = visit_colour_picture(picture, [&](auto sample, auto channels) {
        using Sample = decltype(sample);
        Sample* const pixels = image_row<Sample>(picture, 0);
        for_pixels(picture,
                   [=](std::size_t i, std::size_t count) { join_pixel<Sample, channels()>(pixels, planes, i, count); });
    });
    if (joined) picture->stats_valid = 0;
    return joined;
}
