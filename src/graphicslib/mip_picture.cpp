#include "graphicslib/mip_picture.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

float* pixel_of(const MipPicture::Level& level, int x, int y) {
    return const_cast<float*>(level.samples) + 4 * (std::ptrdiff_t(y) * level.pitch + x);
}

float finite(float value) { return std::isfinite(value) ? value : 0; }

}  // namespace

bool MipPicture::add_level(int width, int height) {
    const int pitch = width + 3;
    const std::size_t count = 4 * static_cast<std::size_t>(pitch) * static_cast<std::size_t>(height + 3);
    std::unique_ptr<float[]> pixels(new (std::nothrow) float[count]());
    if (!pixels) return false;
    m_copies.push_back({pixels.get() + 4 * (std::ptrdiff_t(pitch) + 1), width, height, pitch});
    m_memory.push_back(std::move(pixels));
    return true;
}

// Means of two by two pixels; the frame stands in for the missing half of an odd last row or column.
void MipPicture::halve(const Level& from, const Level& to) {
    for (int y = 0; y < to.height; ++y)
        for (int x = 0; x < to.width; ++x) {
            const float *below = pixel_of(from, 2 * x, 2 * y), *above = pixel_of(from, 2 * x, 2 * y + 1);
            float* out = pixel_of(to, x, y);
            for (int c = 0; c < 4; ++c) out[c] = 0.25f * ((below[c] + below[c + 4]) + (above[c] + above[c + 4]));
        }
}

void MipPicture::repeat_edges(const Level& level) {
    for (int y = -1; y < level.height + 2; ++y)
        for (int x = -1; x < level.width + 2; ++x) {
            const int from_x = std::clamp(x, 0, level.width - 1), from_y = std::clamp(y, 0, level.height - 1);
            if (from_x != x || from_y != y) std::copy_n(pixel_of(level, from_x, from_y), 4, pixel_of(level, x, y));
        }
}

MipPicture::MipPicture(const K7Image* picture, bool straight, Frame frame) {
    if (!picture || !picture->pixels || picture->sample_type != SAMPLE_F32) return;
    if ((picture->channels != 1 && picture->channels != 4) || !add_level(picture->width, picture->height)) return;
    for (int y = 0; y < picture->height; ++y) {
        const float* row = image_row<float>(picture, y);
        for (int x = 0; x < picture->width; ++x) {
            float* out = pixel_of(m_copies[0], x, y);
            const float alpha = finite(picture->channels == 1 ? row[x] : row[4 * x + 3]);
            for (int c = 0; c < 3; ++c)
                out[c] = picture->channels == 1 ? alpha : finite(row[4 * x + c]) * (straight ? alpha : 1);
            out[3] = alpha;
        }
    }
    if (frame == Frame::repeat) repeat_edges(m_copies[0]);
    while (m_copies.back().width > 1 || m_copies.back().height > 1) {
        const Level from = m_copies.back();
        if (!add_level((from.width + 1) / 2, (from.height + 1) / 2)) {  // without the small copies it would sparkle
            m_copies.clear();
            m_memory.clear();
            return;
        }
        halve(from, m_copies.back());
        if (frame == Frame::repeat) repeat_edges(m_copies.back());
    }
}

MipPicture::Reading MipPicture::reading(float squeeze) const {
    Reading result;
    const int last = levels() - 1;
    for (; squeeze >= 2 && result.level < last; ++result.level) squeeze *= 0.5F;
    if (result.level < last) result.mix = std::clamp(squeeze - 1, 0.0F, 1.0F);
    return result;
}
