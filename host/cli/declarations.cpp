#include "host/cli/declarations.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/cli/failure.h"

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
    return {json.at("name"), json.at("label"), json.at("shortLabel"), json.at("required"), json.at("temporal")};
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
    for (const Json& setting : json.at("settings"))
        scene.settings.push_back(setting.at(0).get<std::string>() + "=" + setting.at(1).get<std::string>());
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
    effect.contexts = texts(json.at("contexts"));
    effect.hasOverlay = json.at("hasOverlay");
    effect.otherFrames = json.at("otherFrames");
    effect.hasPicture = json.at("hasPicture");
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
