// Private: reading a MipPicture between its pixels and its copies, the four channels abreast. Plain vectors of the
// baseline: the same bits everywhere.
#pragma once

#include "graphicslib/ink.h"
#include "graphicslib/mip_picture.h"

class MipReader {
  public:
    using Quad = ink::Quad;

    MipReader(const MipPicture& picture, MipPicture::Reading reading) : m_mix(reading.mix) {
        const int coarse = reading.level + 1 < picture.levels() ? reading.level + 1 : reading.level;
        set(0, picture.level(reading.level), reading.level);
        set(1, picture.level(coarse), coarse);
    }

    // u, v, u, v in pixels of the picture from its lower left corner. Farther out than half a pixel of a copy the frame
    // goes on for ever; what is not finite reads the frame too.
    Quad sample(Quad place) const {
        using Ints = int __attribute__((vector_size(16)));
        Quad at = place * m_scale + 0.5F;  // from the frame's first pixel
        at = at > 0.0F ? at : Quad{};
        at = at < m_limit ? at : m_limit;
        const Ints cell = __builtin_convertvector(at, Ints);
        const Quad part = at - __builtin_convertvector(cell, Quad);
        const Quad fine = bilinear(m_samples[0], m_pitches[0], cell[0], cell[1], part[0], part[1]);
        if (m_mix == 0) return fine;
        return fine + m_mix * (bilinear(m_samples[1], m_pitches[1], cell[2], cell[3], part[2], part[3]) - fine);
    }

  private:
    void set(int which, const MipPicture::Level& level, int index) {
        m_samples[which] = level.samples - 4 * (level.pitch + 1);
        m_pitches[which] = 4 * level.pitch;
        const int u = 2 * which, v = u + 1;
        m_scale[u] = m_scale[v] = 1 / static_cast<float>(1 << index);
        m_limit[u] = static_cast<float>(level.width + 1), m_limit[v] = static_cast<float>(level.height + 1);
    }
    static Quad bilinear(const float* from, int pitch, int column, int row, float tx, float ty) {
        const float* here = from + std::ptrdiff_t(row) * pitch + 4 * std::ptrdiff_t(column);
        const Quad a = ink::load(here), b = ink::load(here + pitch);
        const Quad below = a + tx * (ink::load(here + 4) - a), above = b + tx * (ink::load(here + pitch + 4) - b);
        return below + ty * (above - below);
    }

    const float* m_samples[2];  // of the frame's first pixel
    int m_pitches[2];           // floats
    float m_mix;
    Quad m_scale{}, m_limit{};
};
