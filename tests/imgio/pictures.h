// Pictures on disk for tests of files.
#pragma once

#include <gtest/gtest.h>
#include <cstdlib>
#include <fstream>
#include <string>

#include "hostcli/temporary_folder.h"
#include "imagelib/imagelib_fileio.h"
#include "imgio/imgio.h"
#include "support/images.h"

inline std::string bytes_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_bytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// Runs a program that need not be installed; its output is dropped.
inline bool has_program(const char* name) {
    return std::system(("command -v " + std::string(name) + " >/dev/null 2>&1").c_str()) == 0;
}
inline bool run_program(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }
