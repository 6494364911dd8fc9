// The render action: host pixels become float images, parameters are fetched, the effect makes its picture under the
// render lock, and the picture goes back to the host. It always answers OK: a render that can't be done leaves the
// host's output as it stands, and is told in the log once an instance. Every image fetched or made here is released on
// every path.

#include <algorithm>
#include <cmath>
#include <limits>

#include "Library2/Actions.h"
#include "Library2/HostImage.h"
#include "Library2/InstanceRecord.h"
#include "Library2/Made.h"
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

// However ProcessFrame ends, nothing of it stays on a device.
class DeviceGuard {
  public:
    explicit DeviceGuard(PluginK7& effect) : m_effect(effect) {}
    ~DeviceGuard() { m_effect.dropDevice(); }
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
    Render(OfxImageEffectHandle instance, InstanceRecord& record, const PropertySet& inArgs)
        : m_instance(instance),
          m_record(record),
          m_effect(*record.effect),
          m_info(m_effect.info()),
          m_quirks(instanceQuirks(instance)),
          m_inArgs(inArgs),
          m_properties(effectProperties(instance)) {}

    void run() {
        m_effect.setSlot(SLOT_INSTANCE, m_instance);
        m_effect.doAlpha = true;
        ClipImages images(m_info);
        const HostThreads threads(m_effect);
        if (!readProject()) return;
        fetchParameters();
        if (!makeImages()) return;
        if (aborted()) return;
        fetchParameters();
        if (aborted()) return;
        process(threads);
        if (aborted()) return;
        images.freeInputs();
        storeOutput();
    }

  private:
    bool aborted() const { return m_effect.abortRequested() != 0; }

    // The answer to the host is OK all the same, so that the log is where a user finds out.
    bool refuse(const std::string& why) const {
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
        if (m_unsized && !setFrame(HostImage(clipHandle(m_instance, ofx::clip::Output), m_time).target().bounds))
            return false;
        for (ClipRecord* clip : {&primary, &m_info.output})
            clip->image.reset(made(make_float_image({}, nullptr, m_width, m_height, m_projectAspect, false, m_scaleX,
                                                    m_effect.rowRunner())));
        return true;
    }

    // The output begins as a copy of the input, from the same host pixels.
    bool convertPrimary(ClipRecord& primary, OfxImageClipHandle clip) {
        const HostImage host(clip, m_time);
        HostPixels pixels = host.pixels();
        if (!pixels.data) return refuse(primary, host ? NO_PIXELS : "gives no picture");
        if (m_unsized && !setFrame(pixels.bounds)) return false;
        m_bounds = pixels.bounds = inFrame(pixels.bounds);
        if (m_quirks.sizeFromBounds && !setSizeFromBounds()) return false;
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
                    ? HostImage(clipHandle(m_instance, m_quirks.primaryClipName(clip.param().name)), m_time)
                    : HostImage();
            if (!host) {
                clip.image.reset(made(make_float_image({}, m_info.primary()->image.get(), m_width, m_height, 1.0, false,
                                                       m_scaleX, m_effect.rowRunner())));
            } else {
                HostPixels pixels = host.pixels();
                if (!pixels.data) return refuse(clip, NO_PIXELS);
                pixels.bounds = inFrame(pixels.bounds);
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
        const DeviceGuard device(m_effect);
        m_effect.ProcessFrame();
        m_effect.leaveDevice();
        K7Image* result = m_info.output.image.get();
        if (!result) return;
        if (source) made(image_copy_channels(source.get(), result, ALPHA));
        result->stats_valid = 0;
    }

    bool storeOutput() {
        const OfxImageClipHandle clip = clipHandle(m_instance, ofx::clip::Output);
        const HostImage host(clip, m_time);
        HostTarget target = host.target();
        if (!target.data) return refuse("the output has no pixels in RGBA that can be written");
        target.bounds = inFrame(target.bounds);
        store_float_image(m_info.output.image.get(), target, m_quirks.outputOwnBounds ? target.bounds : m_bounds,
                          m_effect.rowRunner());
        return true;
    }

    OfxImageEffectHandle m_instance;
    InstanceRecord& m_record;
    PluginK7& m_effect;
    EffectInfo& m_info;
    const HostQuirks& m_quirks;
    const PropertySet& m_inArgs;
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

OfxStatus actionRender(OfxImageEffectHandle instance, const PropertySet& inArgs) {
    const auto* suite = bundleState().suites.effect;
    if (suite && suite->abort && suite->abort(instance)) return ofx::status::OK;
    InstanceRecord* record = instanceRecord(instance);
    if (!record) return ofx::status::OK;
    Render(instance, *record, inArgs).run();
    return ofx::status::OK;
}
