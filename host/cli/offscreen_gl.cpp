#include "host/cli/offscreen_gl.h"

#include <dlfcn.h>

#include <algorithm>
#include <string>

#include "host/cli/failure.h"

#ifdef QUILLON_SANITIZED
// The library keeps a little of every surface for as long as it is loaded, which is no leak of ours.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libOSMesa"; }
#endif

namespace quillon {

namespace {

constexpr unsigned Rgba = 0x1908, UnsignedByte = 0x1401, Projection = 0x1701, ModelView = 0x1700, ColourBuffer = 0x4000;
constexpr int LargestSide = 16384;  // of the renderer
constexpr float LinePixels = 1.5f;  // thickness of lines that are drawn with several samples

// The functions of libOSMesa that are needed, by its own C interface.
struct Mesa {
    void* (*createContext)(unsigned format, int depthBits, int stencilBits, int accumBits, void* shared) = nullptr;
    unsigned char (*makeCurrent)(void* context, void* buffer, unsigned type, int width, int height) = nullptr;
    void (*destroyContext)(void* context) = nullptr;
    void (*viewport)(int x, int y, int width, int height) = nullptr;
    void (*matrixMode)(unsigned mode) = nullptr;
    void (*loadIdentity)() = nullptr;
    void (*ortho)(double left, double right, double bottom, double top, double near, double far) = nullptr;
    void (*clearColor)(float r, float g, float b, float a) = nullptr;
    void (*clear)(unsigned mask) = nullptr;
    void (*lineWidth)(float width) = nullptr;
    void (*finish)() = nullptr;
};

template <class Function>
bool resolve(void* library, Function& function, const char* name) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

const Mesa* loadMesa() {
    static Mesa mesa;
    void* library = nullptr;
    for (const char* name : {"libOSMesa.so.8", "libOSMesa.so.6", "libOSMesa.so"})
        if (!library) library = ::dlopen(name, RTLD_NOW | RTLD_GLOBAL);
    const bool complete =
        library && resolve(library, mesa.createContext, "OSMesaCreateContextExt") &&
        resolve(library, mesa.makeCurrent, "OSMesaMakeCurrent") &&
        resolve(library, mesa.destroyContext, "OSMesaDestroyContext") &&
        resolve(library, mesa.viewport, "glViewport") && resolve(library, mesa.matrixMode, "glMatrixMode") &&
        resolve(library, mesa.loadIdentity, "glLoadIdentity") && resolve(library, mesa.ortho, "glOrtho") &&
        resolve(library, mesa.clearColor, "glClearColor") && resolve(library, mesa.clear, "glClear") &&
        resolve(library, mesa.lineWidth, "glLineWidth") && resolve(library, mesa.finish, "glFinish");
    return complete ? &mesa : nullptr;
}

const Mesa* mesaOrNull() {
    static const Mesa* const mesa = loadMesa();
    return mesa;
}

}  // namespace

bool OffscreenGl::available() { return mesaOrNull() != nullptr; }

OffscreenGl::OffscreenGl(int width, int height, double right, double top, int samples)
    : m_width(width), m_height(height), m_samples(std::clamp(samples, 1, LargestSide / std::max({width, height, 1}))) {
    const Mesa* gl = mesaOrNull();
    if (!gl) throw RunError("there is no off-screen OpenGL on this machine; install libosmesa6");
    if (std::max(width, height) > LargestSide)
        throw RunError("overlays are drawn on pictures of up to " + std::to_string(LargestSide) + " pixels a side");
    const int w = width * m_samples, h = height * m_samples;
    m_pixels.resize(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4);
    m_context = gl->createContext(Rgba, 0, 0, 0, nullptr);
    if (!m_context || !gl->makeCurrent(m_context, m_pixels.data(), UnsignedByte, w, h)) {
        if (m_context) gl->destroyContext(m_context);
        throw RunError("the off-screen OpenGL refuses to draw");
    }
    gl->viewport(0, 0, w, h);
    gl->matrixMode(Projection);
    gl->loadIdentity();
    gl->ortho(0.0, right, 0.0, top, -1.0, 1.0);
    gl->matrixMode(ModelView);
    gl->loadIdentity();
    gl->clearColor(0.0f, 0.0f, 0.0f, 0.0f);
    gl->clear(ColourBuffer);
    if (m_samples > 1) gl->lineWidth(static_cast<float>(m_samples) * LinePixels);
}

OffscreenGl::~OffscreenGl() {
    const Mesa* gl = mesaOrNull();
    gl->makeCurrent(nullptr, nullptr, UnsignedByte, 0, 0);
    gl->destroyContext(m_context);
}

Picture OffscreenGl::drawn() const {
    mesaOrNull()->finish();
    Picture picture(m_width, m_height);
    const auto samples = static_cast<std::size_t>(m_samples), width = static_cast<std::size_t>(m_width);
    const float share = 1.0f / (255.0f * static_cast<float>(m_samples * m_samples));
    for (std::size_t i = 0; i < picture.rgba.size(); ++i) {
        const std::size_t channel = i % 4, x = i / 4 % width, y = i / 4 / width;
        unsigned sum = 0;
        for (std::size_t sy = y * samples; sy < (y + 1) * samples; ++sy)
            for (std::size_t sx = x * samples; sx < (x + 1) * samples; ++sx)
                sum += m_pixels[(sy * width * samples + sx) * 4 + channel];
        picture.rgba[i] = static_cast<float>(sum) * share;
    }
    return picture;
}

void drawOver(Picture& picture, const Picture& drawing) {
    for (std::size_t i = 0; i + 3 < std::min(picture.rgba.size(), drawing.rgba.size()); i += 4) {
        const float covered = drawing.rgba[i + 3];
        if (covered == 0.0f) continue;
        for (std::size_t c = 0; c < 4; ++c)
            picture.rgba[i + c] = drawing.rgba[i + c] + (1.0f - covered) * picture.rgba[i + c];
    }
}

}  // namespace quillon
