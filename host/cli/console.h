// What the user sees while a command works: warnings, the host's diagnostics, frames and the way they go along.
#pragma once

#include <chrono>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

#include "host/core/diagnostics.h"

namespace quillon {

// "0:07", "12:34", "3:02:01"
std::string durationText(double seconds);
// "[#####---------------]  25/100  3.2 frames/s  0:23 left"
std::string progressText(int done, int total, double seconds);

// Thread safe, since diagnostics may come from the plug-in's threads.
class Console {
  public:
    // `logFile` may be empty. Throws RunError when it cannot be written.
    Console(bool quiet, bool strict, const std::string& logFile);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // A rule of the interface that the plug-in broke: into the log, and unless it is a mere note or probe, once for
    // each text to the user.
    void diagnostic(const ofxhost::Diagnostic& diagnostic);
    void log(const std::string& line);
    void warn(const std::string& line);  // to the standard error, unless quiet, and into the log
    void tell(const std::string& line);  // to the standard output, likewise
    // A line that the plug-in wrote to the standard error stream: into the log, and shown if it is to be.
    void pluginLine(const std::string& line, bool show);
    // Throws RunError when the command is strict and the plug-in has broken a rule.
    void requireClean() const;

    void beginFrames(int total);
    void frameDone(int frame, const std::string& file, double seconds);
    void endFrames();                      // ends the bar's line
    void report(const std::string& text);  // a result: to the standard output, whatever else is quiet

  private:
    void print(const std::string& line);
    void printAlways(const std::string& line);
    void drawBar();
    void clearBar();

    bool m_quiet, m_strict, m_terminal;
    mutable std::mutex m_mutex;
    std::ofstream m_log;
    std::map<std::string, int> m_seen;  // diagnostics by text
    int m_problems = 0, m_total = 0, m_done = 0;
    bool m_barShown = false;
    std::chrono::steady_clock::time_point m_start;
};

}  // namespace quillon
