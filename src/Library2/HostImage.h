// An image fetched from a clip, released with this object on every path.
#pragma once

#include <memory>
#include <vector>

#include "Library2/BundleState.h"
#include "gpulib/gpulib_image.h"
#include "gpulib/gpulib_texture.h"
#include "imagelib/imagelib_hostpixels.h"

// A host that has the pictures of a render on a CUDA device.
struct HostDevice {
    GpuStream stream = nullptr;  // the host's, the default stream, or our own
    bool textures = false;       // in textures of the OpenGL context that is current on the render's thread
    bool staged = false;         // pictures pass through main memory
    bool failed = false;         // one could not be brought there or back
};

class HostImage {
  public:
    HostImage() = default;
    // Null where the clip has none. With a device: the picture lies there, that of a texture in memory like any other.
    HostImage(OfxImageClipHandle clip, double time, HostDevice* device = nullptr);
    ~HostImage();
    HostImage(HostImage&& other) noexcept
        : m_set(other.m_set),
          m_device(other.m_device),
          m_texture(std::move(other.m_texture)),
          m_staged(std::move(other.m_staged)) {
        other.m_set = {};
    }
    HostImage& operator=(HostImage&&) = delete;

    explicit operator bool() const { return static_cast<bool>(m_set); }

    HostPixels pixels() const;  // as the host has them; without data where they can't be read
    HostTarget target() const;
    // The same pixels in main memory: a copy of those of a device, which store() brings back.
    HostPixels readable();
    HostTarget writable();
    bool store(const HostTarget& written);
    // Once target()'s pixels have been written on the device: where they are those of a texture, gives them to it.
    bool storeTexture();
    double aspect() const;         // below 0.0001 it is 1; reciprocal where the host asks for it
    double aspectAsGiven() const;  // without the lower limit
    double renderScale() const;    // of the image itself

  private:
    struct Texture {
        GlTexture texture;
        GlPixels pixels;
        DeviceMemory memory;
    };
    bool loadTexture();
    template <class Pixels>
    bool readLayout(Pixels& pixels) const;
    void* staged(const void* data, const HostRect& bounds, int depth, std::ptrdiff_t row_bytes);

    PropertySet m_set;
    HostDevice* m_device = nullptr;
    std::unique_ptr<Texture> m_texture;
    std::vector<unsigned char> m_staged;
};
