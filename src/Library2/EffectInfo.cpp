#include "Library2/EffectInfo.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "Library2/PluginK7.h"

// ---- Clips ----------------------------------------------------------------------------------------------------

ClipRecord::ClipRecord(EffectInfo* owner, const ClipParam& param) : m_param(param) {
    if (owner) owner->addInput(this);
}

void ClipRecord::addFrame(int frame) {
    if (frameCount < MAX_FRAMES) frames[static_cast<std::size_t>(++frameCount)] = frame;
}

void ClipRecord::wire(const std::atomic<OfxImageClipHandle>* slot, PluginK7* effect) {
    m_slot = slot;
    m_effect = effect;
}

bool ClipRecord::isConnected() const {
    return !m_slot || (handle() && clipProperties(handle()).intOr(ofx::prop::ClipConnected, 1) != 0);
}

double ClipRecord::firstFrame() const {
    const HostQuirks& quirks = *bundleState().quirks;
    if (quirks.frameNumbers != FrameNumbers::FromClip) return quirks.neighbourOffset;
    return clipProperties(handle()).doubleOr(ofx::prop::FrameRange, 0.0, 0);
}

bool ClipRecord::GetFrame(double time, K7Image* target) {
    if (!m_effect || !handle() || !target) return false;
    return m_effect->fetchFrame(handle(), time + firstFrame(), target);
}

// ---- Enable rules ---------------------------------------------------------------------------------------------

bool SteeringCondition::holds(int steering) const {
    switch (test) {
        case Is:
            return steering == value;
        case IsNot:
            return steering != value;
        case Below:
            return steering < value;
        case Above:
            return steering > value;
    }
    return false;
}

namespace {

constexpr double RULE_TIME = -1.0;  // enable rules read the steering value here, whatever frame is shown

bool readSteering(const ControlK7* steering, int* value) {
    if (const auto* list = dynamic_cast<const ListControlK7*>(steering)) return list->GetValue(RULE_TIME, value);
    if (const auto* number = dynamic_cast<const IntegerControlK7*>(steering)) return number->GetValue(RULE_TIME, value);
    if (const auto* checkbox = dynamic_cast<const CheckboxControlK7*>(steering))
        return checkbox->GetValue(RULE_TIME, value);
    return false;
}

}  // namespace

// ---- The record -----------------------------------------------------------------------------------------------

EffectInfo::EffectInfo() : output(nullptr, {ofx::clip::Output, ofx::clip::Output}) {}
EffectInfo::~EffectInfo() = default;

int EffectInfo::addControl(ControlK7* control) {
    m_controls.push_back(control);
    return m_page;
}

void EffectInfo::fetchAll(const FetchContext& context) {
    for (ControlK7* control : m_controls) control->fetch(context);
}

void EffectInfo::fetchFollowed(const FetchContext& context) {
    for (ControlK7* control : m_controls)
        if (control->followedByOverlay) control->fetchOverlay(context);
}

bool EffectInfo::steers(const ControlK7* control) const {
    return std::any_of(m_rules.begin(), m_rules.end(), [=](const EnableRule& r) { return r.steering == control; }) ||
           std::any_of(m_presets.begin(), m_presets.end(), [=](const PresetTable& t) { return t.choice == control; });
}

void EffectInfo::runRules(const ControlK7* steering) {
    for (const EnableRule& rule : m_rules) {
        if (steering && rule.steering != steering) continue;
        if (rule.custom) {
            rule.custom();
            continue;
        }
        int value = 0;
        if (!readSteering(rule.steering, &value)) continue;
        for (ControlK7* dependent : rule.dependents) dependent->SetGhosted(rule.ghostedWhen.holds(value));
    }
}

void EffectInfo::ghost(std::initializer_list<ControlK7*> dependents, ControlK7& steering, SteeringCondition when) {
    m_rules.push_back({&steering, dependents, when, {}, {}});
}

void EffectInfo::rule(ControlK7& steering, std::function<void()> custom, const char* text) {
    m_rules.push_back({&steering, {}, isOn, std::move(custom), text});
}

// ---- Presets --------------------------------------------------------------------------------------------------

const PresetCell* PresetTable::cell(const ControlK7* control, std::size_t preset) const {
    for (const PresetLine& line : lines)
        if (line.control == control) return line.cells[preset].listed() ? &line.cells[preset] : nullptr;
    return nullptr;
}

void PresetTable::check() const {
    std::set<const ControlK7*> seen;
    for (const PresetLine& line : lines) {
        const auto demand = [&](bool met, const char* what) {
            if (!met) throw std::logic_error(std::string("preset table, ") + line.control->name() + ": " + what);
        };
        demand(line.cells.size() == names.size(), "one cell for each preset");
        demand(seen.insert(line.control).second, "one line for each control");
        for (const PresetCell& cell : line.cells)
            demand(!cell.listed() || cell.count() == line.control->presetComponents(),
                   "one number for each component of the control");
    }
}

void EffectInfo::presets(PresetChoiceK7& choice, std::vector<const char*> names, std::vector<PresetLine> lines,
                         PresetScope scope) {
    PresetTable table{&choice, std::move(names), std::move(lines), scope};
    table.check();
    choice.setNames(table.names);
    m_presets.push_back(std::move(table));
}

// Values are written in parameter order, so that a host's undo list reads like the dialog.
void EffectInfo::applyPreset(const PresetTable& table, int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= table.names.size()) return;
    for (ControlK7* control : m_controls) {
        if (const PresetCell* cell = table.cell(control, static_cast<std::size_t>(index)))
            control->writePreset(cell->numbers());
        else if (table.scope == PresetScope::OthersToDefaults && control != table.choice && !control->keptByPresets())
            control->writeDefault();
    }
}
