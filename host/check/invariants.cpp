#include <vector>

#include "host/check/invariant.h"

namespace bundlecheck {

std::span<const Invariant> invariants() {
    static const std::vector<Invariant> all = [] {
        std::vector<Invariant> list;
        for (const auto part :
             {bundleInvariants(), describeInvariants(), changeInvariants(), valueInvariants(), pictureInvariants(),
              faultInvariants(), threadInvariants(), frameInvariants(), interactInvariants(), deviceInvariants()})
            list.insert(list.end(), part.begin(), part.end());
        return list;
    }();
    return all;
}

const Invariant* findInvariant(std::string_view name) {
    for (const Invariant& invariant : invariants())
        if (name == invariant.name) return &invariant;
    return nullptr;
}

bool runCase(const Invariant& invariant, Trial& trial) {
    try {
        invariant.run(trial);
    } catch (const GivenUp&) {
        return false;
    } catch (const std::exception& error) {
        trial.finding(Safety, std::string("the case can't be run: ") + error.what());
    }
    return true;
}

}  // namespace bundlecheck
