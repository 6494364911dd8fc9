// The render action: host pixels become float images, parameters are fetched, the effect makes its picture under the
// render lock, and the picture goes back to the host. It always answers OK: a render that can't be done leaves the
// host's output as it stands, and is told in the log once an instance. Every image fetched or made here is released on
// every path.
//
// Where the host has its pictures on a CUDA device, in memory or in OpenGL textures, they stay there if the effect
// makes its picture there. Otherwise, and where that fails, they pass through main memory. Only a device that gives
// them no more ends in another answer, after which the host may render without one.

#include <algorithm>
#include <cmath>
#include <limits>

#include "Library2/Actions.h"
#include "Library2/DeviceFrame.h"
#include "Library2/HostImage.h"
#include "Library2/InstanceRecord.h"
#include "Library2/Made.h"
#include "gpulib/gpulib.h"
#include "imagelib/imagelib_cuda_hostpixels.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

// Float images of one render, freed when it ends however it ends.
class ClipImages {
  public:
    explicit ClipImages(EffectInfo& info) : m_info(info) { freeAll(); }
    ~ClipImages() { freeAll(); }
    ClipImages(const ClipImages&) = delete;
    ClipImages& operator=(const ClipImages&) = delete;

    void freeInputs() {
        for (ClipRecord* clip : m_info.inputs()) clip->image.reset();
    }

  private:
    void freeAll() {
        freeInputs();
        m_info.output.image.reset();
    }
    EffectInfo& m_info;
};

class RenderLockGuard {
  public:
    explicit RenderLockGuard(PluginK7& effect) : m_effect(effect) {
        renderLock().lock();
        m_effect.holdsRenderLock = true;
    }
    ~RenderLockGuard() {
        m_effect.holdsRenderLock = false;
        renderLock().unlock();
    }
    RenderLockGuard(const RenderLockGuard&) = delete;
    RenderLockGuard& operator=(const RenderLockGuard&) = delete;

  private:
    PluginK7& m_effect;
};

// However a render ends, nothing of it stays on a device.
class DeviceGuard {
  public:
    DeviceGuard(PluginK7& effect, HostDevice* host) : m_effect(effect) { m_effect.hostDevice = host; }
    ~DeviceGuard() {
        m_effect.dropDevice();
        m_effect.hostDevice = nullptr;
    }
    DeviceGuard(const DeviceGuard&) = delete;
    DeviceGuard& operator=(const DeviceGuard&) = delete;

  private:
    PluginK7& m_effect;
};

// The host's threads serve this effect while the object lives.
class HostThreads {
  public:
    explicit HostThreads(PluginK7& effect) : m_effect(effect) {
        if (bundleState().quirks->ownThreads) return;
        m_record.suite = m_effect.slot<const OfxMultiThreadSuiteV1>(SLOT_MULTI_THREAD_SUITE);
        m_effect.setSlot(SLOT_MULTI_THREAD, &m_record);
    }
    ~HostThreads() { m_effect.setSlot(SLOT_MULTI_THREAD, nullptr); }
    HostThreads(const HostThreads&) = delete;
    HostThreads& operator=(const HostThreads&) = delete;

    int count() const {
        if (const auto* own = m_effect.slot<K7PTMultiProcess>(SLOT_OWN_THREADS)) return own->processorCount();
        unsigned int processors = 0;
        callSuite(m_record.suite, &OfxMultiThreadSuiteV1::multiThreadNumCPUs, &processors);
        return static_cast<int>(processors);
    }

  private:
    PluginK7& m_effect;
    MultiThreadRecord m_record;
};

constexpr int ALPHA = 8;  // of image_copy_channels

class Render {
  public:
    // With a device the host's pictures lie there. `device` tells whether it failed.
    Render(OfxImageEffectHandle instance, InstanceRecord& record, const PropertySet& inArgs, HostDevice* device)
        : m_instance(instance),
          m_record(record),
          m_effect(*record.effect),
          m_info(m_effect.info()),
          m_quirks(instanceQuirks(instance)),
          m_inArgs(inArgs),
          m_device(device),
          m_properties(effectProperties(instance)) {}

    void run() {
        m_effect.setSlot(SLOT_INSTANCE, m_instance);
        m_effect.doAlpha = true;
        ClipImages images(m_info);
        const HostThreads threads(m_effect);
        const DeviceGuard guard(m_effect, m_device);
        if (!readProject()) return;
        fetchParameters();
        if (m_device && !m_device->staged && m_effect.staysOnDevice())
            m_frame = &m_effect.enterDevice(m_device->stream);
        if (!makeImages()) return;
        if (aborted()) return;
        fetchParameters();
        if (aborted()) return;
        process(threads);
        if (aborted() || (m_device && m_device->failed)) return;
        images.freeInputs();
        storeOutput();
    }

  private:
    bool aborted() const { return m_effect.abortRequested() != 0; }

    // The answer to the host is OK all the same, so that the log is where a user finds out.
    bool refuse(const std::string& why) const {
        if (m_device && m_device->failed) return false;  // that is told by the answer
        if (!m_record.toldRefusal.exchange(true))
            reportError((effectLabel(m_effect.effectTraits()) + " can't render: " + why).c_str());
        return false;
    }
    bool refuse(const ClipRecord& clip, const char* why) const {
        return refuse("the clip " + std::string(m_quirks.primaryClipName(clip.param().name)) + " " + why);
    }
    static constexpr char NO_PIXELS[] = "has no pixels in RGBA that can be read";

    // ---- The request: time, scale, project

    bool readProject() {
        m_time = m_inArgs.doubleOr(ofx::prop::Time, 0.0);
        if (!std::isfinite(m_time)) m_time = 0.0;
        m_duration = m_properties.doubleOr(ofx::prop::InstanceEffectDuration, 0.0);
        double width = m_properties.doubleOr(ofx::prop::ProjectExtent, 0.0, 0);
        double height = m_properties.doubleOr(ofx::prop::ProjectExtent, 0.0, 1);
        m_unsized = !(width > 0.0 && height > 0.0);
        m_projectAspect = projectAspect(m_properties);
        // The sum makes up for what the division loses; hosts that count square pixels round to whole ones.
        if (m_quirks.squarePixelExtent) width = width / m_projectAspect + double{0.01f};
        m_scaleX = m_inArgs.doubleOr(ofx::prop::RenderScale, 1.0, 0);
        m_scaleY = m_inArgs.doubleOr(ofx::prop::RenderScale, 1.0, 1);
        width *= m_scaleX;
        height *= m_scaleY;
        if (m_quirks.verticalScaleForBoth) m_scaleX = m_scaleY;
        return m_unsized || setSize(width, height);
    }

    bool setSize(double width, double height) {
        constexpr double LARGEST = std::numeric_limits<std::uint16_t>::max();
        if (!(width >= 1.0 && width <= LARGEST + 0.999 && height >= 1.0 && height <= LARGEST + 0.999))
            return refuse("a picture can't be " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
        m_width = static_cast<int>(width);
        m_height = static_cast<int>(height);
        m_bounds = {0, 0, m_width, m_height};
        return true;
    }

    void fetchParameters() {
        m_effect.renderContext = {.time = m_time, .xFactor = positionFactor(m_projectAspect)};
        m_info.fetchAll(m_effect.renderContext);
    }

    void setFrames(const FrameSpan& span) {
        const FrameSpan sound = withinInteger(span);
        m_effect.firstFrame = sound.first;
        m_effect.lastFrame = sound.last;
        m_effect.currentFrame = sound.current;
    }

    // ---- The images

    bool makeImages() {
        ClipRecord* primary = m_info.primary();
        if (!primary) return refuse("it has no input clip");
        const OfxImageClipHandle clip = clipHandle(m_instance, m_quirks.primaryClipName(primary->param().name));
        if (!clip) return refuse(*primary, "is not there");
        const PropertySet clipSet = clipProperties(clip);
        const bool connected = isConnected(clip);
        m_effect.timeOfFrame = connected ? 1.0 : 1.0 / framesPerMillisecond();
        setFrames(connected ? frameSpan(clipSet, m_time, m_duration) : generatorFrames(clipSet));
        for (ClipRecord* input : m_info.inputs()) input->frameCount = 0;
        m_effect.prepareFrames(m_info, {m_effect.firstFrame, m_effect.lastFrame, m_effect.currentFrame});
        if (!(connected ? convertPrimary(*primary, clip) : blackPrimary(*primary))) return false;
        if (m_quirks.abortAfterPrimary && aborted()) return false;
        return furtherClips();
    }

    // Without an input the frames are the host's, or the clip's empty range counted in milliseconds.
    FrameSpan generatorFrames(const PropertySet& clip) {
        FrameSpan span{0.0, 400.0, m_time};
        if (m_quirks.frameNumbers == FrameNumbers::ZeroToDuration) return {0.0, std::trunc(m_duration), m_time};
        double first = 0.0, last = 0.0;
        if (clip.getDouble(ofx::prop::FrameRange, &first, 0) && clip.getDouble(ofx::prop::FrameRange, &last, 1)) {
            const double frames = framesPerMillisecond();
            span = {first * frames, last * frames, m_time * frames - first * frames};
        }
        return span;
    }

    double framesPerMillisecond() const {
        if (!m_quirks.millisecondTimes) return 1.0;
        const FrameRateControlK7* rate = m_info.frameRate();
        return rate ? rate->value / 1000.0 : 1.0;
    }

    bool blackPrimary(ClipRecord& primary) {
        if (m_unsized &&
            !setFrame(HostImage(clipHandle(m_instance, ofx::clip::Output), m_time, m_device).target().bounds))
            return false;
        if (m_frame) return deviceRecord(primary, m_projectAspect) && deviceRecord(m_info.output, m_projectAspect);
        for (ClipRecord* clip : {&primary, &m_info.output})
            clip->image.reset(made(make_float_image({}, nullptr, m_width, m_height, m_projectAspect, false, m_scaleX,
                                                    m_effect.rowRunner())));
        return true;
    }

    // ---- The images on the host's device

    bool onDevice(bool done) const {
        m_device->failed = m_device->failed || !done;
        return done;
    }

    // The image of a clip whose pixels are on the device: transparent black until they are placed.
    bool deviceRecord(ClipRecord& clip, double aspect) {
        clip.image.reset(made(make_frame_record(m_width, m_height, aspect, m_scaleX)));
        return onDevice(m_frame->picture(clip).clear());
    }

    // A copy of the primary clip's picture.
    bool copyOnDevice(ClipRecord& clip, double aspect) {
        HostPixels pixels;
        pixels.data = m_frame->picture(*m_info.primary()).read();
        pixels.bounds = {0, 0, m_width, m_height};
        pixels.depth = 32;
        pixels.row_bytes = std::ptrdiff_t{m_width} * static_cast<std::ptrdiff_t>(sizeof(GpuPixel));
        return onDevice(pixels.data != nullptr) && placeOnDevice(clip, pixels, aspect);
    }

    // A clip's picture from the host's pixels.
    bool placeOnDevice(ClipRecord& clip, const HostPixels& pixels, double aspect) {
        if (!device_takes(pixels.data, pixels.depth, pixels.row_bytes)) return onDevice(false);
        return deviceRecord(clip, aspect) &&
               onDevice(m_frame->check("cuda_place_host_pixels",
                                       cuda_place_host_pixels(pixels, m_frame->picture(clip), m_device->stream)));
    }

    // The output begins as a copy of the input, from the same host pixels.
    bool convertPrimary(ClipRecord& primary, OfxImageClipHandle clip) {
        HostImage host(clip, m_time, m_device);
        HostPixels pixels = m_frame ? host.pixels() : host.readable();
        if (!pixels.data) return refuse(primary, host ? NO_PIXELS : "gives no picture");
        if (m_unsized && !setFrame(pixels.bounds)) return false;
        m_bounds = pixels.bounds = inFrame(pixels.bounds);
        if (m_quirks.sizeFromBounds && !setSizeFromBounds()) return false;
        if (m_frame) return placeOnDevice(primary, pixels, host.aspect()) && copyOnDevice(m_info.output, host.aspect());
        K7Image* input = nullptr;
        K7Image* output = nullptr;
        made(make_float_image_pair(pixels, m_width, m_height, host.aspect(), m_scaleX, &input, &output,
                                   m_effect.rowRunner()));
        primary.image.reset(input);
        m_info.output.image.reset(output);
        return true;
    }

    bool setSizeFromBounds() {
        const HostRect bounds = m_bounds;
        const bool fits = setSize(double(bounds.x2) - bounds.x1, double(bounds.y2) - bounds.y1);
        m_bounds = bounds;
        return fits;
    }

    // Where the host tells no project, the frame is where a picture of it lies.
    bool setFrame(const HostRect& bounds) {
        m_originX = bounds.x1, m_originY = bounds.y1;
        return setSize(double(bounds.x2) - bounds.x1, double(bounds.y2) - bounds.y1);
    }

    HostRect inFrame(const HostRect& r) const {
        const auto moved = [](int place, int origin) {
            constexpr std::int64_t MOST = std::numeric_limits<int>::max();
            return static_cast<int>(std::clamp(std::int64_t{place} - origin, -MOST, MOST));
        };
        return {moved(r.x1, m_originX), moved(r.y1, m_originY), moved(r.x2, m_originX), moved(r.y2, m_originY)};
    }

    // A clip that is not connected gives the effect a copy of the primary one, never nothing.
    bool furtherClips() {
        for (std::size_t i = 1; i < m_info.inputs().size(); ++i) {
            ClipRecord& clip = *m_info.inputs()[i];
            HostImage host =
                m_quirks.furtherClips
                    ? HostImage(clipHandle(m_instance, m_quirks.primaryClipName(clip.param().name)), m_time, m_device)
                    : HostImage();
            if (!host && m_frame) {
                if (!copyOnDevice(clip, 1.0)) return false;
            } else if (!host) {
                clip.image.reset(made(make_float_image({}, m_info.primary()->image.get(), m_width, m_height, 1.0, false,
                                                       m_scaleX, m_effect.rowRunner())));
            } else {
                HostPixels pixels = m_frame ? host.pixels() : host.readable();
                if (!pixels.data) return refuse(clip, NO_PIXELS);
                pixels.bounds = inFrame(pixels.bounds);
                if (m_frame) {
                    if (!placeOnDevice(clip, pixels, host.aspectAsGiven())) return false;
                    continue;
                }
                clip.image.reset(made(make_float_image(pixels, nullptr, m_width, m_height, host.aspectAsGiven(), false,
                                                       m_scaleX, m_effect.rowRunner())));
            }
        }
        return true;
    }

    // ---- The picture

    void process(const HostThreads& threads) {
        const RenderLockGuard lock(m_effect);
        if (aborted()) return;  // the lock may have been long in coming
        m_effect.LibMpSetup(threads.count());
        if (m_quirks.ownThreads) Trace(TRACE_TRACE, "LibMpSetup() completed ... \n");
        const bool smallPreview = m_quirks.skipsSmallPreview && m_bounds.y1 < 300 && m_height == 600;
        if (smallPreview && m_effect.effectTraits().skipsSmallPreview) return;
        // The effect may take its input over.
        const ImagePtr source(m_effect.doAlpha ? nullptr : made(image_duplicate(m_info.primary()->image.get())));
        m_effect.ProcessFrame();
        if (m_frame) {
            onDevice(!m_frame->failed());
            return;
        }
        m_effect.leaveDevice();
        m_effect.dropDevice();
        K7Image* result = m_info.output.image.get();
        if (!result) return;
        if (source) made(image_copy_channels(source.get(), result, ALPHA));
        result->stats_valid = 0;
    }

    bool storeOutput() {
        const OfxImageClipHandle clip = clipHandle(m_instance, ofx::clip::Output);
        HostImage host(clip, m_time, m_device);
        HostTarget target = m_frame ? host.target() : host.writable();
        if (!target.data && m_device && m_device->textures) return onDevice(false);
        if (!target.data) return refuse("the output has no pixels in RGBA that can be written");
        target.bounds = inFrame(target.bounds);
        const HostRect region = m_quirks.outputOwnBounds ? target.bounds : m_bounds;
        if (m_frame) return storeOnDevice(target, region) && onDevice(host.storeTexture());
        store_float_image(m_info.output.image.get(), target, region, m_effect.rowRunner());
        return host.store(target);
    }

    // Waits for the device, so that a failure is known while there is another way.
    bool storeOnDevice(const HostTarget& target, const HostRect& region) {
        if (!device_takes(target.data, target.depth, target.row_bytes)) return onDevice(false);
        DeviceImage& picture = m_frame->picture(m_info.output);
        return onDevice(m_frame->check("cuda_store_host_pixels",
                                       cuda_store_host_pixels(picture, target, region, m_device->stream)) &&
                        gpu_succeeded(gpu_runtime().stream_synchronize(m_device->stream), "making a picture"));
    }

    OfxImageEffectHandle m_instance;
    InstanceRecord& m_record;
    PluginK7& m_effect;
    EffectInfo& m_info;
    const HostQuirks& m_quirks;
    const PropertySet& m_inArgs;
    HostDevice* const m_device;      // where the host has its pictures there
    DeviceFrame* m_frame = nullptr;  // where they stay there
    const PropertySet m_properties;

    double m_time = 0.0, m_duration = 0.0;
    double m_projectAspect = 1.0;
    double m_scaleX = 1.0, m_scaleY = 1.0;
    bool m_unsized = false;            // the host tells no size of the project
    int m_width = 0, m_height = 0;     // of the working image
    int m_originX = 0, m_originY = 0;  // of the frame, in the host's pixels
    HostRect m_bounds{};               // of the primary's pixels: the region that is written back
};

}  // namespace

namespace {

// First with the pictures where they are, then through main memory.
OfxStatus renderOnDevice(OfxImageEffectHandle instance, InstanceRecord& record, const PropertySet& inArgs,
                         const HostDevice& device) {
    for (const bool staged : {false, true}) {
        HostDevice tried = device;
        tried.staged = staged;
        // What has failed there once would leave the output as it was the second time.
        const WithoutDevice onProcessor(staged);
        Render(instance, record, inArgs, &tried).run();
        if (!tried.failed) return ofx::status::OK;
    }
    return ofx::status::GPURenderFailed;
}

OfxStatus renderInMemoryOfDevice(OfxImageEffectHandle instance, InstanceRecord& record, const PropertySet& inArgs) {
    const HostsDevice device;
    if (!device.usable()) return ofx::status::GPURenderFailed;
    if (auto* hosts = static_cast<GpuStream>(inArgs.pointerOr(ofx::prop::CudaStream, nullptr)))
        return renderOnDevice(instance, record, inArgs, {.stream = hosts});
    // The host counts on the default stream: what it does with a picture that is released comes behind our work there.
    // Where it has queued work elsewhere, that comes first.
    const GpuRuntime& runtime = gpu_runtime();
    if (!gpu_succeeded(runtime.device_synchronize(), "waiting for the host's work"))
        return ofx::status::GPURenderFailed;
    const OfxStatus status = renderOnDevice(instance, record, inArgs, {.stream = nullptr});
    gpu_succeeded(runtime.stream_synchronize(nullptr), "ending a render");
    return status;
}

// The host has selected no device: ours is used, and a context on another one is found out by its textures.
OfxStatus renderInTextures(OfxImageEffectHandle instance, InstanceRecord& record, const PropertySet& inArgs) {
    DeviceStream stream;
    if (!bundleState().suites.openGL || !cuda_available() || !gpu_succeeded(stream.create(), "creating a stream"))
        return ofx::status::GPURenderFailed;
    return renderOnDevice(instance, record, inArgs, {.stream = stream.get(), .textures = true});
}

}  // namespace

OfxStatus actionRender(OfxImageEffectHandle instance, const PropertySet& inArgs) {
    const BundleState& state = bundleState();
    const auto* suite = state.suites.effect;
    if (suite && suite->abort && suite->abort(instance)) return ofx::status::OK;
    InstanceRecord* record = instanceRecord(instance);
    if (!record) return ofx::status::OK;
    if (inArgs.intOr(ofx::prop::CudaEnabled, 0) == 1) return renderInMemoryOfDevice(instance, *record, inArgs);
    if (state.hostHasTextures && inArgs.intOr(ofx::prop::OpenGLEnabled, 0) == 1)
        return renderInTextures(instance, *record, inArgs);
    Render(instance, *record, inArgs, nullptr).run();
    return ofx::status::OK;
}
