// A picture in memory as this program keeps it, and the arithmetic between it and the host's images and files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quillon {

// Float RGBA with straight alpha, rows bottom to top as in OFX images (files have their top row first).
struct Picture {
    int width = 0, height = 0;
    std::vector<float> rgba;

    Picture() = default;
    Picture(int w, int h) : width(w), height(h), rgba(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4) {}
    float* row(int y) { return rgba.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * 4; }
    const float* row(int y) const {
        return rgba.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * 4;
    }
};

// Sample to level: limited to 0 and white, to nearest; a NaN becomes 0. Level to sample: divided, so that each level
// comes back as itself from quantise().
template <class Level>
inline Level quantise(float sample) {
    constexpr float White = sizeof(Level) == 1 ? 255.0f : 65535.0f;
    if (!(sample > 0.0f)) return 0;
    return sample >= 1.0f ? static_cast<Level>(White) : static_cast<Level>(sample * White + 0.5f);
}
template <class Level>
inline float sampleOf(Level level) {
    return static_cast<float>(level) / (sizeof(Level) == 1 ? 255.0f : 65535.0f);
}

// Size of a picture at a render scale: the part of a pixel that is left over at the right or the top is dropped, as
// effects do when they work out their own size; never below one pixel.
int scaledSize(int size, double scale);

// The picture at a scale from above 0 to 1: each pixel is the exact mean of the area it covers.
Picture boxScaled(const Picture& source, double scale);

}  // namespace quillon
