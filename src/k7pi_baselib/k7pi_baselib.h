// k7pi_baselib: the floor under everything. Directories, variables, trace log, timers, tracked memory, platform.
//
// Knows nothing of OFX, images or effects. Functions answer with a pointer, a bool or a small number; nothing throws.
// Texts are UTF-8; paths have PATH_SEP between components.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <source_location>
#include <string>
#include <string_view>

// ---- Directories ----------------------------------------------------------------------------------------------
//
// The home directory holds Settings/Variables and Logs. It is looked up at every call: the environment's
// K7BM_HOME_DIR (shorter than 1024 bytes), else Brindlemoor/QuillonVanes under the user's data directory
// ($XDG_DATA_HOME or $HOME/.local/share), else /opt/Brindlemoor/QuillonVanes.

inline constexpr char PATH_SEP = '/';

enum StandardDirectory : int {
    DIRECTORY_HOME = 69,
    DIRECTORY_SETTINGS = 70,
    DIRECTORY_VARIABLES = 71,
    DIRECTORY_LOGS = 73,
};

std::string get_home_directory();                    // without a trailing separator
std::string get_standard_directory(int number);      // empty for a number that names none
bool ensure_standard_directories();                  // creates the four; false when one cannot be had
std::string GetHostPlatformSpecificHomeDirectory();  // <parent of home>/Quillon-OFX
std::string GetHostPlatformSpecificDataDirectory();  // <parent of home>/Quillon-OFX/data
std::string bundle_resources();                      // Contents/Resources of the bundle this library is part of
// A file of the data directory, the user's own or else the one of the bundle.
std::string data_file(const std::string& name);

// ---- Variables ------------------------------------------------------------------------------------------------
//
// One file a variable in Settings/Variables: a 32-bit little-endian length n, then n bytes (the terminating zero
// included where the writer stored it). A file shorter than it says counts as absent.

inline constexpr std::size_t VARIABLE_BUFFER_SIZE = 260;

char* GetVariable(const char* name);                    // null when absent; the caller frees with k7_free
char* GetVariableInto(const char* name, char* buffer);  // null for values of 260 bytes or more; null: a static buffer

// What all readers use: the store's value, else the process environment's, else the fallback.
std::string read_variable(const char* name, std::string_view fallback = {});
bool read_variable_is_yes(const char* name);  // "yes", ignoring case
int read_variable_integer(const char* name, int fallback = 0);

// ---- Trace log ------------------------------------------------------------------------------------------------
//
// A line is written when its level is at or below the current one (initially INFO). Without an open log lines go to
// the process's standard error stream. Safe to call from any thread; a line is written whole.

enum TraceLevel : int {
    TRACE_OFF = -1,
    TRACE_NONE = 0,
    TRACE_ERROR = 1,
    TRACE_WARN = 2,
    TRACE_INFO = 3,
    TRACE_DEBUG = 4,
    TRACE_TRACE = 5,
};

void SetTraceLevel(int level);
int GetTraceLevel();
bool OpenLog(const char* run_name, bool append);  // Logs/<run name>.log, rotated over 10 generations: always when not
                                                  // appending, else above 5000000 bytes
void CloseLog();                                  // back to the standard error stream
void SetConsole(bool on, bool repeat_all);  // copies of all lines to the terminal; without repeat_all not of those
                                            // that reach it as the standard error stream already
bool TraceIsKept();  // lines go to a log or to the console, not merely into the host's standard error stream
[[gnu::format(printf, 2, 3)]] void Trace(int level, const char* format, ...);
[[gnu::format(printf, 1, 2)]] void TraceMore(const char* format,
                                             ...);  // continues the thread's last line, at its level
[[gnu::format(printf, 1, 2)]] void TraceInfo(const char* format, ...);  // continuation at level INFO

// ---- Timing ---------------------------------------------------------------------------------------------------
//
// Off unless the variable PERFMON says "yes". TimerStop writes "<label>: <ms> ms elapsed." at level INFO. Timers
// belong to the calling thread and nest: TimerStop pairs with the latest TimerStart.

void SetTiming(bool on);
bool GetTiming();
void TimerStart();
double TimerStop(const char* label);  // elapsed milliseconds, 0 when timing is off
double monotonic_seconds();

class StageTimer {  // times the scope it lives in
  public:
    explicit StageTimer(const char* label) : m_label(label) { TimerStart(); }
    ~StageTimer() { TimerStop(m_label); }
    StageTimer(const StageTimer&) = delete;
    StageTimer& operator=(const StageTimer&) = delete;

  private:
    const char* m_label;
};

// Two running sums of time spent on the processor and on the GPU.
void cpu_timer_start();
double cpu_timer_stop();  // milliseconds of this span, added to the sum
double cpu_timer_total();
void gpu_timer_start();
double gpu_timer_stop();
double gpu_timer_total();
void set_device_wait(void (*wait)());  // waits for the GPU to finish, so that a span holds its work; null: none

// ---- Memory ---------------------------------------------------------------------------------------------------
//
// Thin wrappers around the C heap. With tracking on every live block is recorded with its size and source line, in
// a table of its own for image pixels; a block allocated before tracking came on is then refused by the frees.

void k7_memory_set_enabled(bool on);  // off: tracking is bypassed altogether
void k7_memory_set_tracking(bool on);
void k7_memory_set_trace(bool on);  // one log line for every call
bool k7_memory_tracking();

void* k7_malloc(std::size_t size, const char* file, int line);
void* k7_calloc(std::size_t count, std::size_t size, const char* file, int line);  // null on overflow
void* k7_realloc(void* pointer, std::size_t size, const char* file, int line);
char* k7_strdup(const char* text, const char* file, int line);
void k7_free(void* pointer, const char* file, int line);
void* k7_image_malloc(std::size_t size, const char* file, int line);
void k7_image_free(void* pointer, const char* file, int line);

// Zeroed and aligned; an alignment below 4 means the page size. Null above 2^31 - 1 bytes. `image` records the block
// in the image table. Freed by k7_aligned_free only.
void* k7_aligned_malloc(std::size_t size, int alignment, bool image, const char* file, int line);
void k7_aligned_free(void* pointer, bool image, const char* file, int line);

// The same without the zeroes, for memory that is written before it is read.
void* k7_aligned_malloc_uncleared(std::size_t size, int alignment, bool image, const char* file, int line);
// Image memory of a megabyte and more is kept when it is freed, up to a limit, and given to the next image of its
// size: first touching a fresh 1920 x 1080 float picture costs more than most operations on it. This gives it back
// to the system.
void k7_image_blocks_release();

inline void* k7_malloc(std::size_t size, std::source_location at = std::source_location::current()) {
    return k7_malloc(size, at.file_name(), static_cast<int>(at.line()));
}
inline void k7_free(void* pointer, std::source_location at = std::source_location::current()) {
    k7_free(pointer, at.file_name(), static_cast<int>(at.line()));
}
inline void* k7_aligned_malloc(std::size_t size, int alignment, bool image,
                               std::source_location at = std::source_location::current()) {
    return k7_aligned_malloc(size, alignment, image, at.file_name(), static_cast<int>(at.line()));
}
inline void* k7_aligned_malloc_uncleared(std::size_t size, int alignment, bool image,
                                         std::source_location at = std::source_location::current()) {
    return k7_aligned_malloc_uncleared(size, alignment, image, at.file_name(), static_cast<int>(at.line()));
}
inline void k7_aligned_free(void* pointer, bool image, std::source_location at = std::source_location::current()) {
    k7_aligned_free(pointer, image, at.file_name(), static_cast<int>(at.line()));
}

enum class MemoryTable { Normal, Image };

struct MemoryStatistics {
    std::size_t collisions, alloc_calls, free_calls, current_size, peak_size;
    int internal_error;
    double elapsed;  // seconds inside the allocator
};

MemoryStatistics k7_memory_statistics(MemoryTable table);
void k7_memory_report(MemoryTable table, bool dump);  // into the trace log

// ---- Platform -------------------------------------------------------------------------------------------------
//
// The one place that differs between operating systems (platform_linux.cpp; a Windows build adds its own file).

bool file_exists(const char* path);  // a regular file
bool directory_exists(const char* path);
bool path_readable(const char* path);
bool path_writable(const char* path);
bool set_file_mode(const char* path, bool writable);  // read only, or readable and writable for its owner
long long file_size(const char* path);                // -1 when it is no regular file
bool remove_file(const char* path);
bool create_directories(const char* path);                 // all missing components, mode 0700
std::string path_directory(std::string_view path);         // what stands before the last separator; "/" for "/a"
std::string path_component(std::string_view path, int n);  // counted from 0; empty past the end
std::string path_join(std::string_view directory, std::string_view name);
// `pattern` is a user's: at most one integer conversion as for printf ("%d", "%04d", "%-4.4d", "%x"; widths and
// precisions of up to two digits), at most one "%s" for `base`, and "%%". Empty for anything else.
std::string frame_file_name(std::string_view directory, const char* pattern, int frame, std::string_view base = {});
void swap_bytes_32(void* words, std::size_t count);
void swap_bytes_16(void* words, std::size_t count);
void strip_line_end(char* text);  // drops trailing carriage returns and line feeds
void thread_sleep(int milliseconds);
int processor_count();  // those this process may run on, at least 1
std::size_t page_size();
unsigned long long physical_memory();   // bytes
unsigned long long available_memory();  // of them not in use, bytes
std::string make_uuid();               // version 4, lower case
std::string temporary_directory();     // TMP, then TMPDIR, then the system's
std::string temporary_name();          // in the temporary directory, from a fresh UUID
std::string module_path();             // path of the shared object (or program) this library is linked into
// A function of the process, or else of the first of the libraries that can be loaded; null when nobody has it.
void* find_symbol(const char* name, std::initializer_list<const char*> libraries);
bool open_address(
    const char* address);  // hands a URL to the desktop; false where there is none or it cannot be started
