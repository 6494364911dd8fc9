// Files that appear whole or not at all: written under a temporary name beside their own, then renamed.
#pragma once

#include <cstddef>
#include <filesystem>

namespace quillon {

// Writes the bytes to `path`. Throws RunError (unwritable folder, full disk) and leaves an earlier file as it was.
void writeFileAtomically(const std::filesystem::path& path, const void* bytes, std::size_t count);

// Before long work whose outcome is to be written there: throws RunError when that could not be done now. Leaves
// everything as it is.
void requireWritable(const std::filesystem::path& path);

}  // namespace quillon
