// Effects: what descriptors take in and check, and how instances are built of them.
#include "host/core/effect.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "host/core/bundle.h"
#include "host/core/host.h"
#include "host/core/property_tables.h"
#include "ofx/ofx_names.h"

namespace ofxhost {

namespace prop = ofx::prop;

Effect::Effect(Plugin& plugin, ObjectKind kind)
    : m_plugin(plugin),
      m_properties(plugin.host(), kind, "effect " + plugin.name()),
      m_paramSetProperties(plugin.host(), ObjectKind::ParamSet, "parameter set of " + plugin.name()),
      m_ticket(plugin.host(), HandleKind::Effect, this),
      m_paramSetTicket(plugin.host(), HandleKind::ParamSet, this) {}

Effect::~Effect() = default;

Host& Effect::host() const { return m_plugin.host(); }

namespace {

// The actions under way on this thread, of any effect.
struct RunningAction {
    const Effect* effect;
    const char* action;
    const RunningAction* outer;
};
thread_local const RunningAction* runningActions = nullptr;

}  // namespace

const char* Effect::currentAction() const {
    for (const RunningAction* running = runningActions; running; running = running->outer)
        if (running->effect == this) return running->action;
    return nullptr;
}

OfxStatus Effect::send(const char* action, PropertySet* inArgs, PropertySet* outArgs) {
    const RunningAction running{this, action, runningActions};
    runningActions = &running;
    const OfxStatus status =
        m_plugin.callEntry(m_plugin.record().mainEntry, action, handle(), m_properties.owner(), inArgs, outArgs);
    runningActions = running.outer;
    return status;
}

// ---- Descriptor -----------------------------------------------------------------------------------------------

EffectDescriptor::EffectDescriptor(Plugin& plugin, std::string context)
    : Effect(plugin, ObjectKind::EffectDescriptor), m_context(std::move(context)) {
    properties().setString(prop::PluginFilePath, plugin.bundlePath());
}

std::string EffectDescriptor::label() const { return properties().getString(prop::Label); }

namespace {

std::vector<std::string> texts(const PropertySet& set, const char* name) {
    std::vector<std::string> found;
    for (const PropertyValue& value : set.values(name)) found.push_back(std::get<std::string>(value));
    return found;
}

template <class List>
auto findByName(const List& list, std::string_view name) -> decltype(list.front().get()) {
    const auto found =
        std::find_if(list.begin(), list.end(), [name](const auto& entry) { return entry->name() == name; });
    return found == list.end() ? nullptr : found->get();
}

}  // namespace

std::vector<std::string> EffectDescriptor::supportedContexts() const {
    return texts(properties(), prop::SupportedContexts);
}

bool EffectDescriptor::supports(Depth depth) const {
    const auto depths = texts(properties(), prop::SupportedPixelDepths);
    return std::find(depths.begin(), depths.end(), depthText(depth)) != depths.end();
}

bool EffectDescriptor::hasOverlay() const { return properties().getPointer(prop::PluginOverlayInteractV1) != nullptr; }

bool EffectDescriptor::takesDevicePictures() const {
    const std::string says = properties().getString(prop::CudaRenderSupported);
    return says == "true" || says == "needed";
}

const ClipDescriptor* EffectDescriptor::findClip(std::string_view name) const { return findByName(m_clips, name); }
const ParamDescriptor* EffectDescriptor::findParam(std::string_view name) const { return findByName(m_params, name); }

ClipDescriptor* EffectDescriptor::defineClip(const char* name, OfxStatus& status) {
    if (!name || !*name) {
        host().report(Severity::Error, "clipDefine", "", "a clip needs a name");
        status = ofx::status::ErrValue;
        return nullptr;
    }
    if (!currentAction() || std::string_view(currentAction()) != ofx::action::DescribeInContext) {
        host().report(Severity::Error, "clipDefine", name, "clips are defined in DescribeInContext only");
        status = ofx::status::Failed;
        return nullptr;
    }
    if (findClip(name)) {
        host().report(Severity::Error, "clipDefine", name, "the clip is already defined");
        status = ofx::status::ErrExists;
        return nullptr;
    }
    m_clips.push_back(std::make_unique<ClipDescriptor>(host(), name));
    status = ofx::status::OK;
    return m_clips.back().get();
}

ParamDescriptor* EffectDescriptor::defineParam(const char* type, const char* name, OfxStatus& status) {
    const auto refuse = [&](OfxStatus answer, const char* message) -> ParamDescriptor* {
        host().report(Severity::Error, "paramDefine", name ? name : "", message);
        status = answer;
        return nullptr;
    };
    if (!name || !*name) return refuse(ofx::status::ErrValue, "a parameter needs a name");
    const ParamTypeInfo* info = type ? findParamType(type) : nullptr;
    if (!info) return refuse(ofx::status::ErrUnknown, "unknown parameter type");
    if (!currentAction() || std::string_view(currentAction()) != ofx::action::DescribeInContext) {
        return refuse(ofx::status::Failed, "parameters are defined in DescribeInContext only");
    }
    if (findParam(name)) return refuse(ofx::status::ErrExists, "the parameter is already defined");
    m_params.push_back(std::make_unique<ParamDescriptor>(host(), *info, name));
    status = ofx::status::OK;
    return m_params.back().get();
}

OfxStatus EffectDescriptor::runDescribe() {
    const OfxStatus status = send(ofx::action::Describe, nullptr, nullptr);
    if (status == ofx::status::OK || status == ofx::status::ReplyDefault) checkDescription();
    return status;
}

OfxStatus EffectDescriptor::runDescribeInContext() {
    PropertySet arguments(host(), ObjectKind::InArgs, "arguments");
    addArgumentProperties(arguments, ofx::action::DescribeInContext);
    arguments.setString(prop::Context, m_context);
    const OfxStatus status = send(ofx::action::DescribeInContext, &arguments, nullptr);
    if (status == ofx::status::OK || status == ofx::status::ReplyDefault) {
        checkClips();
        checkParameters();
    }
    return status;
}

// ---- What a description must hold -----------------------------------------------------------------------------

void EffectDescriptor::checkDescription() {
    const auto fault = [&](const char* property, const char* message) {
        host().report(Severity::Error, ofx::action::Describe, property, properties().owner() + ": " + message);
    };
    if (label().empty()) fault(prop::Label, "no label");
    if (properties().count(prop::SupportedContexts) == 0) fault(prop::SupportedContexts, "no contexts");
    if (properties().count(prop::SupportedPixelDepths) == 0) fault(prop::SupportedPixelDepths, "no pixel depths");
}

void EffectDescriptor::checkClips() {
    const auto say = [&](Severity severity, const std::string& subject, const char* message) {
        host().report(severity, ofx::action::DescribeInContext, subject, properties().owner() + ": " + message);
    };
    if (!findClip(ofx::clip::Output)) say(Severity::Error, ofx::clip::Output, "no output clip");
    if (m_context == ofx::context::Filter && !findClip(ofx::clip::Source)) {
        say(Severity::Note, ofx::clip::Source, "the filter context has a clip of this name");
    }
    for (const auto& clip : m_clips) {
        if (clip->properties().count(prop::SupportedComponents) == 0) {
            say(Severity::Error, clip->name(), "no components for the clip");
        }
    }
}

namespace {

void checkRange(const ParamDescriptor& param, const std::function<void(Severity, const char*)>& say) {
    const PropertySet& set = param.properties();
    const auto number = [](const PropertyValue& value) {
        return typeOf(value) == PropertyType::Int ? std::get<int>(value) : std::get<double>(value);
    };
    for (int i = 0; i < param.type().dimension; ++i) {
        const double low = number(set.value(prop::ParamMin, i)), high = number(set.value(prop::ParamMax, i));
        const double start = number(set.value(prop::ParamDefault, i));
        if (low > high) say(Severity::Error, "the minimum is above the maximum");
        if (start < low || start > high) say(Severity::Error, "the default is out of range");
        const double from = number(set.value(prop::ParamDisplayMin, i));
        if (from > number(set.value(prop::ParamDisplayMax, i)))
            say(Severity::Error, "the display range is upside down");
    }
}

void checkChoice(const ParamDescriptor& param, const std::function<void(Severity, const char*)>& say) {
    const int options = param.properties().count(prop::ParamChoiceOption);
    const int start = param.properties().getInt(prop::ParamDefault);
    if (options == 0) say(Severity::Error, "a choice without options");
    if (start < 0 || (options > 0 && start >= options)) say(Severity::Error, "the default is no option");
}

}  // namespace

void EffectDescriptor::checkParameters() {
    for (const auto& param : m_params) {
        const auto say = [&](Severity severity, const char* message) {
            host().report(severity, ofx::action::DescribeInContext, param->name(),
                          properties().owner() + ": " + message);
        };
        const PropertySet& set = param->properties();
        if (param->type().numeric()) checkRange(*param, say);
        if (param->type().type == ParamType::Choice) checkChoice(*param, say);
        const std::string parent = set.getString(prop::ParamParent);
        const ParamDescriptor* group = findParam(parent);
        if (!parent.empty() && (!group || group->type().type != ParamType::Group))
            say(Severity::Error, "the parent is no group");
        for (const std::string& child : texts(set, prop::ParamPageChild)) {
            if (child == ofx::page::SkipRow || child == ofx::page::SkipColumn) continue;
            const ParamDescriptor* on = findParam(child);
            if (!on || on->type().type == ParamType::Group || on->type().type == ParamType::Page) {
                say(Severity::Error, "a page child is no parameter");
            }
        }
    }
    for (const std::string& page : texts(paramSetProperties(), prop::ParamPageOrder)) {
        const ParamDescriptor* param = findParam(page);
        if (param && param->type().type == ParamType::Page) continue;
        host().report(Severity::Note, ofx::action::DescribeInContext, page,
                      "the page order should name page parameters");
    }
}

// ---- Instance -------------------------------------------------------------------------------------------------

EffectInstance::EffectInstance(EffectDescriptor& descriptor, const ProjectSettings& project)
    : Effect(descriptor.plugin(), ObjectKind::EffectInstance), m_descriptor(descriptor) {
    PropertySet& set = properties();
    set.copyValuesFrom(descriptor.properties());
    set.setString(prop::Context, descriptor.context());
    set.setPointer(prop::PluginHandle, descriptor.handle());
    for (const auto& clip : descriptor.clips()) m_clips.push_back(std::make_unique<Clip>(*this, *clip));
    for (const auto& param : descriptor.params()) m_params.push_back(std::make_unique<Param>(*this, *param));
    setProject(project);
    m_time = project.firstFrame;
}

EffectInstance::~EffectInstance() {
    if (m_created) destroy();
}

void EffectInstance::setProject(const ProjectSettings& project) {
    m_project = project;
    PropertySet& set = properties();
    const OfxPointD size = host().config().onlySource ? OfxPointD{0.0, 0.0} : projectExtent();
    for (const char* name : {prop::ProjectSize, prop::ProjectExtent}) {
        set.setDouble(name, size.x, 0);
        set.setDouble(name, size.y, 1);
    }
    set.setDouble(prop::ProjectPixelAspectRatio, project.pixelAspect);
    set.setDouble(prop::InstanceEffectDuration, project.duration());
    set.setDouble(prop::FrameRate, project.frameRate);
    for (const auto& clip : m_clips) {
        if (clip->connected()) continue;
        for (const char* name : {prop::FrameRange, prop::UnmappedFrameRange}) {
            clip->properties().setDouble(name, project.firstFrame, 0);
            clip->properties().setDouble(name, project.lastFrame, 1);
        }
        clip->properties().setDouble(prop::FrameRate, project.frameRate);
        clip->properties().setDouble(prop::UnmappedFrameRate, project.frameRate);
        clip->properties().setDouble(prop::ImagePixelAspectRatio, project.pixelAspect);
    }
}

OfxPointD EffectInstance::projectExtent() const {
    const bool square = host().config().units == ProjectUnits::SquarePixels;
    return {m_project.width * (square ? m_project.pixelAspect : 1.0), static_cast<double>(m_project.height)};
}

Clip* EffectInstance::findClip(std::string_view name) const { return findByName(m_clips, name); }
Param* EffectInstance::findParam(std::string_view name) const { return findByName(m_params, name); }

Clip& EffectInstance::output() const {
    if (Clip* clip = findClip(ofx::clip::Output)) return *clip;
    throw std::logic_error("the effect has no output clip");
}

std::vector<Clip*> EffectInstance::inputs() const {
    std::vector<Clip*> found;
    for (const auto& clip : m_clips) {
        if (!clip->isOutput()) found.push_back(clip.get());
    }
    return found;
}

}  // namespace ofxhost
