// Small dealings with text: numbers that do not depend on the locale, and the nearest of several names.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillon {

std::string lowerCase(std::string_view text);  // ASCII
bool equalIgnoringCase(std::string_view a, std::string_view b);
std::string_view trimmed(std::string_view text);

// Always at least one part; empty parts are kept.
std::vector<std::string> split(std::string_view text, char separator);

// The whole text as a number, else nothing. A sign is allowed; doubles must be finite.
std::optional<long long> parseInteger(std::string_view text);
std::optional<double> parseDouble(std::string_view text);

// Shortest text that reads back as the same double: "0.1", "24", "1e+30".
std::string numberText(double value);

// Levenshtein distance of two names, ignoring case.
int editDistance(std::string_view a, std::string_view b);
// The name closest to `text`, one that begins with it before all others; empty when none is anywhere near.
std::string nearest(std::string_view text, const std::vector<std::string>& names);
// `; did you mean "Radius"?`, or nothing when no name is anywhere near.
std::string suggestion(std::string_view text, const std::vector<std::string>& names);

}  // namespace quillon
