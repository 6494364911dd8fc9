// What has to be known of an effect to count its cases.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ofxhost {
class RenderDevice;
}

namespace bundlecheck {

struct EffectFacts {
    std::string name, identifier;
    std::vector<std::string> contexts;  // as the effect says; the first is the one that cases use
    int params = 0;
    int options = 0;  // of all choices together
    std::vector<std::string> inputs, optionalInputs;
    std::vector<std::string> presetChoices;  // choices that the bundle declares as its presets
    bool overlay = false;
    bool onDevice = false;  // takes pictures on a device, and there is one
    // A frame may depend on the frames rendered before: the effect asks for sequential renders, or the bundle's
    // declaration says so.
    bool history = false;
    // Where parameters move, it may depend on those of the frames rendered before.
    bool curveHistory = false;
    // It may depend on what its inputs showed before.
    bool inputHistory = false;
};

// Names of the effects in the order of the bundle. To be called in a process that may die of it.
std::vector<std::string> effectNames(const std::filesystem::path& bundle);
// Tells what it finds of each effect, in their order. `device`: where the host has one.
void exploreEffects(const std::filesystem::path& bundle, const std::vector<std::string>& names,
                    const std::shared_ptr<ofxhost::RenderDevice>& device,
                    const std::function<void(const EffectFacts&)>& tell);

// The bundle says of itself ("anyIndex" in Contents/Resources/effects.json) that it may be asked for plug-ins outside
// its count.
bool declaresAnyIndex(const std::filesystem::path& bundle);

std::string toJson(const std::vector<std::string>& names);
std::string toJson(const EffectFacts& facts);
std::vector<std::string> namesFromJson(const std::string& text);
EffectFacts factsFromJson(const std::string& text);

}  // namespace bundlecheck
