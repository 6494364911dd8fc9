#include "host/jaws/ghostscript.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

namespace jaws {

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

void limit(decltype(RLIMIT_CPU) resource, rlim_t most) {
    const rlimit limits{most, most};
    ::setrlimit(resource, &limits);
}

// What exec needs, made before fork: this process may have threads, and between the two nothing is allocated.
class Command {
  public:
    Command(const fs::path& program, const PageRequest& page, const std::string& home) {
        const auto number = [](int value) { return std::to_string(value); };
        m_words = {program.string(),
                   "-q",
                   "-dSAFER",
                   "-dBATCH",
                   "-dNOPAUSE",
                   "-dFIXEDMEDIA",
                   "-sDEVICE=png16malpha",
                   "-r" + number(72 * page.samples),
                   "-g" + number(page.width * page.samples) + "x" + number(page.height * page.samples),
                   "-dDownScaleFactor=" + number(page.samples),
                   "-sOutputFile=../page.png",  // a path of the user's could hold a percent sign
                   "-f",
                   "../job.ps"};
        m_settings = {"PATH=/usr/bin:/bin", "LC_ALL=C",     "HOME=" + home,
                      "TMPDIR=" + home,     "TEMP=" + home, "TMP=" + home};
        for (std::string& word : m_words) m_arguments.push_back(word.data());
        for (std::string& setting : m_settings) m_environment.push_back(setting.data());
        m_arguments.push_back(nullptr);
        m_environment.push_back(nullptr);
    }
    void exec() const { ::execve(m_arguments[0], m_arguments.data(), m_environment.data()); }

  private:
    std::vector<std::string> m_words, m_settings;
    std::vector<char*> m_arguments, m_environment;
};

// In the child: async-signal-safe calls only.
[[noreturn]] void become(const Command& command, const char* home, int input, int messages, const RunLimits& limits,
                         pid_t parent) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(127);
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) ::signal(signal, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    limit(RLIMIT_CPU, static_cast<rlim_t>(limits.seconds) + 1);
    limit(RLIMIT_AS, limits.memory);
    limit(RLIMIT_FSIZE, limits.file);
    limit(RLIMIT_NPROC, 0);
    limit(RLIMIT_NOFILE, 64);
    limit(RLIMIT_CORE, 0);
    if (::dup2(input, 0) < 0 || ::dup2(messages, 1) < 0 || ::dup2(messages, 2) < 0 || ::chdir(home) != 0) ::_exit(127);
    for (int descriptor = 3; descriptor < 1024; ++descriptor) ::close(descriptor);
    command.exec();
    ::_exit(127);
}

// Waits for the child; kills it, and what it may have started, when its time is up.
RunEnd await(pid_t child, double seconds, const std::function<bool()>& stop) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
    RunEnd end = RunEnd::Done;
    int status = 0;
    for (;;) {
        const pid_t waited = ::waitpid(child, &status, end == RunEnd::Done ? WNOHANG : 0);
        if (waited == child) break;
        if (waited < 0 && errno != EINTR) return RunEnd::Failed;
        if (waited < 0 || end != RunEnd::Done) continue;
        if (stop && stop())
            end = RunEnd::Stopped;
        else if (Clock::now() > deadline)
            end = RunEnd::TimedOut;
        if (end == RunEnd::Done)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        else if (::kill(-child, SIGKILL) != 0)
            ::kill(child, SIGKILL);
    }
    ::kill(-child, SIGKILL);
    if (end != RunEnd::Done) return end;
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU) return RunEnd::TimedOut;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? RunEnd::Done : RunEnd::Failed;
}

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor() {
        if (m_descriptor >= 0) ::close(m_descriptor);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return m_descriptor; }

  private:
    int m_descriptor;
};

}  // namespace

fs::path findGhostscript() {
    const char* path = std::getenv("PATH");
    std::string folders = path ? path : "/usr/bin:/bin";
    for (std::size_t at = 0; at < folders.size();) {
        const std::size_t end = std::min(folders.find(':', at), folders.size());
        const fs::path candidate = fs::path(folders.substr(at, end - at)) / "gs";
        if (candidate.is_absolute() && ::access(candidate.c_str(), X_OK) == 0) return candidate;
        at = end + 1;
    }
    return {};
}

RunEnd drawPage(const fs::path& program, const fs::path& folder, const PageRequest& page, const RunLimits& limits,
                const std::function<bool()>& stop) {
    const std::string home = (folder / "tmp").string();
    std::error_code error;
    if (!fs::create_directory(home, error)) return RunEnd::Failed;
    const Command command(program, page, home);
    const Descriptor input(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Descriptor messages(::open((folder / "messages").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (input < 0 || messages < 0) return RunEnd::Failed;
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) become(command, home.c_str(), input, messages, limits, parent);
    if (child < 0) return RunEnd::Failed;
    ::setpgid(child, child);
    return await(child, limits.seconds, stop);
}

}  // namespace jaws
