#include "host/check/import_hooks.h"

#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <malloc.h>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>
#include <unordered_map>

namespace bundlecheck {

namespace {

std::atomic<long> calls{0}, refused{0}, firstRefused{0};
std::atomic<bool> refusesOnwards{false};

// Never destroyed: the library may free at any time. Its own memory comes from this program's allocator, past the
// hooks.
struct Live {
    std::mutex mutex;
    std::unordered_map<void*, std::size_t> blocks;
    std::size_t bytes = 0;
};
Live& live() {
    static Live* const table = new Live;
    return *table;
}

bool refuse() {
    const long call = ++calls;
    const long first = firstRefused;
    if (first == 0 || (refusesOnwards ? call < first : call != first)) return false;
    ++refused;
    return true;
}

void* taken(void* block, std::size_t bytes) {
    if (!block) return nullptr;
    Live& table = live();
    const std::lock_guard lock(table.mutex);
    table.blocks[block] = bytes;
    table.bytes += bytes;
    return block;
}

// Its size, 0 when it was not known.
std::size_t given(void* block) {
    Live& table = live();
    const std::lock_guard lock(table.mutex);
    const auto found = table.blocks.find(block);
    if (found == table.blocks.end()) return 0;  // the C library's own, such as a strdup
    const std::size_t bytes = found->second;
    table.bytes -= bytes;
    table.blocks.erase(found);
    return bytes;
}

void* noMemory() {
    errno = ENOMEM;
    return nullptr;
}

// ---- In place of the imported functions -------------------------------------------------------------------------

void* hookedMalloc(std::size_t size) { return refuse() ? noMemory() : taken(std::malloc(size), size); }
void* hookedCalloc(std::size_t count, std::size_t size) {
    return refuse() ? noMemory() : taken(std::calloc(count, size), count * size);
}
void* hookedRealloc(void* block, std::size_t size) {
    if (refuse()) return noMemory();
    const std::size_t before = block ? given(block) : 0;
    void* const moved = std::realloc(block, size);
    if (!moved && size > 0) {
        taken(block, before);  // it is still there
        return nullptr;
    }
    return taken(moved, size);
}
void* hookedAlignedAlloc(std::size_t alignment, std::size_t size) {
    return refuse() ? noMemory() : taken(std::aligned_alloc(alignment, size), size);
}
void* hookedMemalign(std::size_t alignment, std::size_t size) {
    return refuse() ? noMemory() : taken(::memalign(alignment, size), size);
}
int hookedPosixMemalign(void** result, std::size_t alignment, std::size_t size) {
    if (refuse()) return ENOMEM;
    const int status = ::posix_memalign(result, alignment, size);
    if (status == 0) taken(*result, size);
    return status;
}
void hookedFree(void* block) {
    if (block) given(block);
    std::free(block);
}
void* hookedMmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
    if (refuse()) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    void* mapping = ::mmap(address, size, protection, flags, file, offset);
    if (mapping != MAP_FAILED) taken(mapping, size);
    return mapping;
}
int hookedMunmap(void* address, std::size_t size) {
    given(address);
    return ::munmap(address, size);
}

void* orThrow(void* block) {
    if (!block) throw std::bad_alloc();
    return block;
}
// Arrays keep to their own operators: a sanitizer tells the two apart.
template <bool array, class... Extra>
void* makeNew(std::size_t size, Extra... extra) {
    if constexpr (array)
        return ::operator new[](size, extra...);
    else
        return ::operator new(size, extra...);
}
template <bool array, class... Extra>
void makeDelete(void* block, Extra... extra) {
    if (block) given(block);
    if constexpr (array)
        ::operator delete[](block, extra...);
    else
        ::operator delete(block, extra...);
}

template <bool array>
struct Operators {
    static void* plain(std::size_t size) { return orThrow(refuse() ? nullptr : taken(makeNew<array>(size), size)); }
    static void* aligned(std::size_t size, std::align_val_t alignment) {
        return orThrow(refuse() ? nullptr : taken(makeNew<array>(size, alignment), size));
    }
    static void* orNull(std::size_t size, const std::nothrow_t&) noexcept {
        return refuse() ? nullptr : taken(makeNew<array>(size, std::nothrow), size);
    }
    static void* alignedOrNull(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
        return refuse() ? nullptr : taken(makeNew<array>(size, alignment, std::nothrow), size);
    }
    static void release(void* block) noexcept { makeDelete<array>(block); }
    static void releaseSized(void* block, std::size_t) noexcept { makeDelete<array>(block); }
    static void releaseAligned(void* block, std::align_val_t alignment) noexcept {
        makeDelete<array>(block, alignment);
    }
    static void releaseSizedAligned(void* block, std::size_t, std::align_val_t alignment) noexcept {
        makeDelete<array>(block, alignment);
    }
};
using One = Operators<false>;
using Many = Operators<true>;

struct Redirect {
    std::string_view name;  // as the symbol table has it
    void* function;
};

template <class Function>
void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

const Redirect redirects[] = {
    {"malloc", address(hookedMalloc)},
    {"calloc", address(hookedCalloc)},
    {"realloc", address(hookedRealloc)},
    {"aligned_alloc", address(hookedAlignedAlloc)},
    {"memalign", address(hookedMemalign)},
    {"posix_memalign", address(hookedPosixMemalign)},
    {"free", address(hookedFree)},
    {"mmap", address(hookedMmap)},
    {"mmap64", address(hookedMmap)},
    {"munmap", address(hookedMunmap)},
    {"_Znwm", address(One::plain)},
    {"_ZnwmSt11align_val_t", address(One::aligned)},
    {"_ZnwmRKSt9nothrow_t", address(One::orNull)},
    {"_ZnwmSt11align_val_tRKSt9nothrow_t", address(One::alignedOrNull)},
    {"_ZdlPv", address(One::release)},
    {"_ZdlPvm", address(One::releaseSized)},
    {"_ZdlPvSt11align_val_t", address(One::releaseAligned)},
    {"_ZdlPvmSt11align_val_t", address(One::releaseSizedAligned)},
    {"_Znam", address(Many::plain)},
    {"_ZnamSt11align_val_t", address(Many::aligned)},
    {"_ZnamRKSt9nothrow_t", address(Many::orNull)},
    {"_ZnamSt11align_val_tRKSt9nothrow_t", address(Many::alignedOrNull)},
    {"_ZdaPv", address(Many::release)},
    {"_ZdaPvm", address(Many::releaseSized)},
    {"_ZdaPvSt11align_val_t", address(Many::releaseAligned)},
    {"_ZdaPvmSt11align_val_t", address(Many::releaseSizedAligned)},
};

// ---- The slots --------------------------------------------------------------------------------------------------

// The dynamic section of a loaded library, as the loader uses it.
class LoadedLibrary {
  public:
    explicit LoadedLibrary(const dl_phdr_info& info) : m_base(info.dlpi_addr) {
        for (int i = 0; i < info.dlpi_phnum; ++i) {
            const ElfW(Phdr)& header = info.dlpi_phdr[i];
            if (header.p_type == PT_DYNAMIC) m_dynamic = reinterpret_cast<const ElfW(Dyn)*>(m_base + header.p_vaddr);
            if (header.p_type == PT_GNU_RELRO) m_sealed = header.p_vaddr, m_sealedSize = header.p_memsz;
        }
    }

    int redirectAll() {
        if (!m_dynamic) return 0;
        readDynamic();
        unseal(PROT_READ | PROT_WRITE);
        const int slots = redirectTable(m_calls, m_callsSize) + redirectTable(m_data, m_dataSize);
        unseal(PROT_READ);
        return slots;
    }

  private:
    void readDynamic() {
        for (const ElfW(Dyn)* entry = m_dynamic; entry->d_tag != DT_NULL; ++entry) {
            const auto pointer = entry->d_un.d_ptr;  // glibc has added the base
            if (entry->d_tag == DT_JMPREL) m_calls = reinterpret_cast<const ElfW(Rela)*>(pointer);
            if (entry->d_tag == DT_PLTRELSZ) m_callsSize = entry->d_un.d_val;
            if (entry->d_tag == DT_RELA) m_data = reinterpret_cast<const ElfW(Rela)*>(pointer);
            if (entry->d_tag == DT_RELASZ) m_dataSize = entry->d_un.d_val;
            if (entry->d_tag == DT_SYMTAB) m_symbols = reinterpret_cast<const ElfW(Sym)*>(pointer);
            if (entry->d_tag == DT_STRTAB) m_names = reinterpret_cast<const char*>(pointer);
        }
    }
    // Slots bound at load lie in pages that the loader has made read-only.
    void unseal(int protection) const {
        if (m_sealedSize == 0) return;
        const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
        const std::uintptr_t start = (m_base + m_sealed) / page * page;
        const std::uintptr_t end = (m_base + m_sealed + m_sealedSize) / page * page;
        ::mprotect(reinterpret_cast<void*>(start), end - start, protection);
    }
    int redirectTable(const ElfW(Rela) * table, std::size_t size) const {
        int slots = 0;
        for (std::size_t i = 0; table && i < size / sizeof *table; ++i) {
            const auto kind = ELF64_R_TYPE(table[i].r_info);
            if (kind != R_X86_64_JUMP_SLOT && kind != R_X86_64_GLOB_DAT && kind != R_X86_64_64) continue;
            const ElfW(Sym)& symbol = m_symbols[ELF64_R_SYM(table[i].r_info)];
            if (symbol.st_shndx != SHN_UNDEF) continue;  // the library's own
            const std::string_view name = m_names + symbol.st_name;
            for (const Redirect& redirect : redirects) {
                if (redirect.name != name) continue;
                std::memcpy(reinterpret_cast<void*>(m_base + table[i].r_offset), &redirect.function, sizeof(void*));
                ++slots;
            }
        }
        return slots;
    }

    ElfW(Addr) m_base;
    const ElfW(Dyn) * m_dynamic = nullptr;
    const ElfW(Rela) * m_calls = nullptr;
    const ElfW(Rela) * m_data = nullptr;
    const ElfW(Sym) * m_symbols = nullptr;
    const char* m_names = nullptr;
    std::size_t m_callsSize = 0, m_dataSize = 0, m_sealed = 0, m_sealedSize = 0;
};

struct Search {
    std::filesystem::path library;
    int slots = 0;
};

int visit(dl_phdr_info* info, std::size_t, void* data) {
    auto& search = *static_cast<Search*>(data);
    std::error_code error;
    if (!info->dlpi_name || !*info->dlpi_name || !std::filesystem::equivalent(info->dlpi_name, search.library, error))
        return 0;
    search.slots += LoadedLibrary(*info).redirectAll();
    return 1;
}

}  // namespace

Allocations::Allocations(const std::filesystem::path& library) {
    Search search{library};
    dl_iterate_phdr(visit, &search);
    m_slots = search.slots;
    reset();
}

Allocations::~Allocations() { reset(); }

void Allocations::reset() {
    firstRefused = 0;
    calls = 0;
    refused = 0;
}

void Allocations::refuse(long first, bool onwards) {
    reset();
    refusesOnwards = onwards;
    firstRefused = first;
}

AllocationCounts Allocations::counts() {
    Live& table = live();
    const std::lock_guard lock(table.mutex);
    return {calls, refused, static_cast<long>(table.blocks.size()), table.bytes};
}

}  // namespace bundlecheck
