// Parameter values as they are written on the command line.
//
//   3.5            a number                           0.2,0.7     the components of a colour or a position
//   Soft | 2       a choice by its text or index      on, off, 1, 0 a Boolean
//   any text       a string                           press       a push button
//   @0:1,@24:5     keys at times, linear between them (@TIME:VALUE joined by commas)
//   @0:0.1/0.2,@24:0.5/0.7   keys of several components, which a slash joins
//
// A number for a choice is an index where there is such an option, else the option of that text.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/param.h"

namespace quillon {

// What is to be known of a parameter to read a value for it.
struct ParamShape {
    std::string name;
    ofxhost::ParamType type = ofxhost::ParamType::Double;
    bool animates = true;
    std::vector<std::string> options;      // of a choice
    std::vector<double> minimum, maximum;  // for each component; empty: no limits
};

ParamShape shapeOf(const ofxhost::Param& param);

struct ParamKey {
    std::optional<double> time;  // none: the value at all times
    ofxhost::ParamValue value;
};

struct ParamEdit {
    bool press = false;          // of a push button
    std::vector<ParamKey> keys;  // one without time, or one or more with ascending times
};

// Throws UsageError with what is wrong and what would be right.
ParamEdit parseParamText(const ParamShape& shape, std::string_view text);

// "NAME=VALUE" at the first equals sign. Throws UsageError.
struct Assignment {
    std::string name, value;
};
Assignment parseAssignment(const std::string& text);

}  // namespace quillon
