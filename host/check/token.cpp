#include "host/check/token.h"

#include <charconv>

namespace bundlecheck {

std::string tokenOf(const CaseId& id) {
    char seed[9];
    const auto end = std::to_chars(seed, seed + sizeof seed, id.seed, 16).ptr;
    return id.effect + ":" + id.invariant + ":" + std::to_string(id.index) + ":" + std::string(seed, end);
}

namespace {

template <class Number>
bool parse(std::string_view text, Number& value, int base) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::optional<CaseId> parseToken(std::string_view token) {
    CaseId id;
    const std::size_t third = token.rfind(':');
    if (third == std::string_view::npos || third == 0) return std::nullopt;
    const std::size_t second = token.rfind(':', third - 1);
    if (second == std::string_view::npos || second == 0) return std::nullopt;
    const std::size_t first = token.rfind(':', second - 1);
    if (first == std::string_view::npos || first == 0) return std::nullopt;
    id.effect = token.substr(0, first);
    id.invariant = token.substr(first + 1, second - first - 1);
    const bool numbers = parse(token.substr(second + 1, third - second - 1), id.index, 10) &&
                         parse(token.substr(third + 1), id.seed, 16);
    return numbers && id.index >= 0 && !id.invariant.empty() ? std::optional(id) : std::nullopt;
}

}  // namespace bundlecheck
