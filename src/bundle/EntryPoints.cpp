// The two functions that a host finds in the library, and the records they hand out.

#include <array>
#include <type_traits>
#include <utility>

#include "Library2/Actions.h"
#include "bundle/Registry.h"
#include "ofx/ofx.h"

namespace {

void setHost(OfxHost* host) { bundleState().host = host; }

template <std::size_t Index>
OfxStatus overlayEntry(const char* action, const void* handle, OfxPropertySetHandle inArgs, OfxPropertySetHandle) {
    return overlayMain(action, handle, inArgs);
}

// A host tells effects apart by their entry points alone: one instantiation for each.
template <std::size_t Index>
OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs) {
    const EffectDefinition& definition = registry()[Index];
    return effectMain({&definition, definition.traits->overlay ? &overlayEntry<Index> : nullptr}, action, handle,
                      inArgs, outArgs);
}

// Plain storage: it is still there when a host unloads effects while the process ends.
struct PluginTable {
    using Identifier = std::array<char, 96>;
    std::array<Identifier, EFFECT_COUNT> identifiers;
    std::array<OfxPlugin, EFFECT_COUNT> records;

    template <std::size_t... Index>
    explicit PluginTable(std::index_sequence<Index...>)
        : identifiers{},
          records{OfxPlugin{ofx::ImageEffectPluginApi, ofx::ImageEffectPluginApiVersion, identifiers[Index].data(), 1,
                            0, &setHost, &mainEntry<Index>}...} {
        (writeIdentifier(identifiers[Index], *registry()[Index].traits), ...);
    }
    static void writeIdentifier(Identifier& identifier, const EffectTraits& traits) {
        effectIdentifier(traits).copy(identifier.data(), identifier.size() - 1);
    }
};
static_assert(std::is_trivially_destructible_v<PluginTable>);

PluginTable& pluginTable() {
    static PluginTable table{std::make_index_sequence<EFFECT_COUNT>()};
    return table;
}

}  // namespace

#if defined(QUILLON_OWN_RUNTIME)
// The C++ runtime inside this library keeps memory for throwing when there is none; it goes when the library does.
namespace __gnu_cxx {
void __freeres();
}
[[gnu::destructor]] static void releaseRuntime() { __gnu_cxx::__freeres(); }
#endif

extern "C" {

[[gnu::visibility("default")]] int OfxGetNumberOfPlugins() { return EFFECT_COUNT; }

[[gnu::visibility("default")]] OfxPlugin* OfxGetPlugin(int index) {
    if (index < 0 || index >= EFFECT_COUNT) return nullptr;
    return &pluginTable().records[static_cast<std::size_t>(index)];
}
}
