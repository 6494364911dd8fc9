// PluginK7: the base of all effects. Frame numbers, the host's handles of the render in progress, row-parallel work.
#pragma once

#include <memory>
#include <type_traits>

#include "Library2/BundleState.h"
#include "Library2/EffectInfo.h"
#include "Library2/Made.h"
#include "Library2/Overlay.h"
#include "imagelib/imagelib.h"

class DeviceFrame;
struct HostDevice;
struct GpuStreamHandle;
class K7PTMultiProcess;
struct MultiThreadRecord;

// What is in which word of m_Private; the others are spare.
enum PrivateSlot : std::size_t {
    SLOT_HOST = 0,
    SLOT_EFFECT_SUITE = 1,
    SLOT_PROPERTY_SUITE = 2,
    SLOT_PARAMETER_SUITE = 3,
    SLOT_MEMORY_SUITE = 4,
    SLOT_MULTI_THREAD_SUITE = 5,
    SLOT_MESSAGE_SUITE = 6,
    SLOT_INTERACT_SUITE = 7,
    SLOT_INSTANCE = 8,       // the instance handle of the latest render; null before the first
    SLOT_MULTI_THREAD = 12,  // MultiThreadRecord of this render, on hosts whose threads are used
    SLOT_OWN_THREADS = 15,   // K7PTMultiProcess, on hosts whose threads are not used
};

class PluginK7 {
  public:
    PluginK7();
    virtual ~PluginK7();
    PluginK7(const PluginK7&) = delete;
    PluginK7& operator=(const PluginK7&) = delete;

    virtual EffectInfo& info() = 0;
    virtual OverlayK7& overlaySide() = 0;
    virtual const EffectTraits& effectTraits() const = 0;

    // ---- What an effect overrides
    // Makes the picture: reads clips and controls, writes output.image; under the render lock. What it may count on:
    // - Every clip and the output have an image of four float channels with pixels, all of one size. The output is a
    //   copy of the primary clip, as is a further clip that is not connected.
    // - Controls hold finite numbers within 1e12; integers and choices are within what was declared.
    // - Frame numbers are finite and fit an integer.
    // - The host has not asked to abort.
    // - What it throws ends the render: the host's picture stays as it was. See Made.h.
    // - Afterwards the framework puts back the primary clip's alpha where the output's own is not wanted, and clears
    //   stats_valid of the output.
    virtual void ProcessFrame() {}
    virtual void InstanceCreated();  // last step of creation; runs the enable rules
    // Called on the interface's thread, while a render of this instance may run on another. They leave atomic requests,
    // which the next render takes at its start, and read parameters with GetValue.
    virtual void ClipChanged() {}
    virtual void ButtonPressed(ButtonControlK7&) {}
    virtual void ControlChanged(ControlK7&) {}  // a parameter has changed, perhaps at another frame only
    virtual void MarkRestart() {}               // a simulation begins anew at the next render
    // Fills the frame lists of the plan's clips from the plan's controls: Effect<Info>::FramePrepare.
    virtual void prepareFrames(EffectInfo&, const FrameSpan&) const {}

    // ---- Frames
    // Finite, within a thousand million.
    double currentFrame = 0.0;  // relative to firstFrame
    double firstFrame = 0.0;
    double lastFrame = 0.0;
    bool doAlpha = true;  // set at each render; where clear, the output gets the primary clip's alpha in the end
    // Fetches every parameter as it stands at another frame, numbered like currentFrame. Only while a frame is
    // rendered; an effect that fetches another frame's parameters fetches the current ones again.
    void fetchParametersAt(double frame);
    FetchContext renderContext;  // of this render's parameters
    double timeOfFrame = 1.0;    // the host's time units a frame
    // Fetches a clip's frame at a host time into the image. The render lock is left meanwhile, so that the host can
    // render what is upstream.
    bool fetchFrame(OfxImageClipHandle clip, double time, K7Image* image);

    // ---- Mapping between project and image coordinates (the identity under OFX)
    int projectWidth = 720, projectHeight = 576;
    int imageWidth = 720, imageOffsetX = 0, imageHeight = 576, imageOffsetY = 0;
    double projectToImageX(double x) const { return (projectWidth * x - imageOffsetX) / imageWidth; }
    double projectToImageY(double y) const { return (projectHeight * y - imageOffsetY) / imageHeight; }
    double imageToProjectX(double x) const { return (imageWidth * x + imageOffsetX) / projectWidth; }
    double imageToProjectY(double y) const { return (imageHeight * y + imageOffsetY) / projectHeight; }
    double horizontalScale() const { return double(projectWidth) / imageWidth; }
    double verticalScale() const { return double(projectHeight) / imageHeight; }

    // ---- Rows
    // Points the image library's row loops at this effect; above 0, `count` becomes their row unit.
    virtual void LibMpSetup(int count);
    // Runs the worker over rows 0 to rows - 1, spread over the host's threads or the bundle's own; returns when all
    // are done. Ranges may be empty (first > last). Called from inside a worker it runs on the calling thread.
    void dispatchRows(RowWorker worker, int rows, void* job);
    // The same for a callable or a member function of the effect (int first, int last).
    template <class Work>
    void MultiProcess(Work&& work, int rows) {
        dispatchRows(&row_worker<std::remove_reference_t<Work>>, rows, row_job(work));
    }
    template <class Effect>
    void MultiProcess(void (Effect::*handler)(int first, int last), int rows) {
        auto& effect = static_cast<Effect&>(*this);
        MultiProcess([&](int first, int last) { (effect.*handler)(first, last); }, rows);
    }

    // work(y) for each row from 0 to rows - 1, spread over threads, until the host wants the render to end. False when
    // it did: rows are missing then. Work that needs scratch memory for each thread calls for_rows_float itself.
    template <class Work>
    bool eachRow(int rows, Work&& work) const {
        return each_row_float(
            rows, [this] { return abortRequested() != 0; }, work);
    }
    // For conversions, which run outside the render lock, when the libraries' row loops may be another effect's.
    RowRunner rowRunner();

    // What a library answers that may end early: true when it came to the end, false when the host wants one. Anything
    // else is memory that couldn't be had.
    bool madeUnlessAborted(bool done) const { return done || (!abortRequested() && made(done)); }

    // ---- CUDA device
    // Whether the whole picture can be made on a device with these controls. Then a host's pictures on a device stay
    // there: clips have images without pixels, deviceFor answers with pictures of them, and ProcessFrame must use
    // those.
    virtual bool staysOnDevice() const { return effectTraits().onDevice; }
    // While a frame is rendered: what the effect's path on the device works with, null where there is no device or it
    // would not be faster. `nanoseconds` is what the picture takes the processor on one thread, a pixel.
    DeviceFrame* deviceFor(double nanoseconds);
    // At the end of a render: brings the output to the host, where a device has made it.
    void leaveDevice();
    void dropDevice();                                 // and forgets the pictures that are there
    DeviceFrame& enterDevice(GpuStreamHandle* hosts);  // for pictures that a host has on the device
    HostDevice* hostDevice = nullptr;                  // of this render, where the host's pictures are on a device

    // ---- Host
    // Whether the host wants this render to end; non-zero is yes.
    virtual int abortRequested() const;
    // The same for long operations of the libraries.
    StopRequested stopRequested() const {
        return [this] { return abortRequested() != 0; };
    }

    void adoptHost();  // copies host and suites into m_Private
    template <class T>
    T* slot(PrivateSlot which) const {
        return static_cast<T*>(m_Private[which]);
    }
    void setSlot(PrivateSlot which, const void* value) { m_Private[which] = const_cast<void*>(value); }

    bool holdsRenderLock = false;  // while ProcessFrame runs

  private:
    std::unique_ptr<DeviceFrame> m_device;  // of this render
    void* m_Private[32] = {};
};

// Every failure is reported as one line in the log. The host gets the same answer as after success.
void reportError(const char* text);

// An effect class: the plug-in, its overlay side and its declaration in one object.
//     class Darken final : public Effect<DarkenInfo> { void ProcessFrame() override; };
template <class Info>
class Effect : public PluginK7, public OverlayK7, public Info {
  public:
    using InfoType = Info;
    EffectInfo& info() final { return *this; }
    OverlayK7& overlaySide() final { return *this; }
    const EffectTraits& effectTraits() const override { return Info::traits; }

    void prepareFrames(EffectInfo& plan, const FrameSpan& frames) const final {
        FramePrepare(static_cast<Info&>(plan), frames);
    }

  protected:
    // Which other frames of its clips a frame needs. The plan is the effect itself before a render fetches its images;
    // it is a record of its own when the host asks, perhaps while a render runs. So nothing else is read that a render
    // writes.
    virtual void FramePrepare(Info&, const FrameSpan&) const {}
    EffectInfo& overlayInfo() final { return *this; }
};

// ---- Definitions ----------------------------------------------------------------------------------------------

// What the bundle needs of an effect: its declaration without an instance, and new instances.
struct EffectDefinition {
    const EffectTraits* traits;
    std::unique_ptr<EffectInfo> (*declare)();
    std::unique_ptr<PluginK7> (*create)();
};

template <class EffectClass>
constexpr EffectDefinition defineEffect() {
    return {&EffectClass::traits,
            []() -> std::unique_ptr<EffectInfo> { return std::make_unique<typename EffectClass::InfoType>(); },
            []() -> std::unique_ptr<PluginK7> { return std::make_unique<EffectClass>(); }};
}
