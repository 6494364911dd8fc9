// A small image effect inside the test program: inverts the colours of its clip "Source", has a parameter of every
// type, and lets a test step in at any action.
#pragma once

#include <functional>
#include <optional>

#include "ofx/ofx.h"

namespace inverter {

inline constexpr char name[] = "Test_Inverter";

struct Suites {
    const OfxPropertySuiteV1* property = nullptr;
    const OfxImageEffectSuiteV1* effect = nullptr;
    const OfxParameterSuiteV1* parameter = nullptr;
    const OfxMemorySuiteV1* memory = nullptr;
    const OfxMultiThreadSuiteV1* threads = nullptr;
    const OfxMessageSuiteV1* message = nullptr;
    const OfxInteractSuiteV1* interact = nullptr;
};

// One action as it arrives.
struct Action {
    const char* text;
    const void* handle;
    OfxPropertySetHandle in, out;

    bool is(const char* other) const;
    OfxImageEffectHandle effect() const { return static_cast<OfxImageEffectHandle>(const_cast<void*>(handle)); }
};

OfxPlugin* plugin();
const Suites& suites();  // after Describe
OfxHost* host();

// Called before the plug-in's own work, for effect and interact actions alike; an answer replaces that work.
using Intercept = std::function<std::optional<OfxStatus>(const Action&)>;
// In force while it lives.
class Interception {
  public:
    explicit Interception(Intercept intercept);
    ~Interception();
    Interception(const Interception&) = delete;
    Interception& operator=(const Interception&) = delete;
};

// From within an action: the handle of a parameter of the instance.
OfxParamHandle param(OfxImageEffectHandle effect, const char* name);

}  // namespace inverter
