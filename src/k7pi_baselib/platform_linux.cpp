// Everything that asks Linux itself. Another system adds a file beside this one and no caller changes.
#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <system_error>

#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/platform.h"
#include "k7pi_baselib/process.h"

// ---- Files and directories --------------------------------------------------------------------------------------

namespace {

bool status_of(const char* path, struct stat& status) { return path && ::stat(path, &status) == 0; }

// One component of a path that is being created. The mode is set again after mkdir, which subtracts the umask, but
// never on a directory that stood there before: it may be shared.
bool create_directory(const char* path) {
    constexpr mode_t owner_only = 0700;
    if (::mkdir(path, owner_only) == 0) return ::chmod(path, owner_only) == 0;
    const int error = errno;
    if (directory_exists(path)) return true;
    Trace(TRACE_ERROR, "Error creating directory %s : %s\n", path,
          std::error_code(error, std::generic_category()).message().c_str());
    return false;
}

}  // namespace

bool file_exists(const char* path) {
    struct stat status;
    return status_of(path, status) && S_ISREG(status.st_mode);
}

bool directory_exists(const char* path) {
    struct stat status;
    return status_of(path, status) && S_ISDIR(status.st_mode);
}

bool path_readable(const char* path) { return path && ::access(path, R_OK) == 0; }
bool path_writable(const char* path) { return path && ::access(path, W_OK) == 0; }

bool set_file_mode(const char* path, bool writable) {
    struct stat status;
    if (!status_of(path, status)) return false;
    const mode_t bits = status.st_mode & 07777;
    return ::chmod(path, writable ? (bits | S_IRUSR | S_IWUSR) : (bits & ~mode_t{S_IWUSR | S_IWGRP | S_IWOTH})) == 0;
}

long long file_size(const char* path) {
    struct stat status;
    return status_of(path, status) && S_ISREG(status.st_mode) ? static_cast<long long>(status.st_size) : -1;
}

bool remove_file(const char* path) { return path && ::unlink(path) == 0; }

bool create_directories(const char* path) {
    if (!path || !*path) return false;
    if (directory_exists(path)) return true;
    std::string so_far = path;
    for (std::size_t end = 1; end <= so_far.size(); ++end) {
        if (end < so_far.size() && so_far[end] != PATH_SEP) continue;
        if (so_far[end - 1] == PATH_SEP) continue;  // doubled or trailing separator
        const char kept = so_far[end];
        so_far[end] = '\0';
        const bool created = create_directory(so_far.c_str());
        so_far[end] = kept;
        if (!created) return false;
    }
    return true;
}

std::string temporary_directory() {
    for (const char* name : {"TMP", "TMPDIR"}) {
        const char* value = std::getenv(name);
        if (!value || !*value) continue;
        std::string directory = value;
        if (directory.size() > 1 && directory.back() == PATH_SEP) directory.pop_back();
        return directory;
    }
    return P_tmpdir;
}

// ---- Streams ------------------------------------------------------------------------------------------------------

std::FILE* open_log_stream(const char* path, bool truncate) {
    // Emptied first and then appended to, so that two processes with the same log never overwrite each other's lines.
    const int flags = O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | (truncate ? O_TRUNC : 0);
    const int descriptor = ::open(path, flags, 0666);
    if (descriptor < 0) return nullptr;
    std::FILE* stream = ::fdopen(descriptor, "a+");
    if (stream)
        std::setvbuf(stream, nullptr, _IONBF, 0);
    else
        ::close(descriptor);
    return stream;
}

std::FILE* open_console_stream() {
    const int descriptor = ::open("/dev/tty", O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) return nullptr;
    std::FILE* stream = ::fdopen(descriptor, "w");
    if (stream)
        std::setvbuf(stream, nullptr, _IONBF, 0);
    else
        ::close(descriptor);
    return stream;
}

bool standard_error_is_terminal() { return ::isatty(STDERR_FILENO) == 1; }

// ---- Clocks -------------------------------------------------------------------------------------------------------

double monotonic_seconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

LocalTime local_time() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    ::localtime_r(&now.tv_sec, &parts);
    return {parts.tm_mon + 1, parts.tm_mday, parts.tm_year + 1900,
            parts.tm_hour * 3600 + parts.tm_min * 60 + parts.tm_sec + 1e-9 * static_cast<double>(now.tv_nsec)};
}

void thread_sleep(int milliseconds) {
    if (milliseconds <= 0) return;
    timespec left{milliseconds / 1000, (milliseconds % 1000) * 1'000'000L};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

// ---- The machine --------------------------------------------------------------------------------------------------

// The processors this process may run on: a render farm pins its jobs to a share of the machine.
int process_id() { return ::getpid(); }

int processor_count() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (::sched_getaffinity(0, sizeof allowed, &allowed) == 0 && CPU_COUNT(&allowed) > 0) return CPU_COUNT(&allowed);
    const long online = ::sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 && online <= INT_MAX ? static_cast<int>(online) : 1;
}

std::size_t page_size() {
    const long size = ::sysconf(_SC_PAGESIZE);
    return size > 0 ? static_cast<std::size_t>(size) : 4096;
}

unsigned long long available_memory() {
    const long pages = ::sysconf(_SC_AVPHYS_PAGES);
    return pages > 0 ? static_cast<unsigned long long>(pages) * page_size() : 0;
}

unsigned long long physical_memory() {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    return pages > 0 ? static_cast<unsigned long long>(pages) * page_size() : 0;
}

namespace {

// Without the kernel's generator a name must still be unique, though it may be guessed: splitmix64 (Steele, Lea and
// Flood, 2014) over what differs between processes and calls.
void fill_from_clock(unsigned char* bytes, std::size_t count) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::uint64_t state = static_cast<std::uint64_t>(now.tv_nsec) ^ (static_cast<std::uint64_t>(now.tv_sec) << 30) ^
                          (static_cast<std::uint64_t>(::getpid()) << 44) ^ reinterpret_cast<std::uintptr_t>(&now);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint64_t mixed = state += 0x9e3779b97f4a7c15u;
        mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebu;
        bytes[i] = static_cast<unsigned char>(mixed >> 56);
    }
}

}  // namespace

std::string make_uuid() {
    std::array<unsigned char, 16> bytes{};
    ssize_t got;
    do got = ::getrandom(bytes.data(), bytes.size(), 0);
    while (got < 0 && errno == EINTR);
    if (got != static_cast<ssize_t>(bytes.size())) fill_from_clock(bytes.data(), bytes.size());
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40);  // version 4: random (RFC 4122)
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);

    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

std::string module_path() {
    static const char anchor = 0;
    Dl_info info{};
    if (!::dladdr(&anchor, &info) || !info.dli_fname) return {};
    // A program is known by its first argument, which is no path when it was found through PATH.
    const char* name = std::strchr(info.dli_fname, PATH_SEP) ? info.dli_fname : "/proc/self/exe";
    char* resolved = ::realpath(name, nullptr);
    std::string path = resolved ? resolved : info.dli_fname;
    std::free(resolved);
    return path;
}

void* platform_map_pages(std::size_t bytes, std::size_t alignment) {
    const std::size_t whole = bytes + alignment;
    void* start = ::mmap(nullptr, whole, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED) return nullptr;
    const auto address = reinterpret_cast<std::uintptr_t>(start);
    const std::uintptr_t aligned = (address + alignment - 1) & ~(std::uintptr_t(alignment) - 1);
    auto* result = static_cast<char*>(start) + (aligned - address);
    if (aligned != address) ::munmap(start, aligned - address);
    if (const std::size_t behind = address + whole - (aligned + bytes)) ::munmap(result + bytes, behind);
    ::madvise(result, bytes, MADV_HUGEPAGE);  // a wish: without it the pages are small
    return result;
}

void platform_unmap_pages(void* pages, std::size_t bytes) { ::munmap(pages, bytes); }

void* find_symbol(const char* name, std::initializer_list<const char*> libraries) {
    if (void* symbol = ::dlsym(RTLD_DEFAULT, name)) return symbol;
    for (const char* library : libraries)
        if (void* handle = ::dlopen(library, RTLD_LAZY | RTLD_LOCAL))
            if (void* symbol = ::dlsym(handle, name)) return symbol;  // stays loaded: its functions are kept
    return nullptr;
}

// ---- The desktop --------------------------------------------------------------------------------------------------

namespace {

// In the grandchild, between fork and exec of a process with threads: async-signal-safe calls only.
[[noreturn]] void become_browser_launcher(const char* address, int failure_pipe) {
    ::setsid();
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    const int null_device = ::open("/dev/null", O_RDWR);
    for (int stream = 0; null_device >= 0 && stream < 3; ++stream) ::dup2(null_device, stream);
#ifdef SYS_close_range
    constexpr unsigned close_on_exec = 4;  // CLOSE_RANGE_CLOEXEC; older kernels refuse, and the host's files leak
    ::syscall(SYS_close_range, 3u, ~0u, close_on_exec);
#endif
    char program[] = "xdg-open";
    char* const arguments[] = {program, const_cast<char*>(address), nullptr};
    ::execvp(program, arguments);
    const char failed = 1;
    [[maybe_unused]] const ssize_t told = ::write(failure_pipe, &failed, 1);
    ::_exit(127);
}

bool environment_has(const char* name) {
    const char* value = std::getenv(name);
    return value && *value;
}

}  // namespace

bool open_address(const char* address) {
    if (!address || !*address || *address == '-') return false;
    if (!environment_has("DISPLAY") && !environment_has("WAYLAND_DISPLAY")) return false;

    int failure[2];
    if (::pipe2(failure, O_CLOEXEC) != 0) return false;
    const pid_t child = ::fork();
    if (child == 0) {  // a second fork, so that init collects the launcher and the host sees no strange child
        const pid_t grandchild = ::fork();
        if (grandchild == 0) become_browser_launcher(address, failure[1]);
        ::_exit(grandchild < 0);
    }
    ::close(failure[1]);
    int status = 0;
    pid_t waited = -1;
    if (child > 0) {
        do waited = ::waitpid(child, &status, 0);
        while (waited < 0 && errno == EINTR);
    }
    // A host that ignores SIGCHLD has taken the child already; the pipe alone then tells.
    bool started = child > 0 && (waited < 0 || (WIFEXITED(status) && WEXITSTATUS(status) == 0));
    char byte;
    ssize_t got;
    do got = ::read(failure[0], &byte, 1);  // nothing to read: exec has closed the other end
    while (got < 0 && errno == EINTR);
    started = started && got == 0;
    ::close(failure[0]);
    return started;
}
