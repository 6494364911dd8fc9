#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/check/elf_file.h"

namespace bundlecheck {
namespace {

namespace fs = std::filesystem;

const fs::path library = fs::path(BUNDLES) / "Leaky.ofx.bundle/Contents/Linux-x86-64/Leaky.ofx";

TEST(Elf, TellsWhatALibraryExportsAndNeeds) {
    const ElfFacts facts = readElf(library);
    EXPECT_THAT(facts.exported, testing::IsSupersetOf({"OfxGetNumberOfPlugins", "OfxGetPlugin", "helperOfTheLibrary"}));
    EXPECT_THAT(facts.exported, testing::Not(testing::Contains("open")));
    EXPECT_THAT(facts.libraries, testing::Contains("libc.so.6"));
    EXPECT_THAT(facts.versions, testing::Contains(testing::Field(&NeededVersion::library, "libc.so.6")));
}

TEST(Elf, RefusesDamagedFiles) {
    const fs::path damaged = fs::temp_directory_path() / ("elf-test-" + std::to_string(::getpid()));
    fs::copy_file(library, damaged, fs::copy_options::overwrite_existing);
    for (const std::uintmax_t size : {fs::file_size(library) - 10, std::uintmax_t{1000}, std::uintmax_t{10}}) {
        fs::resize_file(damaged, size);
        EXPECT_THROW(readElf(damaged), std::runtime_error) << size;
    }
    fs::remove(damaged);
    EXPECT_THROW(readElf(damaged), std::runtime_error);
}

TEST(Baseline, ComparesVersionsNumberByNumber) {
    for (const char* old : {"GLIBC_2.2.5", "GLIBC_2.28", "GLIBC_2.4", "GLIBCXX_3.4", "GLIBCXX_3.4.25", "CXXABI_1.3.9",
                            "GCC_3.0", "GCC_7.0.0"})
        EXPECT_TRUE(withinBaseline(old)) << old;
    for (const char* newer : {"GLIBC_2.29", "GLIBC_2.100", "GLIBC_3.0", "GLIBCXX_3.4.26", "CXXABI_1.3.12", "GCC_12.0.0",
                              "LIBFOO_1.0", "GLIBC_PRIVATE", "unversioned"})
        EXPECT_FALSE(withinBaseline(newer)) << newer;
}

}  // namespace
}  // namespace bundlecheck
