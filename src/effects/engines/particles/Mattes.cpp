#include "effects/engines/particles/Mattes.h"

#include <cstring>
#include <vector>

#include "effects/engines/replay/FrameClock.h"

std::uint64_t particles::matte_fingerprint(const K7Image* matte) {
    if (!matte || matte->sample_type != SAMPLE_F32) return 0;
    std::vector<std::uint64_t> rows(matte->height);
    for_rows_float(matte->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* row = image_row<float>(matte, y);
            std::uint64_t sum = static_cast<std::uint64_t>(y);
            for (int x = 0; x < matte->width; ++x) {
                std::uint32_t bits;
                std::memcpy(&bits, row + static_cast<std::ptrdiff_t>(x) * matte->channels, sizeof bits);
                sum = (sum ^ bits) * 0x9E3779B97F4A7C15ULL;
                sum ^= sum >> 29;
            }
            rows[static_cast<std::size_t>(y)] = sum;
        }
    });
    return fingerprint(rows.data(), rows.size() * sizeof rows[0]);
}

std::uint64_t particles::picture_fingerprint(const K7Image* picture) {
    if (!picture || picture->sample_type != SAMPLE_F32) return 0;
    std::vector<std::uint64_t> rows(picture->height);
    const std::size_t bytes = sizeof(float) * picture->width * picture->channels;
    for_rows_float(picture->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            rows[static_cast<std::size_t>(y)] = fingerprint(image_row<float>(picture, y), bytes);
    });
    return fingerprint(rows.data(), rows.size() * sizeof rows[0]);
}
