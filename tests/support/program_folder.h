// Where the running test program lies. What is named relative to it is found on any machine that it is taken to.
#pragma once

#include <filesystem>

namespace support {

// A path that is absolute stays what it is.
inline std::filesystem::path beside_program(const std::filesystem::path& path) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / path;
}

}  // namespace support
