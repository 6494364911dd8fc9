// The suites as the plug-in sees them, and what their functions have in common.
#pragma once

#include <exception>
#include <new>
#include <optional>
#include <string>

#include "host/core/handles.h"
#include "host/core/host.h"
#include "ofx/ofx.h"

namespace ofxhost {

extern const OfxPropertySuiteV1 propertySuite;
extern const OfxImageEffectSuiteV1 imageEffectSuite;
extern const OfxParameterSuiteV1 parameterSuite;
extern const OfxMemorySuiteV1 memorySuite;
extern const OfxMultiThreadSuiteV1 multiThreadSuite;
extern const OfxMessageSuiteV1 messageSuite;
extern const OfxInteractSuiteV1 interactSuite;

extern "C" const void* fetchSuite(OfxPropertySetHandle host, const char* suiteName, int suiteVersion);

// Texts of recorded arguments.
inline std::string quoted(const char* text) {
    std::string result(text ? "\"" : "null");
    if (text) result.append(text).append("\"");
    return result;
}
inline std::string afterComma(const std::string& text) { return std::string(", ").append(text); }

// A suite call on `host`: hooks first, then the body, with exceptions turned into statuses, all of it recorded.
// `arguments` gives the recorded text and is asked after the body, so that results can be part of it.
template <class Arguments, class Body>
OfxStatus callHost(Host& host, const SuiteCall& call, Arguments&& arguments, Body&& body) noexcept {
    try {
        const bool recording = host.recording();
        const std::size_t place = recording ? host.beginRecord(std::string(call.name), "") : 0;
        OfxStatus status = ofx::status::OK;
        std::optional<OfxStatus> forced;
        if (host.hooks().beforeCall) forced = host.hooks().beforeCall(call);
        try {
            status = forced ? *forced : body();
        } catch (const std::bad_alloc&) {
            status = ofx::status::ErrMemory;
        } catch (const std::exception& error) {
            host.report(Severity::Error, call.name, call.subject, error.what());
            status = ofx::status::Failed;
        }
        if (recording) host.endRecord(place, arguments(), status);
        return status;
    } catch (...) {
        return ofx::status::Failed;
    }
}

// A suite call on the object of a handle; answers ErrBadHandle, and says so, when the handle is none of that kind.
template <class Object, class Arguments, class Body>
OfxStatus callOn(const char* name, const void* handle, HandleKind kind, const char* subject, Arguments&& arguments,
                 Body&& body) noexcept {
    const HandleTarget target = findHandle(handle, kind);
    Host* host = target.host;
    if (!host) host = hostOfHandle(handle);
    if (!host) host = Host::current();
    if (!host) return ofx::status::ErrBadHandle;
    const SuiteCall call{name, handle, subject ? subject : ""};
    return callHost(*host, call, arguments, [&]() -> OfxStatus {
        if (target.object) return body(*static_cast<Object*>(target.object));
        host->report(Severity::Error, name, call.subject,
                     handle ? "the handle is stale or of another kind" : "null handle");
        return ofx::status::ErrBadHandle;
    });
}

}  // namespace ofxhost
