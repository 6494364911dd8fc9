#include "host/cli/plugin_output.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iostream>

#include "host/cli/console.h"
#include "host/cli/failure.h"
#include "host/cli/trace_line.h"
#include "host/core/bundle.h"

namespace quillon {

namespace {

#ifdef QUILLON_SANITIZED
constexpr bool RedirectsStream = false;
#else
constexpr bool RedirectsStream = true;
#endif

constexpr char Mark[] = "\x1e quillon: read until here";
constexpr char LogName[] = "/Brindlemoor_Quillon_ofx.log";

// Writes at once and unbuffered, as std::cerr does.
class DescriptorBuffer final : public std::streambuf {
  public:
    explicit DescriptorBuffer(int descriptor) : m_descriptor(descriptor) {}

  protected:
    int_type overflow(int_type c) override {
        const char one = traits_type::to_char_type(c);
        return traits_type::eq_int_type(c, traits_type::eof()) || xsputn(&one, 1) == 1 ? traits_type::not_eof(c)
                                                                                       : traits_type::eof();
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        std::streamsize done = 0;
        while (done < count) {
            const ssize_t written = ::write(m_descriptor, text + done, static_cast<std::size_t>(count - done));
            if (written < 0 && errno != EINTR) break;
            done += std::max<ssize_t>(written, 0);
        }
        return done;
    }

  private:
    int m_descriptor;
};

// ---- The end of the process -----------------------------------------------------------------------------------
// Known to the signal handler: the real stream, and whether the reader has come to the end.

constexpr int DeadlySignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
std::atomic<int> realStream{-1}, stopPipe{-1};
std::atomic<bool> readerDone{true};

void tellDeath(int stream, int signal) {
    const ofxhost::PlaceInBundle place = ofxhost::placeInBundle();
    if (!place.action) return;
    const char digits[] = {static_cast<char>('0' + signal / 10), static_cast<char>('0' + signal % 10), '\0'};
    for (const char* part : {"quillon: the bundle died by signal ", signal < 10 ? digits + 1 : digits, " in ",
                             place.action, place.effect ? " of " : "", place.effect ? place.effect : "", "\n"}) {
        [[maybe_unused]] const ssize_t written = ::write(stream, part, std::strlen(part));
    }
}

// The other thread still runs: it is given a moment to pass on what is in the pipe. Async-signal-safe calls only.
void dieAfterReading(int signal) {
    const int stream = realStream.load();
    if (stream >= 0) {
        ::dup2(stream, STDERR_FILENO);
        const char stop = 0;
        [[maybe_unused]] const ssize_t written = ::write(stopPipe.load(), &stop, 1);
        for (int i = 0; i < 200 && !readerDone.load(); ++i) {
            const timespec pause{0, 5'000'000};
            ::nanosleep(&pause, nullptr);
        }
    }
    tellDeath(stream >= 0 ? stream : STDERR_FILENO, signal);
    ::raise(signal);  // the handler was for one time: now the usual end
}

void catchDeadlySignals(bool on) {
    for (const int signal : DeadlySignals) {
        struct sigaction action {};
        action.sa_handler = on ? dieAfterReading : SIG_DFL;
        action.sa_flags = SA_RESETHAND | SA_NODEFER;
        struct sigaction before {};
        ::sigaction(signal, nullptr, &before);
        const bool ours = before.sa_handler == dieAfterReading;
        if (on ? before.sa_handler == SIG_DFL : ours) ::sigaction(signal, &action, nullptr);
    }
}

}  // namespace

PluginOutput::PluginOutput(Console& console, bool timing) : m_console(console) {
    if (timing) ::setenv("PERFMON", "yes", 1);
    if (!RedirectsStream && !timing) return;
    if (::pipe2(m_pipe, O_CLOEXEC) != 0) throw RunError("cannot make a pipe");
    if (RedirectsStream) redirect();
    readerDone = false;
    m_reader = std::thread([this] { read(); });
}

void PluginOutput::redirect() {
    m_realStream = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    if (m_realStream < 0) return;  // the program runs without that stream
    m_own = std::make_unique<DescriptorBuffer>(m_realStream);
    m_before = std::cerr.rdbuf(m_own.get());
    ::dup2(m_pipe[1], STDERR_FILENO);
    stopPipe = m_pipe[1];
    realStream = m_realStream;
    catchDeadlySignals(true);
}

PluginOutput::~PluginOutput() {
    if (m_realStream >= 0) {
        catchDeadlySignals(false);
        ::dup2(m_realStream, STDERR_FILENO);
    }
    if (m_reader.joinable()) {
        const char stop = 0;
        [[maybe_unused]] const ssize_t written = ::write(m_pipe[1], &stop, 1);
        m_reader.join();
    }
    if (m_realStream >= 0) {
        realStream = -1;
        std::cerr.rdbuf(m_before);
        ::close(m_realStream);
    }
    for (const int end : m_pipe)
        if (end >= 0) ::close(end);
}

// Until a zero byte comes: no text has one, and all that was written before it has been read then.
void PluginOutput::read() {
    std::string pending;
    char bytes[4096];
    for (bool more = true; more;) {
        const ssize_t count = ::read(m_pipe[0], bytes, sizeof bytes);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        const char* const stop = std::find(bytes, bytes + count, '\0');
        more = stop == bytes + count;
        pending.append(static_cast<const char*>(bytes), stop);
        for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            takeLine(std::string_view(pending).substr(0, end));
            pending.erase(0, end + 1);
        }
    }
    if (!pending.empty()) takeLine(pending);
    readerDone = true;
}

void PluginOutput::takeLine(std::string_view line) {
    if (line == Mark) {
        const std::lock_guard lock(m_mutex);
        ++m_marksRead;
        m_readOn.notify_all();
        return;
    }
    const auto trace = parseTraceLine(line);
    if (const auto time = trace ? parseStageTime(trace->text) : std::nullopt) {
        const std::lock_guard lock(m_mutex);
        auto stage =
            std::find_if(m_stages.begin(), m_stages.end(), [&](const auto& s) { return s.stage == time->stage; });
        if (stage == m_stages.end()) stage = m_stages.insert(stage, {time->stage});
        ++stage->times;
        stage->milliseconds += time->milliseconds;
    }
    m_showMore = !trace || trace->kind == TraceKind::Error || (trace->kind == TraceKind::More && m_showMore);
    m_console.pluginLine(std::string(line), m_showMore);
}

void PluginOutput::takeOverLog() {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
        if (!error && target.ends_with(LogName)) ::dup2(m_pipe[1], std::atoi(entry.path().filename().c_str()));
    }
}

void PluginOutput::waitUntilRead() {
    const std::string mark = std::string(Mark) + "\n";
    int wanted = 0;
    {
        const std::lock_guard lock(m_mutex);
        wanted = ++m_marksWritten;
    }
    // Not under the lock: the pipe may be full, and the reader takes the lock.
    if (::write(m_pipe[1], mark.data(), mark.size()) != static_cast<ssize_t>(mark.size())) return;
    std::unique_lock lock(m_mutex);
    m_readOn.wait_for(lock, std::chrono::seconds(5), [&] { return m_marksRead >= wanted; });
}

std::vector<StageTotal> PluginOutput::stages() {
    if (m_reader.joinable()) waitUntilRead();
    const std::lock_guard lock(m_mutex);
    return m_stages;
}

}  // namespace quillon
