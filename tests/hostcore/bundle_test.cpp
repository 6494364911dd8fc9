// Loading: plug-ins of the process, files that are no bundles, and the real bundle where the build has one.
#include <dlfcn.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "fixture.h"

namespace fs = std::filesystem;
using ofxhost::Bundle;

namespace {

TEST(BundleTest, RefusesWhatIsNoBundle) {
    ofxhost::Host host;
    EXPECT_THROW(Bundle(host, fs::path("/nowhere/X.ofx.bundle")), ofxhost::Error);
    const fs::path folder = fs::temp_directory_path() / ("hostcore-" + std::to_string(::getpid()) + ".ofx.bundle");
    fs::create_directories(folder);
    EXPECT_THROW(Bundle(host, folder), ofxhost::Error) << "a directory without a library";
    const fs::path library = folder / "Contents" / "Linux-x86-64" / folder.stem();
    fs::create_directories(library.parent_path());
    std::ofstream(library) << "not a library";
    EXPECT_EQ(Bundle::libraryOf(folder), library);
    EXPECT_EQ(Bundle::libraryOf(folder.string() + "/"), library);
    EXPECT_THROW(Bundle(host, folder), ofxhost::Error);
    fs::remove_all(folder);
}

TEST(BundleTest, RefusesALibraryThatIsCutShort) {
    ofxhost::Host host;
    Dl_info whole;
    ASSERT_TRUE(dladdr(reinterpret_cast<const void*>(&std::terminate), &whole));
    const fs::path cut = fs::temp_directory_path() / ("hostcore-cut-" + std::to_string(::getpid()));
    fs::copy_file(whole.dli_fname, cut);
    const auto size = fs::file_size(cut);
    EXPECT_GT(size, 100000u);
    for (const auto rest :
         {size / 2, std::uintmax_t{5000}, std::uintmax_t{300}, std::uintmax_t{40}, std::uintmax_t{0}}) {
        fs::resize_file(cut, rest);
        EXPECT_THROW(Bundle(host, cut), ofxhost::Error) << rest;
    }
    fs::remove(cut);
}

TEST(BundleTest, PassesOverBrokenRecords) {
    ofxhost::Host host;
    OfxPlugin other = *inverter::plugin();
    other.pluginApi = "SomeOtherAPI";
    OfxPlugin broken = *inverter::plugin();
    broken.mainEntry = nullptr;
    Bundle bundle(host, {&other, nullptr, &broken, inverter::plugin()});
    ASSERT_EQ(bundle.plugins().size(), 1u);
    EXPECT_EQ(host.diagnostics().count(ofxhost::Severity::Error), 3);
    EXPECT_EQ(bundle.find("Test_Inverter"), bundle.find("com.example.hostcore.Test_Inverter"));
    EXPECT_EQ(bundle.find("Inverter"), nullptr);
}

TEST(HostTest, KnowsTheHostOfACallWithoutHandle) {
    ofxhost::Host first, second;
    EXPECT_EQ(ofxhost::Host::current(), &second) << "the one made last";
    {
        const ofxhost::Host::Scope scope(first);
        EXPECT_EQ(ofxhost::Host::current(), &first);
        std::thread([&] { EXPECT_EQ(ofxhost::Host::current(), &second); }).join();
    }
    EXPECT_EQ(ofxhost::Host::current(), &second);
}

}  // namespace
