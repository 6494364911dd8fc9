// What this process holds of the system's: for finding out what a bundle leaves behind.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace bundlecheck {

inline int entriesOf(const char* folder) {
    std::error_code error;
    const std::filesystem::directory_iterator begin(folder, error);
    return error ? 0 : static_cast<int>(std::distance(begin, std::filesystem::directory_iterator()));
}

inline int openFiles() { return entriesOf("/proc/self/fd"); }
inline int runningThreads() { return entriesOf("/proc/self/task"); }

inline bool isMapped(const std::filesystem::path& library) {
    std::ifstream maps("/proc/self/maps");
    const std::string path = std::filesystem::canonical(library).string();
    for (std::string line; std::getline(maps, line);)
        if (line.ends_with(path)) return true;
    return false;
}

}  // namespace bundlecheck
