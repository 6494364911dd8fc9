// Pictures that a host has in OpenGL textures, to and from memory of the device.
#pragma once

#include "gpulib/gpulib_runtime.h"

// Pixels in RGBA at the lower left of a texture. Depths of 8 and 16 bits are integers, 32 bits are floats.
struct GlPixels {
    int width = 0, height = 0;
    int bits = 0;  // a channel

    std::size_t row_bytes() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) / 2; }
    std::size_t bytes() const { return row_bytes() * static_cast<std::size_t>(height); }
};

// A texture of the OpenGL context that is current on this thread, which stays so while the object lives. The texture's
// context has to be on the device in use. A forked child leaves it alone, as it does all of the device. In memory of
// the device the pixels lie row by row without gaps, from the bottom up.
//
// Calls wait for the stream, so that afterwards the texture is OpenGL's again. Where one fails it answers false, and
// the log has what failed at level DEBUG; what memory or texture hold can't be told then.
class GlTexture {
  public:
    GlTexture() = default;
    ~GlTexture();
    GlTexture(const GlTexture&) = delete;
    GlTexture& operator=(const GlTexture&) = delete;

    bool attach(unsigned name, unsigned target);  // once, before the others
    // A texture of other texels than `pixels` says, or a smaller one, fails.
    bool load(const GlPixels& pixels, void* memory, GpuStream stream);
    bool store(const GlPixels& pixels, const void* memory, GpuStream stream);

  private:
    template <class Copy>
    bool mapped(const GlPixels& pixels, GpuStream stream, Copy&& copy);

    GpuTexture m_texture = nullptr;
    int m_process = 0;
};
