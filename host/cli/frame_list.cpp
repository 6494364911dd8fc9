#include "host/cli/frame_list.h"

#include "host/cli/failure.h"
#include "host/cli/text.h"

namespace quillon {

namespace {

constexpr std::size_t MaxFrames = 10'000'000;  // keeps a slip of the finger from filling the memory

[[noreturn]] void refuse(std::string_view part, const std::string& why) {
    throw UsageError("frames: \"" + std::string(part) + "\" " + why + "; write A, A-B, A-BxS or a comma list of these");
}

int frameNumber(std::string_view text, std::string_view part) {
    const auto number = parseInteger(text);
    if (!number || text.front() == '+') refuse(part, "is not a frame or a range of frames");
    if (*number < -MaxFrameNumber || *number > MaxFrameNumber) refuse(part, "is beyond the frames there can be");
    return static_cast<int>(*number);
}

void appendPart(std::string_view part, std::vector<int>& frames) {
    if (part.empty()) refuse(part, "is empty");
    const auto dash = part.find('-', 1);  // a dash in front is a sign
    if (dash == std::string_view::npos) {
        frames.push_back(frameNumber(part, part));
        return;
    }
    const auto cross = part.find_first_of("xX", dash);
    const int first = frameNumber(part.substr(0, dash), part);
    const int last =
        frameNumber(part.substr(dash + 1, cross == std::string_view::npos ? cross : cross - dash - 1), part);
    int step = 1;
    if (cross != std::string_view::npos) {
        step = frameNumber(part.substr(cross + 1), part);
        if (step < 1) refuse(part, "has a step below 1");
    }
    const long long span = last >= first ? static_cast<long long>(last) - first : static_cast<long long>(first) - last;
    if (frames.size() + static_cast<std::size_t>(span / step) + 1 > MaxFrames) refuse(part, "names too many frames");
    const int direction = last >= first ? 1 : -1;
    for (long long offset = 0; offset <= span; offset += step)
        frames.push_back(static_cast<int>(first + direction * offset));
}

}  // namespace

std::vector<int> parseFrames(std::string_view text) {
    std::vector<int> frames;
    for (const std::string& part : split(text, ',')) appendPart(trimmed(part), frames);
    return frames;
}

std::string framesText(const std::vector<int>& frames) {
    std::string text;
    for (std::size_t i = 0; i < frames.size();) {
        std::size_t end = i + 1;
        while (end < frames.size() && frames[end] == frames[end - 1] + 1) ++end;
        if (!text.empty()) text += ", ";
        text += std::to_string(frames[i]);
        if (end - i > 1) text += "-" + std::to_string(frames[end - 1]);
        i = end;
    }
    return text;
}

}  // namespace quillon
