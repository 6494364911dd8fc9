#include "inverter_plugin.h"

#include "support/test_plugin.h"

namespace inverter {
namespace {

using namespace testplugin;

namespace prop = ofx::prop;
namespace type = ofx::param_type;

Suites theSuites;
Intercept theIntercept;

void fetchAll() {
    fetchSuites();
    theSuites.property = props, theSuites.effect = effects, theSuites.parameter = params, theSuites.threads = threads;
    fetch(theSuites.memory, ofx::suite::Memory);
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
    fetchAll();
    describeEffect(effect, name, {ofx::context::Filter});
    props->propSetPointer(propertiesOf(effect), prop::PluginOverlayInteractV1, 0,
                          reinterpret_cast<void*>(interactEntry));
    return ofx::status::OK;
}

OfxStatus describeInContext(OfxImageEffectHandle effect) {
    defineClip(effect, ofx::clip::Output);
    defineClip(effect, ofx::clip::Source);
    defineClip(effect, "Extra", true);
    define(effect, type::Group, "group");
    props->propSetString(defineDouble(effect, "amount", 1.0, 0.0, 10.0), prop::ParamParent, 0, "group");
    props->propSetInt(define(effect, type::Integer, "count"), prop::ParamDefault, 0, 3);
    props->propSetInt(define(effect, type::Boolean, "on"), prop::ParamDefault, 0, 1);
    const char* const options[] = {"First", "Second"};
    props->propSetStringN(define(effect, type::Choice, "mode"), prop::ParamChoiceOption, 2, options);
    props->propSetString(define(effect, type::String, "text"), prop::ParamDefault, 0, "hello");
    for (const char* plain : {type::RGBA, type::RGB, type::Double2D, type::Double3D, type::Integer2D, type::Integer3D,
                              type::Custom, type::PushButton})
        define(effect, plain, plain + std::strlen("OfxParamType"));
    const char* const children[] = {"amount", ofx::page::SkipColumn};
    props->propSetStringN(define(effect, type::Page, "page"), prop::ParamPageChild, 2, children);
    return ofx::status::OK;
}

struct Job {
    const HostImage &source, &target;
};

void invertRows(unsigned index, unsigned count, void* custom) {
    const auto& [source, target] = *static_cast<Job*>(custom);
    const auto row = [&](unsigned part) {
        return target.bounds[1] + static_cast<int>(static_cast<unsigned>(target.height()) * part / count);
    };
    target.fill(row(index), row(index + 1), [&](int x, int y, int c) {
        const float value = source.get(x, y, c);
        return c == 3 ? value : 1.0f - value;
    });
}

OfxStatus render(const Action& action) {
    double time = 0.0;
    props->propGetDouble(action.in, prop::Time, 0, &time);
    if (effects->abort(action.effect())) return ofx::status::OK;
    const HostImage source(action.effect(), ofx::clip::Source, time);
    if (!source) return ofx::status::Failed;
    const HostImage target(action.effect(), ofx::clip::Output, time);
    if (!source.data || !target.data) return ofx::status::Failed;
    Job job{source, target};
    return threads->multiThread(invertRows, 4, &job);
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

OfxPlugin thePlugin = {ofx::ImageEffectPluginApi, 1, "com.example.hostcore.Test_Inverter", 1, 0, setHost, mainEntry};

}  // namespace

bool Action::is(const char* other) const { return testplugin::is(text, other); }

OfxPlugin* plugin() { return &thePlugin; }
const Suites& suites() { return theSuites; }
OfxHost* host() { return theHost; }

Interception::Interception(Intercept intercept) { theIntercept = std::move(intercept); }
Interception::~Interception() { theIntercept = nullptr; }

OfxParamHandle param(OfxImageEffectHandle effect, const char* paramName) {
    return testplugin::param(effect, paramName);
}

}  // namespace inverter
