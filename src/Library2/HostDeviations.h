// The host quirks that affect one effect, described for its users.
#pragma once

#include <string>
#include <vector>

#include "Library2/HostQuirks.h"

class EffectInfo;
struct EffectTraits;

// The hosts that deviate from the generic one, in the table's order.
std::vector<const HostQuirks*> deviatingHosts();
// How the effect differs there from what its page says; empty when it does not.
std::vector<std::string> hostDeviations(const HostQuirks& host, const EffectTraits& traits, const EffectInfo& info);
