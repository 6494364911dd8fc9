#include <cmath>
#include <cstdint>

#include "benches/support/bench.h"

namespace {

std::uint32_t hash(std::uint32_t x) {
    x = (x ^ (x >> 16)) * 0x7feb352du;
    x = (x ^ (x >> 15)) * 0x846ca68bu;
    return x ^ (x >> 16);
}

}  // namespace

SharedImage blank_frame(int channels, int sample_type, int width, int height) {
    SharedImage image(image_create(width, height, channels, sample_type, 1), ImageDeleter{});
    image_fill(image.get(), 0.0f);
    return image;
}

SharedImage test_frame(int channels, int sample_type, int width, int height) {
    SharedImage image = blank_frame(channels, SAMPLE_F32, width, height);
    for (int y = 0; y < height; ++y) {
        float* row = image_row<float>(image.get(), y);
        for (int i = 0; i < width * channels; ++i) {
            const float gradient = 0.5f + 0.4f * std::sin(float(i % 1000 + y) * 0.01f);
            const float grain = static_cast<float>(hash(std::uint32_t(y * width * channels + i)) >> 8) * 0x1p-24f;
            row[i] = gradient * 0.8f + grain * 0.2f;
        }
    }
    if (sample_type == SAMPLE_F32) return image;
    SharedImage converted = blank_frame(channels, sample_type, width, height);
    image_convert(image.get(), converted.get(), true, 0);
    return converted;
}
