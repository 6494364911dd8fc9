// What the loader of a machine without CUDA sees of a library that has our GPU code in it.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "host/check/elf_file.h"
#include "k7pi_baselib/temporary_home.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

std::string loaded_libraries() {
    std::ifstream maps("/proc/self/maps");
    return {std::istreambuf_iterator<char>(maps), {}};
}

class GpuLibrary : public TemporaryHome {};

TEST_F(GpuLibrary, NeedsAndShowsNothingOfCuda) {
    if (QUILLON_SANITIZED) GTEST_SKIP() << "sanitizers bring symbols and libraries of their own";
    const bundlecheck::ElfFacts library = bundlecheck::readElf(GPU_MODULE);
    EXPECT_THAT(library.exported, Contains("gpu_module_available"));
    EXPECT_THAT(library.exported, Not(Contains(HasSubstr("cu"))));
    EXPECT_THAT(library.libraries,
                testing::IsSubsetOf({"libc.so.6", "libm.so.6", "libdl.so.2", "libpthread.so.0", "librt.so.1",
                                     "ld-linux-x86-64.so.2", "ld-linux-aarch64.so.1"}));
#ifdef QUILLON_GLIBC_STUBS
    for (const bundlecheck::NeededVersion& version : library.versions)
        EXPECT_TRUE(bundlecheck::withinBaseline(version.version)) << version.library << " " << version.version;
#endif
}

TEST_F(GpuLibrary, AsksForTheDriverWhenFirstNeeded) {
    ScopedEnvironment disable("CUDA_DISABLE", "yes");
    void* library = dlopen(GPU_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(library) << dlerror();
    const auto available = reinterpret_cast<int (*)()>(dlsym(library, "gpu_module_available"));
    ASSERT_TRUE(available);
    EXPECT_EQ(available(), 0);
    EXPECT_THAT(loaded_libraries(), Not(HasSubstr("libcuda.so")));
    EXPECT_EQ(dlclose(library), 0);
}

}  // namespace
