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

HostImage::HostImage(OfxImageClipHandle clip, double time, HostDevice* device) : m_device(device) {
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

// A picture of a device in main memory, rows as far apart as there. Null where it can't be had.
void* HostImage::staged(const void* data, const HostRect& bounds, int depth, std::ptrdiff_t row_bytes) {
    const std::ptrdiff_t pixel_bytes = depth / 2, columns = std::ptrdiff_t{bounds.x2} - bounds.x1,
                         rows = std::ptrdiff_t{bounds.y2} - bounds.y1;
    const bool sound = columns > 0 && rows > 0 && depth > 0 && row_bytes >= columns * pixel_bytes &&
                       row_bytes < (std::ptrdiff_t{1} << 32) && rows < (std::ptrdiff_t{1} << 24);
    if (!sound) return nullptr;
    const auto bytes = static_cast<std::size_t>((rows - 1) * row_bytes + columns * pixel_bytes);
    m_staged.resize(bytes);
    const GpuRuntime& runtime = gpu_runtime();
    if (gpu_succeeded(runtime.copy_to_host(m_staged.data(), data, bytes, m_device->stream), "copying a host's image") &&
        gpu_succeeded(runtime.stream_synchronize(m_device->stream), "copying a host's image"))
        return m_staged.data();
    m_device->failed = true;
    return nullptr;
}

HostPixels HostImage::readable() {
    HostPixels own = pixels();
    if (m_device && own.data) own.data = staged(own.data, own.bounds, own.depth, own.row_bytes);
    return own;
}

HostTarget HostImage::writable() {
    HostTarget own = target();
    if (m_device && own.data) own.data = staged(own.data, own.bounds, own.depth, own.row_bytes);
    return own;
}

bool HostImage::store(const HostTarget& written) {
    if (!m_device || !written.data) return true;
    const GpuRuntime& runtime = gpu_runtime();
    const bool stored =
        gpu_succeeded(runtime.copy_to_device(target().data, m_staged.data(), m_staged.size(), m_device->stream),
                      "storing a host's image") &&
        gpu_succeeded(runtime.stream_synchronize(m_device->stream), "storing a host's image");
    m_device->failed = m_device->failed || !stored;
    return stored;
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
