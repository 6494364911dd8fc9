#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <vector>

#include "Library2/Actions.h"
#include "gpulib/gpulib.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/process.h"

// ---- Load -----------------------------------------------------------------------------------------------------

namespace {
std::atomic<int> s_loaded{0};  // effects between load and unload
}

OfxStatus actionLoad() {
    ++s_loaded;
    const bool performance = read_variable_is_yes("PERFMON");
    const bool memory = read_variable_is_yes("MEMMON");
    const bool console = read_variable_is_yes("FORCECONSOLE");
    const int level = read_variable_integer("TRACELEVEL");
    if (level != 0) SetTraceLevel(level);
    if (console) SetConsole(true, true);
    if (performance || memory || level != 0) OpenLog("Brindlemoor_Quillon_ofx", true);
    SetTiming(performance);
    k7_memory_set_tracking(memory);
    k7_memory_set_trace(memory);
    return ofx::status::OK;
}

// The last effect to be unloaded frees what the bundle holds for the process.
OfxStatus actionUnload() {
    if (--s_loaded == 0) {
        actionPurgeCaches();
        k7_run_at_unload();
        CloseLog();
    }
    return ofx::status::OK;
}

// ---- Describe -------------------------------------------------------------------------------------------------

namespace {

void setPixelDepths(const PropertySet& set, const char* property) {
    int index = 0;
    for (const char* depth : {ofx::depth::Byte, ofx::depth::Short, ofx::depth::Float})
        set.setString(property, depth, index++);
}

// Hosts that have pictures both ways give them on the device itself.
void declareDevices(const PropertySet& set, const BundleState& state) {
    if (state.hostHasDevices) {
        set.setString(ofx::prop::CudaRenderSupported, "true");
        set.setString(ofx::prop::CudaStreamSupported, "true");
    } else if (state.hostHasTextures && state.suites.openGL) {
        set.setString(ofx::prop::OpenGLRenderSupported, "true");
        setPixelDepths(set, ofx::prop::OpenGLPixelDepth);
    }
}

}  // namespace

OfxStatus actionDescribe(const EffectEntry& entry, OfxImageEffectHandle descriptor) {
    if (const OfxStatus status = readHost(); status != ofx::status::OK) return status;
    const BundleState& state = bundleState();
    const EffectTraits& traits = *entry.definition->traits;
    const PropertySet set = effectProperties(descriptor);

    set.setInt(ofx::prop::MultipleClipDepths, 0);
    set.setInt(ofx::prop::SupportsTiles, 0);
    set.setString(ofx::prop::PluginRenderThreadSafety, ofx::thread_safety::Unsafe);
    set.setInt(ofx::prop::PluginHostFrameThreading, 0);
    setPixelDepths(set, ofx::prop::SupportedPixelDepths);
    set.setString(ofx::prop::Label, effectLabel(traits).c_str());
    set.setString(ofx::prop::PluginDescription, traits.description);
    std::string grouping = state.quirks->groupingFormat;
    grouping.replace(grouping.find("%s"), 2, traits.menu);
    set.setString(ofx::prop::PluginGrouping, grouping.c_str());
    set.setString(ofx::prop::SupportedContexts, ofx::context::General, 0);
    set.setString(ofx::prop::SupportedContexts, ofx::context::Filter, 1);
    if (traits.generator) set.setString(ofx::prop::SupportedContexts, ofx::context::Generator, 2);
    if (traits.overlay && state.hostSupportsOverlays && entry.overlayEntry)
        set.setPointer(ofx::prop::PluginOverlayInteractV1, reinterpret_cast<void*>(entry.overlayEntry));
    if (traits.onDevice && cuda_built()) declareDevices(set, state);
    if (state.quirks->sequentialRender) set.setInt(ofx::prop::InstanceSequentialRender, 1);
    return ofx::status::OK;
}

// ---- Describe in context --------------------------------------------------------------------------------------

namespace {

PropertySet defineClip(OfxImageEffectHandle descriptor, const char* name) {
    OfxPropertySetHandle set = nullptr;
    callSuite(bundleState().suites.effect, &OfxImageEffectSuiteV1::clipDefine, descriptor, name, &set);
    return PropertySet(set);
}

PropertySet defineParameter(OfxParamSetHandle parameters, const char* type, const char* name) {
    OfxPropertySetHandle set = nullptr;
    callSuite(bundleState().suites.parameter, &OfxParameterSuiteV1::paramDefine, parameters, type, name, &set);
    return PropertySet(set);
}

void describeClips(const EffectInfo& info, const EffectTraits& traits, OfxImageEffectHandle descriptor,
                   const HostQuirks& quirks) {
    defineClip(descriptor, ofx::clip::Output).setString(ofx::prop::SupportedComponents, ofx::component::RGBA);
    if (traits.otherFrames) effectProperties(descriptor).setInt(ofx::prop::TemporalClipAccess, 1);
    bool primary = true;
    for (const ClipRecord* clip : info.inputs()) {
        if (!primary && quirks.onlySource) break;
        const ClipParam& param = clip->param();
        const PropertySet set = defineClip(descriptor, primary ? quirks.primaryClipName(param.name) : param.name);
        set.setString(ofx::prop::Label, quirks.shortClipLabels && param.shortLabel ? param.shortLabel : param.label);
        set.setString(ofx::prop::SupportedComponents, ofx::component::RGBA);
        if (param.temporal) set.setInt(ofx::prop::TemporalClipAccess, 1);
        set.setInt(ofx::prop::ClipOptional, param.required ? 0 : 1);
        primary = false;
    }
}

constexpr std::array ORDINALS{"One", "Two", "Three", "Four", "Five", "Six", "Seven", "Eight", "Nine"};

std::string groupName(std::size_t page) { return std::string("Page") + ORDINALS.at(page) + "Group"; }
std::string pageName(std::size_t page) { return std::string("Page") + ORDINALS.at(page) + "_Page"; }

void describeGroup(OfxParamSetHandle parameters, std::size_t page, const char* title) {
    const PropertySet set = defineParameter(parameters, ofx::param_type::Group, groupName(page).c_str());
    set.setString(ofx::prop::ParamHint, title);
    set.setString(ofx::prop::Label, title);
    set.setInt(ofx::prop::ParamGroupOpen, page == 0 ? 1 : 0);
}

void describeControls(const EffectInfo& info, OfxParamSetHandle parameters) {
    const HostQuirks& quirks = *bundleState().quirks;
    const bool groups = bundleState().maxPages == 0;
    int page = -1;
    std::size_t described = 0;  // pages whose group is there
    std::string parent;
    for (const ControlK7* control : info.controls()) {
        if (control->page() != page && control->page() >= 0) {
            page = control->page();
            const auto index = static_cast<std::size_t>(page);
            const bool atTop = index == 0 && quirks.firstPageAtTop;
            if (groups && !atTop && index >= described) describeGroup(parameters, index, info.pages()[index]);
            described = std::max(described, index + 1);
            parent = atTop ? std::string() : groupName(index);
        }
        control->define({parameters, &quirks, groups ? parent.c_str() : nullptr});
    }
}

constexpr char HELP_BUTTON[] = "HelpButton";

void describeHelpButton(const EffectTraits& traits, OfxParamSetHandle parameters) {
    const PropertySet set = defineParameter(parameters, ofx::param_type::PushButton, HELP_BUTTON);
    set.setString(ofx::prop::ParamHint, ("Help for " + effectLabel(traits) + " " + PRODUCT_VERSION).c_str());
    set.setString(ofx::prop::ParamScriptName, HELP_BUTTON);
    set.setString(ofx::prop::Label, "Help");
}

// Where a new column begins: in the middle of a page, in two places of a long one.
bool columnBreak(std::size_t index, std::size_t count) {
    if (count > 20) return index == count / 3 || index == 2 * count / 3;
    return count > 8 && index == count / 2;
}

void describePages(const EffectInfo& info, OfxParamSetHandle parameters) {
    const HostQuirks& quirks = *bundleState().quirks;
    for (std::size_t page = 0; page < info.pages().size(); ++page) {
        std::vector<const char*> children;
        for (const ControlK7* control : info.controls())
            if (control->page() == static_cast<int>(page)) children.push_back(control->name());
        const PropertySet set = defineParameter(parameters, ofx::param_type::Page, pageName(page).c_str());
        set.setString(ofx::prop::Label, info.pages()[page]);
        int index = 0;
        for (std::size_t i = 0; i < children.size(); ++i) {
            if (quirks.skipColumns && columnBreak(i, children.size()))
                set.setString(ofx::prop::ParamPageChild, ofx::page::SkipColumn, index++);
            set.setString(ofx::prop::ParamPageChild, children[i], index++);
        }
        if (page + 1 == info.pages().size()) set.setString(ofx::prop::ParamPageChild, HELP_BUTTON, index);
    }
    // The hosts that show pages find them by their titles here.
    OfxPropertySetHandle handle = nullptr;
    callSuite(bundleState().suites.parameter, &OfxParameterSuiteV1::paramSetGetPropertySet, parameters, &handle);
    for (std::size_t page = 0; page < info.pages().size(); ++page)
        PropertySet(handle).setString(ofx::prop::ParamPageOrder, info.pages()[page], static_cast<int>(page));
}

}  // namespace

OfxStatus actionDescribeInContext(const EffectEntry& entry, OfxImageEffectHandle descriptor,
                                  const PropertySet& inArgs) {
    const EffectTraits& traits = *entry.definition->traits;
    const std::unique_ptr<EffectInfo> info = entry.definition->declare();
    const char* context = inArgs.stringOr(ofx::prop::Context, ofx::context::Filter);
    describeClips(*info, traits, descriptor, bundleState().quirks->in(context));
    const OfxParamSetHandle parameters = effectParameters(descriptor);
    if (!parameters) return ofx::status::OK;
    describeControls(*info, parameters);
    describeHelpButton(traits, parameters);
    if (bundleState().maxPages != 0) describePages(*info, parameters);
    return ofx::status::OK;
}
