// Bundles as others write them, to see that the program gets along with them. Built twice: with FOREIGN_THROWS the
// entry points throw for an index outside the count, otherwise they end the process by an assertion; both are common.
//
// The manner is that of C++ support code: host and instance are asked for many properties that a host may lack,
// properties of newer versions are set and failures ignored, an error is an exception that the main entry turns into a
// status. Works on 8 bits only.

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "ofx/ofx.h"
#include "ofx/ofx_names.h"

namespace {

namespace prop = ofx::prop;

struct StatusError {
    OfxStatus status;
};

OfxHost* theHost = nullptr;
const OfxPropertySuiteV1* props = nullptr;
const OfxImageEffectSuiteV1* effects = nullptr;
const OfxParameterSuiteV1* params = nullptr;

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

template <class Suite>
void fetch(const Suite*& suite, const char* name) {
    suite = static_cast<const Suite*>(theHost->fetchSuite(theHost->host, name, 1));
    if (!suite) throw StatusError{ofx::status::ErrMissingHostFeature};
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

struct HeldImage {
    OfxPropertySetHandle set = nullptr;
    unsigned char* data = nullptr;
    int bounds[4] = {}, rowBytes = 0;

    HeldImage(OfxImageEffectHandle effect, const char* name, double time) {
        OfxImageClipHandle clip = nullptr;
        require(effects->clipGetHandle(effect, name, &clip, nullptr));
        require(effects->clipGetImage(clip, time, nullptr, &set));
        void* pointer = nullptr;
        props->propGetPointer(set, prop::ImageData, 0, &pointer);
        props->propGetIntN(set, prop::ImageBounds, 4, bounds);
        props->propGetInt(set, prop::ImageRowBytes, 0, &rowBytes);
        data = static_cast<unsigned char*>(pointer);
    }
    ~HeldImage() {
        if (set) effects->clipReleaseImage(set);
    }
    HeldImage(const HeldImage&) = delete;
    HeldImage& operator=(const HeldImage&) = delete;
    bool holds(int x, int y) const { return x >= bounds[0] && x < bounds[2] && y >= bounds[1] && y < bounds[3]; }
    unsigned char* at(int x, int y) const {
        return data + std::ptrdiff_t(y - bounds[1]) * rowBytes + std::ptrdiff_t(x - bounds[0]) * 4;
    }
};

void render(OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    double time = 0.0;
    int die = 0;
    require(props->propGetDouble(in, prop::Time, 0, &time));
    OfxParamSetHandle all = nullptr;
    OfxParamHandle param = nullptr;
    require(effects->getParamSet(effect, &all));
    require(params->paramGetHandle(all, "Die", &param, nullptr));
    require(params->paramGetValueAtTime(param, time, &die));
    if (die) std::abort();
    const HeldImage source(effect, ofx::clip::Source, time), output(effect, ofx::clip::Output, time);
    if (!source.data || !output.data) throw StatusError{ofx::status::Failed};
    for (int y = output.bounds[1]; y < output.bounds[3]; ++y)
        for (int x = output.bounds[0]; x < output.bounds[2]; ++x)
            for (int c = 0; c < 4; ++c)
                output.at(x, y)[c] =
                    static_cast<unsigned char>(source.holds(x, y) ? source.at(x, y)[c] / (c < 3 ? 2 : 1) : 0);
}

OfxStatus act(const char* action, OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    const auto is = [action](const char* name) { return std::strcmp(action, name) == 0; };
    if (is(ofx::action::Load)) {
        fetch(props, ofx::suite::Property);
        fetch(effects, ofx::suite::ImageEffect);
        fetch(params, ofx::suite::Parameter);
        probe(theHost->host);
    } else if (is(ofx::action::Describe)) {
        describe(effect);
    } else if (is(ofx::action::DescribeInContext)) {
        describeInContext(effect);
    } else if (is(ofx::action::Render)) {
        render(effect, in);
    } else if (!is(ofx::action::Unload) && !is(ofx::action::CreateInstance) && !is(ofx::action::DestroyInstance)) {
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
                               [](OfxHost* host) { theHost = host; },
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
