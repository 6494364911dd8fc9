// The trace log: levels, the line's form, the log file and its generations, the console.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/memory_log.h"
#include "k7pi_baselib/platform.h"
#include "k7pi_baselib/trace_clock.h"

namespace {

constexpr int GENERATIONS = 10;
constexpr long long ROTATION_SIZE = 5000000;  // bytes; a log above it is rotated when it is opened
constexpr std::size_t LONGEST_PATH = 260;
constexpr std::size_t LONGEST_RUN_NAME = 63;
constexpr const char* LABELS[] = {"NONE ", "ERROR", "WARN ", "INFO ", "DEBUG", "TRACE"};

// Everything below is constant-initialised and has no destructor: a trace line may come before the first and after
// the last constructor of the host, and an unloaded library leaves nothing to be run.
std::atomic<int> s_level{TRACE_INFO};
std::atomic<unsigned> s_epoch{0};  // counts the times the log was turned off
std::mutex s_mutex;                // guards what follows
std::FILE* s_log = nullptr;
std::FILE* s_console = nullptr;  // the terminal, opened at the first line that goes there
bool s_console_on = false, s_console_tried = false, s_repeat_all = false;
char s_run_name[LONGEST_RUN_NAME + 1] = "";
TraceClock s_clock;

struct LastLine {
    int level;
    unsigned epoch;
};
thread_local LastLine t_last{TRACE_NONE, 0};

bool is_written(int level) { return level >= TRACE_ERROR && level <= s_level.load(std::memory_order_relaxed); }

// ---- Where lines go -------------------------------------------------------------------------------------------

void write_to(std::FILE* stream, const char* line, std::size_t length) {
    std::fwrite(line, 1, length, stream);
    std::fflush(stream);
}

std::FILE* console_stream() {
    if (!s_console_tried) s_console = open_console_stream();
    s_console_tried = true;
    return s_console ? s_console : stderr;
}

// A line that reaches the terminal as standard error already is shown there twice only if all are to be repeated.
void write_to_console(const char* line, std::size_t length) {
    std::FILE* console = console_stream();
    if (!s_log && (console == stderr || (!s_repeat_all && standard_error_is_terminal()))) return;
    write_to(console, line, length);
}

void write_line(const char* line, std::size_t length) {
    write_to(s_log ? s_log : stderr, line, length);
    if (s_console_on) write_to_console(line, length);
}

// ---- The form of a line ---------------------------------------------------------------------------------------

std::size_t format_head(char* head, std::size_t size, int level, bool continuation) {
    int length;
    if (continuation) {
        length = std::snprintf(head, size, "(%s)                           : ", s_run_name);
    } else {
        const LocalTime time = s_clock.at(monotonic_seconds(), local_time);
        const int hundredths = static_cast<int>(time.seconds * 100);  // truncated: 59.999 s is not 60.00 s
        const auto two_digits = [](int value) { return std::clamp(value % 100, 0, 99); };
        length = std::snprintf(head, size, "(%s) %02d/%02d/%02d %02d:%02d:%02d.%02d %s: ", s_run_name,
                               two_digits(time.month), two_digits(time.day), two_digits(time.year), hundredths / 360000,
                               hundredths / 6000 % 60, hundredths / 100 % 60, hundredths % 100,
                               LABELS[std::min<int>(level, TRACE_TRACE)]);
    }
    return std::min(static_cast<std::size_t>(std::max(length, 0)), size - 1);
}

// A text of any length, on the stack unless it is long.
class FormattedText {
  public:
    [[gnu::format(printf, 2, 0)]] FormattedText(const char* format, std::va_list arguments) {
        std::va_list again;
        va_copy(again, arguments);
        const int length = std::vsnprintf(m_text + HEAD, TEXT, format, arguments);
        m_length = static_cast<std::size_t>(std::max(length, 0));
        if (m_length + 2 > TEXT) {
            if (auto* longer = static_cast<char*>(std::malloc(HEAD + m_length + 2))) {
                m_text = longer;
                std::vsnprintf(m_text + HEAD, m_length + 1, format, again);
            } else {
                m_length = TEXT - 2;
            }
        }
        va_end(again);
        if (m_length == 0 || m_text[HEAD + m_length - 1] != '\n') m_text[HEAD + m_length++] = '\n';
    }
    ~FormattedText() {
        if (m_text != m_stack) std::free(m_text);
    }
    FormattedText(const FormattedText&) = delete;
    FormattedText& operator=(const FormattedText&) = delete;

    // Head and text stand side by side, so that a stream gets the line in one write.
    void write_with_head(int level, bool continuation) {
        char head[HEAD];
        const std::lock_guard lock(s_mutex);
        const std::size_t size = format_head(head, sizeof head, level, continuation);
        char* line = m_text + HEAD - size;
        std::memcpy(line, head, size);
        write_line(line, size + m_length);
    }

  private:
    static constexpr std::size_t HEAD = 128, TEXT = 1024;
    char m_stack[HEAD + TEXT];
    char* m_text = m_stack;
    std::size_t m_length;
};
static_assert(LONGEST_RUN_NAME + 40 < 128, "the longest head fits");

[[gnu::format(printf, 3, 0)]] void write_trace(int level, bool continuation, const char* format,
                                               std::va_list arguments) {
    if (!format) return;
    const int kept_errno = errno;  // tracing must not disturb the caller it observes
    FormattedText(format, arguments).write_with_head(level, continuation);
    errno = kept_errno;
}

// ---- Generations ----------------------------------------------------------------------------------------------

// <stem>.log becomes <stem>.1.log, that becomes <stem>.2.log, and so on; the oldest is removed.
void rotate(const std::string& path, int generations) {
    const std::size_t name = path.rfind(PATH_SEP) + 1;  // 0 without a separator
    const std::size_t dot = path.rfind('.');
    const std::size_t stem = dot != std::string::npos && dot >= name ? dot : path.size();
    const auto generation = [&](int k) {
        return k == 0 ? path : path.substr(0, stem) + '.' + std::to_string(k) + path.substr(stem);
    };
    for (int k = generations; k >= 1; --k) {
        const std::string source = generation(k - 1), target = generation(k);
        if (!file_exists(source.c_str())) continue;
        if (file_exists(target.c_str()) && !remove_file(target.c_str())) return;
        if (std::rename(source.c_str(), target.c_str()) != 0) return;
    }
}

}  // namespace

// The memory manager stands below the log and speaks through this.
constinit MemoryLog memory_log = [](int level, const char* text) {
    if (level == MEMORY_LOG_CONTINUATION)
        TraceMore("%s", text);
    else
        Trace(level, "%s", text);
};

void SetTraceLevel(int level) {
    s_level.store(level, std::memory_order_relaxed);
    if (level == TRACE_OFF) s_epoch.fetch_add(1, std::memory_order_relaxed);
}

int GetTraceLevel() { return s_level.load(std::memory_order_relaxed); }

bool OpenLog(const char* run_name, bool append) {
    if (!run_name || !*run_name || std::strchr(run_name, PATH_SEP)) return false;
    if (!ensure_standard_directories()) return false;
    const std::string path = path_join(get_standard_directory(DIRECTORY_LOGS), run_name) + ".log";
    if (path.size() > LONGEST_PATH) return false;

    const std::lock_guard lock(s_mutex);
    std::snprintf(s_run_name, sizeof s_run_name, "%s", run_name);
    if (!append || file_size(path.c_str()) > ROTATION_SIZE) rotate(path, GENERATIONS);
    std::FILE* log = open_log_stream(path.c_str(), !append);
    if (!log) return false;
    if (s_log) std::fclose(s_log);
    s_log = log;
    return true;
}

void CloseLog() {
    const std::lock_guard lock(s_mutex);
    if (s_log) std::fclose(s_log);
    s_log = nullptr;
}

void SetConsole(bool on, bool repeat_all) {
    const std::lock_guard lock(s_mutex);
    s_console_on = on;
    s_repeat_all = repeat_all;
    if (on) return;
    if (s_console) std::fclose(s_console);
    s_console = nullptr;
    s_console_tried = false;
}

bool TraceIsKept() {
    const std::lock_guard lock(s_mutex);
    return s_log || s_console_on;
}

void Trace(int level, const char* format, ...) {
    t_last = {level, s_epoch.load(std::memory_order_relaxed)};
    if (!is_written(std::min<int>(level, TRACE_TRACE))) return;
    std::va_list arguments;
    va_start(arguments, format);
    write_trace(level, false, format, arguments);
    va_end(arguments);
}

void TraceMore(const char* format, ...) {
    const bool pending = t_last.epoch == s_epoch.load(std::memory_order_relaxed);
    if (!pending || !is_written(std::min<int>(t_last.level, TRACE_TRACE))) return;
    std::va_list arguments;
    va_start(arguments, format);
    write_trace(t_last.level, true, format, arguments);
    va_end(arguments);
}

void TraceInfo(const char* format, ...) {
    if (!is_written(TRACE_INFO)) return;
    std::va_list arguments;
    va_start(arguments, format);
    write_trace(TRACE_INFO, true, format, arguments);
    va_end(arguments);
}
