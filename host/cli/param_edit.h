// Makes the changes of the command line to an instance's parameters, as a user makes them in a host's window: the
// plug-in is told of each.
#pragma once

#include <string>
#include <vector>

#include "host/core/effect.h"

namespace quillon {

// The parameter of that name (in any case of letters) or label. Throws UsageError, naming the nearest.
ofxhost::Param& findParam(ofxhost::EffectInstance& instance, const std::string& name);

// One "NAME=VALUE". Throws UsageError, and RunError when the plug-in answers the change with a failure.
void applyAssignment(ofxhost::EffectInstance& instance, const std::string& text);

// Chooses a preset by text or index, in the first parameter that the bundle declares to choose presets. Throws
// UsageError where it declares none.
void applyPreset(ofxhost::EffectInstance& instance, const std::string& preset);

}  // namespace quillon
