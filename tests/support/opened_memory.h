// Memory of a ProtectedDevice, as a plug-in gets it.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace support {

// It may be touched while this lives.
class OpenedMemory {
  public:
    OpenedMemory(const void* memory, std::size_t bytes) {
        const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
        const auto from = reinterpret_cast<std::uintptr_t>(memory);
        const std::uintptr_t first = from / page * page, end = (from + bytes + page - 1) / page * page;
        m_start = reinterpret_cast<void*>(first);
        m_bytes = bytes ? end - first : 0;
        if (m_bytes) ::mprotect(m_start, m_bytes, PROT_READ | PROT_WRITE);
    }
    ~OpenedMemory() {
        if (m_bytes) ::mprotect(m_start, m_bytes, PROT_NONE);
    }
    OpenedMemory(const OpenedMemory&) = delete;
    OpenedMemory& operator=(const OpenedMemory&) = delete;

  private:
    void* m_start;
    std::size_t m_bytes;
};

}  // namespace support
