// What the plug-in writes to the standard error stream. While this object lives, the stream goes into a pipe; a thread
// reads it, sends every line to the log, and shows the user what is no mere chatter of the plug-in's trace log: errors,
// and lines of any other kind. The program's own messages (std::cerr) go to the real stream.
//
// When the process dies by a signal, what has been written still appears. Builds with a sanitizer leave the stream
// alone, since its report comes too late for any reader.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <streambuf>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quillon {

class Console;

struct StageTotal {
    std::string stage;
    int times = 0;
    double milliseconds = 0.0;
};

class PluginOutput {
  public:
    // With `timing`, the plug-in is asked to time its stages: construct before it is loaded.
    PluginOutput(Console& console, bool timing);
    ~PluginOutput();
    PluginOutput(const PluginOutput&) = delete;
    PluginOutput& operator=(const PluginOutput&) = delete;

    // The plug-in times into a log file that it opens when an effect is loaded; from now on that comes here too.
    void takeOverLog();
    // By stage, in the order of first appearance, of all that has been written until now.
    std::vector<StageTotal> stages();

  private:
    void redirect();
    void read();
    void takeLine(std::string_view line);
    void waitUntilRead();

    Console& m_console;
    int m_pipe[2] = {-1, -1};
    int m_realStream = -1;  // -1: the stream is left alone
    std::unique_ptr<std::streambuf> m_own;
    std::streambuf* m_before = nullptr;
    bool m_showMore = false;  // the line before was shown
    std::mutex m_mutex;
    std::condition_variable m_readOn;
    int m_marksWritten = 0, m_marksRead = 0;
    std::vector<StageTotal> m_stages;
    std::thread m_reader;
};

}  // namespace quillon
