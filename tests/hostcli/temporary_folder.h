// A folder of a test's own, gone with the test.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "quillon-test-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
        m_path = pattern;
    }
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all, error);
        std::filesystem::remove_all(m_path, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return (m_path / name).string(); }
    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(m_path))
            all.insert(entry.path().filename().string());
        return all;
    }

  private:
    std::filesystem::path m_path;
};
