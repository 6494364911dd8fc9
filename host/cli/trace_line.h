// The lines of the bundle's trace log.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillon {

enum class TraceKind { Error, Other, More };  // More continues the line before

struct TraceLine {
    TraceKind kind;
    std::string_view text;  // behind the head
};

// "(run) 11/21/26 06:45:39.12 INFO : text" or "(run)                           : text"; nothing for any other line.
std::optional<TraceLine> parseTraceLine(std::string_view line);

// "Radial LIC: 12.345 ms elapsed."; nothing for any other text.
struct StageTime {
    std::string stage;
    double milliseconds;
};
std::optional<StageTime> parseStageTime(std::string_view text);

}  // namespace quillon
