// The library file: what a render node's loader sees of it, and its two functions.
#include <dlfcn.h>
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "catalogue.h"
#include "ofx/ofx.h"

namespace {

using testing::ElementsAre;
using testing::IsSubsetOf;

class Library {
  public:
    Library() {
        std::ifstream file(QUILLON_BUNDLE_PATH, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
        const auto& header = at<Elf64_Ehdr>(0);
        for (int i = 0; i < header.e_shnum; ++i) {
            const auto& section = at<Elf64_Shdr>(header.e_shoff + static_cast<std::size_t>(i) * header.e_shentsize);
            const auto& strings = at<Elf64_Shdr>(header.e_shoff + std::size_t{section.sh_link} * header.e_shentsize);
            if (section.sh_type == SHT_DYNSYM) readSymbols(section, strings);
            if (section.sh_type == SHT_DYNAMIC) readNeeded(section, strings);
        }
    }
    std::set<std::string> exported, needed;

  private:
    template <class T>
    const T& at(std::size_t offset) const {
        return *reinterpret_cast<const T*>(m_bytes.data() + offset);
    }
    const char* text(const Elf64_Shdr& strings, std::size_t offset) const {
        return m_bytes.data() + strings.sh_offset + offset;
    }
    void readSymbols(const Elf64_Shdr& section, const Elf64_Shdr& strings) {
        for (std::size_t i = 1; i < section.sh_size / sizeof(Elf64_Sym); ++i) {
            const auto& symbol = at<Elf64_Sym>(section.sh_offset + i * sizeof(Elf64_Sym));
            if (symbol.st_shndx != SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL)
                exported.insert(text(strings, symbol.st_name));
        }
    }
    void readNeeded(const Elf64_Shdr& section, const Elf64_Shdr& strings) {
        for (std::size_t i = 0; i < section.sh_size / sizeof(Elf64_Dyn); ++i) {
            const auto& entry = at<Elf64_Dyn>(section.sh_offset + i * sizeof(Elf64_Dyn));
            if (entry.d_tag == DT_NEEDED) needed.insert(text(strings, entry.d_un.d_val));
        }
    }
    std::vector<char> m_bytes;
};

TEST(BundleLibrary, ShowsTheLoaderTwoFunctionsAndNeedsOnlyTheCLibrary) {
    if (QUILLON_SANITIZED) GTEST_SKIP() << "sanitizers bring symbols and libraries of their own";
    const Library library;
    EXPECT_THAT(library.exported, ElementsAre("OfxGetNumberOfPlugins", "OfxGetPlugin"));
    // The C library, which consisted of more files before glibc 2.34.
    const std::set<std::string> everywhere{
        "libc.so.6", "libm.so.6", "libdl.so.2", "libpthread.so.0", "ld-linux-x86-64.so.2", "ld-linux-aarch64.so.1"};
    EXPECT_THAT(library.needed, IsSubsetOf(everywhere));
}

TEST(BundleLibrary, HandsOutItsRecordsInsideTheBoundsOnly) {
    void* library = dlopen(QUILLON_BUNDLE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto number = reinterpret_cast<int (*)()>(dlsym(library, "OfxGetNumberOfPlugins"));
    const auto get = reinterpret_cast<OfxPlugin* (*)(int)>(dlsym(library, "OfxGetPlugin"));
    ASSERT_TRUE(number && get);
    const int count = static_cast<int>(catalogue().size());
    EXPECT_EQ(number(), count);
    for (const int index : {-1, count, count + 1, -2147483647 - 1, 2147483647}) EXPECT_EQ(get(index), nullptr) << index;
    std::set<std::string> identifiers;
    std::set<OfxPluginEntryPoint*> entries;
    for (int i = 0; i < count; ++i) {
        const OfxPlugin* record = get(i);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record, get(i)) << "a record has one address";
        EXPECT_STREQ(record->pluginApi, "OfxImageEffectPluginAPI");
        EXPECT_EQ(record->apiVersion, 1);
        EXPECT_EQ(record->pluginVersionMajor, 1u);
        EXPECT_EQ(record->pluginVersionMinor, 0u);
        EXPECT_EQ(record->pluginIdentifier, catalogue()[static_cast<std::size_t>(i)].at("identifier"));
        EXPECT_EQ(record->setHost, get(0)->setHost);
        identifiers.insert(record->pluginIdentifier);
        entries.insert(record->mainEntry);
    }
    EXPECT_EQ(identifiers.size(), catalogue().size());
    EXPECT_EQ(entries.size(), catalogue().size()) << "hosts tell effects apart by their entries";
    dlclose(library);
}

TEST(BundleLibrary, RefusesToBeDescribedWithoutAHostAndIgnoresStrangers) {
    void* library = dlopen(QUILLON_BUNDLE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto get = reinterpret_cast<OfxPlugin* (*)(int)>(dlsym(library, "OfxGetPlugin"));
    for (const int index : {0, 12, static_cast<int>(catalogue().size()) - 1}) {
        OfxPlugin& plugin = *get(index);
        plugin.setHost(nullptr);
        const auto send = [&](const char* action) { return plugin.mainEntry(action, nullptr, nullptr, nullptr); };
        EXPECT_EQ(send("OfxActionDescribe"), 4);
        EXPECT_EQ(send("OfxActionUnload"), 0);
        EXPECT_EQ(send("OfxActionNobodyKnows"), 14);
        EXPECT_EQ(send(""), 14);
        EXPECT_EQ(send(nullptr), 14);
        EXPECT_EQ(send("OfxImageEffectActionIsIdentity"), 14);
        EXPECT_EQ(send("OfxImageEffectActionGetClipPreferences"), 14) << "no place to answer in";
        EXPECT_EQ(send("OfxImageEffectActionRender"), 0) << "render always answers 0";
        EXPECT_EQ(send("OfxActionDestroyInstance"), 0);
        EXPECT_NE(send("OfxActionCreateInstance"), 0);
        for (const char* action :
             {"OfxImageEffectActionDescribeInContext", "OfxActionInstanceChanged", "OfxActionBeginInstanceChanged",
              "OfxActionEndInstanceChanged", "OfxImageEffectActionGetRegionOfDefinition",
              "OfxImageEffectActionGetRegionsOfInterest", "OfxImageEffectActionGetFramesNeeded"})
            send(action);  // whatever they answer, they come back
    }
    dlclose(library);
}

}  // namespace
