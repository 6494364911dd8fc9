#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "Library2/Actions.h"
#include "Library2/InstanceRecord.h"
#include "k7pi_baselib/k7pi_baselib.h"

InstanceRecord* instanceRecord(OfxImageEffectHandle instance) {
    return static_cast<InstanceRecord*>(effectProperties(instance).pointerOr(ofx::prop::InstanceData, nullptr));
}

void wireClip(OfxImageEffectHandle instance, InstanceRecord& record, std::size_t index) {
    ClipRecord& clip = *record.effect->info().inputs()[index];
    ClipBlock& block = record.inputs[index];
    block.handle = clipHandle(instance, bundleState().quirks->primaryClipName(clip.param().name));
    clip.wire(block.handle ? &block.handle : nullptr, record.effect.get());
}

namespace {
std::atomic<int> s_instances{0};
}

// ---- Create ---------------------------------------------------------------------------------------------------

namespace {

OfxParamHandle parameterHandle(OfxParamSetHandle parameters, const char* name) {
    OfxParamHandle handle = nullptr;
    const auto status = callSuite(bundleState().suites.parameter, &OfxParameterSuiteV1::paramGetHandle, parameters,
                                  name, &handle, static_cast<OfxPropertySetHandle*>(nullptr));
    return status == ofx::status::OK ? handle : nullptr;
}

void wireParameters(InstanceRecord& record, OfxParamSetHandle parameters) {
    EffectInfo& info = record.effect->info();
    record.parameters.resize(info.controls().size());
    for (std::size_t i = 0; i < record.parameters.size(); ++i) {
        ControlK7& control = *info.controls()[i];
        ParameterBlock& block = record.parameters[i];
        if (parameters) block.handle = parameterHandle(parameters, control.name());
        block.skipFirstChange = bundleState().quirks->swallowsFirstChoiceChange;
        control.wire(&block.handle, &bundleState().suites);
    }
    if (parameters) record.helpButton = parameterHandle(parameters, "HelpButton");
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
    const OfxParamSetHandle parameters = effectParameters(instance);
    tellSimulatedWay();

    auto record = std::make_unique<InstanceRecord>();
    record->effect = entry.definition->create();
    PluginK7& effect = *record->effect;
    effect.adoptHost();
    if (bundleState().quirks->ownThreads) {
        record->ownThreads = std::make_unique<K7PTMultiProcess>();
        effect.setSlot(SLOT_OWN_THREADS, record->ownThreads.get());
    }
    wireParameters(*record, parameters);
    record->outputClip = clipHandle(instance, ofx::clip::Output);
    effect.info().output.wire(&record->outputClip, &effect);
    record->inputs.resize(effect.info().inputs().size());
    for (std::size_t i = 0; i < record->inputs.size(); ++i) wireClip(instance, *record, i);
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

OfxStatus actionDestroyInstance(OfxImageEffectHandle instance) {
    const std::unique_ptr<InstanceRecord> record(instanceRecord(instance));
    if (!record) return ofx::status::OK;
    effectProperties(instance).setPointer(ofx::prop::InstanceData, nullptr);
    record->effect->setSlot(SLOT_OWN_THREADS, nullptr);
    record->ownThreads.reset();
    record->effect.reset();
    if (--s_instances == 0) k7_image_blocks_release();
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
        if (name == clips[i]->param().name) wireClip(instance, record, i);
}

// What a preset wrote is what the user changes next, whether or not the host told of the writes.
void rememberChoices(InstanceRecord& record) {
    const auto& controls = record.effect->info().controls();
    for (std::size_t i = 0; i < controls.size(); ++i)
        if (const auto* choice = dynamic_cast<const ListControlK7*>(controls[i]))
            choice->currentIndex(&record.parameters[i].lastValue);
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

void choiceChanged(InstanceRecord& record, ParameterBlock& block, ListControlK7& choice) {
    if (block.skipFirstChange) {
        block.skipFirstChange = false;
        return;
    }
    if (choice.ignoreNextChange) {
        choice.ignoreNextChange = false;
        return;
    }
    int value = block.lastValue;
    if (!choice.currentIndex(&value) || value == block.lastValue) return;
    block.lastValue = value;
    steeringChanged(record, choice);
}

void parameterChanged(InstanceRecord& record, std::string_view name) {
    PluginK7& effect = *record.effect;
    EffectInfo& info = effect.info();
    for (std::size_t i = 0; i < info.controls().size(); ++i) {
        ControlK7& control = *info.controls()[i];
        if (name != control.name()) continue;
        if (auto* button = dynamic_cast<ButtonControlK7*>(&control)) return effect.ButtonPressed(*button);
        effect.ControlChanged(control);
        if (!info.steers(&control)) return;
        if (auto* choice = dynamic_cast<ListControlK7*>(&control))
            return choiceChanged(record, record.parameters[i], *choice);
        if (control.ignoreNextChange)
            control.ignoreNextChange = false;
        else
            steeringChanged(record, control);
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
