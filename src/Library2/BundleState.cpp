#include "Library2/BundleState.h"

#include <string_view>

#include "k7pi_baselib/k7pi_baselib.h"

namespace {

template <class Suite>
void fetchSuite(const OfxHost& host, const char* name, const Suite*& suite) {
    suite = static_cast<const Suite*>(host.fetchSuite(host.host, name, 1));
}

void fetchSuites(const OfxHost& host, HostSuites& suites) {
    fetchSuite(host, ofx::suite::ImageEffect, suites.effect);
    fetchSuite(host, ofx::suite::Property, suites.property);
    fetchSuite(host, ofx::suite::Parameter, suites.parameter);
    fetchSuite(host, ofx::suite::Memory, suites.memory);
    fetchSuite(host, ofx::suite::MultiThread, suites.multiThread);
    fetchSuite(host, ofx::suite::Message, suites.message);
    fetchSuite(host, ofx::suite::Interact, suites.interact);
}

bool offers(const PropertySet& host, const char* rendering) {
    const std::string_view says = host.stringOr(rendering, "false");
    return says == "true" || says == "needed";
}

void readHostFacts(BundleState& state) {
    const PropertySet host(state.host->host);
    const bool onlySource = read_variable_integer("KESTREL_SOURCE_CLIP") == 1;
    state.quirks = &IdentifyHost(host.stringOr(ofx::prop::Name, ""), onlySource);
    state.hostId = state.quirks->id;
    state.hostLabel = state.quirks->label;
    state.hostMultipleClipDepths = host.intOr(ofx::prop::MultipleClipDepths, 0);
    state.hostTemporalClipAccess = host.intOr(ofx::prop::TemporalClipAccess, 0);
    state.hostHasDevices = offers(host, ofx::prop::CudaRenderSupported);
    state.hostHasTextures = !state.hostHasDevices && offers(host, ofx::prop::OpenGLRenderSupported);
    state.hostSupportsOverlays = host.intOr(ofx::prop::SupportsOverlays, 0);
    if (state.quirks->neverPages) {
        state.maxPages = 0;
        return;
    }
    state.maxPages = host.intOr(ofx::prop::ParamHostMaxPages, 0);
    if (state.maxPages != 0) {
        state.pageRows = host.intOr(ofx::prop::ParamHostPageRowColumnCount, 0, 0);
        state.pageColumns = host.intOr(ofx::prop::ParamHostPageRowColumnCount, 0, 1);
    }
}

}  // namespace

BundleState& bundleState() {
    static BundleState state;
    return state;
}

OfxStatus readHost() {
    BundleState& state = bundleState();
    if (!state.host || !state.host->fetchSuite) return ofx::status::ErrMissingHostFeature;
    fetchSuites(*state.host, state.suites);
    if (state.firstDescribe) {
        readHostFacts(state);
        state.firstDescribe = false;
    }
    if (state.hostHasTextures) fetchSuite(*state.host, ofx::suite::OpenGLRender, state.suites.openGL);
    return ofx::status::OK;
}

std::recursive_mutex& renderLock() {
    static std::recursive_mutex lock;
    return lock;
}

// ---- Property sets --------------------------------------------------------------------------------------------

namespace {

template <class Function, class Value>
bool onProperty(OfxPropertySetHandle handle, Function OfxPropertySuiteV1::*function, const char* name, int index,
                Value value) {
    if (!handle) return false;
    return callSuite(bundleState().suites.property, function, handle, name, index, value) == ofx::status::OK;
}

}  // namespace

bool PropertySet::setInt(const char* name, int value, int index) const {
    return onProperty(m_handle, &OfxPropertySuiteV1::propSetInt, name, index, value);
}
bool PropertySet::setDouble(const char* name, double value, int index) const {
    return onProperty(m_handle, &OfxPropertySuiteV1::propSetDouble, name, index, value);
}
bool PropertySet::setString(const char* name, const char* value, int index) const {
    return onProperty(m_handle, &OfxPropertySuiteV1::propSetString, name, index, value);
}
bool PropertySet::setPointer(const char* name, void* value, int index) const {
    return onProperty(m_handle, &OfxPropertySuiteV1::propSetPointer, name, index, value);
}
bool PropertySet::setDoubles(const char* name, int count, const double* values) const {
    return onProperty(m_handle, &OfxPropertySuiteV1::propSetDoubleN, name, count, values);
}
bool PropertySet::getInt(const char* name, int* value, int index) const {
    return onProperty(m_handle, &OfxPropertySuiteV1::propGetInt, name, index, value);
}
bool PropertySet::getDouble(const char* name, double* value, int index) const {
    return onProperty(m_handle, &OfxPropertySuiteV1::propGetDouble, name, index, value);
}
int PropertySet::dimension(const char* name) const {
    int count = 0;
    const bool told = m_handle && callSuite(bundleState().suites.property, &OfxPropertySuiteV1::propGetDimension,
                                            m_handle, name, &count) == ofx::status::OK;
    return told ? count : 0;
}
int PropertySet::intOr(const char* name, int fallback, int index) const {
    int value = fallback;
    return getInt(name, &value, index) ? value : fallback;
}
double PropertySet::doubleOr(const char* name, double fallback, int index) const {
    double value = fallback;
    return getDouble(name, &value, index) ? value : fallback;
}
const char* PropertySet::stringOr(const char* name, const char* fallback, int index) const {
    char* value = nullptr;
    if (!onProperty(m_handle, &OfxPropertySuiteV1::propGetString, name, index, &value) || !value) return fallback;
    return value;
}
void* PropertySet::pointerOr(const char* name, void* fallback, int index) const {
    void* value = fallback;
    return onProperty(m_handle, &OfxPropertySuiteV1::propGetPointer, name, index, &value) ? value : fallback;
}

PropertySet effectProperties(OfxImageEffectHandle effect) {
    OfxPropertySetHandle set = nullptr;
    if (!effect || callSuite(bundleState().suites.effect, &OfxImageEffectSuiteV1::getPropertySet, effect, &set))
        return {};
    return PropertySet(set);
}

OfxParamSetHandle effectParameters(OfxImageEffectHandle effect) {
    OfxParamSetHandle set = nullptr;
    if (!effect || callSuite(bundleState().suites.effect, &OfxImageEffectSuiteV1::getParamSet, effect, &set))
        return nullptr;
    return set;
}

PropertySet clipProperties(OfxImageClipHandle clip) {
    OfxPropertySetHandle set = nullptr;
    if (!clip || callSuite(bundleState().suites.effect, &OfxImageEffectSuiteV1::clipGetPropertySet, clip, &set))
        return {};
    return PropertySet(set);
}

OfxImageClipHandle clipHandle(OfxImageEffectHandle effect, const char* name) {
    OfxImageClipHandle clip = nullptr;
    const auto status = callSuite(bundleState().suites.effect, &OfxImageEffectSuiteV1::clipGetHandle, effect, name,
                                  &clip, static_cast<OfxPropertySetHandle*>(nullptr));
    return status == ofx::status::OK ? clip : nullptr;
}
