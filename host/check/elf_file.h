// What the header tables of a shared library say, read from the file without loading it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace bundlecheck {

struct NeededVersion {
    std::string library, version;  // "libc.so.6", "GLIBC_2.34"
};

struct ElfFacts {
    std::vector<std::string> exported;   // names that other libraries can see
    std::vector<std::string> libraries;  // DT_NEEDED
    std::vector<NeededVersion> versions;
    bool initialisesOnLoad = false;
};

// Throws std::runtime_error for a file that is no shared library of this machine's kind.
ElfFacts readElf(const std::filesystem::path& library);

// True when the version is older than or as old as the baseline's of the same name: GLIBC_2.17 in GLIBC_2.28.
// Versions whose name the baseline does not know are newer than it.
bool withinBaseline(const std::string& version);

}  // namespace bundlecheck
