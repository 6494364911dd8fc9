// A bundle's own calls into the C library, seen and refused on the way: the slots through which a loaded library calls
// imported functions are pointed at functions of ours. The host's own calls go on as before.
#pragma once

#include <cstddef>
#include <filesystem>

namespace bundlecheck {

struct AllocationCounts {
    long calls = 0;       // allocations asked for since reset()
    long refused = 0;     // of these
    long liveBlocks = 0;  // allocated by the library since it was hooked, and not freed by it
    std::size_t liveBytes = 0;
};

// The allocations of one loaded library: malloc and its relatives, operator new, mmap. Process-wide; at most one object
// at a time, made while no thread of the library runs.
class Allocations {
  public:
    explicit Allocations(const std::filesystem::path& library);  // that dlopen has loaded
    ~Allocations();                                              // counts on, but refuses nothing
    Allocations(const Allocations&) = delete;
    Allocations& operator=(const Allocations&) = delete;

    bool hooked() const { return m_slots > 0; }  // false: the library imports no allocation function
    void reset();                                // the counts of calls, and nothing is refused
    // From now on the `first`th allocation fails, and with `onwards` all later ones too.
    void refuse(long first, bool onwards);
    static AllocationCounts counts();

  private:
    int m_slots = 0;
};

}  // namespace bundlecheck
