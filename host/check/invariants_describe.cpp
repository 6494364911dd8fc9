// Descriptors: legal, and the same effect in every context of every host.
#include <algorithm>
#include <cmath>
#include <set>

#include "host/check/import_hooks.h"
#include "host/check/invariant.h"
#include "host/check/process_state.h"
#include "host/check/stage.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

namespace prop = ofx::prop;
using ofxhost::ParamDescriptor;
using ofxhost::ParamType;
using ofxhost::PropertySet;

// ---- Every host, every context ----------------------------------------------------------------------------------

constexpr int moodyHosts = 8;  // hosts like the generic one, with abilities at random

int hostCount() { return static_cast<int>(ofxhost::knownHosts().size()) + 1 + moodyHosts; }
int hostsAndContexts(const EffectFacts& facts) { return hostCount() * static_cast<int>(facts.contexts.size()); }

ofxhost::HostConfig hostOfCase(int number, Random& random) {
    const auto known = ofxhost::knownHosts();
    if (number < static_cast<int>(known.size()))
        return ofxhost::hostConfig(known[static_cast<std::size_t>(number)].word);
    ofxhost::HostConfig config = ofxhost::hostConfig("com.nobody.has.heard.of.it");
    if (number == static_cast<int>(known.size())) return config;
    const auto coin = [&] { return random.chance(0.5); };
    config.maxPages = coin() ? 1 + random.below(20) : 0;
    config.pageRows = random.below(12), config.pageColumns = random.below(4);
    config.overlays = coin(), config.multipleDepths = coin(), config.temporalAccess = coin(), config.tiles = coin();
    config.multiResolution = coin(), config.setableFrameRate = coin(), config.background = coin();
    config.units = coin() ? ofxhost::ProjectUnits::SquarePixels : ofxhost::ProjectUnits::Pixels;
    config.version.assign(static_cast<std::size_t>(random.below(5)), 7);
    return config;
}

bool finite(const OfxRectD& r) {
    return std::isfinite(r.x1) && std::isfinite(r.y1) && std::isfinite(r.x2) && std::isfinite(r.y2) && r.x1 <= r.x2 &&
           r.y1 <= r.y2;
}

// The questions that hosts ask before they render.
void askAll(Stage& stage, ofxhost::EffectInstance& instance) {
    Trial& trial = stage.trial();
    trial.step("ask for clip preferences, regions and frames");
    ofxhost::ClipPreferences preferences;
    instance.clipPreferences(preferences);
    const auto accept = [&](OfxStatus status, bool sound, const char* what) {
        if (status == ofx::status::OK) trial.require(sound, Interface, std::string(what) + " that is none");
    };
    OfxRectD region{};
    const OfxStatus regionStatus = instance.regionOfDefinition(0.0, {1.0, 1.0}, region);
    accept(regionStatus, finite(region), "a region of definition");
    std::map<std::string, OfxRectD> regions;
    const OfxStatus interest = instance.regionsOfInterest(0.0, {1.0, 1.0}, {0.0, 0.0, 64.0, 48.0}, regions);
    for (const auto& [clip, rect] : regions) accept(interest, finite(rect), "a region of interest");
    std::map<std::string, ofxhost::FrameRanges> frames;
    instance.framesNeeded(3.0, frames);
    OfxRangeD domain{};
    const OfxStatus domainStatus = instance.timeDomain(domain);
    accept(domainStatus, std::isfinite(domain.min) && std::isfinite(domain.max) && domain.min <= domain.max,
           "a time domain");
    std::string clip;
    double time = 0.0;
    instance.isIdentity({}, {0, 0, 64, 48}, clip, time);
}

// An effect with one input that it needs shows the same on a host that knows nothing but the clip "Source".
bool comparesWithGeneral(const EffectFacts& facts, const StageSettings& settings) {
    const auto has = [&](const char* context) {
        return std::find(facts.contexts.begin(), facts.contexts.end(), context) != facts.contexts.end();
    };
    return settings.host.onlySource && settings.context == ofx::context::Filter && has(ofx::context::General) &&
           facts.inputs.size() == facts.optionalInputs.size() + 1;
}

Rendering inGeneralContext(Trial& trial) {
    StageSettings settings;
    settings.context = ofx::context::General;
    Stage stage(trial, settings);
    if (!stage.ready()) return {};
    const auto actor = stage.bareActor();
    if (!actor->created()) return {};
    actor->connect({}, Content::Natural, false);
    return actor->render(1.0);
}

void requireSameFromSource(Trial& trial, Stage& stage, const Rendering& general) {
    if (!general.image || !stage.descriptor().findClip(ofx::clip::Source)) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    const Rendering rendering = actor->render(1.0);
    trial.require(rendering.sameAs(general), Interface,
                  "the picture from the clip Source alone is not that of the general context: " +
                      rendering.differenceFrom(general));
}

void describedAnywhere(Trial& trial) {
    const int contexts = static_cast<int>(trial.facts().contexts.size());
    StageSettings settings;
    settings.context = trial.facts().contexts[static_cast<std::size_t>(trial.index() % contexts)];
    const ofxhost::HostConfig standard = settings.host;
    settings.host = hostOfCase(trial.index() / contexts, trial.random());
    settings.host.threads = standard.threads, settings.host.checkSources = true;
    Rendering general;
    if (comparesWithGeneral(trial.facts(), settings)) general = inGeneralContext(trial);
    trial.step("host " + settings.host.name);
    Stage stage(trial, settings);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    askAll(stage, actor->instance());
    ofxhost::RenderRequest request;
    actor->instance().beginSequence(request, {0.0, 1.0}, 1.0);
    actor->render(0.0);
    actor->render(1.0);
    actor->instance().endSequence(request, {0.0, 1.0}, 1.0);
    for (const char* action : {ofx::action::PurgeCaches, ofx::action::SyncPrivateData, ofx::action::BeginInstanceEdit,
                               ofx::action::EndInstanceEdit})
        actor->instance().simpleAction(action);
    const OfxStatus unknown = actor->instance().simpleAction("OfxActionOfAnotherDecade");
    trial.require(unknown != ofx::status::OK, Robustness, "an action that does not exist is said to be done");
    actor->render(1.0);
    requireSameFromSource(trial, stage, general);
}

// ---- Legal descriptors ------------------------------------------------------------------------------------------

bool validUtf8(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t more = lead < 0x80                   ? 0
                                 : lead >= 0xC2 && lead < 0xE0 ? 1
                                 : lead >= 0xE0 && lead < 0xF0 ? 2
                                 : lead >= 0xF0 && lead < 0xF5 ? 3
                                                               : 9;
        if (more == 9 || i + more >= text.size()) return false;
        for (std::size_t j = 1; j <= more; ++j)
            if ((static_cast<unsigned char>(text[i + j]) & 0xC0) != 0x80) return false;
        i += 1 + more;
    }
    return true;
}

bool scriptable(const std::string& name) {
    const auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    return !name.empty() && letter(name.front()) &&
           std::all_of(name.begin(), name.end(), [&](char c) { return letter(c) || digit(c); });
}

double number(const ofxhost::PropertyValue& value) {
    return ofxhost::typeOf(value) == ofxhost::PropertyType::Int ? std::get<int>(value) : std::get<double>(value);
}

void checkRange(Trial& trial, const ParamDescriptor& param) {
    const PropertySet& set = param.properties();
    for (int i = 0; i < param.type().dimension; ++i) {
        const auto value = [&](const char* name) { return number(set.value(name, i)); };
        for (const char* name :
             {prop::ParamMin, prop::ParamMax, prop::ParamDefault, prop::ParamDisplayMin, prop::ParamDisplayMax})
            trial.require(!std::isnan(value(name)), Interface, param.name() + ": " + name + " is no number");
        // Nobody sets the display range of a parameter without a range: then it is the host's.
        const auto written = set.writtenProperties();
        if (std::find(written.begin(), written.end(), prop::ParamDisplayMin) == written.end()) continue;
        trial.require(value(prop::ParamDisplayMin) >= value(prop::ParamMin) &&
                          value(prop::ParamDisplayMax) <= value(prop::ParamMax),
                      Interface, param.name() + ": the display range leaves the range");
    }
}

void checkTexts(Trial& trial, const PropertySet& set, const std::string& owner) {
    for (const char* name : {prop::Label, prop::ShortLabel, prop::LongLabel}) {
        if (!set.has(name)) continue;
        trial.require(validUtf8(set.getString(name)), Interface, owner + ": " + name + " is no UTF-8");
    }
    trial.require(!set.getString(prop::Label).empty(), Interface, owner + ": no label");
}

// Two equal names leave an artist to guess. Presets may come back to one: they are looks, chosen by their place.
void checkOptions(Trial& trial, const ParamDescriptor& param) {
    const std::vector<std::string>& presets = trial.facts().presetChoices;
    const bool repeats = std::find(presets.begin(), presets.end(), param.name()) != presets.end();
    std::set<std::string> seen;
    for (const auto& option : param.properties().values(prop::ParamChoiceOption)) {
        const auto& text = std::get<std::string>(option);
        trial.require(!text.empty() && validUtf8(text), Interface, param.name() + ": an option without a text");
        const bool again = !seen.insert(text).second;
        trial.require(repeats || !again, Quality, param.name() + ": two options \"" + text + "\"");
    }
}

void checkParam(Trial& trial, const ParamDescriptor& param, std::set<std::string>& scriptNames) {
    const PropertySet& set = param.properties();
    checkTexts(trial, set, param.name());
    if (param.type().numeric()) checkRange(trial, param);
    if (param.type().type == ParamType::Choice) checkOptions(trial, param);
    if (!param.type().hasValue()) return;
    const std::string script = set.getString(prop::ParamScriptName);
    trial.require(scriptable(script), Robustness, param.name() + ": \"" + script + "\" is no name for scripts");
    trial.require(scriptNames.insert(script).second, Interface, param.name() + ": script name " + script + " again");
}

int contextsOf(const EffectFacts& facts) { return std::max(1, static_cast<int>(facts.contexts.size())); }

void legalDescriptor(Trial& trial) {
    const auto& contexts = trial.facts().contexts;
    if (!trial.require(!contexts.empty(), Interface, "the effect is described in no context")) return;
    StageSettings settings;
    settings.context = contexts[static_cast<std::size_t>(trial.index())];
    Stage stage(trial, settings);
    if (!stage.ready()) return;
    const ofxhost::EffectDescriptor& descriptor = stage.descriptor();
    checkTexts(trial, descriptor.properties(), trial.facts().name);
    trial.require(!descriptor.properties().getString(prop::PluginGrouping).empty(), Quality, "no menu grouping");
    for (const auto& clip : descriptor.clips()) checkTexts(trial, clip->properties(), "clip " + clip->name());
    std::set<std::string> scriptNames;
    for (const auto& param : descriptor.params()) checkParam(trial, *param, scriptNames);
    // A second description of the same process must be the same one.
    trial.step("describe again");
    const auto again = stage.plugin().describeInContext(settings.context);
    if (!trial.require(again != nullptr, Interface, "a second description is refused")) return;
    trial.require(
        again->params().size() == descriptor.params().size() && again->clips().size() == descriptor.clips().size(),
        Interface, "a second description has other clips or parameters");
}

// ---- Instances come and go --------------------------------------------------------------------------------------

void comeAndGo(Trial& trial) {
    constexpr int times = 100, warmUp = 10;
    Stage stage(trial);
    if (!stage.ready()) return;
    const Allocations allocations(stage.library());
    AllocationCounts before;
    int files = 0, threads = 0;
    for (int i = 0; i < times + warmUp; ++i) {
        if (i == warmUp) before = Allocations::counts(), files = openFiles(), threads = runningThreads();
        const auto actor = stage.actor();
        if (!actor->created()) return;
        if (i % 5 == 4) actor->render(i % 7);
    }
    const AllocationCounts after = Allocations::counts();
    trial.require(after.liveBlocks <= before.liveBlocks, Interface,
                  std::to_string(after.liveBlocks - before.liveBlocks) + " blocks of memory, " +
                      std::to_string(static_cast<long>(after.liveBytes) - static_cast<long>(before.liveBytes)) +
                      " bytes, remain of 100 instances");
    trial.require(openFiles() <= files, Interface, "files stay open behind destroyed instances");
    trial.require(runningThreads() <= threads, Robustness, "threads go on behind destroyed instances");
}

constexpr Invariant table[] = {
    {"declaration", Safety, "descriptors are legal, and the same when described again", contextsOf, legalDescriptor},
    {"hosts", Safety, "every context of every known host, and of hosts that nobody knows, gives a working instance",
     hostsAndContexts, describedAnywhere, true},
    {"instances", Safety, "100 instances are made and destroyed without growth", once, comeAndGo},
};

}  // namespace

std::span<const Invariant> describeInvariants() { return table; }

}  // namespace bundlecheck
