// Parameter values: the ends of every range, every option, and random sets.
#include <algorithm>
#include <cmath>
#include <limits>

#include "host/check/invariant.h"
#include "host/check/stage.h"
#include "host/check/values.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace prop = ofx::prop;
using ofxhost::Param;
using ofxhost::ParamStorage;
using ofxhost::ParamType;
using ofxhost::ParamValue;

namespace {

double number(const ofxhost::PropertyValue& value) {
    return ofxhost::typeOf(value) == ofxhost::PropertyType::Int ? std::get<int>(value) : std::get<double>(value);
}

double bound(const Param& param, const char* name, std::size_t index) {
    return number(param.properties().value(name, static_cast<int>(index)));
}

const char* const texts[] = {"",
                             "a",
                             "A longer text, with commas; and \"quotes\"",
                             "%s%n%x",
                             "line\nbreak\ttab",
                             ("Gr\xC3\xBC\xC3\x9F"
                              "e \xE6\x97\xA5\xE6\x9C\xAC"),
                             "\xFF\xFE\x80",
                             "/no/such/file.txt",
                             "../..",
                             "1e400",
                             "-"};

ParamValue randomText(Random& random) {
    if (random.chance(0.1)) return std::string(static_cast<std::size_t>(random.below(20000)), 'w');
    return texts[random.below(static_cast<int>(std::size(texts)))];
}

// Wide ranges are mostly of counts and lengths that a render's time grows with. Values lie near the default by order of
// magnitude: half of them within half a hundredth of the range, a tenth beyond a quarter of it.
constexpr double wide = 100.0;

double nearDefault(double middle, double from, double to, Random& random) {
    if (random.chance(0.05)) return random.chance(0.5) ? from : to;
    const double below = middle - from, above = to - middle;
    const bool down = random.unit() * (to - from) < below;
    const double share = random.unit();
    const double distance = (down ? below : above) * std::pow(1e-3, 1.0 - share * share);
    return down ? middle - distance : middle + distance;
}

// Ranges without end are drawn from by order of magnitude. Larger numbers than these, which may well take a render all
// day, are left to the ends of the ranges.
double randomNumber(const Param& param, std::size_t i, Random& random, Reach reach) {
    const double low = bound(param, prop::ParamMin, i), high = bound(param, prop::ParamMax, i);
    double from = low, to = high;
    if (reach == Reach::Displayed || random.chance(0.8)) {
        from = std::max(low, bound(param, prop::ParamDisplayMin, i));
        to = std::min(high, bound(param, prop::ParamDisplayMax, i));
    }
    if (!(to - from < 1e9)) {
        const double most = reach == Reach::Displayed ? 0.5 : 3.0;
        const double magnitude = std::pow(10.0, random.between(-3.0, most));
        return std::clamp(random.chance(0.5) ? magnitude : -magnitude, low, high);
    }
    if (to - from > wide) return nearDefault(std::clamp(param.defaultValue().numbers[i], from, to), from, to, random);
    const double value = random.chance(0.1) ? (random.chance(0.5) ? from : to) : random.between(from, to);
    return std::clamp(value, low, high);
}

}  // namespace

ParamValue extremeValue(const Param& param, Extreme which) {
    if (which == Extreme::Default) return param.defaultValue();
    ParamValue value;
    const bool high = which == Extreme::Maximum;
    if (param.type().storage == ParamStorage::Text) return high ? std::string(20000, 'M') : std::string();
    for (std::size_t i = 0; i < static_cast<std::size_t>(param.type().dimension); ++i) {
        if (param.type().numeric())
            value.numbers[i] = bound(param, high ? prop::ParamMax : prop::ParamMin, i);
        else if (param.type().type == ParamType::Choice)
            value.numbers[i] = high ? std::max(0, static_cast<int>(param.choiceOptions().size()) - 1) : 0;
        else
            value.numbers[i] = high;
    }
    return value;
}

ParamValue randomValue(const Param& param, Random& random, Reach reach) {
    if (param.type().storage == ParamStorage::Text) return randomText(random);
    ParamValue value;
    for (std::size_t i = 0; i < static_cast<std::size_t>(param.type().dimension); ++i) {
        double drawn = 0.0;
        if (param.type().type == ParamType::Choice)
            drawn = random.below(static_cast<int>(param.choiceOptions().size()));
        else if (param.type().type == ParamType::Boolean)
            drawn = random.below(2);
        else if (param.type().numeric())
            drawn = randomNumber(param, i, random, reach);
        else
            drawn = random.unit();  // colours without a range
        value.numbers[i] = param.type().storage == ParamStorage::Int ? std::floor(drawn) : drawn;
    }
    return value;
}

std::string valueText(const Param& param, const ParamValue& value) {
    if (param.type().storage == ParamStorage::Text) return "a text of " + std::to_string(value.text.size()) + " bytes";
    std::string text;
    for (std::size_t i = 0; i < static_cast<std::size_t>(param.type().dimension); ++i)
        text += (i ? ", " : "") + ofxhost::toText(ofxhost::PropertyValue(value.numbers[i]));
    return text;
}

std::string settingText(const Param& param, const ParamValue& value) {
    return "set " + param.name() + " to " + valueText(param, value);
}

namespace {

int extremesOfParams(const EffectFacts& facts) { return facts.params * 3; }

void extremes(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    Param& param = *actor->instance().params()[static_cast<std::size_t>(trial.index() / 3)];
    if (!param.type().hasValue()) return;
    const auto which = static_cast<Extreme>(trial.index() % 3);
    const ParamValue value = extremeValue(param, which);
    trial.step(settingText(param, value));
    actor->instance().setParam(param, value);
    actor->render(2.0);
}

int allOptions(const EffectFacts& facts) { return facts.options; }

// Every option as a user chooses it; where it is a preset, the effect writes the others. Beyond its range a host may
// limit a value, but it must be a number.
void options(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    ofxhost::EffectInstance& instance = actor->instance();
    int option = trial.index();
    for (const auto& param : instance.params()) {
        if (param->type().type != ParamType::Choice) continue;
        const int count = static_cast<int>(param->choiceOptions().size());
        if (option >= count) {
            option -= count;
            continue;
        }
        trial.step("choose " + param->name() + " = " + std::to_string(option));
        instance.setParam(*param, static_cast<double>(option));
        break;
    }
    for (const auto& param : instance.params()) {
        if (!param->type().numeric()) continue;
        for (std::size_t i = 0; i < static_cast<std::size_t>(param->type().dimension); ++i) {
            trial.require(std::isfinite(param->value().numbers[i]), Interface,
                          param->name() + " has been set to " + valueText(*param, param->value()));
        }
    }
    actor->render(2.0);
    actor->render(3.0);
}

int twentyRandomSets(const EffectFacts& facts) { return facts.params > 0 ? 20 : 0; }

void randomSets(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    ofxhost::EffectInstance& instance = actor->instance();
    const double share = trial.random().chance(0.5) ? 1.0 : 0.3;  // all, or a few
    for (const auto& param : instance.params()) {
        if (!param->type().hasValue() || !trial.random().chance(share)) continue;
        const ParamValue value = randomValue(*param, trial.random(), Reach::Allowed);
        trial.step(settingText(*param, value));
        if (param->animates() && trial.random().chance(0.2)) {
            param->setKey(0.0, randomValue(*param, trial.random()));
            param->setKey(7.5, value);
        } else {
            instance.setParam(*param, value);
        }
    }
    for (const double time : {0.0, 1.0, 4.0}) actor->render(time);
    actor->instance().setCurrentTime(2.0);
    // The times of frames that hosts come upon: between frames, before the first, after the last.
    for (const double time : {2.5, -1.0, 60.0}) actor->render(time);
}

constexpr Invariant table[] = {
    {"extremes", Safety, "every parameter at its minimum, maximum and default", extremesOfParams, extremes},
    {"options", Safety, "every option of every choice, and so every preset, leaves numbers in all parameters",
     allOptions, options},
    {"random", Safety, "random values of all parameters, animated ones among them, at frames in and out of the range",
     twentyRandomSets, randomSets, true},
};

}  // namespace

std::span<const Invariant> valueInvariants() { return table; }

}  // namespace bundlecheck
