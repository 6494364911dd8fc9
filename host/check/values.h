// Values for parameters.
#pragma once

#include <string>

#include "host/check/random.h"
#include "host/core/effect.h"

namespace bundlecheck {

enum class Extreme { Minimum, Maximum, Default };

ofxhost::ParamValue extremeValue(const ofxhost::Param& param, Extreme which);
// Within the range, mostly within the displayed one; texts of many kinds.
ofxhost::ParamValue randomValue(const ofxhost::Param& param, Random& random);
std::string valueText(const ofxhost::Param& param, const ofxhost::ParamValue& value);

}  // namespace bundlecheck
