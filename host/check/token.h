// The name of one case, short enough to be typed: "Q_Darken:threads:3:81f2".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace bundlecheck {

inline constexpr char wholeBundle[] = "bundle";  // in the effect's place, for what concerns no single effect

struct CaseId {
    std::string effect;     // name of the plug-in, "Q_Darken", or wholeBundle
    std::string invariant;  // "threads"
    int index = 0;          // which of the invariant's cases for this effect
    std::uint32_t seed = 0;

    bool operator==(const CaseId&) const = default;
};

std::string tokenOf(const CaseId& id);
std::optional<CaseId> parseToken(std::string_view token);

}  // namespace bundlecheck
