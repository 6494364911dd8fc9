#include "host/check/facts.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/check/stage.h"
#include "host/core/bundle.h"

namespace bundlecheck {

namespace fs = std::filesystem;
namespace prop = ofx::prop;
using nlohmann::json;

std::vector<std::string> effectNames(const fs::path& path) {
    ofxhost::Host host;
    const ofxhost::Bundle bundle(host, path);
    std::vector<std::string> names;
    for (const auto& plugin : bundle.plugins()) names.push_back(plugin->name());
    return names;
}

namespace {

// Bundles made with Quillon's framework tell in a file what the interface has no word for. Not an object where there is
// none.
json declarations(const fs::path& bundle) {
    const fs::path library = ofxhost::Bundle::libraryOf(bundle);
    std::ifstream file(library.parent_path().parent_path() / "Resources" / "effects.json");
    return json::parse(file, nullptr, false);
}

// What the bundle declares of one effect; an empty object where it declares nothing.
json declarationOf(const fs::path& bundle, const std::string& name) {
    const json all = declarations(bundle);
    if (!all.is_object()) return json::object();
    for (const json& effect : all.value("effects", json::array()))
        if (effect.is_object() && effect.value("name", "") == name) return effect;
    return json::object();
}

EffectFacts factsOf(ofxhost::Plugin* plugin, const fs::path& path, const std::string& name) {
    EffectFacts facts;
    facts.name = name;
    if (!plugin) return facts;
    facts.identifier = plugin->identifier();
    const auto described = plugin->describe();
    if (!described) return facts;
    facts.contexts = inOrderOfUse(described->supportedContexts());
    facts.overlay = described->hasOverlay();
    facts.onDevice = plugin->host().config().device && described->takesDevicePictures();
    const json declared = declarationOf(path, name);
    const std::string history = declared.value("history", "none");
    facts.history = described->properties().getInt(prop::InstanceSequentialRender) == 1 || history == "frames";
    facts.inputHistory = history == "inputs";
    facts.curveHistory = history == "curves" || facts.inputHistory;
    for (const json& presets : declared.value("presets", json::array()))
        facts.presetChoices.push_back(presets.value("choice", ""));
    if (facts.contexts.empty()) return facts;
    const auto descriptor = plugin->describeInContext(facts.contexts.front());
    if (!descriptor) return facts;
    facts.params = static_cast<int>(descriptor->params().size());
    for (const auto& param : descriptor->params())
        if (param->type().type == ofxhost::ParamType::Choice)
            facts.options += param->properties().count(prop::ParamChoiceOption);
    for (const auto& clip : descriptor->clips()) {
        if (clip->name() == ofx::clip::Output) continue;
        facts.inputs.push_back(clip->name());
        if (clip->optional()) facts.optionalInputs.push_back(clip->name());
    }
    return facts;
}

}  // namespace

bool declaresAnyIndex(const fs::path& bundle) {
    const json all = declarations(bundle);
    return all.is_object() && all.value("anyIndex", false);
}

void exploreEffects(const fs::path& path, const std::vector<std::string>& names,
                    const std::shared_ptr<ofxhost::RenderDevice>& device,
                    const std::function<void(const EffectFacts&)>& tell) {
    ofxhost::HostConfig config;
    config.device = device;
    ofxhost::Host host(config);
    const ofxhost::Bundle bundle(host, path);
    for (const std::string& name : names) tell(factsOf(bundle.find(name), path, name));
}

std::string toJson(const std::vector<std::string>& names) { return json(names).dump(); }

std::string toJson(const EffectFacts& f) {
    return json{{"name", f.name},
                {"identifier", f.identifier},
                {"contexts", f.contexts},
                {"params", f.params},
                {"options", f.options},
                {"inputs", f.inputs},
                {"optionalInputs", f.optionalInputs},
                {"presetChoices", f.presetChoices},
                {"overlay", f.overlay},
                {"onDevice", f.onDevice},
                {"history", f.history},
                {"curveHistory", f.curveHistory},
                {"inputHistory", f.inputHistory}}
        .dump(-1, ' ', false, json::error_handler_t::replace);
}

std::vector<std::string> namesFromJson(const std::string& text) { return json::parse(text); }

EffectFacts factsFromJson(const std::string& text) {
    const json all = json::parse(text);
    EffectFacts f;
    f.name = all.at("name");
    f.identifier = all.at("identifier");
    f.contexts = all.at("contexts");
    f.params = all.at("params");
    f.options = all.at("options");
    f.inputs = all.at("inputs");
    f.optionalInputs = all.at("optionalInputs");
    f.presetChoices = all.at("presetChoices");
    f.overlay = all.at("overlay");
    f.onDevice = all.at("onDevice");
    f.history = all.at("history");
    f.curveHistory = all.at("curveHistory");
    f.inputHistory = all.at("inputHistory");
    return f;
}

}  // namespace bundlecheck
