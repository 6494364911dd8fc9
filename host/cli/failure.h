// The two ways in which a command can end badly. main() prints the text and turns the kind into the exit code.
#pragma once

#include <stdexcept>
#include <string>

namespace quillon {

// What the user asked for makes no sense: exit code 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// It made sense, but a file or a render failed: exit code 1.
class RunError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

inline constexpr int ExitOk = 0;
inline constexpr int ExitFailed = 1;
inline constexpr int ExitUsage = 2;

}  // namespace quillon
