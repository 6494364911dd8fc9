#include "host/core/handles.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace ofxhost {
namespace {

struct Entry {
    HandleKind kind;
    HandleTarget target;
};

struct Registry {
    std::shared_mutex mutex;
    std::unordered_map<std::uintptr_t, Entry> entries;
    // No x86-64 address looks like this, so a plug-in that takes a handle for a pointer faults at once.
    std::uintptr_t next = 0x0F00'0000'0000'0000;
};

// Never destroyed: objects with handles may be static themselves.
Registry& registry() {
    static Registry* const instance = new Registry;
    return *instance;
}

}  // namespace

HandleTarget findHandle(const void* handle, HandleKind kind) {
    if (!handle) return {};
    Registry& handles = registry();
    std::shared_lock lock(handles.mutex);
    const auto found = handles.entries.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == handles.entries.end() || found->second.kind != kind) return {};
    return found->second.target;
}

Host* hostOfHandle(const void* handle) {
    if (!handle) return nullptr;
    Registry& handles = registry();
    std::shared_lock lock(handles.mutex);
    const auto found = handles.entries.find(reinterpret_cast<std::uintptr_t>(handle));
    return found == handles.entries.end() ? nullptr : found->second.target.host;
}

HandleTicket::HandleTicket(Host& host, HandleKind kind, void* object) {
    Registry& handles = registry();
    std::unique_lock lock(handles.mutex);
    m_value = handles.next;
    handles.next += 16;
    handles.entries.emplace(m_value, Entry{kind, {object, &host}});
}

HandleTicket::~HandleTicket() {
    Registry& handles = registry();
    std::unique_lock lock(handles.mutex);
    handles.entries.erase(m_value);
}

}  // namespace ofxhost
