#include "Library2/PluginK7.h"

#include "Library2/DeviceFrame.h"
#include "Library2/HostImage.h"
#include "Library2/MultiProcess.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

// The render lock left for a while. Another effect may work meanwhile and leave the libraries to itself: their row
// loops and settings are the first effect's again afterwards.
class LeftRenderLock {
  public:
    explicit LeftRenderLock(PluginK7& effect) : m_effect(effect), m_left(effect.holdsRenderLock) {
        if (!m_left) return;
        m_rows = image_row_settings();
        m_clampNegative = image_clamps_negative();
        renderLock().unlock();
    }
    ~LeftRenderLock() {
        if (!m_left) return;
        renderLock().lock();
        m_effect.LibMpSetup(-1);
        image_set_row_settings(m_rows);
        image_set_clamp_negative(m_clampNegative);
    }
    LeftRenderLock(const LeftRenderLock&) = delete;
    LeftRenderLock& operator=(const LeftRenderLock&) = delete;

  private:
    PluginK7& m_effect;
    bool m_left;
    RowSettings m_rows{};
    bool m_clampNegative = true;
};

void dispatchFor(void* context, RowWorker worker, int rows, void* job) {
    static_cast<PluginK7*>(context)->dispatchRows(worker, rows, job);
}

}  // namespace

// Row loops of the libraries follow the newest effect until a render claims them, unless one is at work right now.
PluginK7::PluginK7() {
    const std::unique_lock lock(renderLock(), std::try_to_lock);
    if (lock) PluginK7::LibMpSetup(-1);
}

PluginK7::~PluginK7() { image_clear_multiprocess_context(this); }

void PluginK7::fetchParametersAt(double frame) {
    FetchContext context = renderContext;
    context.time += (frame - currentFrame) * timeOfFrame;
    info().fetchAll(context);
}

void PluginK7::InstanceCreated() { info().runRules(nullptr); }

void PluginK7::LibMpSetup(int count) {
    Trace(TRACE_TRACE, "PluginK7::LibMpSetup()\n");
    image_set_multiprocess(this, &dispatchFor);
    image_set_multiprocess_float(this, &dispatchFor);
    if (count <= 0) return;
    image_set_multiprocess_threshold(count);
    image_set_multiprocess_threshold_float(count);
}

void PluginK7::dispatchRows(RowWorker worker, int rows, void* job) {
    if (rows <= 0) return;
    if (!bundleState().quirks->ownThreads) {
        if (auto* record = slot<MultiThreadRecord>(SLOT_MULTI_THREAD))
            return runOnHostThreads(*record, worker, rows, job);
        return worker(job, 0, rows - 1);
    }
    if (auto* threads = slot<K7PTMultiProcess>(SLOT_OWN_THREADS)) return runOnOwnThreads(*threads, worker, rows, job);
    Trace(TRACE_ERROR, "$$$ PluginK7::MultiProcess found m_Private[15] NULL. Defaulting to uni-processing.\n");
    worker(job, 0, rows - 1);
}

RowRunner PluginK7::rowRunner() { return {this, &dispatchFor}; }

int PluginK7::abortRequested() const {
    const auto* suite = slot<const OfxImageEffectSuiteV1>(SLOT_EFFECT_SUITE);
    const auto instance = slot<OfxImageEffectStruct>(SLOT_INSTANCE);
    return instance && suite && suite->abort ? suite->abort(instance) : 0;
}

void reportError(const char* text) { Trace(TRACE_ERROR, "OFXPlugin ERROR: %s\n", text); }

void PluginK7::adoptHost() {
    const BundleState& state = bundleState();
    setSlot(SLOT_HOST, state.host);
    setSlot(SLOT_EFFECT_SUITE, state.suites.effect);
    setSlot(SLOT_PROPERTY_SUITE, state.suites.property);
    setSlot(SLOT_PARAMETER_SUITE, state.suites.parameter);
    setSlot(SLOT_MEMORY_SUITE, state.suites.memory);
    setSlot(SLOT_MULTI_THREAD_SUITE, state.suites.multiThread);
    setSlot(SLOT_MESSAGE_SUITE, state.suites.message);
    setSlot(SLOT_INTERACT_SUITE, state.suites.interact);
}

bool PluginK7::fetchFrame(OfxImageClipHandle clip, double time, K7Image* image) {
    if (!image) return false;
    HostImage frame = [&] {
        const LeftRenderLock left(*this);
        return HostImage(clip, time, hostDevice);
    }();
    const HostPixels pixels = frame.readable();
    if (!pixels.data) return false;
    const double scale = frame.renderScale();
    return make_float_image(pixels, image, image->width, image->height, frame.aspect(), true, scale, rowRunner());
}

DeviceFrame* PluginK7::deviceFor(double nanoseconds) {
    if (m_device) return m_device.get();
    const EffectInfo& declaration = info();
    const int pictures = static_cast<int>(declaration.inputs().size()) + 1;
    if (!image_pays_on_device(declaration.output.image.get(), pictures, nanoseconds)) return nullptr;
    auto device = std::make_unique<DeviceFrame>();
    if (!gpu_succeeded(device->begin(), "creating a stream")) return nullptr;
    m_device = std::move(device);
    return m_device.get();
}

DeviceFrame& PluginK7::enterDevice(GpuStream hosts) {
    m_device = std::make_unique<DeviceFrame>();
    m_device->begin(hosts);
    return *m_device;
}

void PluginK7::leaveDevice() {
    if (!m_device) return;
    const ClipRecord& output = info().output;
    if (output.image && !m_device->failed()) m_device->fetch(output);
}

void PluginK7::dropDevice() { m_device.reset(); }
