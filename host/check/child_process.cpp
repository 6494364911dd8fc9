#include "host/check/child_process.h"

#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "host/core/bundle.h"

namespace bundlecheck {

namespace {

constexpr int exitOfException = 81;
using Clock = std::chrono::steady_clock;

void writeAll(int descriptor, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(descriptor, bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
}

// ---- Faults, told in words --------------------------------------------------------------------------------------

struct WatchedMemory {
    std::atomic<const std::byte*> start{nullptr};
    std::atomic<std::size_t> size{0};
    char name[64] = {};
};
WatchedMemory watched[64];

// Only what a signal handler may call: no allocation, no formatting of the library's.
struct FaultText {
    char text[256];
    std::size_t length = 0;

    FaultText& add(const char* part) {
        const std::size_t count = std::min(std::strlen(part), sizeof text - 1 - length);
        std::memcpy(text + length, part, count);
        length += count;
        return *this;
    }
    FaultText& add(std::uint64_t number) {
        char digits[21];
        char* at = digits + 20;
        *at = '\0';
        do *--at = static_cast<char>('0' + number % 10);
        while (number /= 10);
        return add(at);
    }
};

void tellPlace(FaultText& text, const std::byte* address) {
    constexpr std::ptrdiff_t near = 4096;  // one guard page
    for (const WatchedMemory& memory : watched) {
        const std::byte* start = memory.start;
        if (!start) continue;
        const std::ptrdiff_t offset = address - start, size = static_cast<std::ptrdiff_t>(memory.size.load());
        if (offset < -near || offset >= size + near) continue;
        if (offset < 0) {
            text.add(static_cast<std::uint64_t>(-offset)).add(" bytes before");
        } else if (offset >= size) {
            text.add(static_cast<std::uint64_t>(offset - size)).add(" bytes behind");
        } else {
            text.add("a write to");
        }
        text.add(" the pixels of ").add(memory.name).add("; ");
        return;
    }
}

void onFault(int signal, siginfo_t* info, void*) {
    FaultText text;
    text.add("FAULT ");
    if (signal == SIGSEGV || signal == SIGBUS) tellPlace(text, static_cast<const std::byte*>(info->si_addr));
    if (const ofxhost::PlaceInBundle place = ofxhost::placeInBundle(); place.action) {
        text.add("in ").add(place.action);
        if (place.effect) text.add(" of ").add(place.effect);
        text.add("; ");
    }
    text.add("calls:\n");
    writeAll(STDERR_FILENO, text.text, text.length);
    void* frames[24];
    ::backtrace_symbols_fd(frames, ::backtrace(frames, 24), STDERR_FILENO);
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

[[maybe_unused]] void catchFaults() {
    static std::byte stack[64 * 1024];  // a stack that has run over can't serve its own handler
    stack_t alternative{};
    alternative.ss_sp = stack;
    alternative.ss_size = sizeof stack;
    ::sigaltstack(&alternative, nullptr);
    void* warmUp[1];
    ::backtrace(warmUp, 1);  // its first call allocates
    struct sigaction action {};
    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) ::sigaction(signal, &action, nullptr);
}

void limit(int resource, rlim_t value) {
    const rlimit both{value, value};
    ::setrlimit(static_cast<__rlimit_resource>(resource), &both);
}

void setLimits(const Limits& limits) {
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_CPU, static_cast<rlim_t>(limits.seconds * 4.0) + 1);
#ifndef QUILLON_SANITIZED
    if (limits.memory != Limits::anyMemory) limit(RLIMIT_AS, limits.memory);
#endif
}

}  // namespace

void watchMemory(const void* start, std::size_t size, const char* name) {
    for (WatchedMemory& memory : watched) {
        if (memory.start.load()) continue;
        memory.size = size;
        std::strncpy(memory.name, name, sizeof memory.name - 1);
        memory.start = static_cast<const std::byte*>(start);
        return;
    }
}

void forgetMemory(const void* start) {
    for (WatchedMemory& memory : watched)
        if (memory.start.load() == start) memory.start = nullptr;
}

// ---- The child --------------------------------------------------------------------------------------------------

void Sender::send(MessageKind kind, const std::string& text) const {
    const auto length = static_cast<std::uint32_t>(text.size());
    std::string packet(1, static_cast<char>(kind));
    packet.append(reinterpret_cast<const char*>(&length), sizeof length).append(text);
    writeAll(m_descriptor, packet.data(), packet.size());
}

void ChildProcess::runChild(const Work& work, const Limits& limits, int pipe, int output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) ::signal(signal, SIG_DFL);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    setLimits(limits);
    // A driver would need more address space than the child has.
    if (limits.memory != Limits::anyMemory) ::setenv("CUDA_DISABLE", "yes", 1);
    if (!limits.scratch.empty()) {
        for (const char* name : {"HOME", "TMPDIR", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
            ::setenv(name, limits.scratch.c_str(), 1);
        ::setenv("JAWS_DISABLE", "yes", 1);  // Q_Jaws would wait a minute for its service in each frame
    }
    workAsChild(work, pipe);
}

void workAsChild(const ChildProcess::Work& work, int pipe) {
#ifndef QUILLON_SANITIZED
    catchFaults();
#endif
    const Sender sender(pipe);
    int code = 0;
    try {
        work(sender);
        sender.send(MessageKind::Done, "");
    } catch (const std::exception& error) {
        sender.send(MessageKind::Step, std::string("exception: ") + error.what());
        code = exitOfException;
    }
    ::_exit(code);
}

ChildProcess::Work becoming(const std::filesystem::path& program, std::vector<std::string> words, std::string input) {
    return [=](const Sender& sender) {
        const int file = ::memfd_create("input", 0);
        writeAll(file, input.data(), input.size());
        ::lseek(file, 0, SEEK_SET);
        ::dup2(file, STDIN_FILENO);
        ::fcntl(sender.descriptor(), F_SETFD, 0);  // the pipe stays open
        std::vector<std::string> all = {program.string()};
        all.insert(all.end(), words.begin(), words.end());
        all.push_back(std::to_string(sender.descriptor()));
        std::vector<char*> arguments;
        for (std::string& word : all) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        ::execv(program.c_str(), arguments.data());
        throw std::runtime_error(program.string() + " can't be run: " + std::strerror(errno));
    };
}

// ---- The parent -------------------------------------------------------------------------------------------------

ChildProcess::ChildProcess(const Work& work, const Limits& limits)
    : m_seconds(limits.seconds),
      m_deadline(Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(m_seconds))) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe: " + std::string(std::strerror(errno)));
    m_output = ::memfd_create("output", MFD_CLOEXEC);
    m_child = ::fork();
    if (m_child == 0) {
        ::close(ends[0]);
        runChild(work, limits, ends[1], m_output);
    }
    ::close(ends[1]);
    m_pipe = ends[0];
    if (m_child < 0) {
        ::close(m_pipe);
        ::close(m_output);
        throw std::runtime_error("no process: " + std::string(std::strerror(errno)));
    }
    ::fcntl(m_pipe, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess() {
    if (m_end == End::Running) {
        ::kill(m_child, SIGKILL);
        reap();
    }
    ::close(m_pipe);
    ::close(m_output);
}

void ChildProcess::reap() {
    while (::waitpid(m_child, &m_status, 0) < 0 && errno == EINTR) {
    }
}

ChildProcess::End ChildProcess::advance() {
    if (m_end != End::Running) return m_end;
    char bytes[16384];
    for (;;) {
        const ssize_t count = ::read(m_pipe, bytes, sizeof bytes);
        if (count > 0) {
            m_buffer.append(bytes, static_cast<std::size_t>(count));
            continue;
        }
        takeMessages();
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && Clock::now() < m_deadline) return End::Running;
        const bool closed = count == 0;
        if (!closed) ::kill(m_child, SIGKILL);
        reap();
        const bool done = !m_messages.empty() && m_messages.back().kind == MessageKind::Done;
        m_end = !closed                                                     ? End::TimedOut
                : done && WIFEXITED(m_status) && WEXITSTATUS(m_status) == 0 ? End::Finished
                                                                            : End::Died;
        return m_end;
    }
}

void ChildProcess::takeMessages() {
    std::uint32_t length;
    std::size_t at = 0;
    while (m_buffer.size() - at >= 1 + sizeof length) {
        std::memcpy(&length, m_buffer.data() + at + 1, sizeof length);
        if (m_buffer.size() - at < 1 + sizeof length + length) break;
        m_messages.push_back({static_cast<MessageKind>(m_buffer[at]), m_buffer.substr(at + 1 + sizeof length, length)});
        at += 1 + sizeof length + length;
    }
    m_buffer.erase(0, at);
}

std::string ChildProcess::lastStep() const {
    const auto found = std::find_if(m_messages.rbegin(), m_messages.rend(),
                                    [](const Message& message) { return message.kind == MessageKind::Step; });
    return found == m_messages.rend() ? "the start" : found->text;
}

std::string ChildProcess::output() const {
    constexpr off_t most = 64 * 1024;
    const off_t size = ::lseek(m_output, 0, SEEK_END);
    const off_t from = std::max<off_t>(0, size - most);
    std::string text(static_cast<std::size_t>(std::max<off_t>(0, size - from)), '\0');
    const ssize_t count = ::pread(m_output, text.data(), text.size(), from);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
}

std::string ChildProcess::deathText() const {
    if (m_end == End::TimedOut) return "no end after " + std::to_string(static_cast<int>(m_seconds + 0.5)) + " s";
    if (WIFSIGNALED(m_status)) {
        const int signal = WTERMSIG(m_status);
        return "killed by signal " + std::to_string(signal) + " (" + ::strsignal(signal) + ")";
    }
    if (WEXITSTATUS(m_status) == exitOfException) return "an exception";
    return "ended with exit code " + std::to_string(WEXITSTATUS(m_status));
}

void waitForAny(const std::vector<ChildProcess*>& children, double seconds) {
    std::vector<pollfd> descriptors;
    for (const ChildProcess* child : children) descriptors.push_back({child->descriptor(), POLLIN, 0});
    ::poll(descriptors.data(), descriptors.size(), static_cast<int>(seconds * 1000.0));
}

}  // namespace bundlecheck
