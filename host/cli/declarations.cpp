#include "host/cli/declarations.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/cli/failure.h"
#include "host/cli/text.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;

std::vector<std::string> texts(const Json& json) { return json.get<std::vector<std::string>>(); }

template <class Record, class Read>
std::vector<Record> records(const Json& array, Read read) {
    std::vector<Record> list;
    for (const Json& json : array) list.push_back(read(json));
    return list;
}

DeclaredClip clipOf(const Json& json) {
    return {json.at("name"),     json.at("label"),    json.at("shortLabel"),
            json.at("required"), json.at("temporal"), json.value("mayStayEmpty", false)};
}

DeclaredParam paramOf(const Json& json) {
    DeclaredParam param;
    param.name = json.at("name");
    param.label = json.at("label");
    param.scriptName = json.at("scriptName");
    param.type = json.at("type");
    param.kind = json.at("kind");
    param.page = json.at("page");
    param.defaultText = json.value("default", "");
    param.range = json.value("range", "");
    if (json.contains("choices")) param.choices = texts(json["choices"]);
    param.animates = json.at("animates");
    param.secret = json.at("secret");
    param.sentence = json.value("sentence", "");
    return param;
}

DeclaredPresets presetsOf(const Json& json) {
    return {json.at("choice"), texts(json.at("columns")), texts(json.at("names")),
            json.at("rows").get<std::vector<std::vector<std::string>>>(), json.at("othersToDefaults")};
}

DeclaredRule ruleOf(const Json& json) {
    return {json.at("steering"), json.contains("greyed") ? texts(json["greyed"]) : std::vector<std::string>{},
            json.value("when", ""), json.value("text", "")};
}

DeclaredScene sceneOf(const Json& json) {
    DeclaredScene scene;
    scene.inputs = texts(json.at("inputs"));
    const auto read = [](const Json& settings, std::vector<std::string>& list) {
        for (const Json& setting : settings)
            list.push_back(setting.at(0).get<std::string>() + "=" + setting.at(1).get<std::string>());
    };
    read(json.at("settings"), scene.settings);
    if (json.contains("plates")) scene.plates = texts(json["plates"]);
    if (json.contains("look")) read(json["look"], scene.look);
    scene.lead = json.at("lead");
    scene.frame = json.at("frame");
    scene.width = json.at("width");
    scene.height = json.at("height");
    return scene;
}

DeclaredEffect effectOf(const Json& json) {
    DeclaredEffect effect;
    effect.name = json.at("name");
    effect.identifier = json.at("identifier");
    effect.menu = json.at("menu");
    effect.description = json.at("description");
    effect.purpose = json.value("purpose", "");
    if (json.contains("usage")) effect.usage = texts(json["usage"]);
    effect.contexts = texts(json.at("contexts"));
    effect.hasOverlay = json.at("hasOverlay");
    effect.otherFrames = json.at("otherFrames");
    effect.clips = records<DeclaredClip>(json.at("clips"), clipOf);
    effect.pages = texts(json.at("pages"));
    effect.params = records<DeclaredParam>(json.at("parameters"), paramOf);
    effect.presets = records<DeclaredPresets>(json.at("presets"), presetsOf);
    effect.rules = records<DeclaredRule>(json.at("enableRules"), ruleOf);
    effect.widgets = records<DeclaredWidget>(json.at("overlayWidgets"), [](const Json& widget) {
        return DeclaredWidget{widget.at("kind"), texts(widget.at("parameters"))};
    });
    effect.hosts = records<DeclaredHost>(json.at("hostDeviations"), [](const Json& host) {
        return DeclaredHost{host.at("host"), texts(host.at("texts"))};
    });
    effect.scene = sceneOf(json.at("scene"));
    effect.history = json.value("history", "none");
    return effect;
}

fs::path declarationsFile(const fs::path& bundle) {
    std::error_code error;
    const fs::path folder = fs::is_directory(bundle, error)
                                ? bundle
                                : fs::absolute(bundle, error).parent_path().parent_path().parent_path();
    return folder / "Contents" / "Resources" / "effects.json";
}

}  // namespace

std::string DeclaredEffect::shortName() const { return name.starts_with("Q_") ? name.substr(2) : name; }

const DeclaredParam* DeclaredEffect::findParam(std::string_view wanted) const {
    const auto found = std::find_if(params.begin(), params.end(), [=](const auto& p) { return p.name == wanted; });
    return found == params.end() ? nullptr : &*found;
}

std::string DeclaredEffect::labelOf(const std::string& param) const {
    const DeclaredParam* found = findParam(param);
    return found && !found->label.empty() ? found->label : param;
}

const DeclaredClip* DeclaredEffect::findClip(std::string_view wanted) const {
    const auto found = std::find_if(clips.begin(), clips.end(), [=](const auto& c) { return c.name == wanted; });
    return found == clips.end() ? nullptr : &*found;
}

std::string DeclaredEffect::summary() const {
    const std::string text = description.substr(0, description.find("This effect is in Box Number"));
    std::string result;
    for (const char c : text) {
        const bool blank = c == ' ' || c == '\t' || c == '\n' || c == '\r';
        if (!blank) result += c;
        if (blank && !result.empty() && result.back() != ' ') result += ' ';
    }
    while (result.ends_with(' ')) result.pop_back();
    return result.empty() || result.ends_with('.') ? result : result + ".";
}

namespace {

// Numbers that are written in another way are equal: "0.30" and "0.3", or a float and its six digits.
bool sameValue(const std::string& a, const std::string& b) {
    if (a == b) return true;
    const char *x = a.c_str(), *y = b.c_str();
    for (;;) {
        char *endX = nullptr, *endY = nullptr;
        const double valueX = std::strtod(x, &endX), valueY = std::strtod(y, &endY);
        if (endX == x || endY == y || std::abs(valueX - valueY) > 1e-6 * (1.0 + std::abs(valueX))) return false;
        if (*endX == '\0' && *endY == '\0') return true;
        if (*endX != ',' || *endY != ',') return false;
        x = endX + 1;
        y = endY + 1;
    }
}

std::vector<DeclaredChange> changesOf(const DeclaredEffect& effect, const DeclaredPresets& presets, std::size_t row) {
    std::vector<DeclaredChange> changes;
    for (std::size_t i = 0; i < presets.columns.size() && i < presets.rows.at(row).size(); ++i) {
        const std::string& value = presets.rows[row][i];
        const DeclaredParam* param = effect.findParam(presets.columns[i]);
        if (value.empty() || (param && (param->secret || sameValue(value, param->defaultText)))) continue;
        const std::string label = effect.labelOf(presets.columns[i]);
        if (!param || param->kind != "Curve point") {
            changes.push_back({label, value});
            continue;
        }
        // The points of a curve, "Red1" to "Red6", together: "Red curve", "1 (0, 0.28), 2 (0.26, 0.63)".
        const auto digits = label.find_last_not_of("0123456789") + 1;
        const std::string point = label.substr(digits) + " (" + value + ")", curve = label.substr(0, digits) + " curve";
        if (!changes.empty() && changes.back().label == curve)
            changes.back().value += ", " + point;
        else
            changes.push_back({curve, point});
    }
    return changes;
}

}  // namespace

std::vector<DeclaredView> DeclaredEffect::views() const {
    std::vector<DeclaredView> list{{"", shortName(), "", {}}};
    for (const DeclaredPresets& table : presets)
        for (std::size_t i = 0; i < table.names.size() && i < table.rows.size(); ++i)
            list.push_back({std::string(trimmed(table.names[i])),
                            shortName() + "." + table.choice + (i < 9 ? "-0" : "-") + std::to_string(i + 1),
                            table.choice + "=" + std::to_string(i), changesOf(*this, table, i)});
    return list;
}

std::string DeclaredEffect::sourceFile() const {
    const DeclaredScene large = scene.shown(1, 1);
    if (large.inputs.empty()) return {};
    const std::string input = fs::path(large.inputs.front()).stem().string();
    return "source-" + (input.starts_with('@') ? input.substr(1) : input);
}

DeclaredScene DeclaredScene::shown(int shownWidth, int shownHeight) const {
    DeclaredScene large = *this;
    constexpr std::string_view Small = "-small.png";  // of each photograph there is one scaled down, without loss
    for (std::string& input : large.inputs)
        if (input.ends_with(Small)) input.replace(input.size() - Small.size(), Small.size(), ".jpg");
    if (!plates.empty()) large.inputs = plates;
    if (!look.empty()) large.settings = look;
    large.width = shownWidth;
    large.height = shownHeight;
    return large;
}

std::string DeclaredEffect::historyText() const {
    if (history == "frames")
        return "Each frame goes on from the one rendered before it, so frames are to be rendered in order: a frame "
               "rendered alone differs from the same frame in a sequence.";
    if (history != "curves" && history != "inputs") return {};
    const std::string animation = labelOf("WithAnimation");
    std::string text =
        "A frame is the same picture in whatever order frames are rendered, with one exception: where "
        "parameters move along curves while " +
        animation +
        " is off, a frame rendered alone steps all "
        "frames before it with the values of its own time, and differs from the same frame in a "
        "sequence. Switch " +
        animation + " on to have them equal.";
    if (history == "inputs") text += " Clips that steer the effect and move are followed in a sequence only.";
    return text;
}

std::vector<std::string> presetChoices(const fs::path& path, std::string_view effect) {
    std::ifstream stream(declarationsFile(path), std::ios::binary);
    const Json json = Json::parse(stream, nullptr, false);
    std::vector<std::string> choices;
    if (!json.is_object()) return choices;
    for (const Json& declared : json.value("effects", Json::array()))
        if (declared.value("name", "") == effect)
            for (const Json& presets : declared.value("presets", Json::array()))
                choices.push_back(presets.value("choice", ""));
    return choices;
}

DeclaredEffect declaredEffect(const fs::path& path, std::string_view identifier) {
    try {
        for (const DeclaredEffect& effect : readDeclarations(path).effects)
            if (effect.identifier == identifier) return effect;
    } catch (const RunError&) {
    }
    return {};
}

Declarations readDeclarations(const fs::path& path) { return readDeclarationsFile(declarationsFile(path)); }

Declarations readDeclarationsFile(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw RunError("the bundle does not tell of its effects: there is no " + file.string());
    try {
        const Json json = Json::parse(stream);
        return {json.at("version"), records<DeclaredEffect>(json.at("effects"), effectOf)};
    } catch (const Json::exception& error) {
        throw RunError("cannot read " + file.string() + ": " + error.what());
    }
}

}  // namespace quillon
