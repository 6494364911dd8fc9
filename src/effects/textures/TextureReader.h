// Private to Q_ClipTex: a texture that is laid over the frame, lit.
#pragma once

#include "imagelib/imagelib.h"
#include "simdlib/vectors.h"

struct TextureLay {
    float size;     // 1: its own
    double angle;   // radians, counter-clockwise
    bool mirrored;  // every other copy
    float relief;   // 0: none
    double light;   // where it comes from, radians
};

class TextureReader {
  public:
    // A picture of the frame's size about its middle, on `paper` where it is transparent. Its luminance is its height.
    bool lay_picture(const K7Image& picture, const float* paper, const TextureLay& lay, const K7Image& frame);
    // A square tile, `side` pixels of the frame wide, whose fourth channel is its height.
    bool lay_tile(const K7Image& tile, float side, const TextureLay& lay, const K7Image& frame);

    // The colour at a pixel of the frame; the fourth number means nothing.
    simd::Pixel at(float x, float y) const {
        const float u = m_xx * x + m_xy * y + m_x, v = m_yx * x + m_yy * y + m_y;
        const int column = simd::floor_of(u), row = simd::floor_of(v);
        if (m_direct)
            return simd::load<simd::Pixel>(m_pixels + std::ptrdiff_t(wrapped(row, m_height)) * m_pitch +
                                           4L * wrapped(column, m_width));
        const int x0 = wrapped(column, m_width), x1 = wrapped(column + 1, m_width);
        const float* const low = m_pixels + std::ptrdiff_t(wrapped(row, m_height)) * m_pitch;
        const float* const high = m_pixels + std::ptrdiff_t(wrapped(row + 1, m_height)) * m_pitch;
        const float fu = u - static_cast<float>(column), fv = v - static_cast<float>(row);
        const auto mixed = [&](const float* line) {
            const auto left = simd::load<simd::Pixel>(line + 4L * x0);
            return left + fu * (simd::load<simd::Pixel>(line + 4L * x1) - left);
        };
        const simd::Pixel below = mixed(low);
        return below + fv * (mixed(high) - below);
    }

  private:
    int wrapped(int i, int count) const {
        if (static_cast<unsigned>(i) < static_cast<unsigned>(count)) return i;
        const int period = m_mirrored ? 2 * count : count;
        i %= period;
        if (i < 0) i += period;
        return i < count ? i : period - 1 - i;
    }
    void place(float texels_x, float texels_y, const TextureLay& lay, const K7Image& frame);
    void light(const TextureLay& lay, float slope_x, float slope_y);

    ImagePtr m_texture;
    const float* m_pixels = nullptr;
    std::ptrdiff_t m_pitch = 0;
    int m_width = 1, m_height = 1;
    bool m_mirrored = false;
    bool m_direct = false;                                           // its pixels lie on those of the frame
    float m_xx = 0, m_xy = 0, m_x = 0, m_yx = 0, m_yy = 0, m_y = 0;  // from the frame's pixels to the texture's
};
