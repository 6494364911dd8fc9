// What the loader of a machine without CUDA sees of a library that has our GPU code in it.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "gpulib/gpulib.h"
#include "host/check/elf_file.h"
#include "k7pi_baselib/temporary_home.h"
#include "support/run_command.h"
#include "support/sanitizers.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

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

// The test below runs this one in a process of its own, too.
TEST_F(GpuLibrary, LoadsAnswersAndUnloads) {
    void* library = dlopen(GPU_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(library) << dlerror();
    const auto available = reinterpret_cast<int (*)()>(dlsym(library, "gpu_module_available"));
    ASSERT_TRUE(available);
    const char* disabled = std::getenv("CUDA_DISABLE");
    EXPECT_FALSE(disabled && available());
    if (!disabled) available();
    // The thread sanitizer would call what the CUDA runtime wants done at the end when the library is gone.
    const bool unload = !threadSanitizer;
    EXPECT_EQ(unload ? dlclose(library) : 0, 0);
}

// What the loader looks for and the exit code, with variables set for the process.
support::CommandResult result_of_loading(const std::string& variables) {
    return support::run_command(variables + " LD_DEBUG=libs '" +
                                std::filesystem::read_symlink("/proc/self/exe").string() +
                                "' --gtest_filter=GpuLibrary.LoadsAnswersAndUnloads");
}

TEST_F(GpuLibrary, LooksForTheDriverWhenFirstAskedAndNotWhenDisabled) {
    const auto [quiet_code, quiet] = result_of_loading("CUDA_DISABLE=yes");
    EXPECT_EQ(quiet_code, 0) << quiet;
    EXPECT_THAT(quiet, Not(HasSubstr("CUDA"))) << "what is no fault is nothing for the host's standard error stream";
    EXPECT_THAT(quiet, Not(HasSubstr("libcuda")));
    const auto [asking_code, asking] = result_of_loading("env -u CUDA_DISABLE");
    EXPECT_EQ(asking_code, 0) << asking;
    if (cuda_built()) {
        EXPECT_THAT(asking, HasSubstr("find library=libcuda.so.1"));
    } else {
        EXPECT_THAT(asking, Not(HasSubstr("libcuda")));
    }
}

}  // namespace
