#include "host/cli/trace_line.h"

#include <algorithm>

#include "host/cli/text.h"

namespace quillon {

namespace {

// Digits where the form has a 9, a capital or a blank where it has an A, else the same character.
bool hasForm(std::string_view text, std::string_view form) {
    return text.size() == form.size() && std::equal(text.begin(), text.end(), form.begin(), [](char c, char f) {
               if (f == '9') return c >= '0' && c <= '9';
               if (f == 'A') return (c >= 'A' && c <= 'Z') || c == ' ';
               return c == f;
           });
}

}  // namespace

std::optional<TraceLine> parseTraceLine(std::string_view line) {
    constexpr std::string_view Head = " 99/99/99 99:99:99.99 AAAAA: ", More = "                           : ";
    constexpr std::size_t Level = 22;
    if (!line.starts_with('(')) return std::nullopt;
    const auto end = line.find(')');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view rest = line.substr(end + 1);
    if (hasForm(rest.substr(0, Head.size()), Head))
        return TraceLine{rest.substr(Level).starts_with("ERROR") ? TraceKind::Error : TraceKind::Other,
                         rest.substr(Head.size())};
    if (rest.starts_with(More)) return TraceLine{TraceKind::More, rest.substr(More.size())};
    return std::nullopt;
}

std::optional<StageTime> parseStageTime(std::string_view text) {
    constexpr std::string_view End = " ms elapsed.";
    if (!text.ends_with(End)) return std::nullopt;
    text.remove_suffix(End.size());
    const auto colon = text.rfind(": ");
    if (colon == std::string_view::npos) return std::nullopt;
    const auto milliseconds = parseDouble(text.substr(colon + 2));
    if (!milliseconds) return std::nullopt;
    return StageTime{std::string(text.substr(0, colon)), *milliseconds};
}

}  // namespace quillon
