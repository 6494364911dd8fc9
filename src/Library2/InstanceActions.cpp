#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "Library2/Actions.h"
#include "Library2/InstanceRecord.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_kept.h"
#include "k7pi_baselib/k7pi_baselib.h"

InstanceRecord* instanceRecord(OfxImageEffectHandle instance) {
    return static_cast<InstanceRecord*>(effectProperties(instance).pointerOr(ofx::prop::InstanceData, nullptr));
}

const HostQuirks& instanceQuirks(OfxImageEffectHandle instance) {
    const HostQuirks& quirks = *bundleState().quirks;
    if (!quirks.inFilterContext) return quirks;
    return quirks.in(effectProperties(instance).stringOr(ofx::prop::Context, ofx::context::Filter));
}

bool isConnected(OfxImageClipHandle clip) { return clipProperties(clip).intOr(ofx::prop::ClipConnected, 1) != 0; }

void wireControls(EffectInfo& info, InstanceRecord& record) {
    for (std::size_t i = 0; i < record.parameters.size(); ++i)
        info.controls()[i]->wire(&record.parameters[i].handle, &bundleState().suites);
}

void wireClips(EffectInfo& info, InstanceRecord& record) {
    info.output.wire(&record.outputClip.handle, record.effect.get());
    for (std::size_t i = 0; i < record.inputs.size(); ++i)
        info.inputs()[i]->wire(&record.inputs[i].handle, record.effect.get());
}

namespace {
std::atomic<int> s_instances{0};
}

// ---- Create ---------------------------------------------------------------------------------------------------

namespace {

// The next change of a choice is compared with its present value: at creation (a project may have been loaded), and
// after a preset, whether or not the host has sent notifications for it.
void rememberChoices(InstanceRecord& record) {
    const auto& controls = record.effect->info().controls();
    for (std::size_t i = 0; i < controls.size(); ++i) {
        int value = 0;
        const auto* choice = dynamic_cast<const ListControlK7*>(controls[i]);
        if (choice && choice->currentIndex(&value)) record.parameters[i].lastValue = value;
    }
}

OfxParamHandle parameterHandle(OfxParamSetHandle parameters, const char* name) {
    OfxParamHandle handle = nullptr;
    const auto status = callSuite(bundleState().suites.parameter, &OfxParameterSuiteV1::paramGetHandle, parameters,
                                  name, &handle, static_cast<OfxPropertySetHandle*>(nullptr));
    return status == ofx::status::OK ? handle : nullptr;
}

void findParameters(InstanceRecord& record, OfxParamSetHandle parameters) {
    EffectInfo& info = record.effect->info();
    record.parameters.resize(info.controls().size());
    for (std::size_t i = 0; parameters && i < record.parameters.size(); ++i)
        record.parameters[i].handle = parameterHandle(parameters, info.controls()[i]->name());
    wireControls(info, record);
    for (ParameterBlock& block : record.parameters)
        block.skipFirstChange = bundleState().quirks->swallowsFirstChoiceChange;
    rememberChoices(record);
}

void findClip(OfxImageEffectHandle instance, InstanceRecord& record, std::size_t index) {
    const char* name = record.effect->info().inputs()[index]->param().name;
    const HostQuirks& quirks = instanceQuirks(instance);
    if (index > 0 && !quirks.furtherHandles) return;
    record.inputs[index].handle = clipHandle(instance, quirks.primaryClipName(name));
}

void findClips(OfxImageEffectHandle instance, InstanceRecord& record) {
    EffectInfo& info = record.effect->info();
    record.outputClip.handle = clipHandle(instance, ofx::clip::Output);
    record.inputs.resize(info.inputs().size());
    for (std::size_t i = 0; i < record.inputs.size(); ++i) findClip(instance, record, i);
    wireClips(info, record);
}

void tellSimulatedWay() {
    if (!bundleState().quirks->simulatedWay) return;
    unsigned int processors = 0;
    callSuite(bundleState().suites.multiThread, &OfxMultiThreadSuiteV1::multiThreadNumCPUs, &processors);
    SetSimulatedWay(static_cast<int>(processors));
}

}  // namespace

OfxStatus actionCreateInstance(const EffectEntry& entry, OfxImageEffectHandle instance) {
    const PropertySet set = effectProperties(instance);
    if (!set) return ofx::status::ErrBadHandle;
    set.setInt(ofx::prop::MultipleClipDepths, 0);
    set.setInt(ofx::prop::SupportsTiles, 0);
    set.setInt(ofx::prop::PluginHostFrameThreading, 0);
    const BundleState& state = bundleState();
    // OpenGL may well be that of another maker's device.
    if (entry.definition->traits->onDevice && state.hostHasTextures && state.suites.openGL && !cuda_available())
        set.setString(ofx::prop::OpenGLRenderSupported, "false");
    const OfxParamSetHandle parameters = effectParameters(instance);
    tellSimulatedWay();

    auto record = std::make_unique<InstanceRecord>();
    record->definition = entry.definition;
    record->effect = entry.definition->create();
    PluginK7& effect = *record->effect;
    effect.adoptHost();
    if (bundleState().quirks->ownThreads) {
        record->ownThreads = std::make_unique<K7PTMultiProcess>();
        effect.setSlot(SLOT_OWN_THREADS, record->ownThreads.get());
    }
    findParameters(*record, parameters);
    findClips(instance, *record);
    if (parameters) record->helpButton = parameterHandle(parameters, "HelpButton");
    if (!set.setPointer(ofx::prop::InstanceData, record.get())) return ofx::status::Failed;
    try {
        effect.InstanceCreated();
    } catch (...) {  // hosts don't destroy what could not be made
        set.setPointer(ofx::prop::InstanceData, nullptr);
        throw;
    }
    ++s_instances;
    record.release();
    return ofx::status::OK;
}

// ---- Destroy --------------------------------------------------------------------------------------------------

// What is kept for later frames: pages of images, and what the bundle has of devices.
OfxStatus actionPurgeCaches() {
    gpu_give_back();
    k7_image_blocks_release();
    return ofx::status::OK;
}

OfxStatus actionDestroyInstance(OfxImageEffectHandle instance) {
    const std::unique_ptr<InstanceRecord> record(instanceRecord(instance));
    if (!record) return ofx::status::OK;
    effectProperties(instance).setPointer(ofx::prop::InstanceData, nullptr);
    record->effect->setSlot(SLOT_OWN_THREADS, nullptr);
    record->ownThreads.reset();
    record->effect.reset();
    if (--s_instances == 0) actionPurgeCaches();
    if (k7_memory_tracking()) {
        k7_memory_report(MemoryTable::Normal, true);
        k7_memory_report(MemoryTable::Image, true);
    }
    return ofx::status::OK;
}

// ---- Changes --------------------------------------------------------------------------------------------------

namespace {

void clipChanged(OfxImageEffectHandle instance, InstanceRecord& record, std::string_view name) {
    record.effect->ClipChanged();
    const auto& clips = record.effect->info().inputs();
    for (std::size_t i = 0; i < clips.size(); ++i)
        if (name == clips[i]->param().name) findClip(instance, record, i);
}

// A preset writes other parameters; the host answers each write with a change notification of its own, while this
// one is still being handled. lastValue is set before, so that the choice itself is not applied again.
void steeringChanged(InstanceRecord& record, ControlK7& control) {
    EffectInfo& info = record.effect->info();
    info.runRules(&control);
    for (const PresetTable& table : info.presetTables()) {
        if (table.choice != &control) continue;
        int index = 0;
        if (!table.choice->currentIndex(&index)) continue;
        info.applyPreset(table, index);
        rememberChoices(record);
        info.runRules(nullptr);
        record.effect->MarkRestart();
    }
}

// Whether a notification brings a value other than the last one. For switches always.
bool isChange(ParameterBlock& block, ControlK7& control) {
    const auto* choice = dynamic_cast<const ListControlK7*>(&control);
    if (choice && block.skipFirstChange.exchange(false)) return false;
    if (control.ignoreNextChange.exchange(false)) return false;
    if (!choice) return true;
    int value = 0;
    return choice->currentIndex(&value) && block.lastValue.exchange(value) != value;
}

// The effect hears of every notification, since a choice that is what it was now may have other keys elsewhere.
void parameterChanged(InstanceRecord& record, std::string_view name) {
    PluginK7& effect = *record.effect;
    EffectInfo& info = effect.info();
    for (std::size_t i = 0; i < info.controls().size(); ++i) {
        ControlK7& control = *info.controls()[i];
        if (name != control.name()) continue;
        if (auto* button = dynamic_cast<ButtonControlK7*>(&control)) return effect.ButtonPressed(*button);
        control.changedAtHost();
        effect.ControlChanged(control);
        if (info.steers(&control) && isChange(record.parameters[i], control)) steeringChanged(record, control);
        return;
    }
    if (name == "HelpButton") showHelp(effect.effectTraits());
}

}  // namespace

OfxStatus actionInstanceChanged(OfxImageEffectHandle instance, const PropertySet& inArgs) {
    InstanceRecord* record = instanceRecord(instance);
    if (!record) return ofx::status::OK;
    const std::string reason = inArgs.stringOr(ofx::prop::ChangeReason, "");
    const std::string type = inArgs.stringOr(ofx::prop::Type, "");
    const std::string name = inArgs.stringOr(ofx::prop::Name, "");
    if (type == ofx::type::Clip) {
        if (reason == ofx::change::UserEdited) clipChanged(instance, *record, name);
    } else {
        parameterChanged(*record, name);
    }
    return ofx::status::OK;
}

OfxStatus actionEndInstanceChanged(OfxImageEffectHandle instance) {
    if (InstanceRecord* record = instanceRecord(instance))
        for (ControlK7* control : record->effect->info().controls()) control->endOfChange(*bundleState().quirks);
    return ofx::status::OK;
}
