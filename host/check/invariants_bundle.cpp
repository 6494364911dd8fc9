// What concerns the library as a whole.
#include <dlfcn.h>

#include <algorithm>
#include <climits>
#include <set>

#include "host/check/elf_file.h"
#include "host/check/invariant.h"
#include "host/check/process_state.h"
#include "host/core/bundle.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

namespace fs = std::filesystem;

fs::path libraryOf(const Trial& trial) { return fs::absolute(ofxhost::Bundle::libraryOf(trial.setup().bundle)); }

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (std::size_t i = 0; i < texts.size() && i < 12; ++i) all += (i ? ", " : "") + texts[i];
    return texts.size() > 12 ? all + " and " + std::to_string(texts.size() - 12) + " more" : all;
}

void loadAndUnload(Trial& trial) {
    constexpr int times = 100, warmUp = 10;
    const fs::path library = libraryOf(trial);
    int files = 0, threads = 0;
    for (int i = 0; i < times; ++i) {
        trial.step("load and unload for the " + std::to_string(i + 1) + ". time");
        ofxhost::Host host;
        {
            const ofxhost::Bundle bundle(host, library);
            if (!trial.require(!bundle.plugins().empty(), Interface, "there is no plug-in in the bundle")) return;
            const auto& plugin = bundle.plugins()[static_cast<std::size_t>(i) % bundle.plugins().size()];
            if (i % 4 != 0) plugin->describe();  // also without any use
        }
        if (i == 0)
            trial.require(!isMapped(library), Robustness, "the library stays in memory after it has been unloaded");
        if (i == warmUp) files = openFiles(), threads = runningThreads();
    }
    trial.require(openFiles() <= files, Interface, "open files grow with each load");
    trial.require(runningThreads() <= threads, Interface, "threads go on after the library has been unloaded");
}

void exportsOnlyEntryPoints(Trial& trial) {
    const std::set<std::string> entries = {"OfxGetNumberOfPlugins", "OfxGetPlugin"};
    const std::vector<std::string> exported = readElf(libraryOf(trial)).exported;
    for (const std::string& name : entries)
        trial.require(std::count(exported.begin(), exported.end(), name) == 1, Safety, name + " is not exported");
    std::vector<std::string> others;
    for (const std::string& name : exported)
        if (!entries.contains(name) && name != "OfxSetHost") others.push_back(name);
    trial.require(others.empty(), Quality, "exported beside the entry points: " + joined(others));
}

void needsNothingNewer(Trial& trial) {
    const ElfFacts facts = readElf(libraryOf(trial));
    // A build with sanitizers runs where it was made.
    for (const std::string& library : facts.libraries)
        if (library.starts_with("libasan.") || library.starts_with("libtsan.") || library.starts_with("libubsan."))
            return;
    std::vector<std::string> newer;
    for (const NeededVersion& need : facts.versions)
        if (!withinBaseline(need.version)) newer.push_back(need.version + " of " + need.library);
    trial.require(newer.empty(), Safety, "newer than glibc 2.28 and GCC 8 have: " + joined(newer));
}

void entryPoints(Trial& trial) {
    const fs::path library = libraryOf(trial);
    void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) return trial.finding(Safety, std::string("the library does not load: ") + dlerror());
    const auto count = reinterpret_cast<int (*)()>(dlsym(handle, "OfxGetNumberOfPlugins"));
    const auto get = reinterpret_cast<OfxPlugin* (*)(int)>(dlsym(handle, "OfxGetPlugin"));
    if (!count || !get) return trial.finding(Safety, "the entry points are missing");
    const int plugins = count();
    // The standard does not say what happens then, and many bundles end the process.
    for (const int index : {-1, INT_MIN, plugins, INT_MAX}) {
        if (!declaresAnyIndex(trial.setup().bundle)) break;
        trial.step("OfxGetPlugin(" + std::to_string(index) + ")");
        trial.require(get(index) == nullptr, Interface, "a plug-in at index " + std::to_string(index));
    }
    std::set<std::string> identifiers;
    for (int i = 0; i < plugins; ++i) {
        const OfxPlugin* plugin = get(i);
        const std::string place = "plug-in " + std::to_string(i);
        if (!trial.require(plugin && plugin->pluginIdentifier, Safety, place + " has no record")) continue;
        trial.require(get(i) == plugin, Interface, place + " has another record at each call");
        const std::string identifier = plugin->pluginIdentifier;
        const bool legal = !identifier.empty() &&
                           std::all_of(identifier.begin(), identifier.end(), [](char c) { return c > ' ' && c < 127; });
        trial.require(legal, Interface, place + " has an identifier with blanks or letters beyond ASCII");
        trial.require(identifiers.insert(identifier).second, Interface, "two plug-ins are called " + identifier);
        trial.require(plugin->setHost && plugin->mainEntry, Safety, identifier + " lacks an entry");
    }
    dlclose(handle);
}

constexpr Invariant table[] = {
    {"load", Safety, "the library loads and unloads 100 times and leaves nothing behind", once, loadAndUnload, false,
     true},
    {"entries", Safety,
     "the entry points answer, for every index where the bundle declares that they do, and records are complete", once,
     entryPoints, false, true},
    {"exports", Safety, "nothing but the entry points is exported", once, exportsOnlyEntryPoints, false, true},
    {"symbols", Safety, "nothing newer than glibc 2.28 and the runtime of GCC 8 is needed", once, needsNothingNewer,
     false, true},
};

}  // namespace

std::span<const Invariant> bundleInvariants() { return table; }

}  // namespace bundlecheck
