// A plug-in bundle: the shared library, and the plug-ins in it.
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/effect.h"
#include "host/core/host.h"

namespace ofxhost {

class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Where in a bundle this process is, for those that tell of its death: the action or entry point entered last, and the
// effect's identifier or null. Both are null outside of bundles. Texts live as long as the bundle is loaded; safe to
// read in a signal's handler.
struct PlaceInBundle {
    const char* action;
    const char* effect;
};
PlaceInBundle placeInBundle();

class Plugin {
  public:
    Plugin(Host& host, OfxPlugin* record, std::string bundlePath);
    ~Plugin();  // unloads
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    Host& host() const { return m_host; }
    const OfxPlugin& record() const { return *m_record; }
    std::string identifier() const;
    std::string name() const;  // last component of the identifier: "Q_Darken"
    const std::string& bundlePath() const { return m_bundlePath; }

    // setHost and the load action, once.
    OfxStatus load();
    OfxStatus unload();
    // Null when the plug-in refuses (which `status`, if given, tells). The first loads the plug-in if need be; the
    // second describes it first and hands over a descriptor of its own for each call.
    std::unique_ptr<EffectDescriptor> describe(OfxStatus* status = nullptr);
    std::unique_ptr<EffectDescriptor> describeInContext(const std::string& context, OfxStatus* status = nullptr);

    // Calls an entry with the host current, records the call and keeps exceptions in. For main entry and interacts.
    OfxStatus callEntry(OfxPluginEntryPoint* entry, const char* action, const void* handle, const std::string& object,
                        PropertySet* inArgs, PropertySet* outArgs);

  private:
    Host& m_host;
    OfxPlugin* m_record;
    std::string m_bundlePath;
    bool m_loaded = false;
};

class Bundle {
  public:
    // `path` is a bundle directory (X.ofx.bundle) or the library in it (X.ofx). Throws Error.
    Bundle(Host& host, const std::filesystem::path& path);
    // Plug-ins that are part of the process.
    Bundle(Host& host, const std::vector<OfxPlugin*>& plugins);
    ~Bundle();  // unloads the plug-ins, then the library
    Bundle(const Bundle&) = delete;
    Bundle& operator=(const Bundle&) = delete;

    // The library file inside a bundle directory, or the path itself. Throws Error when there is none.
    static std::filesystem::path libraryOf(const std::filesystem::path& path);

    const std::vector<std::unique_ptr<Plugin>>& plugins() const { return m_plugins; }
    // By full identifier or by name ("Q_Darken"), exactly; null when there is none.
    Plugin* find(std::string_view name) const;

  private:
    void openPlugins(const std::filesystem::path& library);
    void addPlugin(OfxPlugin* record, int index, const std::string& bundlePath);

    Host& m_host;
    void* m_library = nullptr;
    std::vector<std::unique_ptr<Plugin>> m_plugins;
};

}  // namespace ofxhost
