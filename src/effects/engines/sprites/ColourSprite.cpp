#include "effects/engines/sprites/ColourSprite.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

float* pixel_of(const ColourSprite::Level& level, int x, int y) {
    return const_cast<float*>(level.samples) + 4 * (std::ptrdiff_t(y) * level.pitch + x);
}

float finite(float value) { return std::isfinite(value) ? value : 0; }

}  // namespace

bool ColourSprite::addLevel(int width, int height) {
    const int pitch = width + 3;
    const std::size_t count = 4 * static_cast<std::size_t>(pitch) * static_cast<std::size_t>(height + 3);
    std::unique_ptr<float[]> memory(new (std::nothrow) float[count]());
    if (!memory) return false;
    m_levels.push_back({memory.get() + 4 * (std::ptrdiff_t(pitch) + 1), width, height, pitch});
    m_memory.push_back(std::move(memory));
    return true;
}

// Means of two by two pixels; the frame stands in for the missing half of an odd last row or column.
void ColourSprite::halve(const Level& from, const Level& to) {
    for (int y = 0; y < to.height; ++y)
        for (int x = 0; x < to.width; ++x) {
            const float *below = pixel_of(from, 2 * x, 2 * y), *above = pixel_of(from, 2 * x, 2 * y + 1);
            float* out = pixel_of(to, x, y);
            for (int c = 0; c < 4; ++c) out[c] = 0.25f * ((below[c] + below[c + 4]) + (above[c] + above[c + 4]));
        }
}

ColourSprite::ColourSprite(const K7Image* picture, bool straight) {
    if (!picture || !picture->pixels || picture->sample_type != SAMPLE_F32) return;
    if ((picture->channels != 1 && picture->channels != 4) || !addLevel(picture->width, picture->height)) return;
    for (int y = 0; y < picture->height; ++y) {
        const float* row = image_row<float>(picture, y);
        for (int x = 0; x < picture->width; ++x) {
            float* out = pixel_of(m_levels[0], x, y);
            const float alpha = finite(picture->channels == 1 ? row[x] : row[4 * x + 3]);
            for (int c = 0; c < 3; ++c)
                out[c] = picture->channels == 1 ? alpha : finite(row[4 * x + c]) * (straight ? alpha : 1);
            out[3] = alpha;
        }
    }
    while (m_levels.back().width > 1 || m_levels.back().height > 1) {
        const Level from = m_levels.back();
        if (!addLevel((from.width + 1) / 2, (from.height + 1) / 2)) {  // without the small copies it would sparkle
            m_levels.clear();
            m_memory.clear();
            return;
        }
        halve(from, m_levels.back());
    }
}
