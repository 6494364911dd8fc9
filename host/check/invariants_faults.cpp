// Hosts that refuse, lack or interrupt things.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "host/check/import_hooks.h"
#include "host/check/invariant.h"
#include "host/check/stage.h"
#include "host/core/property_tables.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

using ofxhost::HostHooks;

StageSettings lenient() {
    StageSettings settings;
    settings.judgement = Judgement::Lenient;
    return settings;
}

// After a disturbance the instance renders as if nothing had been.
void requireRecovery(Trial& trial, Actor& actor, const Rendering& expected, double time, const std::string& after) {
    const Rendering recovered = actor.render(time);
    trial.require(recovered.status == ofx::status::OK, Interface, "no render after " + after);
    if (trial.facts().history) return;
    trial.require(recovered.sameAs(expected), Determinism,
                  "the render after " + after + " differs: " + recovered.differenceFrom(expected));
}

// ---- Clips ------------------------------------------------------------------------------------------------------

int missingClips(const EffectFacts& facts) {
    return facts.inputs.empty() ? 1 : static_cast<int>(facts.optionalInputs.size()) + 2;
}

void withoutClips(Trial& trial) {
    const auto& optionals = trial.facts().optionalInputs;
    const bool byRight = trial.index() <= static_cast<int>(optionals.size());  // only optional ones are missing
    StageSettings settings;
    settings.judgement = byRight ? Judgement::Strict : Judgement::Lenient;
    Stage stage(trial, settings);
    if (!stage.ready()) return;
    const auto actor = stage.bareActor();
    if (!actor->created()) return;
    if (trial.index() < static_cast<int>(optionals.size())) {
        actor->connect({});
        const std::string& name = optionals[static_cast<std::size_t>(trial.index())];
        trial.step("disconnect " + name);
        ofxhost::Clip& clip = *actor->instance().findClip(name);
        clip.disconnect();
        actor->instance().clipChanged(clip);
    } else if (byRight) {
        actor->connect({}, Content::Natural, false);
    }
    actor->render(0.0);
    actor->render(1.0);
}

constexpr OfxStatus fetchStatuses[] = {ofx::status::Failed, ofx::status::ErrBadHandle, ofx::status::ErrMemory};
int fetchCases(const EffectFacts&) { return static_cast<int>(std::size(fetchStatuses)); }

void failingFetches(Trial& trial) {
    constexpr int most = 60;
    Stage stage(trial, lenient());
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    stage.arm({});
    const Rendering expected = actor->render(2.0);
    const int requests = stage.host().imageRequests();
    for (int k = 1; k <= std::min(requests, most); ++k) {
        HostHooks hooks;
        hooks.failClipGetImageAt = k;
        hooks.clipGetImageStatus = fetchStatuses[trial.index()];
        stage.arm(hooks);
        trial.step("clipGetImage " + std::to_string(k) + " answers " + std::to_string(hooks.clipGetImageStatus));
        actor->render(2.0);
    }
    stage.arm({});
    requireRecovery(trial, *actor, expected, 2.0, "a failing clipGetImage");
}

int clipsAndAll(const EffectFacts& facts) { return static_cast<int>(facts.inputs.size()) + 2; }

void nullData(Trial& trial) {
    Stage stage(trial, lenient());
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    const Rendering expected = actor->render(2.0);
    const auto inputs = actor->instance().inputs();
    HostHooks hooks;
    hooks.nullDataClip = ofx::clip::Output;
    if (trial.index() == 0) hooks.nullDataClip = "*";
    if (trial.index() >= 2) hooks.nullDataClip = inputs[static_cast<std::size_t>(trial.index() - 2)]->name();
    stage.arm(hooks);
    trial.step("images of " + hooks.nullDataClip + " without data");
    actor->render(2.0);
    stage.arm({});
    requireRecovery(trial, *actor, expected, 2.0, "images without data");
}

// ---- Abort ------------------------------------------------------------------------------------------------------

constexpr int abortCasesAll = 16, abortPollsInTurn = 12;
int abortCases(const EffectFacts&) { return abortCasesAll; }

// The first polls in turn, and then any of the others.
int pollToAbortAt(Trial& trial, int polls) {
    if (trial.index() < abortPollsInTurn || polls <= abortPollsInTurn) return trial.index() + 1;
    return abortPollsInTurn + 1 + trial.random().below(polls - abortPollsInTurn);
}

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Told to stop, a render comes back: well before a full one would, and without asking on and on.
void aborted(Trial& trial) {
    constexpr int pollsAfter = 64;     // one for each thread of a host with many, and some rows
    constexpr double patience = 0.25;  // seconds that no user notices
    Stage stage(trial, lenient());
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    stage.arm({});
    Rendering expected;
    const double full = secondsOf([&] { expected = actor->render(3.0); });
    const int polls = stage.host().abortPolls();
    const int poll = pollToAbortAt(trial, polls);
    if (poll > polls) {
        const std::string never = "a render of " + std::to_string(full) + " s never asks whether it shall stop";
        trial.require(polls > 0 || full < 4.0 * patience, Robustness, never);
        return;
    }
    HostHooks hooks;
    hooks.abortAtPoll = poll;
    stage.arm(hooks);
    trial.step("abort at poll " + std::to_string(poll));
    Rendering stopped;
    const double taken = secondsOf([&] { stopped = actor->render(3.0); });
    const int after = stage.host().abortPolls() - poll;
    trial.require(
        after <= pollsAfter, Interface,
        "asks " + std::to_string(after) + " times more after it has been told to stop at poll " + std::to_string(poll));
    // Being slower than the full render is the scheduler's doing; being as slow, the effect's.
    const double share = 1.0 - 0.5 * static_cast<double>(polls - poll + 1) / polls;
    trial.require(taken < std::max(patience, full * share), Robustness,
                  "told to stop at poll " + std::to_string(poll) + " of " + std::to_string(polls) +
                      ", it takes nearly as long as a full render");
    trial.require(stopped.status == ofx::status::OK || stopped.status == ofx::status::Failed, Interface,
                  "an aborted render answers status " + std::to_string(stopped.status));
    trial.require(allFinite(*stopped.image), Robustness, "an aborted render leaves samples that are no number");
    stage.arm({});
    requireRecovery(trial, *actor, expected, 3.0, "an abort");
}

// ---- Memory -----------------------------------------------------------------------------------------------------

constexpr long allocationStride = 8;
int allocationCases(const EffectFacts&) { return allocationStride * 2; }

// One life of an instance.
constexpr double lifeTime = 2.0;
Rendering liveOnce(Stage& stage) {
    Rendering rendering;
    const auto actor = stage.actor();
    if (actor->created()) rendering = actor->render(lifeTime);
    return rendering;
}

ofxhost::ImagePtr sourceAt(Stage& stage, double time) {
    const auto actor = stage.actor();
    const auto inputs = actor->instance().inputs();
    return inputs.empty() ? nullptr : inputs.front()->fetch(time);
}

// For lack of memory a frame may be missing, which a status may tell, or show its source, but not be half made.
void requireWhole(Trial& trial, const Rendering& tried, const Rendering& expected, const ofxhost::ImagePtr& source) {
    if (!tried.image || tried.status != ofx::status::OK || tried.sameAs(expected)) return;
    if (source && tried.image->checksum() == source->checksum()) return;
    const std::vector<float> samples = tried.image->toFloats();
    const bool untouched = std::all_of(samples.begin(), samples.end(), [](float sample) { return sample == 0.0f; });
    trial.require(untouched, Robustness,
                  "an allocation failed, and the render answers with a picture that is half made");
}

// The k-th allocation of the bundle fails, alone or with all later ones; the cases share the k among them.
void refusedAllocations(Trial& trial) {
    constexpr long most = 400;
    Stage stage(trial, lenient());
    if (!stage.ready()) return;
    const ofxhost::ImagePtr source = sourceAt(stage, lifeTime);
    Allocations allocations(stage.library());
    const Rendering expected = liveOnce(stage);
    if (!allocations.hooked() || !expected.image) return;
    const bool onwards = trial.index() >= allocationStride;
    const long total = Allocations::counts().calls, first = trial.index() % allocationStride + 1;
    for (long k = first; k <= std::min(total, most); k += allocationStride) {
        trial.step("allocation " + std::to_string(k) + " of " + std::to_string(total) + " fails" +
                   (onwards ? ", and all later ones" : ""));
        allocations.refuse(k, onwards);
        const Rendering tried = liveOnce(stage);
        allocations.reset();
        requireWhole(trial, tried, expected, source);
    }
    trial.step("memory is there again");
    const Rendering recovered = liveOnce(stage);
    if (!trial.require(recovered.image && recovered.status == ofx::status::OK, Interface,
                       "no render after allocations that failed"))
        return;
    trial.require(trial.facts().history || recovered.sameAs(expected), Determinism,
                  "a render after allocations that failed differs");
}

int suiteMemoryCases(const EffectFacts&) { return 1; }

void refusedSuiteMemory(Trial& trial) {
    Stage stage(trial, lenient());
    if (!stage.ready()) return;
    HostHooks hooks;
    hooks.failAllocations = true;
    stage.arm(hooks);
    trial.step("the host's memory suites give nothing");
    liveOnce(stage);
}

// ---- Suites and host properties ---------------------------------------------------------------------------------

constexpr const char* suites[] = {ofx::suite::ImageEffect, ofx::suite::Property,    ofx::suite::Parameter,
                                  ofx::suite::Memory,      ofx::suite::MultiThread, ofx::suite::Message,
                                  ofx::suite::Interact};
int suiteCases(const EffectFacts&) { return static_cast<int>(std::size(suites)); }

void withoutSuite(Trial& trial) {
    StageSettings settings = lenient();
    settings.hooks.withheldSuites = {suites[trial.index()]};
    trial.step(std::string("a host without ") + suites[trial.index()]);
    Stage stage(trial, settings);
    if (stage.ready()) liveOnce(stage);
}

int propertyCases(const EffectFacts&) {
    return static_cast<int>(ofxhost::standardProperties(ofxhost::ObjectKind::Host).size());
}

void withoutProperty(Trial& trial) {
    StageSettings settings = lenient();
    const char* name =
        ofxhost::standardProperties(ofxhost::ObjectKind::Host)[static_cast<std::size_t>(trial.index())].name;
    settings.hooks.withheldHostProperties = {name};
    trial.step(std::string("a host without ") + name);
    Stage stage(trial, settings);
    // To refuse such a host by a status is every plug-in's right.
    if (!stage.ready()) return trial.note(std::string("no description without the host's ") + name);
    if (liveOnce(stage).status != ofx::status::OK) trial.note(std::string("no render without the host's ") + name);
}

// ---- Any call ---------------------------------------------------------------------------------------------------

int sixteen(const EffectFacts&) { return 16; }

// One call of all that an instance makes in its life fails, whichever it is.
void anyCallFails(Trial& trial) {
    constexpr int times = 24;
    Stage stage(trial, lenient());
    if (!stage.ready()) return;
    const auto calls = std::make_shared<std::atomic<int>>(0);
    const auto armed = std::make_shared<std::atomic<int>>(0);
    HostHooks hooks;
    hooks.beforeCall = [=](const ofxhost::SuiteCall& call) -> std::optional<OfxStatus> {
        // What gives back can't fail without keeping, and an abort's answer is no status.
        const bool exempt = call.name == "clipReleaseImage" || call.name == "memoryFree" || call.name == "abort" ||
                            call.name == "imageMemoryFree" || call.name == "mutexUnLock" || call.name == "mutexDestroy";
        if (exempt || ++*calls != *armed) return std::nullopt;
        return ofx::status::Failed;
    };
    stage.arm(hooks);
    const Rendering expected = liveOnce(stage);
    const int total = *calls;
    for (int i = 0; i < times && total > 0; ++i) {
        *armed = 1 + trial.random().below(total);
        *calls = 0;
        trial.step("call " + std::to_string(*armed) + " of " + std::to_string(total) + " fails");
        liveOnce(stage);
    }
    stage.arm({});
    const Rendering recovered = liveOnce(stage);
    if (!expected.image || !recovered.image) return;
    trial.require(trial.facts().history || recovered.sameAs(expected), Determinism,
                  "a render after suite calls that failed differs");
}

constexpr Invariant table[] = {
    {"clips", Safety, "optional clips may be missing, and required ones too", missingClips, withoutClips},
    {"fetches", Safety, "clipGetImage may fail at each call in turn", fetchCases, failingFetches},
    {"null-data", Safety, "images may come without data", clipsAndAll, nullData},
    {"abort", Safety, "a render that is told to stop at any poll stops soon, gives all back, and the next is whole",
     abortCases, aborted, true},
    {"allocations", Safety,
     "each allocation of the bundle may fail, alone or with all later ones; no frame is half made", allocationCases,
     refusedAllocations},
    {"suite-memory", Safety, "the host's memory suites may give nothing", suiteMemoryCases, refusedSuiteMemory},
    {"suites", Safety, "each suite may be missing", suiteCases, withoutSuite},
    {"host-properties", Safety, "each property of the host may be missing, and nothing dies of it", propertyCases,
     withoutProperty},
    {"calls", Safety, "any suite call may fail, and the next instance is whole", sixteen, anyCallFails, true},
};

}  // namespace

std::span<const Invariant> faultInvariants() { return table; }

}  // namespace bundlecheck
