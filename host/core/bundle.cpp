#include "host/core/bundle.h"

#include <dlfcn.h>
#include <elf.h>

#include <atomic>
#include <cstring>
#include <exception>
#include <fstream>

#include "ofx/ofx_names.h"

namespace ofxhost {

namespace action = ofx::action;
namespace fs = std::filesystem;

namespace {

bool accepted(OfxStatus status) { return status == ofx::status::OK || status == ofx::status::ReplyDefault; }

std::atomic<const char*> currentAction{nullptr}, currentEffect{nullptr};

// While it lives, this is where the process is.
class InBundle {
  public:
    InBundle(const char* actionText, const char* effect)
        : m_action(currentAction.exchange(actionText)), m_effect(currentEffect.exchange(effect)) {}
    ~InBundle() {
        currentAction = m_action;
        currentEffect = m_effect;
    }
    InBundle(const InBundle&) = delete;
    InBundle& operator=(const InBundle&) = delete;

  private:
    const char *m_action, *m_effect;
};

}  // namespace

PlaceInBundle placeInBundle() { return {currentAction.load(), currentEffect.load()}; }

Plugin::Plugin(Host& host, OfxPlugin* record, std::string bundlePath)
    : m_host(host), m_record(record), m_bundlePath(std::move(bundlePath)) {}

Plugin::~Plugin() { unload(); }

std::string Plugin::identifier() const { return m_record->pluginIdentifier; }

std::string Plugin::name() const {
    const std::string text = identifier();
    return text.substr(text.rfind('.') + 1);  // npos + 1 is 0
}

OfxStatus Plugin::callEntry(OfxPluginEntryPoint* entry, const char* actionText, const void* handle,
                            const std::string& object, PropertySet* inArgs, PropertySet* outArgs) {
    const Host::Scope scope(m_host);
    const bool recording = m_host.recording();
    const std::string arguments = std::string(actionText) + ", " + object;
    const std::size_t place = recording ? m_host.beginRecord("action", arguments) : 0;
    OfxStatus status = ofx::status::ErrFatal;
    const InBundle here(actionText, m_record->pluginIdentifier);
    try {
        status = entry(actionText, handle, inArgs ? inArgs->handle() : nullptr, outArgs ? outArgs->handle() : nullptr);
    } catch (...) {
        m_host.report(Severity::Error, actionText, "", object + ": an exception left the plug-in");
    }
    const bool known =
        (status >= ofx::status::OK && status <= 15) || (status >= ofx::status::ErrImageFormat && status <= 1002);
    if (!known) m_host.report(Severity::Error, actionText, "", object + ": unknown status " + std::to_string(status));
    if (recording) m_host.endRecord(place, arguments, status);
    return status;
}

OfxStatus Plugin::load() {
    if (m_loaded) return ofx::status::OK;
    {
        const Host::Scope scope(m_host);
        const InBundle here("setHost", m_record->pluginIdentifier);
        m_record->setHost(m_host.record());
    }
    const OfxStatus status = callEntry(m_record->mainEntry, action::Load, nullptr, identifier(), nullptr, nullptr);
    m_loaded = accepted(status);
    return status;
}

OfxStatus Plugin::unload() {
    if (!m_loaded) return ofx::status::OK;
    m_loaded = false;
    return callEntry(m_record->mainEntry, action::Unload, nullptr, identifier(), nullptr, nullptr);
}

std::unique_ptr<EffectDescriptor> Plugin::describe(OfxStatus* status) {
    OfxStatus answer = load();
    std::unique_ptr<EffectDescriptor> descriptor;
    if (m_loaded) {
        descriptor = std::make_unique<EffectDescriptor>(*this, "");
        answer = descriptor->runDescribe();
    }
    if (status) *status = answer;
    return accepted(answer) ? std::move(descriptor) : nullptr;
}

std::unique_ptr<EffectDescriptor> Plugin::describeInContext(const std::string& context, OfxStatus* status) {
    OfxStatus answer = load();
    std::unique_ptr<EffectDescriptor> descriptor;
    if (m_loaded) {
        descriptor = std::make_unique<EffectDescriptor>(*this, context);
        answer = descriptor->runDescribe();
        if (accepted(answer)) answer = descriptor->runDescribeInContext();
    }
    if (status) *status = answer;
    return accepted(answer) ? std::move(descriptor) : nullptr;
}

// ---- Bundle ---------------------------------------------------------------------------------------------------

// Where the library is inside a bundle, for the system that this is built for.
#ifdef __aarch64__
constexpr char Architecture[] = "Linux-aarch64";
#else
constexpr char Architecture[] = "Linux-x86-64";
#endif

fs::path Bundle::libraryOf(const fs::path& path) {
    std::error_code ignored;
    if (!fs::exists(path, ignored)) throw Error("no such bundle: " + path.string());
    if (!fs::is_directory(path, ignored)) return path;
    const fs::path folder = path.filename().empty() ? path.parent_path() : path;       // without a slash at the end
    fs::path library = folder / "Contents" / Architecture / folder.filename().stem();  // "X.ofx.bundle": X.ofx
    if (!fs::exists(library, ignored)) throw Error("no library in the bundle: " + library.string());
    return library;
}

namespace {

// The bundle directory that holds a library, or the library itself where it stands alone.
std::string bundleOf(const fs::path& library) {
    const fs::path folder = library.parent_path().parent_path().parent_path();
    return (folder.extension() == ".bundle" ? folder : library).string();
}

// A library cut short by a copy that failed is mapped like a whole one, and kills the process where it ends. What is no
// library at all is left to the loader, which says so.
void requireWhole(const fs::path& library) {
    std::ifstream file(library, std::ios::binary);
    const auto read = [&](auto& record, std::uint64_t offset) {
        file.seekg(static_cast<std::streamoff>(offset));
        return static_cast<bool>(file.read(reinterpret_cast<char*>(&record), sizeof record));
    };
    Elf64_Ehdr header;
    if (!read(header, 0) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return;
    if (header.e_ident[EI_CLASS] != ELFCLASS64) return;
    std::error_code ignored;
    const std::uintmax_t size = fs::file_size(library, ignored);
    for (std::uint64_t i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr part;
        const bool there = read(part, header.e_phoff + i * header.e_phentsize);
        if (!there || (part.p_type == PT_LOAD && (part.p_offset > size || size - part.p_offset < part.p_filesz)))
            throw Error("the bundle's library is cut short: " + library.string());
    }
}

template <class Function>
Function* symbol(void* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(library, name));
}

}  // namespace

Bundle::Bundle(Host& host, const fs::path& path) : m_host(host) {
    const fs::path library = fs::absolute(libraryOf(path));
    requireWhole(library);
    {
        const InBundle here("its own start", nullptr);
        m_library = dlopen(library.c_str(), RTLD_LAZY | RTLD_LOCAL);
    }
    if (!m_library) throw Error(std::string("the bundle does not load: ") + dlerror());
    std::string failure;
    try {
        openPlugins(library);
        return;
    } catch (const std::exception& error) {
        failure = error.what();
    } catch (...) {
        failure = "an exception left the bundle's entry points";
    }
    // Thrown anew: what the bundle throws goes with its library.
    m_plugins.clear();
    dlclose(m_library);
    throw Error(failure);
}

void Bundle::openPlugins(const fs::path& library) {
    auto* count = symbol<int()>(m_library, "OfxGetNumberOfPlugins");
    auto* get = symbol<OfxPlugin*(int)>(m_library, "OfxGetPlugin");
    if (!count || !get) throw Error("not an OFX plug-in: " + library.string());
    const Host::Scope scope(m_host);
    const InBundle here("its entry points", nullptr);
    if (auto* setHost = symbol<OfxStatus(const OfxHost*)>(m_library, "OfxSetHost")) {
        const OfxStatus status = setHost(m_host.record());
        if (status == ofx::status::Failed) return;  // it asks to be passed over in silence
        if (status != ofx::status::OK) throw Error("the bundle refuses the host");
    }
    const std::string bundlePath = bundleOf(library);
    const int plugins = count();
    // No other index: many bundles end the process for one.
    for (int i = 0; i < plugins; ++i) addPlugin(get(i), i, bundlePath);
}

Bundle::Bundle(Host& host, const std::vector<OfxPlugin*>& plugins) : m_host(host) {
    int index = 0;
    for (OfxPlugin* plugin : plugins) addPlugin(plugin, index++, "");
}

Bundle::~Bundle() {
    m_plugins.clear();
    const InBundle here("its own end", nullptr);
    if (m_library) dlclose(m_library);
}

void Bundle::addPlugin(OfxPlugin* record, int index, const std::string& bundlePath) {
    const auto refuse = [&](const char* message) {
        m_host.report(Severity::Error, "OfxGetPlugin", std::to_string(index), message);
    };
    if (!record || !record->pluginIdentifier || !record->pluginApi || !record->setHost || !record->mainEntry) {
        return refuse("an incomplete plug-in record");
    }
    const std::string_view api = record->pluginApi;
    if (api != ofx::ImageEffectPluginApi || record->apiVersion != ofx::ImageEffectPluginApiVersion) {
        return refuse("a plug-in of another interface");
    }
    for (const auto& plugin : m_plugins) {
        if (plugin->identifier() == record->pluginIdentifier &&
            plugin->record().pluginVersionMajor == record->pluginVersionMajor)
            refuse("two plug-ins of one identifier and version");
    }
    m_plugins.push_back(std::make_unique<Plugin>(m_host, record, bundlePath));
}

Plugin* Bundle::find(std::string_view name) const {
    for (const auto& plugin : m_plugins) {
        if (plugin->identifier() == name || plugin->name() == name) return plugin.get();
    }
    return nullptr;
}

}  // namespace ofxhost
