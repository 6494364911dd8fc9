#include "host/cli/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>

namespace quillon {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

template <class Number>
std::optional<Number> parseWhole(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    Number value{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc{} || stop != end) return std::nullopt;
    return value;
}

}  // namespace

std::string lowerCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    while (true) {
        const auto end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::optional<long long> parseInteger(std::string_view text) { return parseWhole<long long>(text); }

std::optional<double> parseDouble(std::string_view text) {
    const auto value = parseWhole<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::string numberText(double value) {
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof text, value);
    return error == std::errc{} ? std::string(text, end) : "?";
}

int editDistance(std::string_view a, std::string_view b) {
    std::vector<int> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        int diagonal = row[0];
        row[0] = static_cast<int>(i) + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const int replaced = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string nearest(std::string_view text, const std::vector<std::string>& names) {
    const std::string* best = nullptr;
    int least = 0;
    for (const std::string& name : names) {
        const bool begins = text.size() >= 2 && equalIgnoringCase(text, std::string_view(name).substr(0, text.size()));
        const int distance = begins ? 0 : editDistance(text, name);
        // Beyond two slips, two letters of five may be wrong; a name of which every letter would change is no help.
        const int longer = static_cast<int>(std::max(text.size(), name.size()));
        if (distance > std::max(2, longer * 2 / 5) || distance >= longer || (best && distance >= least)) continue;
        best = &name;
        least = distance;
    }
    return best ? *best : std::string();
}

std::string suggestion(std::string_view text, const std::vector<std::string>& names) {
    const std::string name = nearest(text, names);
    return name.empty() ? name : "; did you mean \"" + name + "\"?";
}

}  // namespace quillon
