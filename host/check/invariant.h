// The table of what must hold of any bundle.
#pragma once

#include <span>
#include <string_view>

#include "host/check/trial.h"

namespace bundlecheck {

struct Invariant {
    const char* name;
    Level level;                       // of what it can find at worst; not run when the strictness is below
    const char* claim;                 // what holds when it finds nothing
    int (*count)(const EffectFacts&);  // cases for an effect; 0: does not apply
    void (*run)(Trial&);
    bool seeded = false;    // another seed is another case
    bool ofBundle = false;  // its one effect is the bundle as a whole
    bool onDevice = false;  // for effects that take pictures on a device, where there is one
    bool alone = false;     // uses up or measures what all processes share: nothing else runs meanwhile
};

inline int once(const EffectFacts&) { return 1; }

std::span<const Invariant> bundleInvariants();
std::span<const Invariant> describeInvariants();
std::span<const Invariant> changeInvariants();
std::span<const Invariant> valueInvariants();
std::span<const Invariant> pictureInvariants();
std::span<const Invariant> faultInvariants();
std::span<const Invariant> threadInvariants();
std::span<const Invariant> frameInvariants();
std::span<const Invariant> interactInvariants();
std::span<const Invariant> deviceInvariants();

// Two instances rendered by two threads of the host at once give what each gives alone. Null: in main memory.
void twoAtOnce(Trial& trial, const std::shared_ptr<ofxhost::RenderDevice>& device);

// All of them, in the order of the table that is printed.
std::span<const Invariant> invariants();
const Invariant* findInvariant(std::string_view name);

// Runs a case here and now; what goes wrong with an exception is a finding. False when it has been given up.
bool runCase(const Invariant& invariant, Trial& trial);

}  // namespace bundlecheck
