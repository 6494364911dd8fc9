// OpenGL textures on the device.
#include "gpulib/gpulib_texture.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/process.h"

namespace {

bool holds(const GpuTexelLayout& texels, const GlPixels& pixels) {
    const bool depth = pixels.bits == 8 || pixels.bits == 16 || pixels.bits == 32;
    if (depth && texels.bits == pixels.bits && texels.floats == (pixels.bits == 32) && pixels.width > 0 &&
        pixels.height > 0 && texels.width >= pixels.width && texels.height >= pixels.height)
        return true;
    Trace(TRACE_DEBUG, "OpenGL texture: %d x %d texels of %d bits%s do not hold %d x %d pixels of %d bits\n",
          texels.width, texels.height, texels.bits, texels.floats ? " (floats)" : "", pixels.width, pixels.height,
          pixels.bits);
    return false;
}

}  // namespace

bool GlTexture::attach(unsigned name, unsigned target) {
    GpuTexture texture = nullptr;
    const bool done =
        gpu_succeeded(gpu_runtime().texture_register(&texture, name, target), "registering an OpenGL texture");
    m_process = process_id();
    if (done) m_texture = texture;
    return done;
}

GlTexture::~GlTexture() {
    if (m_texture && m_process == process_id())
        gpu_succeeded(gpu_runtime().texture_unregister(m_texture), "giving an OpenGL texture back");
}

template <class Copy>
bool GlTexture::mapped(const GlPixels& pixels, GpuStream stream, Copy&& copy) {
    const GpuRuntime& runtime = gpu_runtime();
    if (!m_texture || !gpu_succeeded(runtime.texture_map(m_texture, stream), "mapping an OpenGL texture")) return false;
    GpuTexels texels = nullptr;
    GpuTexelLayout layout;
    const bool copied =
        gpu_succeeded(runtime.texture_texels(m_texture, &texels, &layout), "finding the texels of an OpenGL texture") &&
        holds(layout, pixels) && gpu_succeeded(copy(runtime, texels), "copying an OpenGL texture");
    const bool unmapped = gpu_succeeded(runtime.texture_unmap(m_texture, stream), "unmapping an OpenGL texture");
    const bool done = gpu_succeeded(runtime.stream_synchronize(stream), "copying an OpenGL texture");
    if (!done) runtime.device_synchronize();  // nothing may be on its way when the texture is given back
    return copied && unmapped && done;
}

bool GlTexture::load(const GlPixels& pixels, void* memory, GpuStream stream) {
    return mapped(pixels, stream, [&](const GpuRuntime& runtime, GpuTexels texels) {
        return runtime.copy_from_texels(memory, texels, pixels.row_bytes(), static_cast<std::size_t>(pixels.height),
                                        stream);
    });
}

bool GlTexture::store(const GlPixels& pixels, const void* memory, GpuStream stream) {
    return mapped(pixels, stream, [&](const GpuRuntime& runtime, GpuTexels texels) {
        return runtime.copy_to_texels(texels, memory, pixels.row_bytes(), static_cast<std::size_t>(pixels.height),
                                      stream);
    });
}
