// The k7_malloc family: wrappers around the C heap that record every live block while tracking is on.
#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "k7pi_baselib/image_blocks.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/memory_log.h"
#include "k7pi_baselib/memory_tracker.h"

namespace {

std::mutex s_mutex;  // guards the tables and the two switches below
bool s_enabled = true, s_tracking = false;
std::atomic<bool> s_active{false};  // enabled and tracking: the one switch every call tests
std::atomic<bool> s_trace{false};

constinit TrackerTable s_normal{"NORMAL"};
constinit TrackerTable s_image{"IMAGE"};

bool active() { return s_active.load(std::memory_order_relaxed); }
TrackerTable& table_of(bool image) { return image ? s_image : s_normal; }
const char* family(bool image) { return image ? "k7_image_" : "k7_"; }
const char* known(const char* file) { return file ? file : ""; }

struct Caller {
    const char* file;
    int line;
    bool traced() const { return line != 0 && s_trace.load(std::memory_order_relaxed); }
};

[[gnu::format(printf, 2, 3)]] void say(int level, const char* format, ...) {
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    memory_log(level, text);
}

// Holds the manager's lock and charges the time it is held to a table.
class TrackedCall {
  public:
    explicit TrackedCall(TrackerTable& table) : m_lock(s_mutex), m_table(table), m_start(monotonic_seconds()) {}
    ~TrackedCall() { m_table.elapsed += monotonic_seconds() - m_start; }
    TrackedCall(const TrackedCall&) = delete;
    TrackedCall& operator=(const TrackedCall&) = delete;

  private:
    std::lock_guard<std::mutex> m_lock;
    TrackerTable& m_table;
    double m_start;
};

std::uintptr_t address_of(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

void* allocate(std::size_t size, bool zeroed) { return zeroed ? std::calloc(1, size) : std::malloc(size); }

constexpr std::size_t WORDS = 8;

// Large page-aligned image blocks come from the pool. Their lead is a whole page, which the heap never gives.
bool pooled(std::size_t size, std::size_t alignment, bool image) {
    return image && alignment == page_size() && size >= SMALLEST_IMAGE_BLOCK;
}

char* take_aligned(std::size_t size, std::size_t alignment, bool image, bool zeroed) {
    if (pooled(size, alignment, image))
        if (void* block = image_block_take(size + alignment, zeroed)) return static_cast<char*>(block);
    // From calloc, which knows when the kernel's pages are zero already.
    void* start = allocate(size + alignment + WORDS, zeroed);
    if (start && !zeroed) std::memset(start, 0, 2 * WORDS);  // not to be taken for the pool's
    return static_cast<char*>(start);
}

void give_aligned(char* start, std::size_t lead, std::size_t size, bool image) {
    if (lead == page_size() && pooled(size, lead, image) && image_block_give(start)) return;
    std::free(start);
}

std::uint32_t word_before(const void* pointer, std::ptrdiff_t bytes) {
    std::uint32_t word;
    std::memcpy(&word, static_cast<const char*>(pointer) - bytes, sizeof word);
    return word;
}

void* tracked_malloc(bool image, std::size_t size, bool zeroed, Caller caller) {
    if (size == 0) {
        say(TRACE_ERROR, "K7-HM-DEBUG: %smalloc( size=0 ) attempted! [%s(%d)]\n", family(image), known(caller.file),
            caller.line);
        return nullptr;
    }
    TrackerTable& table = table_of(image);
    const TrackedCall call(table);
    void* pointer = allocate(size, zeroed);
    if (pointer) table.insert(address_of(pointer), size, 0, caller.file, caller.line);
    if (caller.traced())
        say(TRACE_INFO, "K7-HM-TRACE: %smalloc(%zu) ret (%p) at [%s(%d)]\n", family(image), size, pointer,
            known(caller.file), caller.line);
    return pointer;
}

// Frees a block the table knows. A block with a lead is the aligned allocation's and nobody else's, and the other
// way round: the heap would be handed an address that it never gave out.
void tracked_free(bool image, void* pointer, bool aligned, Caller caller) {
    if (!pointer) {
        say(TRACE_ERROR, "K7-HM-DEBUG: %sfree( NULL ) attempted! [%s(%d)]\n", family(image), known(caller.file),
            caller.line);
        return;
    }
    TrackerTable& table = table_of(image);
    const TrackedCall call(table);
    const TrackedBlock* found = table.find(address_of(pointer));
    if (!found || (found->lead != 0) != aligned) {
        say(TRACE_ERROR, "K7-HM-DEBUG: %sfree(%p) attempted - but %p is not allocated! [%s(%d)]\n", family(image),
            pointer, pointer, known(caller.file), caller.line);
        return;
    }
    const TrackedBlock block = *found;
    if (aligned)
        give_aligned(static_cast<char*>(pointer) - block.lead, block.lead, word_before(pointer, 8), image);
    else
        std::free(pointer);
    table.remove(block.address);
    if (caller.traced()) {
        say(TRACE_INFO, "K7-HM-TRACE: %sfree(%p) at [%s(%d)].\n", family(image), reinterpret_cast<void*>(block.address),
            known(caller.file), caller.line);
        say(MEMORY_LOG_CONTINUATION, "            Alloc at [%s(%d)], size %zu\n", block.file, block.line, block.size);
    }
}

void* tracked_realloc(void* pointer, std::size_t size, Caller caller) {
    if (size == 0) {
        say(TRACE_ERROR, "K7-HM-DEBUG: k7_realloc( size=0 ) attempted! [%s(%d)]\n", known(caller.file), caller.line);
        return nullptr;
    }
    const TrackedCall call(s_normal);
    const std::uintptr_t before = address_of(pointer);
    const TrackedBlock* found = s_normal.find(before);
    if (pointer && (!found || found->lead != 0)) {
        say(TRACE_ERROR, "K7-HM-DEBUG: k7_realloc(%p,%zu) attempted - but %p is not allocated!  [%s(%d)]\n", pointer,
            size, pointer, known(caller.file), caller.line);
        return nullptr;
    }
    char former[24];  // as text: after realloc() the pointer itself may not even be printed
    std::snprintf(former, sizeof former, "%p", pointer);
    void* moved = std::realloc(pointer, size);
    if (moved) {
        if (before) s_normal.remove(before);
        s_normal.insert(address_of(moved), size, 0, caller.file, caller.line);
    }
    if (caller.traced())
        say(TRACE_INFO, "K7-HM-TRACE: k7_realloc(%s,%zu) ret (%p) at [%s(%d)]\n", former, size, moved,
            known(caller.file), caller.line);
    return moved;
}

char* tracked_strdup(const char* text, Caller caller) {
    if (!text) {
        say(TRACE_ERROR, "K7-HM-DEBUG: k7_strdup( NULL ) attempted! [%s(%d)]\n", known(caller.file), caller.line);
        return nullptr;
    }
    const TrackedCall call(s_normal);
    char* copy = strdup(text);
    if (copy) s_normal.insert(address_of(copy), std::strlen(text) + 1, 0, caller.file, caller.line);
    if (caller.traced())
        say(TRACE_INFO, "K7-HM-TRACE: k7_strdup(%p) ret (%p) at [%s(%d)]\n", static_cast<const void*>(text),
            static_cast<void*>(copy), known(caller.file), caller.line);
    return copy;
}

}  // namespace

void k7_memory_set_enabled(bool on) {
    const std::lock_guard lock(s_mutex);
    s_enabled = on;
    s_active.store(s_enabled && s_tracking, std::memory_order_relaxed);
}

void k7_memory_set_tracking(bool on) {
    const std::lock_guard lock(s_mutex);
    s_tracking = on;
    s_active.store(s_enabled && s_tracking, std::memory_order_relaxed);
}

void k7_memory_set_trace(bool on) { s_trace.store(on, std::memory_order_relaxed); }
bool k7_memory_tracking() { return active(); }

void* k7_malloc(std::size_t size, const char* file, int line) {
    if (!active()) [[likely]]
        return std::malloc(size);
    return tracked_malloc(false, size, false, {file, line});
}

void* k7_calloc(std::size_t count, std::size_t size, const char* file, int line) {
    std::size_t total;
    if (__builtin_mul_overflow(count, size, &total)) return nullptr;
    if (!active()) [[likely]]
        return std::calloc(count, size);
    return tracked_malloc(false, total, true, {file, line});
}

void* k7_realloc(void* pointer, std::size_t size, const char* file, int line) {
    if (!active()) [[likely]]
        return std::realloc(pointer, size);
    return tracked_realloc(pointer, size, {file, line});
}

char* k7_strdup(const char* text, const char* file, int line) {
    if (!active()) [[likely]]
        return text ? strdup(text) : nullptr;
    return tracked_strdup(text, {file, line});
}

void k7_free(void* pointer, const char* file, int line) {
    if (!active()) [[likely]]
        return std::free(pointer);
    tracked_free(false, pointer, false, {file, line});
}

void* k7_image_malloc(std::size_t size, const char* file, int line) {
    if (!active()) [[likely]]
        return std::malloc(size);
    return tracked_malloc(true, size, false, {file, line});
}

void k7_image_free(void* pointer, const char* file, int line) {
    if (!active()) [[likely]]
        return std::free(pointer);
    tracked_free(true, pointer, false, {file, line});
}

// ---- Aligned blocks -----------------------------------------------------------------------------------------------
//
// Before the result stand two 32-bit words: at -4 the offset back to the heap's block, at -8 the size asked for.

namespace {

constexpr std::size_t LARGEST_ALIGNED = 0x7fffffff;
void* place_aligned(char* start, std::size_t size, std::size_t alignment, std::uint32_t& lead) {
    const std::uintptr_t first = address_of(start) + WORDS;
    lead = static_cast<std::uint32_t>(WORDS + (alignment - first % alignment) % alignment);
    char* result = start + lead;
    const auto size_word = static_cast<std::uint32_t>(size);
    std::memcpy(result - 4, &lead, sizeof lead);  // an odd alignment leaves the words unaligned
    std::memcpy(result - 8, &size_word, sizeof size_word);
    return result;
}

void* tracked_aligned_malloc(bool image, std::size_t size, std::size_t alignment, bool zeroed, Caller caller) {
    TrackerTable& table = table_of(image);
    const TrackedCall call(table);
    const std::size_t whole = size + alignment + WORDS;
    void* result = nullptr;
    if (char* start = take_aligned(size, alignment, image, zeroed)) {
        std::uint32_t lead;
        result = place_aligned(start, size, alignment, lead);
        // Known by the address that the caller has, so that a second free is refused before anything is read there.
        table.insert(address_of(result), whole, lead, caller.file, caller.line);
    }
    if (caller.traced())
        say(TRACE_INFO, "K7-HM-TRACE: %smalloc(%zu) ret (%p) at [%s(%d)]\n", family(image), whole, result,
            known(caller.file), caller.line);
    return result;
}

}  // namespace

namespace {

void* aligned_malloc(std::size_t size, int alignment, bool image, bool zeroed, Caller caller) {
    if (size > LARGEST_ALIGNED) return nullptr;
    const std::size_t step =
        alignment < 4 ? std::max<std::size_t>(page_size(), 512) : static_cast<std::size_t>(alignment);
    if (active()) [[unlikely]]
        return tracked_aligned_malloc(image, size, step, zeroed, caller);
    char* start = take_aligned(size, step, image, zeroed);
    std::uint32_t lead;
    return start ? place_aligned(start, size, step, lead) : nullptr;
}

}  // namespace

void* k7_aligned_malloc(std::size_t size, int alignment, bool image, const char* file, int line) {
    return aligned_malloc(size, alignment, image, true, {file, line});
}

void* k7_aligned_malloc_uncleared(std::size_t size, int alignment, bool image, const char* file, int line) {
    return aligned_malloc(size, alignment, image, false, {file, line});
}

void k7_aligned_free(void* pointer, bool image, const char* file, int line) {
    if (active()) [[unlikely]]
        return tracked_free(image, pointer, true, {file, line});
    if (!pointer) return;
    const std::uint32_t lead = word_before(pointer, 4);
    give_aligned(static_cast<char*>(pointer) - lead, lead, word_before(pointer, 8), image);
}

// ---- Report -------------------------------------------------------------------------------------------------------

namespace {

void report_block(int number, const TrackedBlock& block) {
    say(MEMORY_LOG_CONTINUATION, "%6d: %p, %zu %48s %6d\n", number, reinterpret_cast<void*>(block.address), block.size,
        block.file, block.line);
}

// Six decimals without printf, whose decimal point is the host's choice of locale.
void report_elapsed(double seconds) {
    const auto microseconds = static_cast<unsigned long long>(seconds * 1e6 + 0.5);
    say(MEMORY_LOG_CONTINUATION, "Elapsed time in allocator: %llu.%06llus\n", microseconds / 1000000,
        microseconds % 1000000);
}

}  // namespace

void k7_memory_report(MemoryTable which, bool dump) {
    if (!active()) {
        say(TRACE_INFO, "K7-HM-DEBUG: Debug mode not set. Statistics not available.\n");
        return;
    }
    const std::lock_guard lock(s_mutex);
    const TrackerTable& table = table_of(which == MemoryTable::Image);
    say(TRACE_INFO, "%s MEMORY ALLOCATOR REPORT\n", table.name);
    say(MEMORY_LOG_CONTINUATION, "Hash table collisions: %zu\n", table.collisions);
    say(MEMORY_LOG_CONTINUATION, "Total allocation calls: %zu\n", table.alloc_calls);
    say(MEMORY_LOG_CONTINUATION, "Total free calls: %zu\n", table.free_calls);
    say(MEMORY_LOG_CONTINUATION, "Blocks currently allocated: %zu\n", table.alloc_calls - table.free_calls);
    say(MEMORY_LOG_CONTINUATION, "Total size now allocated: %zu\n", table.current_size);
    say(MEMORY_LOG_CONTINUATION, "Peak size allocated: %zu\n", table.peak_size);
    say(MEMORY_LOG_CONTINUATION, "Internal error state: %d\n", table.internal_error);
    report_elapsed(table.elapsed);
    if (!dump) return;
    say(MEMORY_LOG_CONTINUATION, "DUMP OF CURRENTLY ALLOCATED BLOCKS\n");
    int number = 0;
    table.each([&](const TrackedBlock& block) { report_block(++number, block); });
    say(MEMORY_LOG_CONTINUATION, "END OF ALLOCATION REPORT\n");
}

MemoryStatistics k7_memory_statistics(MemoryTable which) {
    const std::lock_guard lock(s_mutex);
    const TrackerTable& table = table_of(which == MemoryTable::Image);
    return {table.collisions, table.alloc_calls,    table.free_calls, table.current_size,
            table.peak_size,  table.internal_error, table.elapsed};
}
