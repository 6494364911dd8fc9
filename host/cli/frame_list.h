// The frames of a render: "12", "1-100", "1-100x5", "100-1", "-10--1", or several of these joined by commas.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillon {

inline constexpr int MaxFrameNumber = 99'999'999;

// In the order given, repeats kept. A range with A above B counts down. Throws UsageError.
std::vector<int> parseFrames(std::string_view text);

// The frames as people write them: "1-5, 8, 10-12".
std::string framesText(const std::vector<int>& frames);

}  // namespace quillon
