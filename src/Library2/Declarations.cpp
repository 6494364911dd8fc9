#include "Library2/Declarations.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "Library2/Actions.h"
#include "Library2/HostDeviations.h"

namespace {

using Json = nlohmann::ordered_json;

Json clipJson(const ClipParam& clip) {
    Json json{{"name", clip.name},
              {"label", clip.label},
              {"shortLabel", clip.shortLabel ? clip.shortLabel : clip.label},
              {"required", clip.required},
              {"temporal", clip.temporal}};
    if (clip.mayStayEmpty) json["mayStayEmpty"] = true;
    return json;
}

// What the control is to its user; the first class that fits names it.
template <class Control>
bool isA(const ControlK7& control) {
    return dynamic_cast<const Control*>(&control) != nullptr;
}
const char* kindOf(const ControlK7& control) {
    static constexpr struct {
        bool (*fits)(const ControlK7&);
        const char* kind;
    } KINDS[] = {{isA<SizeControlK7>, "Size"},
                 {isA<AngleControlK7>, "Angle"},
                 {isA<FloatControlK7>, "Number"},
                 {isA<IntegerControlK7>, "Integer"},
                 {isA<CheckboxControlK7>, "Switch"},
                 {isA<ListControlK7>, "Choice"},
                 {isA<CurvePointControlK7>, "Curve point"},
                 {isA<PositionControlK7>, "Position"},
                 {isA<ColourControlK7>, "Colour"},
                 {isA<FileControlK7>, "File"},
                 {isA<TextControlK7>, "Text"},
                 {isA<ButtonControlK7>, "Button"}};
    for (const auto& [fits, kind] : KINDS)
        if (fits(control)) return kind;
    return "";
}

Json controlJson(const EffectInfo& info, const ControlK7& control) {
    Json json{{"name", control.name()},
              {"label", control.label()},
              {"sentence", control.sentence()},
              {"scriptName", control.scriptName()},
              {"type", control.paramType()},
              {"kind", kindOf(control)},
              {"page", control.page() >= 0 ? info.pages()[static_cast<std::size_t>(control.page())] : ""},
              {"animates", control.animates()},
              {"secret", control.secret()},
              {"overlay", control.followedByOverlay}};
    if (control.hasValue()) json["default"] = control.defaultText();
    if (!control.rangeText().empty()) json["range"] = control.rangeText();
    if (!control.choices().empty()) json["choices"] = control.choices();
    return json;
}

const char* testText(SteeringCondition::Test test) {
    switch (test) {
        case SteeringCondition::Is:
            return "is";
        case SteeringCondition::IsNot:
            return "is not";
        case SteeringCondition::Below:
            return "is before";
        case SteeringCondition::Above:
            return "is after";
    }
    return "";
}

// "Split RGB is on", "Shape is Object Image".
std::string conditionText(const EnableRule& rule) {
    const std::string steering = rule.steering->label();
    const auto choices = rule.steering->choices();
    if (dynamic_cast<const IntegerControlK7*>(rule.steering)) {
        constexpr const char* TESTS[] = {" is ", " is not ", " is below ", " is above "};
        return steering + TESTS[rule.ghostedWhen.test] + std::to_string(rule.ghostedWhen.value);
    }
    if (choices.empty()) return steering + (rule.ghostedWhen.holds(1) ? " is on" : " is off");
    const auto index = static_cast<std::size_t>(rule.ghostedWhen.value - 1);
    return steering + " " + testText(rule.ghostedWhen.test) + " " + (index < choices.size() ? choices[index] : "?");
}

Json rulesJson(const EffectInfo& info) {
    Json rules = Json::array();
    for (const EnableRule& rule : info.rules()) {
        if (rule.custom) {
            rules.push_back({{"steering", rule.steering->name()}, {"text", rule.customText}});
            continue;
        }
        Json dependents = Json::array();
        for (const ControlK7* dependent : rule.dependents) dependents.push_back(dependent->name());
        rules.push_back({{"steering", rule.steering->name()}, {"greyed", dependents}, {"when", conditionText(rule)}});
    }
    return rules;
}

// One value of a preset as its user would write it: "0.5", "on", "Blue", "0.2, 0.7"; empty where it lists none.
std::string presetText(const ControlK7& column, const PresetCell& cell) {
    if (!cell.listed()) return {};
    const double* values = cell.numbers();
    if (isA<CheckboxControlK7>(column)) return values[0] != 0.0 ? "on" : "off";
    if (const auto choices = column.choices(); !choices.empty()) {
        const bool known = values[0] >= 0.0 && values[0] < static_cast<double>(choices.size());
        return known ? choices[static_cast<std::size_t>(values[0])] : "?";
    }
    std::string text;
    for (int i = 0; i < cell.count(); ++i) {
        char number[32];
        *std::to_chars(number, number + sizeof number - 1, values[i]).ptr = '\0';
        text += (i ? ", " : "") + std::string(number);
    }
    return text;
}

Json presetsJson(const EffectInfo& info) {
    Json tables = Json::array();
    for (const PresetTable& table : info.presetTables()) {
        Json columns = Json::array(), rows = Json::array();
        for (const PresetLine& line : table.lines) columns.push_back(line.control->name());
        for (std::size_t preset = 0; preset < table.names.size(); ++preset) {
            Json row = Json::array();
            for (const PresetLine& line : table.lines) row.push_back(presetText(*line.control, line.cells[preset]));
            rows.push_back(row);
        }
        tables.push_back({{"choice", table.choice->name()},
                          {"columns", columns},
                          {"names", table.names},
                          {"rows", rows},
                          {"othersToDefaults", table.scope == PresetScope::OthersToDefaults}});
    }
    return tables;
}

Json widgetsJson(const EffectInfo& info) {
    Json widgets = Json::array();
    for (const OverlayControlK7* widget : info.widgets()) {
        Json followed = Json::array();
        for (const ControlK7* control : widget->followed) followed.push_back(control->name());
        widgets.push_back({{"kind", widget->kind()}, {"parameters", followed}});
    }
    return widgets;
}

Json sceneJson(const Scene& scene) {
    const auto list = [](const std::vector<Scene::Setting>& settings) {
        Json json = Json::array();
        for (const Scene::Setting& setting : settings) json.push_back({setting.parameter, setting.value});
        return json;
    };
    return {{"inputs", scene.inputs}, {"settings", list(scene.settings)},
            {"plates", scene.plates}, {"look", list(scene.look)},
            {"lead", scene.lead},     {"frame", scene.frame},
            {"width", scene.width},   {"height", scene.height}};
}

Json deviationsJson(const EffectTraits& traits, const EffectInfo& info) {
    Json hosts = Json::array();
    for (const HostQuirks* host : deviatingHosts())
        if (const auto texts = hostDeviations(*host, traits, info); !texts.empty())
            hosts.push_back({{"host", host->label}, {"texts", texts}});
    return hosts;
}

const char* historyWord(FrameHistory history) {
    switch (history) {
        case FrameHistory::Curves:
            return "curves";
        case FrameHistory::Inputs:
            return "inputs";
        case FrameHistory::Frames:
            return "frames";
        default:
            return "none";
    }
}

Json linesOf(std::string_view text) {
    Json lines = Json::array();
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        if (end > 0) lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

Json effectJson(const EffectDefinition& effect) {
    const EffectTraits& traits = *effect.traits;
    const auto info = effect.declare();
    Json clips = Json::array(), controls = Json::array();
    for (const ClipRecord* clip : info->inputs()) clips.push_back(clipJson(clip->param()));
    for (const ControlK7* control : info->controls()) controls.push_back(controlJson(*info, *control));
    Json contexts = {ofx::context::General, ofx::context::Filter};
    if (traits.generator) contexts.push_back(ofx::context::Generator);
    return {{"name", effectLabel(traits)},
            {"identifier", effectIdentifier(traits)},
            {"menu", traits.menu},
            {"description", traits.description},
            {"purpose", traits.purpose},
            {"usage", linesOf(traits.usage)},
            {"contexts", contexts},
            {"hasOverlay", traits.overlay},
            {"otherFrames", traits.otherFrames},
            {"history", historyWord(traits.history)},
            {"clips", clips},
            {"pages", info->pages()},
            {"parameters", controls},
            {"presets", presetsJson(*info)},
            {"enableRules", rulesJson(*info)},
            {"overlayWidgets", widgetsJson(*info)},
            {"hostDeviations", deviationsJson(traits, *info)},
            {"scene", sceneJson(info->scene)}};
}

}  // namespace

std::string declarationsAsJson(std::span<const EffectDefinition> effects) {
    Json list = Json::array();
    for (const EffectDefinition& effect : effects) list.push_back(effectJson(effect));
    return Json{{"version", PRODUCT_VERSION}, {"anyIndex", true}, {"effects", list}}.dump(
               1, ' ', false, Json::error_handler_t::replace) +
           "\n";
}
