#include "Library2/HostImage.h"

#include <cmath>
#include <cstring>

namespace {

// Bits a sample; 0 for depths that the bundle does not declare.
int depthBits(const char* text) {
    if (std::strcmp(text, ofx::depth::Byte) == 0) return 8;
    if (std::strcmp(text, ofx::depth::Short) == 0) return 16;
    if (std::strcmp(text, ofx::depth::Float) == 0) return 32;
    return 0;
}

// Where the pixels lie and how far their rows are apart. A guess could touch foreign memory, so an image that
// lacks any of these properties counts as one without pixels.
template <class Pixels>
bool readLayout(const PropertySet& set, Pixels& pixels) {
    int rowBytes = 0;
    const bool told = set.getInt(ofx::prop::ImageBounds, &pixels.bounds.x1, 0) &&
                      set.getInt(ofx::prop::ImageBounds, &pixels.bounds.y1, 1) &&
                      set.getInt(ofx::prop::ImageBounds, &pixels.bounds.x2, 2) &&
                      set.getInt(ofx::prop::ImageBounds, &pixels.bounds.y2, 3) &&
                      set.getInt(ofx::prop::ImageRowBytes, &rowBytes);
    pixels.row_bytes = rowBytes;
    return told;
}

// Pixels of other components than were asked for can't be read as RGBA. A host that doesn't say is believed.
bool isRGBA(const PropertySet& set) {
    return std::strcmp(set.stringOr(ofx::prop::Components, ofx::component::RGBA), ofx::component::RGBA) == 0;
}

double reciprocalWhereAsked(double aspect) {
    return bundleState().quirks->reciprocalAspect && aspect != 0.0 ? 1.0 / aspect : aspect;
}

}  // namespace

HostImage::HostImage(OfxImageClipHandle clip, double time) {
    if (!clip) return;
    OfxPropertySetHandle handle = nullptr;
    const auto status = callSuite(bundleState().suites.effect, &OfxImageEffectSuiteV1::clipGetImage, clip, time,
                                  static_cast<const OfxRectD*>(nullptr), &handle);
    if (status == ofx::status::OK) m_set = PropertySet(handle);
}

HostImage::~HostImage() {
    if (m_set) callSuite(bundleState().suites.effect, &OfxImageEffectSuiteV1::clipReleaseImage, m_set.handle());
}

HostPixels HostImage::pixels() const {
    HostPixels pixels;
    if (!m_set || !isRGBA(m_set) || !readLayout(m_set, pixels)) return pixels;
    pixels.data = m_set.pointerOr(ofx::prop::ImageData, nullptr);
    pixels.has_bounds = true;
    pixels.depth = depthBits(m_set.stringOr(ofx::prop::PixelDepth, ""));
    return pixels;
}

HostTarget HostImage::target() const {
    HostTarget target;
    if (!m_set || !isRGBA(m_set) || !readLayout(m_set, target)) return target;
    target.data = m_set.pointerOr(ofx::prop::ImageData, nullptr);
    target.depth = depthBits(m_set.stringOr(ofx::prop::PixelDepth, ""));
    return target;
}

double HostImage::aspectAsGiven() const {
    const double aspect = m_set.doubleOr(ofx::prop::ImagePixelAspectRatio, 1.0);
    return reciprocalWhereAsked(std::isfinite(aspect) ? aspect : 1.0);
}

double HostImage::aspect() const {
    const double aspect = m_set.doubleOr(ofx::prop::ImagePixelAspectRatio, 1.0);
    return reciprocalWhereAsked(std::isfinite(aspect) && aspect >= 0.0001 ? aspect : 1.0);
}

double HostImage::renderScale() const { return m_set.doubleOr(ofx::prop::RenderScale, 1.0, 0); }
