#include "host/cli/session.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>

#include "host/cli/cuda_device.h"
#include "host/cli/failure.h"
#include "host/cli/text.h"
#include "ofx/ofx_names.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

constexpr char BundleName[] = "Quillon.ofx.bundle";
constexpr char StandardFolder[] = "/usr/OFX/Plugins";

struct ContextWord {
    const char* word;
    const char* text;
};
constexpr ContextWord contextWords[] = {
    {"general", ofx::context::General}, {"filter", ofx::context::Filter}, {"generator", ofx::context::Generator}};

// The bundle in a folder or anywhere below it; folders whose names begin with "@" are skipped.
fs::path bundleBelow(const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder / BundleName, error)) return folder / BundleName;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error), end;
    for (; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name == BundleName && entry->is_directory(error)) return entry->path();
        if (name.starts_with('@') || name.ends_with(".ofx.bundle")) entry.disable_recursion_pending();
    }
    return {};
}

// "Q_Darken" and "q_darken" lose their beginning; a name without it stays.
std::string withoutPrefix(const std::string& name) {
    return equalIgnoringCase(name.substr(0, 2), "Q_") ? name.substr(2) : name;
}

}  // namespace

void SessionOptions::addTo(CLI::App& app) {
    app.add_option("--bundle", bundle, "The bundle to load (a .ofx.bundle folder or the .ofx file in it)")
        ->type_name("PATH");
    app.add_option("--host", host,
                   "The host to be: generic, nuke, toxik, scratch, fusion, filmmaster, baselight, avid, mistika, "
                   "vegas, cdv, mlt, or any host name")
        ->type_name("WORD")
        ->capture_default_str();
    app.add_option("--log", log,
                   "Write all that the host notices about the plug-in, and all that it says, into this file")
        ->type_name("FILE");
    app.add_flag("--strict", strict, "A plug-in that breaks the rules of the interface is an error");
}

fs::path findBundle() {
    std::error_code error;
    const fs::path beside = fs::read_symlink("/proc/self/exe", error).parent_path();
    if (!error && fs::is_directory(beside / BundleName, error)) return beside / BundleName;
    std::vector<fs::path> folders;
    if (const char* path = std::getenv("OFX_PLUGIN_PATH")) {
        std::string list = path;
        std::replace(list.begin(), list.end(), ';', ':');
        for (const std::string& folder : split(list, ':'))
            if (!folder.empty()) folders.emplace_back(folder);
    }
    folders.push_back(beside.parent_path() / "OFX/Plugins");  // where one prefix holds both
    folders.emplace_back(StandardFolder);
    for (const fs::path& folder : folders)
        if (fs::path found = bundleBelow(folder); !found.empty()) return found;
    throw RunError(std::string("there is no ") + BundleName + " beside this program, in OFX_PLUGIN_PATH or in " +
                   StandardFolder + "; name one with --bundle");
}

Session::Session(const SessionOptions& options)
    : m_console(std::make_unique<Console>(options.quiet, options.strict, options.log)),
      m_pluginOutput(std::make_unique<PluginOutput>(*m_console, options.timing)) {
    const fs::path path = options.bundle.empty() ? findBundle() : fs::path(options.bundle);
    std::error_code error;
    if (!fs::exists(path, error)) throw RunError("there is no bundle " + path.string());
    ofxhost::HostConfig config = ofxhost::hostConfig(options.host);
    config.threads = options.threads;
    config.checkSources = options.strict;
    if (options.gpu == "cuda") config.device = requireCudaDevice();
    m_host = std::make_unique<ofxhost::Host>(config);
    m_host->diagnostics().setSink([console = m_console.get()](const auto& d) { console->diagnostic(d); });
    m_console->log("bundle " + path.string() + ", host " + config.name);
    m_bundle = std::make_unique<ofxhost::Bundle>(*m_host, path);
}

Session::~Session() = default;

ofxhost::Plugin& Session::effect(std::string_view text) {
    std::vector<std::string> names;
    for (const auto& plugin : m_bundle->plugins()) {
        const std::string name = plugin->name();
        for (const std::string& known : {plugin->identifier(), name, withoutPrefix(name)})
            if (equalIgnoringCase(known, text)) return *plugin;
        names.push_back(withoutPrefix(name));
    }
    // Measured without the prefix, which a user may have left out.
    const std::string near = nearest(withoutPrefix(std::string(text)), names);
    const auto found = std::find(names.begin(), names.end(), near);
    throw UsageError("there is no effect \"" + std::string(text) + "\"" +
                     (near.empty()
                          ? "; quillon list tells them all"
                          : "; did you mean \"" +
                                m_bundle->plugins()[static_cast<std::size_t>(found - names.begin())]->name() + "\"?"));
}

std::unique_ptr<ofxhost::EffectDescriptor> Session::describe(ofxhost::Plugin& plugin) {
    OfxStatus status = ofx::status::OK;
    auto descriptor = plugin.describe(&status);
    if (!descriptor) throw RunError(plugin.name() + " refuses to be described (status " + std::to_string(status) + ")");
    return descriptor;
}

std::unique_ptr<ofxhost::EffectDescriptor> Session::describeInContext(ofxhost::Plugin& plugin,
                                                                      const std::string& context) {
    const std::vector<std::string> contexts = describe(plugin)->supportedContexts();
    if (std::find(contexts.begin(), contexts.end(), context) == contexts.end()) {
        std::string known;
        for (const std::string& one : contexts) known += (known.empty() ? "" : ", ") + contextWord(one);
        throw UsageError(plugin.name() + " has no context " + contextWord(context) + "; it has " + known);
    }
    OfxStatus status = ofx::status::OK;
    auto descriptor = plugin.describeInContext(context, &status);
    if (!descriptor)
        throw RunError(plugin.name() + " refuses the context " + contextWord(context) + " (status " +
                       std::to_string(status) + ")");
    return descriptor;
}

void Session::finish() {
    m_bundle.reset();
    for (const ofxhost::HostMessage& message : m_host->messages())
        m_console->log("message " + message.type + ": " + message.text);
    m_host.reset();  // reports what the plug-in has not given back
    m_console->requireClean();
}

const char* contextText(std::string_view word) {
    for (const ContextWord& context : contextWords)
        if (word == context.word) return context.text;
    return nullptr;
}

std::string contextWord(std::string_view text) {
    for (const ContextWord& context : contextWords)
        if (text == context.text) return context.word;
    return std::string(text);
}

}  // namespace quillon
