// Handles are numbers, not addresses: each is given out once in the life of the process and looked up at every call,
// so that null, foreign, mistyped and stale handles are told apart from good ones without touching memory.
#pragma once

#include <cstdint>

#include "ofx/ofx.h"

namespace ofxhost {

class Host;

enum class HandleKind : std::uint8_t { PropertySet, Effect, Clip, Memory, Param, ParamSet, Interact, Mutex };

struct HandleTarget {
    void* object = nullptr;  // null: no such handle, or one of another kind
    Host* host = nullptr;
};

HandleTarget findHandle(const void* handle, HandleKind kind);
Host* hostOfHandle(const void* handle);  // of whatever kind; null when the handle is not in use

// The registration of one object, for as long as it lives.
class HandleTicket {
  public:
    HandleTicket(Host& host, HandleKind kind, void* object);
    ~HandleTicket();
    HandleTicket(const HandleTicket&) = delete;
    HandleTicket& operator=(const HandleTicket&) = delete;

    template <class Handle>
    Handle as() const {
        return reinterpret_cast<Handle>(m_value);  // NOLINT(performance-no-int-to-ptr): never dereferenced
    }

  private:
    std::uintptr_t m_value;
};

}  // namespace ofxhost
