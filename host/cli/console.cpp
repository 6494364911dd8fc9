#include "host/cli/console.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "host/cli/failure.h"

namespace quillon {

namespace {

constexpr int BarWidth = 24;

std::string rateText(double rate) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g frames/s", rate);
    return text;
}

std::string secondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", seconds);
    return text;
}

}  // namespace

std::string durationText(double seconds) {
    const auto total = static_cast<long long>(std::ceil(std::clamp(seconds, 0.0, 3.6e9)));
    const auto twoDigits = [](long long n) { return (n < 10 ? "0" : "") + std::to_string(n); };
    const std::string hours = total >= 3600 ? std::to_string(total / 3600) + ":" : "";
    const long long minutes = total / 60 % 60;
    return hours + (hours.empty() ? std::to_string(minutes) : twoDigits(minutes)) + ":" + twoDigits(total % 60);
}

std::string progressText(int done, int total, double seconds) {
    const int filled = total > 0 ? static_cast<int>(static_cast<long long>(done) * BarWidth / total) : 0;
    std::string text = "[" + std::string(static_cast<std::size_t>(filled), '#') +
                       std::string(static_cast<std::size_t>(BarWidth - filled), '-') + "]  " + std::to_string(done) +
                       "/" + std::to_string(total);
    if (done > 0 && seconds > 0.0)
        text += "  " + rateText(done / seconds) + "  " + durationText(seconds / done * (total - done)) + " left";
    return text;
}

Console::Console(bool quiet, bool strict, const std::string& logFile)
    : m_quiet(quiet), m_strict(strict), m_terminal(::isatty(STDERR_FILENO) == 1) {
    if (logFile.empty()) return;
    m_log.open(logFile, std::ios::trunc);
    if (!m_log) throw RunError("cannot write the log " + logFile);
}

Console::~Console() {
    const std::lock_guard lock(m_mutex);
    clearBar();
    for (const auto& [text, times] : m_seen)
        if (times > 1) print("quillon: (" + std::to_string(times) + " times) " + text);
}

void Console::diagnostic(const ofxhost::Diagnostic& diagnostic) {
    const std::lock_guard lock(m_mutex);
    const std::string text = toText(diagnostic);
    if (m_log) m_log << text << std::endl;
    if (diagnostic.severity <= ofxhost::Severity::Probe) return;
    ++m_problems;
    if (++m_seen[text] == 1) print("quillon: plug-in: " + text);
}

void Console::log(const std::string& line) {
    const std::lock_guard lock(m_mutex);
    if (m_log) m_log << line << std::endl;
}

void Console::warn(const std::string& line) {
    const std::lock_guard lock(m_mutex);
    if (m_log) m_log << line << std::endl;
    print("quillon: " + line);
}

void Console::tell(const std::string& line) {
    const std::lock_guard lock(m_mutex);
    if (m_log) m_log << line << std::endl;
    if (m_quiet) return;
    clearBar();
    std::cout << line << std::endl;
    drawBar();
}

void Console::pluginLine(const std::string& line, bool show) {
    const std::lock_guard lock(m_mutex);
    if (m_log) m_log << line << std::endl;
    if (show) printAlways(line);
}

void Console::requireClean() const {
    const std::lock_guard lock(m_mutex);
    if (m_strict && m_problems > 0)
        throw RunError("the plug-in broke the rules of the interface (" + std::to_string(m_problems) +
                       (m_problems == 1 ? " time), which --strict forbids" : " times), which --strict forbids"));
}

void Console::beginFrames(int total) {
    const std::lock_guard lock(m_mutex);
    m_total = total;
    m_start = std::chrono::steady_clock::now();
    drawBar();
}

void Console::frameDone(int frame, const std::string& file, double seconds) {
    const std::lock_guard lock(m_mutex);
    ++m_done;
    const std::string line = "frame " + std::to_string(frame) + "  " + file + "  " + secondsText(seconds);
    if (m_log) m_log << line << std::endl;
    if (!m_quiet && !m_terminal) std::cout << line << std::endl;
    drawBar();
}

void Console::endFrames() {
    const std::lock_guard lock(m_mutex);
    if (m_barShown) std::cerr << std::endl;
    m_barShown = false;
}

void Console::report(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    if (m_log) m_log << text << std::flush;
    std::cout << text << std::flush;
}

void Console::print(const std::string& line) {
    if (!m_quiet) printAlways(line);
}

void Console::printAlways(const std::string& line) {
    const bool bar = m_barShown;
    clearBar();
    std::cerr << line << std::endl;
    if (bar) drawBar();
}

void Console::drawBar() {
    if (m_quiet || !m_terminal) return;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
    std::cerr << "\r\033[K" << progressText(m_done, m_total, elapsed.count()) << std::flush;
    m_barShown = true;
}

void Console::clearBar() {
    if (m_barShown) std::cerr << "\r\033[K" << std::flush;
    m_barShown = false;
}

}  // namespace quillon
