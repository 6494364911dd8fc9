// The actions of an effect instance, and the images the plug-in holds while they run.
#include <algorithm>

#include "host/core/bundle.h"
#include "host/core/effect.h"
#include "host/core/host.h"
#include "host/core/property_tables.h"
#include "ofx/ofx_names.h"

namespace ofxhost {

namespace prop = ofx::prop;
namespace action = ofx::action;

namespace {

// Notifications inside notifications end here: two plug-in controls that set each other would never stop.
constexpr int maxChangeDepth = 32;

struct InArguments : PropertySet {
    InArguments(Host& host, const char* actionText) : PropertySet(host, ObjectKind::InArgs, "inArgs") {
        addArgumentProperties(*this, actionText);
    }
    void setPair(const char* name, double x, double y) { setDouble(name, x, 0), setDouble(name, y, 1); }
    void setRegion(const char* name, const OfxRectD& r) {
        const double values[] = {r.x1, r.y1, r.x2, r.y2};
        for (int i = 0; i < 4; ++i) setDouble(name, values[i], i);
    }
    void setWindow(const OfxRectI& r) {
        const int values[] = {r.x1, r.y1, r.x2, r.y2};
        for (int i = 0; i < 4; ++i) setInt(prop::RenderWindow, values[i], i);
    }
};

struct OutArguments : PropertySet {
    OutArguments(Host& host, const char* actionText) : PropertySet(host, ObjectKind::OutArgs, "outArgs") {
        addArgumentProperties(*this, actionText);
    }
    OfxRectD region(const std::string& name) const {
        return {getDouble(name, 0), getDouble(name, 1), getDouble(name, 2), getDouble(name, 3)};
    }
};

bool succeeded(OfxStatus status) { return status == ofx::status::OK || status == ofx::status::ReplyDefault; }

}  // namespace

OfxStatus EffectInstance::run(const char* actionText, PropertySet* inArgs, PropertySet* outArgs) {
    ++m_actionDepth;
    const OfxStatus status = send(actionText, inArgs, outArgs);
    if (--m_actionDepth == 0) takeBackImages(actionText);
    return status;
}

OfxStatus EffectInstance::simpleAction(const char* actionText) { return run(actionText, nullptr, nullptr); }

OfxStatus EffectInstance::create() {
    m_creating = true;
    const OfxStatus status = run(action::CreateInstance, nullptr, nullptr);
    m_creating = false;
    m_created = succeeded(status);
    return status;
}

OfxStatus EffectInstance::destroy() {
    m_created = false;
    return run(action::DestroyInstance, nullptr, nullptr);
}

// ---- Changes --------------------------------------------------------------------------------------------------

OfxStatus EffectInstance::beginChanged(const char* reason) {
    InArguments in(host(), action::BeginInstanceChanged);
    in.setString(prop::ChangeReason, reason);
    return run(action::BeginInstanceChanged, &in, nullptr);
}

OfxStatus EffectInstance::instanceChanged(const char* objectType, const std::string& name, const char* reason) {
    InArguments in(host(), action::InstanceChanged);
    in.setString(prop::Type, objectType);
    in.setString(prop::Name, name);
    in.setString(prop::ChangeReason, reason);
    in.setDouble(prop::Time, m_time);
    in.setPair(prop::RenderScale, m_project.renderScale.x, m_project.renderScale.y);
    return run(action::InstanceChanged, &in, nullptr);
}

OfxStatus EffectInstance::endChanged(const char* reason) {
    InArguments in(host(), action::EndInstanceChanged);
    in.setString(prop::ChangeReason, reason);
    return run(action::EndInstanceChanged, &in, nullptr);
}

OfxStatus EffectInstance::setParam(Param& param, const ParamValue& value) {
    if (param.type().hasValue()) param.setValue(value);
    return pressButton(param);
}

OfxStatus EffectInstance::pressButton(Param& param) {
    beginChanged(ofx::change::UserEdited);
    const OfxStatus status = instanceChanged(ofx::type::Parameter, param.name(), ofx::change::UserEdited);
    endChanged(ofx::change::UserEdited);
    return status;
}

OfxStatus EffectInstance::clipChanged(Clip& clip) {
    beginChanged(ofx::change::UserEdited);
    const OfxStatus status = instanceChanged(ofx::type::Clip, clip.name(), ofx::change::UserEdited);
    endChanged(ofx::change::UserEdited);
    return status;
}

void EffectInstance::changedByPlugin(Param& param) {
    if (m_creating || !m_created) return;
    if (++m_changeDepth > maxChangeDepth) {
        host().report(Severity::Error, action::InstanceChanged, param.name(),
                      "changes without end: each causes another");
    } else {
        beginChanged(ofx::change::PluginEdited);
        instanceChanged(ofx::type::Parameter, param.name(), ofx::change::PluginEdited);
        endChanged(ofx::change::PluginEdited);
    }
    --m_changeDepth;
}

OfxStatus EffectInstance::editBegin() {
    ++m_editDepth;
    return ofx::status::OK;
}

OfxStatus EffectInstance::editEnd() {
    if (m_editDepth == 0) {
        host().report(Severity::Error, "paramEditEnd", "", "no edit was begun");
        return ofx::status::Failed;
    }
    --m_editDepth;
    return ofx::status::OK;
}

// ---- Questions ------------------------------------------------------------------------------------------------

OfxStatus EffectInstance::clipPreferences(ClipPreferences& preferences) {
    OutArguments out(host(), action::GetClipPreferences);
    out.setDouble(prop::FrameRate, m_project.frameRate);
    for (const auto& clip : m_clips) {
        const PropertySet& set = clip->properties();
        out.define(prop::ClipComponentsPrefix + clip->name(), PropertyType::String, 1, true);
        out.setString(prop::ClipComponentsPrefix + clip->name(), set.getString(prop::Components));
        out.define(prop::ClipDepthPrefix + clip->name(), PropertyType::String, 1, true);
        out.setString(prop::ClipDepthPrefix + clip->name(), set.getString(prop::PixelDepth));
        out.define(prop::ClipPARPrefix + clip->name(), PropertyType::Double, 1, true);
        out.setDouble(prop::ClipPARPrefix + clip->name(), set.getDouble(prop::ImagePixelAspectRatio));
    }
    // What an effect says nothing of is as its first input has it.
    for (const Clip* clip : inputs()) {
        if (!clip->connected()) continue;
        out.setString(prop::PreMultiplication, clip->properties().getString(prop::PreMultiplication));
        break;
    }
    const OfxStatus status = run(action::GetClipPreferences, nullptr, &out);
    const auto written = out.writtenProperties();
    if (!host().config().setableFrameRate &&
        std::find(written.begin(), written.end(), prop::FrameRate) != written.end()) {
        host().report(Severity::Note, action::GetClipPreferences, prop::FrameRate,
                      "the host's frame rate can't be set");
    }
    preferences.frameRate = out.getDouble(prop::FrameRate);
    preferences.frameVarying = out.getInt(prop::FrameVarying) != 0;
    preferences.continuousSamples = out.getInt(prop::ClipContinuousSamples) != 0;
    preferences.premultiplication = out.getString(prop::PreMultiplication);
    preferences.fieldOrder = out.getString(prop::ClipFieldOrder);
    for (const auto& clip : m_clips) {
        preferences.components[clip->name()] = out.getString(prop::ClipComponentsPrefix + clip->name());
        preferences.depth[clip->name()] = out.getString(prop::ClipDepthPrefix + clip->name());
        preferences.pixelAspect[clip->name()] = out.getDouble(prop::ClipPARPrefix + clip->name());
    }
    return status;
}

OfxStatus EffectInstance::regionOfDefinition(double time, OfxPointD renderScale, OfxRectD& region) {
    InArguments in(host(), action::GetRegionOfDefinition);
    in.setDouble(prop::Time, time);
    in.setPair(prop::RenderScale, renderScale.x, renderScale.y);
    OutArguments out(host(), action::GetRegionOfDefinition);
    out.setDouble(prop::RegionOfDefinition, projectExtent().x, 2);
    out.setDouble(prop::RegionOfDefinition, projectExtent().y, 3);
    const OfxStatus status = run(action::GetRegionOfDefinition, &in, &out);
    region = out.region(prop::RegionOfDefinition);
    return status;
}

OfxStatus EffectInstance::regionsOfInterest(double time, OfxPointD renderScale, const OfxRectD& wanted,
                                            std::map<std::string, OfxRectD>& regions) {
    InArguments in(host(), action::GetRegionsOfInterest);
    in.setDouble(prop::Time, time);
    in.setPair(prop::RenderScale, renderScale.x, renderScale.y);
    in.setRegion(prop::RegionOfInterest, wanted);
    OutArguments out(host(), action::GetRegionsOfInterest);
    const double values[] = {wanted.x1, wanted.y1, wanted.x2, wanted.y2};
    for (const Clip* clip : inputs()) {
        const std::string name = prop::ClipRoIPrefix + clip->name();
        out.define(name, PropertyType::Double, 4, true);
        for (int i = 0; i < 4; ++i) out.setDouble(name, values[i], i);
    }
    const OfxStatus status = run(action::GetRegionsOfInterest, &in, &out);
    for (const Clip* clip : inputs()) regions[clip->name()] = out.region(prop::ClipRoIPrefix + clip->name());
    return status;
}

OfxStatus EffectInstance::framesNeeded(double time, std::map<std::string, FrameRanges>& frames) {
    InArguments in(host(), action::GetFramesNeeded);
    in.setDouble(prop::Time, time);
    OutArguments out(host(), action::GetFramesNeeded);
    for (const Clip* clip : inputs()) {
        const std::string name = prop::ClipFrameRangePrefix + clip->name();
        out.define(name, PropertyType::Double, 0, true);
        for (int i = 0; i < 2; ++i) out.setDouble(name, time, i);
    }
    const OfxStatus status = run(action::GetFramesNeeded, &in, &out);
    for (const Clip* clip : inputs()) {
        const std::string name = prop::ClipFrameRangePrefix + clip->name();
        const int count = out.count(name);
        if (count % 2 != 0) host().report(Severity::Error, action::GetFramesNeeded, name, "an odd number of frames");
        FrameRanges& ranges = frames[clip->name()];
        for (int i = 0; i + 1 < count; i += 2) {
            ranges.push_back({out.getDouble(name, i), out.getDouble(name, i + 1)});
            if (ranges.back().min > ranges.back().max) {
                host().report(Severity::Error, action::GetFramesNeeded, name, "a range ends before it begins");
            }
        }
    }
    return status;
}

OfxStatus EffectInstance::timeDomain(OfxRangeD& range) {
    OutArguments out(host(), action::GetTimeDomain);
    out.setDouble(prop::FrameRange, m_project.firstFrame, 0);
    out.setDouble(prop::FrameRange, m_project.lastFrame, 1);
    const OfxStatus status = run(action::GetTimeDomain, nullptr, &out);
    range = {out.getDouble(prop::FrameRange, 0), out.getDouble(prop::FrameRange, 1)};
    return status;
}

OfxStatus EffectInstance::isIdentity(const RenderRequest& request, const OfxRectI& window, std::string& clip,
                                     double& identityTime) {
    InArguments in(host(), action::IsIdentity);
    in.setDouble(prop::Time, request.time);
    in.setPair(prop::RenderScale, request.renderScale.x, request.renderScale.y);
    in.setWindow(window);
    OutArguments out(host(), action::IsIdentity);
    out.setDouble(prop::Time, request.time);
    const OfxStatus status = run(action::IsIdentity, &in, &out);
    clip = out.getString(prop::Name);
    identityTime = out.getDouble(prop::Time);
    if (status == ofx::status::OK && !findClip(clip)) {
        host().report(Severity::Error, action::IsIdentity, clip, "identity of a clip that does not exist");
    }
    return status;
}

// ---- Rendering ------------------------------------------------------------------------------------------------

OfxStatus EffectInstance::sendSequence(const char* actionText, const RenderRequest& request, OfxRangeD frames,
                                       double step) {
    InArguments in(host(), actionText);
    in.setPair(prop::FrameRange, frames.min, frames.max);
    in.setDouble(prop::FrameStep, step);
    in.setInt(prop::IsInteractive, request.interactive);
    in.setPair(prop::RenderScale, request.renderScale.x, request.renderScale.y);
    in.setInt(prop::SequentialRenderStatus, request.sequential);
    in.setInt(prop::InteractiveRenderStatus, request.interactive);
    bool made = false;
    return usesDevice(request) ? runOnDevice(actionText, in, made) : run(actionText, &in, nullptr);
}

OfxStatus EffectInstance::beginSequence(const RenderRequest& request, OfxRangeD frames, double step) {
    return sendSequence(action::BeginSequenceRender, request, frames, step);
}

OfxStatus EffectInstance::endSequence(const RenderRequest& request, OfxRangeD frames, double step) {
    return sendSequence(action::EndSequenceRender, request, frames, step);
}

bool EffectInstance::usesDevice(const RenderRequest& request) const {
    return request.onDevice && host().config().device && m_descriptor.takesDevicePictures();
}

OfxStatus EffectInstance::runOnDevice(const char* actionText, PropertySet& in, bool& made) {
    made = false;
    if (!m_queue) m_queue = host().config().device->queue();
    if (!m_queue) return ofx::status::OK;
    const bool inOrder =
        host().config().deviceStreams && m_descriptor.properties().getString(prop::CudaStreamSupported) == "true";
    in.setInt(prop::CudaEnabled, 1);
    in.setPointer(prop::CudaStream, inOrder ? m_queue->stream() : nullptr);
    auto pictures = std::make_shared<DevicePictures>(*m_queue, inOrder);
    const auto setPictures = [this](const std::shared_ptr<DevicePictures>& now) {
        const std::lock_guard lock(m_imagesMutex);
        m_onDevice = now;
    };
    setPictures(pictures);
    const OfxStatus status = run(actionText, &in, nullptr);
    setPictures(nullptr);
    in.setInt(prop::CudaEnabled, 0);
    in.setPointer(prop::CudaStream, nullptr);
    if (status == ofx::status::GPUOutOfMemory || status == ofx::status::GPURenderFailed) return status;
    DevicePictures::Faults faults;
    made = pictures->bringBack(host().config().checkSources, faults);
    if (faults.outsideWritten)
        host().report(Severity::Error, actionText, "", "memory of the device outside an image's pixels was written");
    if (faults.sourceWritten)
        host().report(Severity::Error, actionText, "", "the pixels of a source were written on the device");
    pictures.reset();
    if (!made) m_queue.reset();  // the next render begins with a new one
    return status;
}

OfxStatus EffectInstance::renderAnywhere(const RenderRequest& request, PropertySet& in) {
    if (usesDevice(request)) {
        bool made = false;
        const OfxStatus status = runOnDevice(action::Render, in, made);
        if (made) {
            ++m_deviceRenders.made;
            return status;
        }
        ++m_deviceRenders.refused;
        m_deviceRenders.answer = status;
        host().report(Severity::Note, action::Render, "", "not made on the device; once more in main memory");
    }
    return run(action::Render, &in, nullptr);
}

OfxStatus EffectInstance::render(const RenderRequest& request, const ImagePtr& image) {
    InArguments in(host(), action::Render);
    in.setDouble(prop::Time, request.time);
    in.setPair(prop::RenderScale, request.renderScale.x, request.renderScale.y);
    in.setWindow(request.window.value_or(image->layout().bounds));
    in.setInt(prop::SequentialRenderStatus, request.sequential);
    in.setInt(prop::InteractiveRenderStatus, request.interactive);
    in.setInt(prop::RenderQualityDraft, request.draft);
    Clip& target = output();
    const ImageLayout& layout = image->layout();
    target.setFormat({.depth = layout.depth,
                      .components = layout.components,
                      .pixelAspect = layout.pixelAspect,
                      .frameRate = m_project.frameRate,
                      .firstFrame = m_project.firstFrame,
                      .lastFrame = m_project.lastFrame,
                      .premultiplication = layout.premultiplication});
    target.setOutputImage(image, request.time);
    m_time = request.time;
    m_stopAt = request.stopAt.value_or(std::chrono::steady_clock::time_point::max());
    m_toldToStop = false;
    const OfxStatus status = renderAnywhere(request, in);
    m_stopAt = std::chrono::steady_clock::time_point::max();
    target.clearOutputImage();
    if (status == ofx::status::ReplyDefault) {
        host().report(Severity::Error, action::Render, "", "a render has no default to fall back on");
    }
    if (!image->guardsIntact()) {
        host().report(Severity::Error, action::Render, ofx::clip::Output,
                      "memory outside the image's pixels was written");
    }
    return status;
}

bool EffectInstance::pollStop() {
    if (std::chrono::steady_clock::now() < m_stopAt.load()) return false;
    m_toldToStop = true;
    return true;
}

// ---- Images ---------------------------------------------------------------------------------------------------

EffectInstance::HeldImage::HeldImage(Clip& fromClip, ImagePtr picture, double time, bool empty, void* onDevice)
    : PropertySet(fromClip.effect().host(), ObjectKind::Image, "image of " + fromClip.name()),
      clip(fromClip),
      image(std::move(picture)) {
    static std::atomic<std::uint64_t> serial{0};
    const ImageLayout& layout = image->layout();
    const HostHooks& hooks = host().hooks();
    const auto meant = [this](const std::string& name) { return name == "*" || name == clip.name(); };
    const bool noData = empty || meant(hooks.nullDataClip);
    empty = empty || meant(hooks.emptyBoundsClip);
    setString(prop::PixelDepth, depthText(layout.depth));
    setString(prop::Components, layout.components == 4   ? ofx::component::RGBA
                                : layout.components == 3 ? ofx::component::RGB
                                                         : ofx::component::Alpha);
    setString(prop::PreMultiplication, layout.premultiplication);
    setDouble(prop::RenderScale, layout.renderScale.x, 0);
    setDouble(prop::RenderScale, layout.renderScale.y, 1);
    setDouble(prop::ImagePixelAspectRatio, layout.pixelAspect);
    setPointer(prop::ImageData, noData ? nullptr : onDevice ? onDevice : image->data());
    const int bounds[] = {layout.bounds.x1, layout.bounds.y1, empty ? layout.bounds.x1 : layout.bounds.x2,
                          empty ? layout.bounds.y1 : layout.bounds.y2};
    for (int i = 0; i < 4; ++i) {
        setInt(prop::ImageBounds, bounds[i], i);
        setInt(prop::ImageRegionOfDefinition, bounds[i], i);
    }
    setInt(prop::ImageRowBytes, static_cast<int>(onDevice ? DevicePictures::rowBytes(*image) : image->rowBytes()));
    setString(prop::ImageUniqueIdentifier,
              clip.name() + "@" + toText(PropertyValue(time)) + "#" + std::to_string(++serial));
    if (host().config().checkSources && !clip.isOutput()) checksum = image->checksum();
}

// Other actions of this instance may run on other threads meanwhile. Threads that a plug-in starts have no action.
std::shared_ptr<DevicePictures> EffectInstance::devicePictures() const {
    const std::string_view running = currentAction() ? currentAction() : "";
    const bool rendering = running.empty() || running == action::Render || running == action::BeginSequenceRender ||
                           running == action::EndSequenceRender;
    const std::lock_guard lock(m_imagesMutex);
    return rendering ? m_onDevice : nullptr;
}

OfxStatus EffectInstance::getImage(Clip& clip, double time, OfxPropertySetHandle* result) {
    if (m_actionDepth == 0) {
        host().report(Severity::Error, "clipGetImage", clip.name(), "images exist only within actions");
        return ofx::status::Failed;
    }
    if (host().nextImageRequestFails()) return host().hooks().clipGetImageStatus;
    if (!clip.isOutput() && time != m_time && !clip.properties().getInt(prop::TemporalClipAccess)) {
        // Many hosts ask the effect alone. Those that ask each clip answer with a failure.
        const bool asEffect = descriptor().properties().getInt(prop::TemporalClipAccess) != 0;
        host().report(asEffect ? Severity::Note : Severity::Warning, "clipGetImage", clip.name(),
                      "another frame of a clip without temporal access");
    }
    std::string error;
    ImagePtr image = clip.fetch(time, &error);
    if (!error.empty()) host().report(Severity::Warning, "clipGetImage", clip.name(), error);
    const bool empty = !image && host().config().onlySource && !clip.isOutput();
    if (empty) image = std::make_shared<Image>(ImageLayout{.bounds = {0, 0, 1, 1}});
    if (!image) return ofx::status::Failed;
    void* onDevice = nullptr;
    if (const auto pictures = devicePictures(); pictures && !empty) {
        onDevice = pictures->give(image, clip.isOutput());
        if (!onDevice) return ofx::status::ErrMemory;
    }
    auto held = std::make_unique<HeldImage>(clip, std::move(image), time, empty, onDevice);
    *result = held->handle();
    clip.countFetch();
    ++m_fetched;
    std::lock_guard lock(m_imagesMutex);
    m_held.push_back(std::move(held));
    return ofx::status::OK;
}

OfxStatus EffectInstance::releaseImage(OfxPropertySetHandle image) {
    std::unique_ptr<HeldImage> held;
    {
        std::lock_guard lock(m_imagesMutex);
        const auto found =
            std::find_if(m_held.begin(), m_held.end(), [image](const auto& entry) { return entry->handle() == image; });
        if (found == m_held.end()) return ofx::status::ErrBadHandle;
        held = std::move(*found);
        m_held.erase(found);
    }
    retire(*held);
    ++m_released;
    return ofx::status::OK;
}

EffectInstance* EffectInstance::holderOf(const PropertySet& image) {
    if (image.kind() != ObjectKind::Image) return nullptr;
    return &static_cast<const HeldImage&>(image).clip.effect();
}

int EffectInstance::heldImages() const {
    std::lock_guard lock(m_imagesMutex);
    return static_cast<int>(m_held.size());
}

void EffectInstance::retire(HeldImage& held) {
    const std::string& name = held.clip.name();
    if (!held.image->guardsIntact()) {
        host().report(Severity::Error, "clipReleaseImage", name, "memory outside the image's pixels was written");
    }
    if (host().config().checkSources && !held.clip.isOutput() && held.checksum != held.image->checksum()) {
        host().report(Severity::Error, "clipReleaseImage", name, "the pixels of a source were written");
    }
}

void EffectInstance::takeBackImages(const char* actionText) {
    std::vector<std::unique_ptr<HeldImage>> forgotten;
    {
        std::lock_guard lock(m_imagesMutex);
        forgotten.swap(m_held);
    }
    for (const auto& held : forgotten) {
        host().report(Severity::Error, actionText, held->clip.name(), "an image was not released");
        retire(*held);
    }
}

}  // namespace ofxhost
