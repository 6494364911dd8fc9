#include "host/cli/param_text.h"

#include <algorithm>
#include <cmath>

#include "host/cli/failure.h"
#include "host/cli/text.h"
#include "ofx/ofx_names.h"

namespace quillon {

using ofxhost::ParamType;
using ofxhost::ParamValue;

namespace {

[[noreturn]] void refuse(const ParamShape& shape, std::string_view text, const std::string& why) {
    throw UsageError("parameter " + shape.name + ": \"" + std::string(text) + "\" " + why);
}

bool integral(ParamType type) {
    return type == ParamType::Integer || type == ParamType::Integer2D || type == ParamType::Integer3D;
}

std::string rangeText(double low, double high) {
    // Limits as wide as the type are none.
    const bool below = low > -1e300 && low > -2147483648.0, above = high < 1e300 && high < 2147483647.0;
    if (below && above) return numberText(low) + " to " + numberText(high);
    return below ? numberText(low) + " or more" : numberText(high) + " or less";
}

double parseComponent(const ParamShape& shape, std::string_view text, std::size_t index) {
    const auto number = parseDouble(trimmed(text));
    if (!number) refuse(shape, text, "is not a number");
    if (integral(shape.type) && (std::floor(*number) != *number || std::abs(*number) > 2147483647.0))
        refuse(shape, text, "is not a whole number");
    const double low = index < shape.minimum.size() ? shape.minimum[index] : -HUGE_VAL;
    const double high = index < shape.maximum.size() ? shape.maximum[index] : HUGE_VAL;
    if (*number < low || *number > high) refuse(shape, text, "is out of range: " + rangeText(low, high));
    return *number;
}

ParamValue parseNumbers(const ParamShape& shape, std::string_view text, char separator) {
    const auto dimension = static_cast<std::size_t>(ofxhost::paramTypeInfo(shape.type).dimension);
    const std::vector<std::string> parts = split(text, separator);
    if (parts.size() != dimension)
        refuse(shape, text,
               "has " + std::to_string(parts.size()) + (parts.size() == 1 ? " number" : " numbers") + " where " +
                   std::to_string(dimension) + (dimension == 1 ? " is" : " are") + " needed" +
                   (dimension == 1 ? "" : std::string(", joined by \"") + separator + "\""));
    ParamValue value;
    for (std::size_t i = 0; i < dimension; ++i) value.numbers[i] = parseComponent(shape, parts[i], i);
    return value;
}

ParamValue parseChoice(const ParamShape& shape, std::string_view text) {
    const auto index = parseInteger(trimmed(text));
    const auto count = static_cast<long long>(shape.options.size());
    if (index && *index >= 0 && *index < count) return ParamValue(static_cast<double>(*index));
    for (std::size_t i = 0; i < shape.options.size(); ++i)
        if (shape.options[i] == text) return ParamValue(static_cast<double>(i));
    for (std::size_t i = 0; i < shape.options.size(); ++i)
        if (equalIgnoringCase(shape.options[i], trimmed(text))) return ParamValue(static_cast<double>(i));
    if (count == 0) refuse(shape, text, "cannot be chosen: there are no options");
    std::string why = "is no option; there are";
    for (std::size_t i = 0; i < shape.options.size(); ++i)
        why += (i == 0 ? " " : ", ") + std::to_string(i) + " \"" + shape.options[i] + "\"";
    refuse(shape, text, why + (index ? "" : suggestion(text, shape.options)));
}

ParamValue parseBoolean(const ParamShape& shape, std::string_view text) {
    const std::string word = lowerCase(trimmed(text));
    for (const char* yes : {"1", "on", "true", "yes"})
        if (word == yes) return ParamValue(1.0);
    for (const char* no : {"0", "off", "false", "no"})
        if (word == no) return ParamValue(0.0);
    refuse(shape, text, "is neither on nor off");
}

ParamValue parseValue(const ParamShape& shape, std::string_view text, char separator) {
    if (shape.type == ParamType::Choice) return parseChoice(shape, text);
    if (shape.type == ParamType::Boolean) return parseBoolean(shape, text);
    return parseNumbers(shape, text, separator);
}

// The keys of "@0:a, b,@24:c": an option's text may hold commas, so only a comma before an "@" separates.
std::vector<std::string> splitKeys(std::string_view text) {
    std::vector<std::string> parts;
    for (std::string& part : split(text, ',')) {
        if (parts.empty() || trimmed(part).starts_with('@'))
            parts.push_back(std::move(part));
        else
            parts.back() += "," + part;
    }
    return parts;
}

std::vector<ParamKey> parseKeys(const ParamShape& shape, std::string_view text) {
    if (!shape.animates) refuse(shape, text, "has keys, but the parameter does not animate");
    std::vector<ParamKey> keys;
    for (const std::string& part : splitKeys(text)) {
        const std::string_view key = trimmed(part);
        const auto colon = key.find(':');
        const auto time = colon == std::string_view::npos ? std::nullopt : parseDouble(key.substr(1, colon - 1));
        if (!key.starts_with('@') || !time) refuse(shape, part, "is not a key; write @TIME:VALUE, joined by commas");
        if (!keys.empty() && *time <= *keys.back().time)
            refuse(shape, text, "has keys that are not in the order of time");
        keys.push_back({*time, parseValue(shape, key.substr(colon + 1), '/')});
    }
    return keys;
}

std::vector<double> limits(const ofxhost::Param& param, const char* property) {
    std::vector<double> values;
    if (!param.type().numeric()) return values;
    for (const ofxhost::PropertyValue& value : param.properties().values(property)) {
        if (const double* number = std::get_if<double>(&value)) values.push_back(*number);
        if (const int* number = std::get_if<int>(&value)) values.push_back(*number);
    }
    return values;
}

}  // namespace

ParamShape shapeOf(const ofxhost::Param& param) {
    ParamShape shape{param.name(), param.type().type, param.animates(), param.choiceOptions(), {}, {}};
    shape.minimum = limits(param, ofx::prop::ParamMin);
    shape.maximum = limits(param, ofx::prop::ParamMax);
    return shape;
}

ParamEdit parseParamText(const ParamShape& shape, std::string_view text) {
    ParamEdit edit;
    switch (shape.type) {
        case ParamType::Group:
        case ParamType::Page:
            refuse(shape, text, "cannot be set: this is a group or page, not a value");
        case ParamType::PushButton:
            if (!equalIgnoringCase(trimmed(text), "press"))
                refuse(shape, text, "is not \"press\", and this is a button");
            edit.press = true;
            return edit;
        case ParamType::String:
        case ParamType::Custom:
            edit.keys.push_back({std::nullopt, ParamValue(std::string(text))});
            return edit;
        default:
            break;
    }
    if (trimmed(text).starts_with('@'))
        edit.keys = parseKeys(shape, text);
    else
        edit.keys.push_back({std::nullopt, parseValue(shape, text, ',')});
    return edit;
}

Assignment parseAssignment(const std::string& text) {
    const auto equals = text.find('=');
    if (equals == std::string::npos || equals == 0) throw UsageError("\"" + text + "\" is not of the form NAME=VALUE");
    return {std::string(trimmed(std::string_view(text).substr(0, equals))), text.substr(equals + 1)};
}

}  // namespace quillon
