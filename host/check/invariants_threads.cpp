// Threads: the host's for the effect, and the host's own that render at once.
#include <exception>
#include <thread>

#include "host/check/invariant.h"
#include "host/check/random_params.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

using ofxhost::HostHooks;

StageSettings threaded() {
    StageSettings settings;
    settings.host.threads = 16;
    settings.project.width = 72, settings.project.height = 130;  // rows enough for all of them
    return settings;
}

HostHooks withThreads(unsigned reported, unsigned given) {
    HostHooks hooks;
    hooks.reportedCpus = reported;
    hooks.maxThreadsGiven = given;
    return hooks;
}

Rendering renderWith(Stage& stage, const HostHooks& hooks, std::uint64_t seed) {
    stage.arm(hooks);
    const auto actor = stage.actor();
    if (!actor->created()) return {};
    randomise(*actor, seed);
    actor->render(1.0);
    return actor->render(2.0);
}

int defaultsAndSix(const EffectFacts& facts) { return facts.params > 0 ? 7 : 1; }

void anyThreadCount(Trial& trial) {
    Stage stage(trial, threaded());
    if (!stage.ready()) return;
    const std::uint64_t seed = valuesSeed(trial);
    trial.step("1 thread");
    const Rendering one = renderWith(stage, withThreads(1, 1), seed);
    for (const unsigned threads : {2u, 3u, 7u, 16u}) {
        trial.step(std::to_string(threads) + " threads");
        const Rendering several = renderWith(stage, withThreads(threads, threads), seed);
        if (!one.image || !several.image) return;
        trial.require(
            several.sameAs(one), Determinism,
            std::to_string(threads) + " threads give another picture than one: " + several.differenceFrom(one));
    }
}

constexpr struct {
    unsigned reported, given;
} unevenHosts[] = {{8, 1}, {8, 2}, {8, 3}, {16, 5}, {2, 16}, {1, 16}, {10000, 4}, {0, 4}};

int unevenCases(const EffectFacts&) { return static_cast<int>(std::size(unevenHosts)) + 1; }

void otherThanAsked(Trial& trial) {
    StageSettings settings = threaded();
    const bool refuses = trial.index() == static_cast<int>(std::size(unevenHosts));
    // A host without processors gets asked for no threads, which the standard leaves open.
    if (refuses || unevenHosts[trial.index()].reported == 0) settings.judgement = Judgement::Lenient;
    Stage stage(trial, settings);
    if (!stage.ready()) return;
    const Rendering one = renderWith(stage, withThreads(1, 1), 0);
    HostHooks hooks;
    if (refuses) {
        hooks.multiThreadStatus = ofx::status::Failed;
        trial.step("the host starts no threads");
    } else {
        hooks = withThreads(unevenHosts[trial.index()].reported, unevenHosts[trial.index()].given);
        trial.step(std::to_string(*hooks.reportedCpus) + " processors, " + std::to_string(*hooks.maxThreadsGiven) +
                   " threads");
    }
    const Rendering other = renderWith(stage, hooks, 0);
    if (!one.image || !other.image || refuses) return;
    trial.require(other.sameAs(one), Determinism, "the picture differs: " + other.differenceFrom(one));
}

int four(const EffectFacts&) { return 4; }

}  // namespace

void twoAtOnce(Trial& trial, const std::shared_ptr<ofxhost::RenderDevice>& device) {
    constexpr int frames = 6;
    StageSettings settings = threaded();
    settings.host.threads = 3;
    settings.host.device = device;
    Stage stage(trial, settings);
    if (!stage.ready()) return;
    const std::uint64_t seeds[] = {valuesSeed(trial), valuesSeed(trial)};
    std::vector<Rendering> expected[2], rendered[2];
    std::unique_ptr<Actor> actors[2];
    for (int i = 0; i < 2; ++i) {
        const auto alone = stage.actor();
        actors[i] = stage.actor();
        if (!alone->created() || !actors[i]->created()) return;
        randomise(*alone, seeds[i]);
        randomise(*actors[i], seeds[i]);
        for (int frame = 0; frame < frames; ++frame) expected[i].push_back(alone->render(frame));
    }
    trial.step("two at once");
    std::vector<std::thread> threads;
    std::exception_ptr failures[2];
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&, i] {
            try {
                for (int frame = 0; frame < frames; ++frame) rendered[i].push_back(actors[i]->render(frame));
            } catch (...) {
                failures[i] = std::current_exception();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
    for (int i = 0; i < 2; ++i) {
        for (std::size_t frame = 0; frame < rendered[i].size(); ++frame) {
            if (!trial.require(rendered[i][frame].sameAs(expected[i][frame]), Determinism,
                               "frame " + std::to_string(frame) + " differs while another instance renders: " +
                                   rendered[i][frame].differenceFrom(expected[i][frame])))
                return;
        }
    }
}

namespace {

void twoInMainMemory(Trial& trial) { twoAtOnce(trial, nullptr); }

constexpr Invariant table[] = {
    {"threads", Safety, "1, 2, 3, 7 and 16 threads give the same bits", defaultsAndSix, anyThreadCount, true},
    {"fewer-threads", Safety, "so does a host that starts fewer or more threads than asked, or none", unevenCases,
     otherThanAsked},
    {"at-once", Safety, "two instances rendered by two threads of the host at once give what each gives alone", four,
     twoInMainMemory, true},
};

}  // namespace

std::span<const Invariant> threadInvariants() { return table; }

}  // namespace bundlecheck
