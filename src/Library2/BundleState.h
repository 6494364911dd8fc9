// What the whole process shares: the host, its suites, what it can do, the one render lock.
#pragma once

#include <mutex>
#include <type_traits>

#include "Library2/HostQuirks.h"
#include "ofx/ofx.h"
#include "ofx/ofx_names.h"

// The host's suites at version 1. Any may be null: a host need not have it.
struct HostSuites {
    const OfxImageEffectSuiteV1* effect = nullptr;
    const OfxPropertySuiteV1* property = nullptr;
    const OfxParameterSuiteV1* parameter = nullptr;
    const OfxMemorySuiteV1* memory = nullptr;
    const OfxMultiThreadSuiteV1* multiThread = nullptr;
    const OfxMessageSuiteV1* message = nullptr;
    const OfxInteractSuiteV1* interact = nullptr;
    const OfxImageEffectOpenGLRenderSuiteV1* openGL = nullptr;  // where hostHasTextures
};

// Calls a suite's function, or answers "missing host feature" where the suite or the function is not there.
template <class Suite, class Function, class... Arguments>
OfxStatus callSuite(const Suite* suite, Function Suite::*function, Arguments... arguments) {
    if (!suite || !(suite->*function)) return ofx::status::ErrMissingHostFeature;
    return static_cast<OfxStatus>((suite->*function)(arguments...));
}

// Written by setHost and describe only (the host's main thread, before any instance exists), read by everything.
struct BundleState {
    OfxHost* host = nullptr;
    HostSuites suites;
    bool firstDescribe = true;  // host facts still to be read
    const HostQuirks* quirks = &IdentifyHost({});
    HostId hostId = HostId::Unknown;
    const char* hostLabel = "";
    int hostMultipleClipDepths = 0;
    int hostTemporalClipAccess = 0;
    int hostSupportsOverlays = 0;
    bool hostHasDevices = false;   // may give pictures on a CUDA device
    bool hostHasTextures = false;  // else: in OpenGL textures
    int maxPages = 0;              // 0: groups instead of pages
    int pageRows = 0;
    int pageColumns = 0;
};

BundleState& bundleState();

// Fetches the suites, and at the first call of the process reads what the host is and can do.
// Answers "missing host feature" without a host, else OK.
OfxStatus readHost();

// Held around every ProcessFrame; left while other frames are fetched from the host. Taken before any other lock.
std::recursive_mutex& renderLock();

// ---- Property sets --------------------------------------------------------------------------------------------

// A host's property set. Calls on a null set or through a missing suite do nothing; reads then leave the fallback.
class PropertySet {
  public:
    PropertySet() = default;
    explicit PropertySet(OfxPropertySetHandle handle) : m_handle(handle) {}

    explicit operator bool() const { return m_handle != nullptr; }
    OfxPropertySetHandle handle() const { return m_handle; }

    bool setInt(const char* name, int value, int index = 0) const;
    bool setDouble(const char* name, double value, int index = 0) const;
    bool setString(const char* name, const char* value, int index = 0) const;
    bool setPointer(const char* name, void* value, int index = 0) const;
    bool setDoubles(const char* name, int count, const double* values) const;

    bool getInt(const char* name, int* value, int index = 0) const;
    bool getDouble(const char* name, double* value, int index = 0) const;
    int dimension(const char* name) const;  // 0 where the host does not tell it
    int intOr(const char* name, int fallback, int index = 0) const;
    double doubleOr(const char* name, double fallback, int index = 0) const;
    const char* stringOr(const char* name, const char* fallback, int index = 0) const;  // host-owned: copy to keep
    void* pointerOr(const char* name, void* fallback, int index = 0) const;

  private:
    OfxPropertySetHandle m_handle = nullptr;
};

PropertySet effectProperties(OfxImageEffectHandle effect);
OfxParamSetHandle effectParameters(OfxImageEffectHandle effect);
PropertySet clipProperties(OfxImageClipHandle clip);
OfxImageClipHandle clipHandle(OfxImageEffectHandle effect, const char* name);  // null when it can't be had
