// Bundles as others write them, to see that the program gets along with them. Built twice: with FOREIGN_THROWS the
// entry points throw for an index outside the count, otherwise they end the process by an assertion; both are common.
//
// The manner is that of C++ support code: host and instance are asked for many properties that a host may lack,
// properties of newer versions are set and failures ignored, an error is an exception that the main entry turns into a
// status. Works on 8 bits only.

#include <cstdlib>
#include <new>
#include <vector>

#include "support/test_plugin.h"

namespace {

using namespace testplugin;
namespace prop = ofx::prop;

struct StatusError {
    OfxStatus status;
};

void require(OfxStatus status) {
    if (status != ofx::status::OK) throw StatusError{status};
}

constexpr const char* newerProperties[] = {"OfxParamHostPropSupportsStrChoice", "com.example.PropViews"};

void probe(OfxPropertySetHandle set) {
    for (const char* name : newerProperties) {
        char* text = nullptr;
        int dimension = 0;
        props->propGetString(set, name, 0, &text);
        props->propGetDimension(set, name, &dimension);
        props->propSetInt(set, name, 0, 1);
    }
}

// Also the suites' second versions, which few hosts have.
void fetchAll() {
    fetchSuites();
    if (!props || !effects || !params) throw StatusError{ofx::status::ErrMissingHostFeature};
    for (const char* name : {ofx::suite::Property, ofx::suite::ImageEffect, ofx::suite::Parameter})
        theHost->fetchSuite(theHost->host, name, 2);
}

void describe(OfxImageEffectHandle effect) {
    OfxPropertySetHandle set = nullptr;
    require(effects->getPropertySet(effect, &set));
    probe(set);
    require(props->propSetString(set, prop::Label, 0, "Half as bright"));
    require(props->propSetString(set, prop::SupportedContexts, 0, ofx::context::Filter));
    require(props->propSetString(set, prop::SupportedPixelDepths, 0, ofx::depth::Byte));
}

void describeInContext(OfxImageEffectHandle effect) {
    for (const char* name : {ofx::clip::Output, ofx::clip::Source}) {
        OfxPropertySetHandle set = nullptr;
        require(effects->clipDefine(effect, name, &set));
        require(props->propSetString(set, prop::SupportedComponents, 0, ofx::component::RGBA));
        probe(set);
    }
    OfxParamSetHandle all = nullptr;
    OfxPropertySetHandle set = nullptr;
    require(effects->getParamSet(effect, &all));
    require(params->paramDefine(all, ofx::param_type::Boolean, "Die", &set));
    probe(set);
}

void render(OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    double time = 0.0;
    int die = 0;
    require(props->propGetDouble(in, prop::Time, 0, &time));
    require(params->paramGetValueAtTime(param(effect, "Die"), time, &die));
    if (die) std::abort();
    const HostImage source(effect, ofx::clip::Source, time), output(effect, ofx::clip::Output, time);
    if (!source.data || !output.data) throw StatusError{ofx::status::Failed};
    output.fill(output.bounds[1], output.bounds[3],
                [&](int x, int y, int c) { return source.get(x, y, c) / (c < 3 ? 2.0f : 1.0f); });
}

OfxStatus act(const char* action, OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    if (is(action, ofx::action::Load)) {
        fetchAll();
        probe(theHost->host);
    } else if (is(action, ofx::action::Describe)) {
        describe(effect);
    } else if (is(action, ofx::action::DescribeInContext)) {
        describeInContext(effect);
    } else if (is(action, ofx::action::Render)) {
        render(effect, in);
    } else if (!is(action, ofx::action::Unload) && !is(action, ofx::action::CreateInstance) && !is(action, ofx::action::DestroyInstance)) {
        return ofx::status::ReplyDefault;
    }
    return ofx::status::OK;
}

OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle in, OfxPropertySetHandle) {
    try {
        return act(action, static_cast<OfxImageEffectHandle>(const_cast<void*>(handle)), in);
    } catch (const StatusError& error) {
        return error.status;
    } catch (const std::bad_alloc&) {
        return ofx::status::ErrMemory;
    } catch (...) {
        return ofx::status::Failed;
    }
}

std::vector<OfxPlugin*>& plugins() {
    static OfxPlugin halver = {ofx::ImageEffectPluginApi,
                               ofx::ImageEffectPluginApiVersion,
                               "com.example.foreign.Halver",
                               1,
                               0,
                               setHost,
                               mainEntry};
    static std::vector<OfxPlugin*> all = {&halver};
    return all;
}

}  // namespace

extern "C" [[gnu::visibility("default")]] int OfxGetNumberOfPlugins() { return static_cast<int>(plugins().size()); }
extern "C" [[gnu::visibility("default")]] OfxPlugin* OfxGetPlugin(int index) {
#ifdef FOREIGN_THROWS
    return plugins().at(static_cast<std::size_t>(index));
#else
    if (index < 0 || index >= static_cast<int>(plugins().size())) std::abort();  // as an assertion does
    return plugins()[static_cast<std::size_t>(index)];
#endif
}
// What an ordinary build leaves visible.
extern "C" [[gnu::visibility("default")]] int foreignHelper() { return 1; }
