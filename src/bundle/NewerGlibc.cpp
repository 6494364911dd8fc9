// What the C++ runtime and the headers of a newer system ask glibc for, defined for systems whose glibc is older. The
// bundle is linked against stubs of the older one (cmake/QuillonGlibc.cmake) and finds these inside itself.
#include <dlfcn.h>
#include <link.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>

extern "C" {

// glibc 2.32: true lets shared pointers count without atomic operations. Hosts have threads.
char __libc_single_threaded = 0;

// glibc 2.36: std::random_device, which the runtime holds though nobody draws from it.
std::uint32_t arc4random() noexcept {
    std::uint32_t bits = 0;
    while (getrandom(&bits, sizeof bits, 0) != static_cast<ssize_t>(sizeof bits)) {
    }
    return bits;
}

// glibc 2.33: before, these were inline functions over the following.
int __xstat(int version, const char* path, struct stat* result) noexcept;
int __lxstat(int version, const char* path, struct stat* result) noexcept;
int __fxstat(int version, int file, struct stat* result) noexcept;

#ifdef __x86_64__
static constexpr int STAT_VERSION = 1;
#else
static constexpr int STAT_VERSION = 0;
#endif
int stat(const char* path, struct stat* result) noexcept { return __xstat(STAT_VERSION, path, result); }
int lstat(const char* path, struct stat* result) noexcept { return __lxstat(STAT_VERSION, path, result); }
int fstat(int file, struct stat* result) noexcept { return __fxstat(STAT_VERSION, file, result); }
int stat64(const char* path, struct stat64* result) noexcept {
    return stat(path, reinterpret_cast<struct stat*>(result));
}
int lstat64(const char* path, struct stat64* result) noexcept {
    return lstat(path, reinterpret_cast<struct stat*>(result));
}
int fstat64(int file, struct stat64* result) noexcept { return fstat(file, reinterpret_cast<struct stat*>(result)); }
static_assert(sizeof(struct stat) == sizeof(struct stat64));

// glibc 2.38: C23 reads binary literals too, nothing else differs. Under names of our own, as <cstdlib> gives those of
// its functions the newer ones.
long olderStrtol(const char* text, char** end, int base) noexcept __asm__("strtol");
unsigned long olderStrtoul(const char* text, char** end, int base) noexcept __asm__("strtoul");
long __isoc23_strtol(const char* text, char** end, int base) noexcept { return olderStrtol(text, end, base); }
unsigned long __isoc23_strtoul(const char* text, char** end, int base) noexcept {
    return olderStrtoul(text, end, base);
}
long __isoc23_strtoll(const char* text, char** end, int base) noexcept { return olderStrtol(text, end, base); }
unsigned long __isoc23_strtoull(const char* text, char** end, int base) noexcept {
    return olderStrtoul(text, end, base);
}
static_assert(sizeof(long) == sizeof(long long));

// Of no age: a library's own copy, which glibc hands out in an archive beside it.
extern void* __dso_handle;
int __cxa_atexit(void (*function)(void*), void* argument, void* library) noexcept;
int atexit(void (*function)()) {
    return __cxa_atexit(reinterpret_cast<void (*)(void*)>(function), nullptr, &__dso_handle);
}

#ifdef DLFO_STRUCT_HAS_EH_DBASE
// glibc 2.35: the unwinder of GCC 12 and later asks which library an address is in. The loaded libraries are walked, as
// older unwinders do.
static_assert(DLFO_STRUCT_HAS_EH_DBASE == 0 && DLFO_STRUCT_HAS_EH_COUNT == 0);

struct Search {
    std::uintptr_t address;
    dl_find_object* result;
};

static int containsAddress(dl_phdr_info* library, std::size_t, void* argument) {
    const auto& search = *static_cast<const Search*>(argument);
    bool inside = false;
    const void* frames = nullptr;
    for (int i = 0; i < library->dlpi_phnum; ++i) {
        const ElfW(Phdr)& part = library->dlpi_phdr[i];
        const std::uintptr_t first = library->dlpi_addr + part.p_vaddr;
        if (part.p_type == PT_GNU_EH_FRAME) frames = reinterpret_cast<const void*>(first);
        if (part.p_type != PT_LOAD || search.address < first || search.address >= first + part.p_memsz) continue;
        inside = true;
        search.result->dlfo_map_start = reinterpret_cast<void*>(first);
        search.result->dlfo_map_end = reinterpret_cast<void*>(first + part.p_memsz);
    }
    if (!inside || !frames) return 0;
    search.result->dlfo_flags = 0;
    search.result->dlfo_link_map = nullptr;
    search.result->dlfo_eh_frame = const_cast<void*>(frames);
    return 1;
}

int _dl_find_object(void* address, dl_find_object* result) noexcept {
    Search search{reinterpret_cast<std::uintptr_t>(address), result};
    return dl_iterate_phdr(&containsAddress, &search) == 1 ? 0 : -1;
}
#endif

}  // extern "C"
