#include "host/cli/sequence.h"

#include <algorithm>

#include "host/cli/failure.h"
#include "host/cli/frame_list.h"
#include "host/cli/text.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

constexpr int MaxWidth = 20;

struct Number {
    std::size_t length = 0;  // characters of the pattern
    int width = 0;
};

// "%d", "%4d" (which is read as "%04d": a blank in a file name is never meant) or "%04d" at the place; length 0: none.
Number percentNumber(std::string_view name, std::size_t place) {
    std::size_t end = place + 1;
    while (end < name.size() && name[end] >= '0' && name[end] <= '9') ++end;
    if (end >= name.size() || name[end] != 'd') return {};
    const std::string_view digits = name.substr(place + 1, end - place - 1);
    const long long width = digits.empty() ? 1 : parseInteger(digits).value_or(MaxWidth + 1);
    if (width > MaxWidth) return {};
    return {end + 1 - place, static_cast<int>(width)};
}

}  // namespace

FilePattern::FilePattern(const std::string& text) : m_text(text) {
    const fs::path whole(text);
    m_folder = whole.parent_path();
    const std::string name = whole.filename().string();
    for (std::size_t i = 0; i < name.size();) {
        std::string& target = m_numbered ? m_after : m_before;
        Number number;
        if (name[i] == '%' && name.compare(i, 2, "%%") == 0) {
            target += '%';
            i += 2;
            continue;
        }
        if (name[i] == '%') {
            number = percentNumber(name, i);
            if (number.length == 0)
                throw UsageError("\"" + text +
                                 "\": a percent sign begins a frame number such as %04d (write %% for one)");
        } else if (name[i] == '#') {
            number.length = std::min(name.find_first_not_of('#', i), name.size()) - i;
            number.width = static_cast<int>(number.length);
        } else {
            target += name[i++];
            continue;
        }
        if (m_numbered) throw UsageError("\"" + text + "\": a file name holds one frame number, not two");
        if (number.width > MaxWidth) throw UsageError("\"" + text + "\": the frame number is too long");
        m_numbered = true;
        m_width = number.width;
        i += number.length;
    }
}

FilePattern FilePattern::literal(const std::string& path) {
    FilePattern pattern;
    pattern.m_text = path;
    pattern.m_folder = fs::path(path).parent_path();
    pattern.m_before = fs::path(path).filename().string();
    return pattern;
}

std::string FilePattern::numberText(int frame) const {
    std::string digits = std::to_string(frame < 0 ? -static_cast<long long>(frame) : frame);
    const int filled = m_width - (frame < 0 ? 1 : 0);
    if (static_cast<int>(digits.size()) < filled)
        digits.insert(0, static_cast<std::size_t>(filled) - digits.size(), '0');
    return frame < 0 ? "-" + digits : digits;
}

fs::path FilePattern::path(int frame) const {
    return m_folder / (m_numbered ? m_before + numberText(frame) + m_after : m_before);
}

std::optional<int> FilePattern::frameOf(const std::string& fileName) const {
    if (!m_numbered || fileName.size() <= m_before.size() + m_after.size()) return std::nullopt;
    if (!fileName.starts_with(m_before) || !fileName.ends_with(m_after)) return std::nullopt;
    const std::string digits = fileName.substr(m_before.size(), fileName.size() - m_before.size() - m_after.size());
    const auto frame = parseInteger(digits);
    if (!frame || *frame < -MaxFrameNumber || *frame > MaxFrameNumber) return std::nullopt;
    // "7" does not stand for "%04d", nor "0007" for "%d".
    if (numberText(static_cast<int>(*frame)) != digits) return std::nullopt;
    return static_cast<int>(*frame);
}

std::vector<int> FilePattern::framesOnDisk() const {
    std::vector<int> frames;
    std::error_code error;
    const fs::path folder = m_folder.empty() ? fs::path(".") : m_folder;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        if (const auto frame = frameOf(entry->path().filename().string())) frames.push_back(*frame);
    std::sort(frames.begin(), frames.end());
    return frames;
}

}  // namespace quillon
