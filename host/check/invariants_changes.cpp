// Change notifications: of every parameter, of things that do not exist, and between renders.
#include "host/check/invariant.h"
#include "host/check/stage.h"
#include "host/check/values.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

constexpr const char* reasons[] = {ofx::change::UserEdited, ofx::change::PluginEdited, ofx::change::Time,
                                   "OfxChangeOfHeart"};

// Changes of everything by name, and of names that nobody has.
void notify(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    ofxhost::EffectInstance& instance = actor->instance();
    const char* reason = reasons[trial.index() % std::ssize(reasons)];
    const auto tell = [&](const char* type, const std::string& name) {
        trial.step("instance changed: " + std::string(type) + " \"" + name.substr(0, 40) + "\", " + reason);
        instance.instanceChanged(type, name, reason);
    };
    instance.beginChanged(reason);
    for (const auto& param : instance.params()) tell(ofx::type::Parameter, param->name());
    for (const auto& clip : instance.clips()) tell(ofx::type::Clip, clip->name());
    const std::string longName(10000, 'x');
    for (const std::string& name : {std::string(), std::string("NoSuchThing"), std::string("%s%n%d"), longName}) {
        for (const char* type : {ofx::type::Parameter, ofx::type::Clip, "OfxTypeOfNothing", ""}) tell(type, name);
    }
    instance.endChanged(reason);
    actor->render(1.0);
}

// A parameter moved between two renders of a frame gives what an instance gives that had the value from the start.
int perParam(const EffectFacts& facts) { return facts.params; }

void moveBetweenRenders(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const auto actor = stage.actor(), fresh = stage.actor();
    if (!actor->created() || !fresh->created()) return;
    const auto& params = actor->instance().params();
    ofxhost::Param& param = *params[static_cast<std::size_t>(trial.index())];
    if (!param.type().hasValue()) {
        actor->render(2.0);
        trial.step("press " + param.name());
        actor->instance().pressButton(param);
        actor->render(2.0);
        return;
    }
    const ofxhost::ParamValue value = randomValue(param, trial.random());
    const double time = trial.random().below(6);
    actor->render(time);
    trial.step(settingText(param, value));
    actor->instance().setParam(param, value);
    const Rendering after = actor->render(time);
    fresh->instance().setParam(*fresh->instance().findParam(param.name()), value);
    const Rendering expected = fresh->render(time);
    if (trial.facts().history) return;
    trial.require(after.sameAs(expected), Determinism,
                  "frame " + std::to_string(static_cast<int>(time)) + " after a change of " + param.name() + " to " +
                      valueText(param, value) + " depends on the render before: " + after.differenceFrom(expected));
}

int perReason(const EffectFacts&) { return static_cast<int>(std::ssize(reasons)); }

constexpr Invariant table[] = {
    {"changes", Safety, "changes of every name, and of names that nobody has, are taken with any reason", perReason,
     notify},
    {"edits", Safety, "a parameter changed between renders counts at once, and nothing of the old value remains",
     perParam, moveBetweenRenders, true},
};

}  // namespace

std::span<const Invariant> changeInvariants() { return table; }

}  // namespace bundlecheck
