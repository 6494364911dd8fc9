// A copy of a bundle's library. What a library decides once, such as its host or whether there is a device, each copy
// decides anew.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>

namespace support {

class BundleCopy {
  public:
    // In a bundle of its own, so that it finds the resources. Gone with this; unload it before.
    explicit BundleCopy(const std::filesystem::path& library) {
        namespace fs = std::filesystem;
        std::string pattern = (fs::temp_directory_path() / "quillon-test-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary directory");
        m_folder = pattern;
        const fs::path original = library.parent_path().parent_path();
        const fs::path contents = m_folder / "Quillon.ofx.bundle" / "Contents";
        fs::create_directories(contents / library.parent_path().filename());
        if (fs::exists(original / "Resources"))
            fs::create_directory_symlink(fs::canonical(original / "Resources"), contents / "Resources");
        m_library = contents / library.parent_path().filename() / library.filename();
        fs::copy_file(library, m_library);
    }
    ~BundleCopy() {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    BundleCopy(const BundleCopy&) = delete;
    BundleCopy& operator=(const BundleCopy&) = delete;

    const std::filesystem::path& library() const { return m_library; }

  private:
    std::filesystem::path m_folder, m_library;
};

}  // namespace support
