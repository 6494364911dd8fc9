// File names with a frame number in them: "plate.%04d.exr", "plate.%d.png", "plate.####.exr".
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quillon {

class FilePattern {
  public:
    // The number stands in the file's name, not in a folder's, and at most once; "%%" is a percent sign. Throws
    // UsageError for anything else that begins with a percent sign.
    explicit FilePattern(const std::string& text);
    static FilePattern literal(const std::string& path);  // one file, whatever characters are in its name

    const std::string& text() const { return m_text; }
    bool numbered() const { return m_numbered; }
    std::filesystem::path path(int frame) const;  // the same for every frame when not numbered

    // The frame that a file name (without folder) is, if path() could have written it.
    std::optional<int> frameOf(const std::string& fileName) const;
    // The frames there are files for, ascending. Empty when the folder cannot be read.
    std::vector<int> framesOnDisk() const;

  private:
    FilePattern() = default;
    std::string numberText(int frame) const;

    std::string m_text;
    std::filesystem::path m_folder;
    std::string m_before, m_after;
    bool m_numbered = false;
    int m_width = 0;  // digits (and sign) at least, filled with zeros
};

}  // namespace quillon
