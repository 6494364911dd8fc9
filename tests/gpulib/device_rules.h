// What a device demands of those who use it, for runtimes that stand in for one: memory that only it can reach, limits
// of launches, threads in no order. All inline; addresses of memory are told apart across copies of this in a process.
#pragma once

#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <numeric>
#include <string>

#include "gpulib/gpulib_runtime.h"
#include "support/sanitizers.h"

namespace device_rules {

// ---- Memory ---------------------------------------------------------------------------------------------------

// Device memory lies in addresses of its own, which two numbers side by side hardly look like, and which the thread
// sanitizer leaves to programs.
inline constexpr std::uintptr_t FIRST = threadSanitizer ? 0x10'0000'0000 : 0x3e3d'0000'0000;
inline constexpr std::uintptr_t LAST = FIRST + (threadSanitizer ? 0x60'0000'0000 : 0x100'0000'0000);
inline constexpr std::size_t PAGE = 4096, ALIGNMENT = 256;

inline std::uintptr_t address(const void* memory) { return reinterpret_cast<std::uintptr_t>(memory); }
inline bool is_of_device(std::uintptr_t at) { return at >= FIRST && at < LAST; }
inline bool is_mapped(std::uintptr_t at) {
    unsigned char resident = 0;
    return mincore(reinterpret_cast<void*>(at / PAGE * PAGE), 1, &resident) == 0;
}

inline std::size_t up_to(std::size_t bytes, std::size_t unit) { return (bytes + unit - 1) / unit * unit; }
inline std::size_t pages_of(std::size_t bytes) { return up_to(up_to(bytes, ALIGNMENT), PAGE); }

// Pages of its own with nothing behind them, the block at their end: what reads or writes behind it, or uses it when it
// is released, ends the process. It holds anything, as a device's memory does. Null where there is none.
inline void* allocate(std::size_t bytes) {
    static std::atomic<std::uintptr_t> next{FIRST};
    const std::size_t pages = pages_of(bytes);
    for (int tries = 0; tries < 1000; ++tries) {
        std::uintptr_t at = next.fetch_add(pages + PAGE);
        if (at + pages + PAGE > LAST) {
            next = FIRST;
            continue;
        }
        void* const mapped = mmap(reinterpret_cast<void*>(at), pages, PROT_READ | PROT_WRITE,
                                  MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
        if (mapped == MAP_FAILED) continue;
        if (mapped == reinterpret_cast<void*>(at))
            return static_cast<unsigned char*>(std::memset(mapped, 0xa5, pages)) + pages - up_to(bytes, ALIGNMENT);
        munmap(mapped, pages);
    }
    return nullptr;
}

inline void release(void* memory, std::size_t bytes) {
    munmap(reinterpret_cast<void*>(address(memory) / PAGE * PAGE), pages_of(bytes));
}

// ---- Launches -------------------------------------------------------------------------------------------------

inline GpuStatus status_of(const GpuShape& shape) {
    const bool sound = shape.threads_x >= 1 && shape.threads_x <= 1024 && shape.threads_y >= 1 &&
                       shape.threads_y <= 1024 && shape.threads_x * shape.threads_y <= 1024 && shape.blocks_x >= 1 &&
                       shape.blocks_x <= 0x7fffffff && shape.blocks_y >= 1 && shape.blocks_y <= 65535;
    return sound ? GPU_SUCCESS : GPU_INVALID_CONFIGURATION;
}

// What is wrong with arguments; nothing: "". Pointers point to memory of the device where `is_there(address)`, and are
// aligned. Structures are searched for words that are addresses of the host's memory, or of a device's that is gone.
template <class IsThere>
std::string fault_of(const GpuFunction& kernel, void** arguments, IsThere&& is_there) {
    std::string fault;
    const auto tell = [&](std::size_t number, const std::string& what) {
        if (fault.empty()) fault = "argument " + std::to_string(number) + " of a kernel " + what;
    };
    for (std::size_t n = 0; n < kernel.parameters.size(); ++n) {
        const GpuParameter& parameter = kernel.parameters[n];
        for (std::size_t at = 0; at + sizeof(std::uintptr_t) <= parameter.bytes; at += sizeof(std::uintptr_t)) {
            std::uintptr_t word = 0;
            std::memcpy(&word, static_cast<const unsigned char*>(arguments[n]) + at, sizeof word);
            const bool pointer = parameter.alignment > 0;
            // The address sanitizer's shadow memory ends there (sanitizer documentation, "AddressSanitizerAlgorithm").
            constexpr std::uintptr_t lowest = addressSanitizer ? 0x1000'7fff'8000 : 0x100'0000'0000;
            constexpr std::uintptr_t end = std::uintptr_t{1} << 47;
            if (word == 0 || (!pointer && (word < lowest || word >= end))) continue;
            if (is_of_device(word) ? !is_there(word) : pointer || is_mapped(word))
                tell(n, is_of_device(word) ? "points to memory that is freed" : "points to memory of the host");
            if (pointer && word % parameter.alignment) tell(n, "is not aligned");
        }
    }
    return fault;
}

// Numbers in [0, count) in a scattered order: each one once.
class Scattered {
  public:
    explicit Scattered(std::uint64_t count) : m_count(count), m_step(count * 5 / 8 | 1) {
        while (std::gcd(m_step, m_count) != 1) m_step += 2;
    }
    std::uint64_t operator()(std::uint64_t i) const { return (i * m_step + m_count / 3) % m_count; }
    std::uint64_t count() const { return m_count; }

  private:
    std::uint64_t m_count, m_step;
};

// A launch, block by block: any number of threads may take them from it. Whole blocks, as on a device, so that threads
// beyond the picture run too.
class Blocks {
  public:
    explicit Blocks(const GpuShape& shape)
        : m_shape(shape),
          m_blocks(std::uint64_t{shape.blocks_x} * shape.blocks_y),
          m_threads(std::uint64_t{shape.threads_x} * shape.threads_y) {}

    std::uint64_t threads() const { return m_blocks.count() * m_threads.count(); }

    void run(const std::function<void(GpuPlace)>& thread) {
        for (std::uint64_t i; (i = m_next.fetch_add(1)) < m_blocks.count();) {
            const auto block = static_cast<unsigned>(m_blocks(i));
            const unsigned left = block % m_shape.blocks_x * m_shape.threads_x,
                           top = block / m_shape.blocks_x * m_shape.threads_y;
            for (std::uint64_t j = 0; j < m_threads.count(); ++j) {
                const auto place = static_cast<unsigned>(m_threads(j));
                thread({static_cast<int>(left + place % m_shape.threads_x),
                        static_cast<int>(top + place / m_shape.threads_x)});
            }
        }
    }

  private:
    GpuShape m_shape;
    Scattered m_blocks, m_threads;
    std::atomic<std::uint64_t> m_next{0};
};

}  // namespace device_rules
