// The library file: what a render node's loader sees of it, and its two functions.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "catalogue.h"
#include "host/check/elf_file.h"
#include "ofx/ofx.h"

namespace {

using testing::IsSubsetOf;
using testing::UnorderedElementsAre;

TEST(BundleLibrary, ShowsTheLoaderTwoFunctionsAndNeedsOnlyTheCLibrary) {
    if (QUILLON_SANITIZED) GTEST_SKIP() << "sanitizers bring symbols and libraries of their own";
    const bundlecheck::ElfFacts library = bundlecheck::readElf(QUILLON_BUNDLE_PATH);
    EXPECT_THAT(library.exported, UnorderedElementsAre("OfxGetNumberOfPlugins", "OfxGetPlugin"));
    // The C library, which consisted of more files before glibc 2.34.
    const std::set<std::string> everywhere{"libc.so.6",
                                           "libm.so.6",
                                           "libdl.so.2",
                                           "libpthread.so.0",
                                           "librt.so.1",
                                           "ld-linux-x86-64.so.2",
                                           "ld-linux-aarch64.so.1"};
    EXPECT_THAT(library.libraries, IsSubsetOf(everywhere));
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
