// What every command that looks at a plug-in needs: the options that say which bundle and which host, and the host with
// the bundle in it.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/console.h"
#include "host/cli/plugin_output.h"
#include "host/core/bundle.h"
#include "host/core/host.h"

namespace CLI {
class App;
}

namespace quillon {

struct SessionOptions {
    std::string bundle, host = "generic", log;
    std::string gpu;       // "cuda": pictures lie on the device where effects take them there; empty: in main memory
    unsigned threads = 0;  // 0: as many as the machine runs at once
    bool strict = false, quiet = false, timing = false;

    void addTo(CLI::App& app);
};

// The bundle to load when none is named: beside this program, then in the folders of OFX_PLUGIN_PATH (and below them),
// then in the standard one. Throws RunError when it is nowhere.
std::filesystem::path findBundle();

class Session {
  public:
    explicit Session(const SessionOptions& options);  // throws RunError and ofxhost::Error
    ~Session();

    Console& console() { return *m_console; }
    PluginOutput& pluginOutput() { return *m_pluginOutput; }
    ofxhost::Host& host() { return *m_host; }
    ofxhost::Bundle& bundle() { return *m_bundle; }
    // By identifier, by name with or without "Q_", in any case of letters. Throws UsageError, naming the nearest.
    ofxhost::Plugin& effect(std::string_view text);
    // Throws UsageError for a context that the effect has not.
    std::unique_ptr<ofxhost::EffectDescriptor> describeInContext(ofxhost::Plugin& plugin, const std::string& context);
    std::unique_ptr<ofxhost::EffectDescriptor> describe(ofxhost::Plugin& plugin);

    // To be called when the work is done: unloads, and throws RunError as Console::requireClean does.
    void finish();

  private:
    std::unique_ptr<Console> m_console;
    std::unique_ptr<PluginOutput> m_pluginOutput;
    std::unique_ptr<ofxhost::Host> m_host;
    std::unique_ptr<ofxhost::Bundle> m_bundle;
};

// "general" becomes the standard's text; null for a word that is none of general, filter, generator.
const char* contextText(std::string_view word);
std::string contextWord(std::string_view text);  // and back; other texts stay

}  // namespace quillon
