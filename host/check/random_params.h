// An instance with random values in all parameters, the same for each instance that gets the same seed.
#pragma once

#include "host/check/stage.h"
#include "host/check/values.h"

namespace bundlecheck {

// Seed 0 leaves the defaults.
inline void randomise(Actor& actor, std::uint64_t seed) {
    if (seed == 0) return;
    Random random(seed);
    for (const auto& param : actor.instance().params()) {
        if (!param->type().hasValue()) continue;
        const ofxhost::ParamValue value = randomValue(*param, random);
        actor.stage().trial().step(settingText(*param, value));
        param->setValue(value);
    }
}

// The same, with a second random value at another frame in all parameters that can move.
inline void animate(Actor& actor, std::uint64_t seed, double from, double to) {
    Random random(seed);
    for (const auto& param : actor.instance().params()) {
        if (!param->type().hasValue() || !param->animates()) continue;
        for (const double time : {from, to}) {
            const ofxhost::ParamValue value = randomValue(*param, random);
            actor.stage().trial().step(settingText(*param, value) + " at " + std::to_string(static_cast<int>(time)));
            param->setKey(time, value);
        }
    }
}

// The first case of an invariant looks at the defaults, the others at random values.
inline std::uint64_t valuesSeed(Trial& trial) { return trial.index() == 0 ? 0 : trial.random().next() | 1; }

}  // namespace bundlecheck
