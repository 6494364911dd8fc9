// quillon describe: all that a plug-in has told the host about an effect, as it was set and in that order.

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/cli/command.h"
#include "host/cli/declarations.h"
#include "host/cli/failure.h"
#include "host/cli/session.h"
#include "host/cli/text.h"
#include "ofx/ofx_names.h"

namespace quillon {

namespace {

using Json = nlohmann::ordered_json;

struct DescribeOptions {
    SessionOptions session;
    std::string effect, context;
    bool json = false;
};

// Addresses differ from run to run: only whether there is one is told.
Json valueJson(const ofxhost::PropertyValue& value) {
    if (const int* number = std::get_if<int>(&value)) return *number;
    if (const double* number = std::get_if<double>(&value)) return *number;
    if (const std::string* text = std::get_if<std::string>(&value)) return *text;
    return std::get<void*>(value) ? "(pointer)" : "(null)";
}

// The properties that the plug-in has set; a single value stands for itself, several as an array.
Json propertiesJson(const ofxhost::PropertySet& set) {
    Json properties = Json::object();
    for (const std::string& name : set.writtenProperties()) {
        const std::vector<ofxhost::PropertyValue> values = set.values(name);
        Json array = Json::array();
        for (const ofxhost::PropertyValue& value : values) array.push_back(valueJson(value));
        properties[name] = array.size() == 1 ? array.front() : array;
    }
    return properties;
}

std::string textOr(const ofxhost::PropertySet& set, const char* name) {
    return set.count(name) > 0 ? set.getString(name) : std::string();
}

Json paramJson(const ofxhost::ParamDescriptor& param, const DeclaredEffect& declared) {
    Json json{{"name", param.name()}, {"type", param.type().text}};
    const DeclaredParam* known = declared.findParam(param.name());
    if (known && !known->sentence.empty()) json["sentence"] = known->sentence;
    json["properties"] = propertiesJson(param.properties());
    return json;
}

Json pageJson(const ofxhost::ParamDescriptor& page) {
    Json children = Json::array();
    for (const auto& child : page.properties().values(ofx::prop::ParamPageChild)) children.push_back(valueJson(child));
    return {{"name", page.name()}, {"label", textOr(page.properties(), ofx::prop::Label)}, {"children", children}};
}

Json groupJson(const ofxhost::EffectDescriptor& effect, const ofxhost::ParamDescriptor& group) {
    Json children = Json::array();
    for (const auto& param : effect.params())
        if (textOr(param->properties(), ofx::prop::ParamParent) == group.name()) children.push_back(param->name());
    return {{"name", group.name()}, {"label", textOr(group.properties(), ofx::prop::Label)}, {"children", children}};
}

Json effectJson(const ofxhost::Host& host, const ofxhost::Plugin& plugin, const ofxhost::EffectDescriptor& effect,
                const DeclaredEffect& declared) {
    Json json;
    json["identifier"] = plugin.identifier();
    json["version"] = {plugin.record().pluginVersionMajor, plugin.record().pluginVersionMinor};
    json["host"] = host.config().name;
    json["context"] = contextWord(effect.context());
    if (!declared.purpose.empty()) json["purpose"] = declared.purpose;
    if (!declared.usage.empty()) json["usage"] = declared.usage;
    json["properties"] = propertiesJson(effect.properties());
    json["parameterSet"] = propertiesJson(effect.paramSetProperties());
    json["clips"] = json["pages"] = json["groups"] = json["parameters"] = Json::array();
    for (const auto& clip : effect.clips())
        json["clips"].push_back({{"name", clip->name()}, {"properties", propertiesJson(clip->properties())}});
    for (const auto& param : effect.params()) {
        if (param->type().type == ofxhost::ParamType::Page) json["pages"].push_back(pageJson(*param));
        if (param->type().type == ofxhost::ParamType::Group) json["groups"].push_back(groupJson(effect, *param));
        json["parameters"].push_back(paramJson(*param, declared));
    }
    return json;
}

std::string dump(const Json& json, int indent) { return json.dump(indent, ' ', false, Json::error_handler_t::replace); }

void printProperties(const Json& properties, const std::string& indent) {
    for (const auto& [name, value] : properties.items())
        std::cout << indent << name << " = " << dump(value, -1) << '\n';
}

void printText(const Json& effect) {
    std::cout << effect["identifier"].get<std::string>() << ", version " << effect["version"][0] << '.'
              << effect["version"][1] << ", as told to " << effect["host"].get<std::string>() << " in the context "
              << effect["context"].get<std::string>() << "\n\n";
    if (effect.contains("purpose")) std::cout << effect["purpose"].get<std::string>() << "\n\n";
    if (effect.contains("usage")) {
        for (const Json& line : effect["usage"]) std::cout << "- " << line.get<std::string>() << '\n';
        std::cout << '\n';
    }
    std::cout << "Effect\n";
    printProperties(effect["properties"], "  ");
    if (!effect["parameterSet"].empty()) std::cout << "\nParameter set\n";
    printProperties(effect["parameterSet"], "  ");
    std::cout << "\nClips\n";
    for (const Json& clip : effect["clips"]) {
        std::cout << "  " << clip["name"].get<std::string>() << '\n';
        printProperties(clip["properties"], "    ");
    }
    for (const char* kind : {"pages", "groups"}) {
        if (effect[kind].empty()) continue;
        std::cout << (kind[0] == 'p' ? "\nPages\n" : "\nGroups\n");
        for (const Json& one : effect[kind])
            std::cout << "  " << one["name"].get<std::string>() << " " << dump(one["label"], -1) << ": "
                      << dump(one["children"], -1) << '\n';
    }
    std::cout << "\nParameters\n";
    for (const Json& param : effect["parameters"]) {
        std::cout << "  " << param["name"].get<std::string>() << "  " << param["type"].get<std::string>() << '\n';
        if (param.contains("sentence")) std::cout << "    " << param["sentence"].get<std::string>() << '\n';
        printProperties(param["properties"], "    ");
    }
}

void describe(const DescribeOptions& options) {
    Session session(options.session);
    ofxhost::Plugin& plugin = session.effect(options.effect);
    std::string context;
    if (!options.context.empty()) {
        context = contextText(options.context);
    } else {
        const std::vector<std::string> contexts = session.describe(plugin)->supportedContexts();
        if (contexts.empty()) throw RunError(plugin.name() + " supports no context");
        context = contexts.front();
    }
    {
        const auto descriptor = session.describeInContext(plugin, context);
        const Json json =
            effectJson(session.host(), plugin, *descriptor, declaredEffect(plugin.bundlePath(), plugin.identifier()));
        if (options.json)
            std::cout << dump(json, 2) << '\n';
        else
            printText(json);
    }
    session.finish();
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<DescribeOptions>();
    app.add_option("EFFECT", options->effect, "Q_Darken, Darken, darken or the full identifier")->required();
    app.add_option("--context", options->context, "general, filter or generator (default: the effect's first)")
        ->check(CLI::IsMember({"general", "filter", "generator"}));
    app.add_flag("--json", options->json, "As JSON");
    options->session.addTo(app);
    return [options] { describe(*options); };
}

}  // namespace

const Command describeCommand{"describe", "Show what an effect tells its host: properties, clips, pages, parameters",
                              declare};

}  // namespace quillon
