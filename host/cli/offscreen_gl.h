// A drawing surface of OpenGL without a window, by Mesa's software renderer libOSMesa. It is loaded when first needed,
// with its functions visible to the plug-in, which looks for OpenGL in the process.
#pragma once

#include <vector>

#include "host/cli/picture.h"

namespace quillon {

class OffscreenGl {
  public:
    static bool available();

    // Current on this thread until destroyed, transparent, with coordinates from 0, 0 at the lower left corner to
    // `right`, `top`. Each pixel is drawn as `samples` x `samples` smaller ones. Throws RunError, with what to install.
    OffscreenGl(int width, int height, double right, double top, int samples = 1);
    ~OffscreenGl();
    OffscreenGl(const OffscreenGl&) = delete;
    OffscreenGl& operator=(const OffscreenGl&) = delete;

    // What has been drawn, with premultiplied alpha: the share of each pixel that is covered.
    Picture drawn() const;

  private:
    int m_width, m_height, m_samples;
    std::vector<unsigned char> m_pixels;  // RGBA, rows bottom to top
    void* m_context = nullptr;
};

// The drawing over the picture.
void drawOver(Picture& picture, const Picture& drawing);

}  // namespace quillon
