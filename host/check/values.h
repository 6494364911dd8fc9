// Values for parameters.
#pragma once

#include <string>

#include "host/check/random.h"
#include "host/core/effect.h"

namespace bundlecheck {

enum class Extreme { Minimum, Maximum, Default };

ofxhost::ParamValue extremeValue(const ofxhost::Param& param, Extreme which);
enum class Reach {
    Displayed,  // what sliders offer
    Allowed,    // now and then the rest of the range as well
};
// Texts are of many kinds in any case.
ofxhost::ParamValue randomValue(const ofxhost::Param& param, Random& random, Reach reach = Reach::Displayed);
std::string valueText(const ofxhost::Param& param, const ofxhost::ParamValue& value);
std::string settingText(const ofxhost::Param& param, const ofxhost::ParamValue& value);  // "set Rad to 3"

}  // namespace bundlecheck
