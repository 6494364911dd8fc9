// The same frame is the same picture, however one comes to it.
#include <malloc.h>

#include <cstdlib>
#include <map>

#include "host/check/invariant.h"
#include "host/check/random_params.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

int defaultsAndFour(const EffectFacts& facts) { return facts.params > 0 ? 5 : 1; }

int defaultsFourAndMoving(const EffectFacts& facts) { return facts.params > 0 ? 7 : 1; }

std::map<int, Rendering> renderInOrder(Stage& stage, const std::vector<int>& frames, std::uint64_t seed,
                                       Content content = Content::Natural, bool moving = false) {
    std::map<int, Rendering> renderings;
    const auto actor = stage.actor();
    if (!actor->created()) return renderings;
    if (content != Content::Natural) actor->connect({}, content);
    if (moving)
        animate(*actor, seed, 0, 7);
    else
        randomise(*actor, seed);
    for (const int frame : frames) renderings[frame] = actor->render(frame);
    return renderings;
}

void compare(Trial& trial, const std::map<int, Rendering>& expected, const std::map<int, Rendering>& rendered,
             const std::string& order) {
    for (const auto& [frame, rendering] : rendered) {
        const auto found = expected.find(frame);
        if (found == expected.end()) continue;
        if (!trial.require(rendering.sameAs(found->second), Determinism,
                           "frame " + std::to_string(frame) + " differs " + order + ": " +
                               rendering.differenceFrom(found->second)))
            return;
    }
}

void anyOrder(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const std::uint64_t seed = valuesSeed(trial);
    const bool moving = trial.index() >= defaultsAndFour(trial.facts());
    const std::vector<int> forwards = {0, 1, 2, 3, 4, 5, 6, 7};
    std::vector<int> random = {0, 1, 2, 3, 4, 5, 6, 7, 3, 5};
    trial.random().shuffle(random);
    const bool sameOrderOnly = trial.facts().history || (moving && trial.facts().curveHistory);
    if (sameOrderOnly || trial.facts().inputHistory) {
        trial.step("the same random order twice");
        const auto render = [&] { return renderInOrder(stage, random, seed, Content::Natural, moving); };
        const auto first = render();
        compare(trial, first, render(), "in the same order again");
        if (sameOrderOnly) return;
    }
    const Content content = trial.facts().inputHistory ? Content::Still : Content::Natural;
    const auto render = [&](const std::vector<int>& frames) {
        return renderInOrder(stage, frames, seed, content, moving);
    };
    trial.step("forwards");
    const auto expected = render(forwards);
    trial.step("backwards");
    compare(trial, expected, render({7, 6, 5, 4, 3, 2, 1, 0}), "backwards");
    trial.step("repeated");
    compare(trial, expected, render({0, 0, 1, 1, 1, 2, 2, 7, 7, 3, 3, 4, 4}), "repeated");
    trial.step("in random order");
    compare(trial, expected, render(random), "in random order");
    trial.step("alone");
    compare(trial, expected, render({5}), "rendered alone");
}

// Memory that nobody has set, and what the output held before, must not be seen.
void untouchedByMemory(Trial& trial) {
    const std::uint64_t seed = valuesSeed(trial);
    std::map<int, Rendering> expected;
    for (const int fill : {0x00, 0x5A, 0xFF}) {
        trial.step("fresh memory filled with " + std::to_string(fill));
        ::mallopt(M_PERTURB, fill);
        Stage stage(trial);  // loaded anew, so that statics are anew as well
        if (!stage.ready()) break;
        const auto rendered = renderInOrder(stage, {0, 1, 4}, seed);
        if (expected.empty()) expected = rendered;
        compare(trial, expected, rendered, "when fresh memory is not zero");
    }
    ::mallopt(M_PERTURB, 0);
}

void whollyWritten(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const std::uint64_t seed = valuesSeed(trial);
    const auto first = stage.actor(), second = stage.actor();
    if (!first->created() || !second->created()) return;
    randomise(*first, seed);
    randomise(*second, seed);
    const Rendering black = first->render(1.0), grey = second->render(1.0, 0.375f);
    trial.require(grey.sameAs(black), Determinism,
                  "the picture depends on what the output held before: " + grey.differenceFrom(black));
}

// Bundles built on Quillon's framework limit their vector units by this variable. Others don't know it; then two loads
// are compared.
constexpr char processorVariable[] = "QUILLON_CPU";
constexpr const char* processors[] = {"baseline", "avx2"};

void anyProcessor(Trial& trial) {
    const std::uint64_t seed = valuesSeed(trial);
    std::map<int, Rendering> expected;
    {
        Stage stage(trial);
        if (!stage.ready()) return;
        expected = renderInOrder(stage, {0, 3}, seed);
    }
    for (const char* processor : processors) {
        trial.step(std::string("processor ") + processor);
        ::setenv(processorVariable, processor, 1);
        Stage stage(trial);
        if (!stage.ready()) break;
        compare(trial, expected, renderInOrder(stage, {0, 3}, seed), std::string("on ") + processor + " processors");
    }
    ::unsetenv(processorVariable);
}

constexpr Invariant table[] = {
    {"order", Safety,
     "frames forwards, backwards, repeated, at random and alone are the same, also while parameters move; of an effect "
     "that says it depends on the frames before, the same order gives the same frames",
     defaultsFourAndMoving, anyOrder, true},
    {"memory", Safety, "memory that nobody has set is not seen, and a library loaded anew renders the same",
     defaultsAndFour, untouchedByMemory, true},
    {"output", Safety, "the picture does not depend on what the output image held before", defaultsAndFour,
     whollyWritten, true},
    {"processors", Safety, "older processors give the same bits", defaultsAndFour, anyProcessor, true},
};

}  // namespace

std::span<const Invariant> frameInvariants() { return table; }

}  // namespace bundlecheck
