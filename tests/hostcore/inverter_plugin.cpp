#include "inverter_plugin.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ofx/ofx_names.h"

namespace inverter {
namespace {

namespace prop = ofx::prop;
namespace type = ofx::param_type;

OfxHost* theHost = nullptr;
Suites theSuites;
Intercept theIntercept;

template <class Suite>
void fetch(const Suite*& suite, const char* suiteName) {
    suite = static_cast<const Suite*>(theHost->fetchSuite(theHost->host, suiteName, 1));
}

void fetchSuites() {
    fetch(theSuites.property, ofx::suite::Property);
    fetch(theSuites.effect, ofx::suite::ImageEffect);
    fetch(theSuites.parameter, ofx::suite::Parameter);
    fetch(theSuites.memory, ofx::suite::Memory);
    fetch(theSuites.threads, ofx::suite::MultiThread);
    fetch(theSuites.message, ofx::suite::Message);
    fetch(theSuites.interact, ofx::suite::Interact);
}

OfxStatus interactEntry(const char* action, const void* handle, OfxPropertySetHandle in, OfxPropertySetHandle out) {
    const Action call{action, handle, in, out};
    if (theIntercept) {
        if (const auto answer = theIntercept(call)) return *answer;
    }
    return call.is(ofx::action::Describe) || call.is(ofx::action::CreateInstance) ? ofx::status::OK
                                                                                  : ofx::status::ReplyDefault;
}

OfxStatus describe(OfxImageEffectHandle effect) {
    fetchSuites();
    const auto& p = *theSuites.property;
    OfxPropertySetHandle set = properties(effect);
    p.propSetString(set, prop::Label, 0, name);
    p.propSetString(set, prop::SupportedContexts, 0, ofx::context::Filter);
    const char* const depths[] = {ofx::depth::Byte, ofx::depth::Short, ofx::depth::Float};
    p.propSetStringN(set, prop::SupportedPixelDepths, 3, depths);
    p.propSetInt(set, prop::SupportsTiles, 0, 0);
    p.propSetPointer(set, prop::PluginOverlayInteractV1, 0, reinterpret_cast<void*>(interactEntry));
    return ofx::status::OK;
}

OfxPropertySetHandle define(OfxParamSetHandle params, const char* paramType, const char* paramName) {
    OfxPropertySetHandle set = nullptr;
    theSuites.parameter->paramDefine(params, paramType, paramName, &set);
    return set;
}

OfxStatus describeInContext(OfxImageEffectHandle effect) {
    const auto& p = *theSuites.property;
    for (const char* clip : {ofx::clip::Output, ofx::clip::Source, "Extra"}) {
        OfxPropertySetHandle set = nullptr;
        theSuites.effect->clipDefine(effect, clip, &set);
        p.propSetString(set, prop::SupportedComponents, 0, ofx::component::RGBA);
        if (std::string_view(clip) == "Extra") p.propSetInt(set, prop::ClipOptional, 0, 1);
    }
    OfxParamSetHandle params = nullptr;
    theSuites.effect->getParamSet(effect, &params);
    define(params, type::Group, "group");
    OfxPropertySetHandle amount = define(params, type::Double, "amount");
    p.propSetDouble(amount, prop::ParamDefault, 0, 1.0);
    p.propSetDouble(amount, prop::ParamMin, 0, 0.0);
    p.propSetDouble(amount, prop::ParamMax, 0, 10.0);
    p.propSetString(amount, prop::ParamParent, 0, "group");
    p.propSetInt(define(params, type::Integer, "count"), prop::ParamDefault, 0, 3);
    p.propSetInt(define(params, type::Boolean, "on"), prop::ParamDefault, 0, 1);
    OfxPropertySetHandle mode = define(params, type::Choice, "mode");
    p.propSetString(mode, prop::ParamChoiceOption, 0, "First");
    p.propSetString(mode, prop::ParamChoiceOption, 1, "Second");
    p.propSetString(define(params, type::String, "text"), prop::ParamDefault, 0, "hello");
    for (const char* plain : {type::RGBA, type::RGB, type::Double2D, type::Double3D, type::Integer2D, type::Integer3D,
                              type::Custom, type::PushButton}) {
        define(params, plain, plain + std::strlen("OfxParamType"));
    }
    OfxPropertySetHandle page = define(params, type::Page, "page");
    p.propSetString(page, prop::ParamPageChild, 0, "amount");
    p.propSetString(page, prop::ParamPageChild, 1, ofx::page::SkipColumn);
    return ofx::status::OK;
}

// ---- Rendering ------------------------------------------------------------------------------------------------

struct Pixels {
    OfxPropertySetHandle image = nullptr;
    std::byte* data = nullptr;
    int bounds[4] = {}, rowBytes = 0;
    std::string depth;

    template <class Sample>
    Sample* row(int y) const {
        return reinterpret_cast<Sample*>(data + static_cast<std::ptrdiff_t>(y - bounds[1]) * rowBytes);
    }
};

std::optional<Pixels> fetchPixels(OfxImageEffectHandle effect, const char* clipName, double time) {
    OfxImageClipHandle clip = nullptr;
    Pixels pixels;
    theSuites.effect->clipGetHandle(effect, clipName, &clip, nullptr);
    if (theSuites.effect->clipGetImage(clip, time, nullptr, &pixels.image) != ofx::status::OK) return std::nullopt;
    const auto& p = *theSuites.property;
    void* data = nullptr;
    char* depth = nullptr;
    p.propGetPointer(pixels.image, prop::ImageData, 0, &data);
    p.propGetIntN(pixels.image, prop::ImageBounds, 4, pixels.bounds);
    p.propGetInt(pixels.image, prop::ImageRowBytes, 0, &pixels.rowBytes);
    p.propGetString(pixels.image, prop::PixelDepth, 0, &depth);
    pixels.data = static_cast<std::byte*>(data);
    pixels.depth = depth;
    return pixels;
}

struct Job {
    const Pixels* source;
    const Pixels* target;
    float white;
};

template <class Sample>
void invertRows(unsigned index, unsigned count, void* custom) {
    const Job& job = *static_cast<Job*>(custom);
    const int rows = job.target->bounds[3] - job.target->bounds[1];
    const int first = job.target->bounds[1] + static_cast<int>(rows * index / count);
    const int last = job.target->bounds[1] + static_cast<int>(rows * (index + 1) / count);
    const int samples = (job.target->bounds[2] - job.target->bounds[0]) * 4;
    for (int y = first; y < last; ++y) {
        const Sample* in = job.source->row<Sample>(y);
        Sample* out = job.target->row<Sample>(y);
        for (int i = 0; i < samples; ++i) {
            out[i] = i % 4 == 3 ? in[i] : static_cast<Sample>(job.white - static_cast<float>(in[i]));
        }
    }
}

OfxStatus render(const Action& action) {
    double time = 0.0;
    theSuites.property->propGetDouble(action.in, prop::Time, 0, &time);
    if (theSuites.effect->abort(action.effect())) return ofx::status::OK;
    const auto source = fetchPixels(action.effect(), ofx::clip::Source, time);
    if (!source) return ofx::status::Failed;
    const auto target = fetchPixels(action.effect(), ofx::clip::Output, time);
    OfxStatus status = ofx::status::Failed;
    if (target && source->data && target->data) {
        Job job{&*source, &*target, 1.0f};
        if (source->depth == ofx::depth::Byte) {
            job.white = 255.0f;
            status = theSuites.threads->multiThread(invertRows<std::uint8_t>, 4, &job);
        } else if (source->depth == ofx::depth::Short) {
            job.white = 65535.0f;
            status = theSuites.threads->multiThread(invertRows<std::uint16_t>, 4, &job);
        } else {
            status = theSuites.threads->multiThread(invertRows<float>, 4, &job);
        }
    }
    theSuites.effect->clipReleaseImage(source->image);
    if (target) theSuites.effect->clipReleaseImage(target->image);
    return status;
}

OfxStatus mainEntry(const char* text, const void* handle, OfxPropertySetHandle in, OfxPropertySetHandle out) {
    const Action action{text, handle, in, out};
    if (theIntercept) {
        if (const auto answer = theIntercept(action)) return *answer;
    }
    if (action.is(ofx::action::Describe)) return describe(action.effect());
    if (action.is(ofx::action::DescribeInContext)) return describeInContext(action.effect());
    if (action.is(ofx::action::Render)) return render(action);
    return ofx::status::ReplyDefault;
}

OfxPlugin thePlugin = {ofx::ImageEffectPluginApi,
                       1,
                       "com.example.hostcore.Test_Inverter",
                       1,
                       0,
                       [](OfxHost* newHost) { theHost = newHost; },
                       mainEntry};

}  // namespace

bool Action::is(const char* other) const { return std::string_view(text) == other; }

OfxPlugin* plugin() { return &thePlugin; }
const Suites& suites() { return theSuites; }
OfxHost* host() { return theHost; }

Interception::Interception(Intercept intercept) { theIntercept = std::move(intercept); }
Interception::~Interception() { theIntercept = nullptr; }

OfxParamHandle param(OfxImageEffectHandle effect, const char* paramName) {
    OfxParamSetHandle params = nullptr;
    OfxParamHandle handle = nullptr;
    theSuites.effect->getParamSet(effect, &params);
    theSuites.parameter->paramGetHandle(params, paramName, &handle, nullptr);
    return handle;
}

OfxPropertySetHandle properties(OfxImageEffectHandle effect) {
    OfxPropertySetHandle set = nullptr;
    theSuites.effect->getPropertySet(effect, &set);
    return set;
}

}  // namespace inverter
