// A bundle for the tests of the program: an effect that is simple to predict and, when asked, ill-behaved.
//
// Picture: source x Gain + Tint, per channel, from the frame "Frame offset" later. Report: what the effect has been
// told, as numbers in the four channels.

#include <chrono>
#include <thread>

#include "support/test_plugin.h"

namespace {

using namespace testplugin;
namespace prop = ofx::prop;
namespace type = ofx::param_type;
using ofx::status::Failed;
using ofx::status::OK;

int userEdits = 0, presses = 0, openBrackets = 0, changesOutside = 0;

enum Mode { Picture, Report, Press };
enum Fault { None, WrongType, Fails, NoPicture, Endless };

void defineChoice(OfxImageEffectHandle effect, const char* name, std::initializer_list<const char*> options) {
    OfxPropertySetHandle set = define(effect, type::Choice, name);
    props->propSetStringN(set, prop::ParamChoiceOption, static_cast<int>(options.size()), options.begin());
    props->propSetInt(set, prop::ParamDefault, 0, 0);
}

OfxStatus describeInContext(OfxImageEffectHandle effect, const char* context) {
    defineClip(effect, ofx::clip::Output);
    defineClip(effect, "Plate", is(context, ofx::context::Generator));
    defineClip(effect, "Matte", true);
    props->propSetString(define(effect, type::Group, "Main"), prop::Label, 0, "Main group");
    OfxPropertySetHandle set = defineDouble(effect, "Gain", 1.0, 0.0, 1000.0);
    props->propSetString(set, prop::Label, 0, "Light gain");
    props->propSetString(set, prop::ParamParent, 0, "Main");
    define(effect, type::RGBA, "Tint");
    set = define(effect, type::Integer, "FrameOffset");
    props->propSetInt(set, prop::ParamMin, 0, -10);
    props->propSetInt(set, prop::ParamMax, 0, 10);
    defineChoice(effect, "Mode", {"Picture", "Report", "Press"});
    defineChoice(effect, "Fault", {"None", "WrongType", "Fails", "NoPicture", "Endless"});
    defineChoice(effect, "Demos", {"Plain", "Double", "Off, dark"});
    define(effect, type::Boolean, "Swap");
    define(effect, type::Double2D, "Centre");
    define(effect, type::String, "Caption");
    define(effect, type::PushButton, "Push");
    define(effect, type::Boolean, "Multiplied");  // what the effect says of its alpha
    return OK;
}

int intAt(OfxImageEffectHandle effect, const char* name, double time) {
    int value = 0;
    params->paramGetValueAtTime(param(effect, name), time, &value);
    return value;
}

OfxStatus changed(OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    char *reason = nullptr, *name = nullptr;
    props->propGetString(in, prop::ChangeReason, 0, &reason);
    props->propGetString(in, prop::Name, 0, &name);
    if (!is(reason, ofx::change::UserEdited)) return OK;
    if (openBrackets == 0) ++changesOutside;
    ++userEdits;
    if (is(name, "Push")) ++presses;
    if (is(name, "Demos")) {
        const double gains[] = {1.0, 2.0, 0.0};
        params->paramSetValue(param(effect, "Gain"), gains[intAt(effect, "Demos", 0.0)]);
    }
    return OK;
}

// What the effect knows, as a colour: time, the plate's frame range, user edits; or presses and brackets.
void report(OfxImageEffectHandle effect, double time, float colour[4]) {
    double range[2] = {-1.0, -1.0}, size[2] = {};
    OfxPropertySetHandle set = nullptr;
    OfxImageClipHandle plate = nullptr;
    effects->clipGetHandle(effect, "Plate", &plate, &set);
    props->propGetDoubleN(set, prop::FrameRange, 2, range);
    props->propGetDoubleN(propertiesOf(effect), prop::ProjectSize, 2, size);
    const double first[4] = {time, range[0], range[1], static_cast<double>(userEdits)};
    const double second[4] = {static_cast<double>(presses), static_cast<double>(changesOutside), size[0], size[1]};
    const bool press = intAt(effect, "Mode", time) == Press;
    for (int c = 0; c < 4; ++c) colour[c] = static_cast<float>(press ? second[c] : first[c]);
}

void fill(OfxImageEffectHandle effect, const HostImage& plate, const HostImage& out, double time) {
    double gain = 0.0, tint[4] = {};
    params->paramGetValueAtTime(param(effect, "Gain"), time, &gain);
    params->paramGetValueAtTime(param(effect, "Tint"), time, &tint[0], &tint[1], &tint[2], &tint[3]);
    const bool picture = intAt(effect, "Mode", time) == Picture;
    float colour[4] = {};
    if (!picture) report(effect, time, colour);
    out.fill(out.bounds[1], out.bounds[3], [&](int x, int y, int c) {
        return picture ? plate.get(x, y, c) * static_cast<float>(gain) + static_cast<float>(tint[c]) : colour[c];
    });
}

OfxStatus render(OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    double time = 0.0;
    props->propGetDouble(in, prop::Time, 0, &time);
    const HostImage plate(effect, "Plate", time + intAt(effect, "FrameOffset", time));
    const int fault = intAt(effect, "Fault", time);
    if (fault == WrongType) props->propGetDouble(in, prop::FieldToRender, 0, &time);
    if (fault == Fails) return Failed;
    if (fault == NoPicture) return OK;
    for (int i = 0; fault == Endless && i < 2000 && !effects->abort(effect); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const HostImage out(effect, ofx::clip::Output, time);
    if (!out.data) return Failed;
    fill(effect, plate, out, time);
    return OK;
}

OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle in, OfxPropertySetHandle out) {
    const auto effect = static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
    if (is(action, ofx::action::Load) || is(action, ofx::action::Unload)) return OK;
    if (is(action, ofx::action::Describe)) {
        fetchSuites();
        describeEffect(effect, "Mixer of tests",
                       {ofx::context::General, ofx::context::Filter, ofx::context::Generator});
        return OK;
    }
    if (is(action, ofx::action::DescribeInContext)) {
        char* context = nullptr;
        props->propGetString(in, prop::Context, 0, &context);
        return describeInContext(effect, context);
    }
    if (is(action, ofx::action::CreateInstance) || is(action, ofx::action::DestroyInstance)) return OK;
    if (is(action, ofx::action::BeginInstanceChanged)) return ++openBrackets, OK;
    if (is(action, ofx::action::EndInstanceChanged)) return --openBrackets, OK;
    if (is(action, ofx::action::InstanceChanged)) return changed(effect, in);
    if (is(action, ofx::action::Render)) return render(effect, in);
    if (is(action, ofx::action::GetClipPreferences) && intAt(effect, "Multiplied", 0.0))
        return props->propSetString(out, prop::PreMultiplication, 0, ofx::premultiplication::Premultiplied);
    return ofx::status::ReplyDefault;
}

OfxPlugin mixer = {ofx::ImageEffectPluginApi, 1, "com.brindlemoor.tests.Q_Mixer", 1, 2, setHost, mainEntry};
OfxPlugin other = {ofx::ImageEffectPluginApi, 1, "com.brindlemoor.tests.Q_Other", 1, 0, setHost, mainEntry};

}  // namespace

extern "C" __attribute__((visibility("default"))) int OfxGetNumberOfPlugins() { return 2; }

extern "C" __attribute__((visibility("default"))) OfxPlugin* OfxGetPlugin(int index) {
    return index == 0 ? &mixer : index == 1 ? &other : nullptr;
}
