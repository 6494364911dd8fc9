// Programs under test, as a shell runs them.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace support {

struct CommandResult {
    int code = -1;     // the exit code; 1000 and the signal that ended it; -1: it could not be run
    std::string text;  // of both streams
};

inline CommandResult run_command(const std::string& command) {
    CommandResult result;
    std::FILE* const pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
    if (!pipe) return result;
    char part[4096];
    while (const std::size_t count = std::fread(part, 1, sizeof part, pipe)) result.text.append(part, count);
    const int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    return result;
}

}  // namespace support
