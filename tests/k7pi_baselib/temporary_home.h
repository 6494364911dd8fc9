// A home directory of the test's own, gone afterwards, with the log inside it and the runtime back at its defaults.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "k7pi_baselib/k7pi_baselib.h"

class ScopedEnvironment {
  public:
    ScopedEnvironment(const char* name, const char* value) : m_name(name) {
        if (const char* old = getenv(name)) m_old = old;
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnvironment() { m_old ? setenv(m_name, m_old->c_str(), 1) : unsetenv(m_name); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  private:
    const char* m_name;
    std::optional<std::string> m_old;
};

class TemporaryHome : public testing::Test {
  protected:
    TemporaryHome() { std::filesystem::create_directories(root); }
    ~TemporaryHome() override {
        CloseLog();
        SetConsole(false, false);
        SetTraceLevel(TRACE_INFO);
        SetTiming(false);
        std::filesystem::remove_all(root);
    }

    static std::string contents(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void write(const std::filesystem::path& path, const std::string& bytes) {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
    }
    static std::vector<std::string> lines(const std::string& text) {
        std::vector<std::string> result;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            result.push_back(text.substr(at, end - at));
            at = end + 1;
        }
        return result;
    }
    std::string log() const { return contents(home + "/Logs/run.log"); }

    const std::string root = temporary_name();
    const std::string home = root + "/home";
    ScopedEnvironment m_home_variable{"K7BM_HOME_DIR", home.c_str()};
};
