#include "Library2/HostImage.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

// Bits a sample; 0 for depths that the bundle does not declare.
int depthBits(const char* text) {
    if (std::strcmp(text, ofx::depth::Byte) == 0) return 8;
    if (std::strcmp(text, ofx::depth::Short) == 0) return 16;
    if (std::strcmp(text, ofx::depth::Float) == 0) return 32;
    return 0;
}

bool readBounds(const PropertySet& set, HostRect& bounds) {
    return set.getInt(ofx::prop::ImageBounds, &bounds.x1, 0) && set.getInt(ofx::prop::ImageBounds, &bounds.y1, 1) &&
           set.getInt(ofx::prop::ImageBounds, &bounds.x2, 2) && set.getInt(ofx::prop::ImageBounds, &bounds.y2, 3);
}

// Pixels of other components than were asked for can't be read as RGBA. A host that doesn't say is believed.
bool isRGBA(const PropertySet& set) {
    return std::strcmp(set.stringOr(ofx::prop::Components, ofx::component::RGBA), ofx::component::RGBA) == 0;
}

bool inTextures(const HostDevice* device) { return device && device->textures; }

double reciprocalWhereAsked(double aspect) {
    return bundleState().quirks->reciprocalAspect && aspect != 0.0 ? 1.0 / aspect : aspect;
}

}  // namespace

HostImage::HostImage(OfxImageClipHandle clip, double time, HostDevice* device) : m_device(device) {
    if (!clip) return;
    const HostSuites& suites = bundleState().suites;
    const bool texture = inTextures(device);
    const auto* wholeClip = static_cast<const OfxRectD*>(nullptr);
    OfxPropertySetHandle handle = nullptr;
    const OfxStatus status =
        texture ? callSuite(suites.openGL, &OfxImageEffectOpenGLRenderSuiteV1::clipLoadTexture, clip, time,
                            static_cast<const char*>(nullptr), wholeClip, &handle)
                : callSuite(suites.effect, &OfxImageEffectSuiteV1::clipGetImage, clip, time, wholeClip, &handle);
    if (status == ofx::status::OK) m_set = PropertySet(handle);
    if (!texture || status == ofx::status::Failed) return;  // the clip has no picture
    if (!m_set || !loadTexture()) device->failed = true;
}

HostImage::~HostImage() {
    m_texture.reset();
    if (!m_set) return;
    const HostSuites& suites = bundleState().suites;
    if (inTextures(m_device))
        callSuite(suites.openGL, &OfxImageEffectOpenGLRenderSuiteV1::clipFreeTexture, m_set.handle());
    else
        callSuite(suites.effect, &OfxImageEffectSuiteV1::clipReleaseImage, m_set.handle());
}

bool HostImage::loadTexture() {
    constexpr std::int64_t MOST = 65535;  // of OpenGL's sizes, so that products of them stay small
    int name = 0, target = 0;
    HostRect bounds{};
    const bool told = isRGBA(m_set) && readBounds(m_set, bounds) &&
                      m_set.getInt(ofx::prop::OpenGLTextureIndex, &name) &&
                      m_set.getInt(ofx::prop::OpenGLTextureTarget, &target);
    const std::int64_t width = std::int64_t{bounds.x2} - bounds.x1, height = std::int64_t{bounds.y2} - bounds.y1;
    const int bits = depthBits(m_set.stringOr(ofx::prop::PixelDepth, ""));
    if (!told || bits == 0 || width < 1 || width > MOST || height < 1 || height > MOST) return false;
    auto made = std::make_unique<Texture>();
    made->pixels = {static_cast<int>(width), static_cast<int>(height), bits};
    if (!made->texture.attach(static_cast<unsigned>(name), static_cast<unsigned>(target)) ||
        !gpu_succeeded(made->memory.allocate(made->pixels.bytes(), m_device->stream),
                       "making room for an OpenGL texture") ||
        !made->texture.load(made->pixels, made->memory.get(), m_device->stream))
        return false;
    m_texture = std::move(made);
    return true;
}

bool HostImage::storeTexture() {
    return !m_texture || m_texture->texture.store(m_texture->pixels, m_texture->memory.get(), m_device->stream);
}

// Where the pixels lie and how far their rows are apart. A guess could touch foreign memory, so an image that
// lacks any of these properties counts as one without pixels.
template <class Pixels>
bool HostImage::readLayout(Pixels& pixels) const {
    if (!m_set || (inTextures(m_device) && !m_texture)) return false;
    if (!isRGBA(m_set) || !readBounds(m_set, pixels.bounds)) return false;
    int rowBytes = 0;
    if (m_texture)
        rowBytes = static_cast<int>(m_texture->pixels.row_bytes());
    else if (!m_set.getInt(ofx::prop::ImageRowBytes, &rowBytes))
        return false;
    pixels.row_bytes = rowBytes;
    pixels.depth = depthBits(m_set.stringOr(ofx::prop::PixelDepth, ""));
    pixels.data = m_texture ? m_texture->memory.get() : m_set.pointerOr(ofx::prop::ImageData, nullptr);
    return true;
}

HostPixels HostImage::pixels() const {
    HostPixels pixels;
    pixels.has_bounds = readLayout(pixels);
    return pixels;
}

HostTarget HostImage::target() const {
    HostTarget target;
    readLayout(target);
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
        gpu_succeeded(runtime.stream_synchronize(m_device->stream), "storing a host's image") && storeTexture();
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
