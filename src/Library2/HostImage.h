// An image fetched from a clip, released with this object on every path.
#pragma once

#include "Library2/BundleState.h"
#include "imagelib/imagelib_hostpixels.h"

class HostImage {
  public:
    HostImage() = default;
    HostImage(OfxImageClipHandle clip, double time);  // null where the clip has none
    ~HostImage();
    HostImage(HostImage&& other) noexcept : m_set(other.m_set) { other.m_set = {}; }
    HostImage& operator=(HostImage&&) = delete;

    explicit operator bool() const { return static_cast<bool>(m_set); }

    HostPixels pixels() const;  // without data where it can't be read
    HostTarget target() const;
    double aspect() const;         // below 0.0001 it is 1; reciprocal where the host asks for it
    double aspectAsGiven() const;  // without the lower limit
    double renderScale() const;    // of the image itself

  private:
    PropertySet m_set;
};
