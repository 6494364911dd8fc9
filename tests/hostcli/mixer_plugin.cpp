// A bundle for the tests of the program: an effect that is simple to predict and, when asked, ill-behaved.
//
// Picture: source x Gain + Tint, per channel, from the frame "Frame offset" later. Report: what the effect has been
// told, as numbers in the four channels.

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <thread>

#include "ofx/ofx.h"
#include "ofx/ofx_names.h"

namespace {

namespace prop = ofx::prop;
namespace type = ofx::param_type;
using ofx::status::Failed;
using ofx::status::OK;

OfxHost* theHost = nullptr;
const OfxPropertySuiteV1* props = nullptr;
const OfxImageEffectSuiteV1* effects = nullptr;
const OfxParameterSuiteV1* params = nullptr;
int userEdits = 0, presses = 0, openBrackets = 0, changesOutside = 0;

enum Mode { Picture, Report, Press };
enum Fault { None, WrongType, Fails, NoPicture, Endless };

bool is(const char* a, const char* b) { return std::strcmp(a, b) == 0; }

template <class Suite>
void fetch(const Suite*& suite, const char* name) {
    suite = static_cast<const Suite*>(theHost->fetchSuite(theHost->host, name, 1));
}

OfxStatus describe(OfxImageEffectHandle effect) {
    fetch(props, ofx::suite::Property);
    fetch(effects, ofx::suite::ImageEffect);
    fetch(params, ofx::suite::Parameter);
    OfxPropertySetHandle set = nullptr;
    effects->getPropertySet(effect, &set);
    props->propSetString(set, prop::Label, 0, "Mixer of tests");
    props->propSetString(set, prop::PluginGrouping, 0, "Tests");
    const char* const contexts[] = {ofx::context::General, ofx::context::Filter, ofx::context::Generator};
    props->propSetStringN(set, prop::SupportedContexts, 3, contexts);
    const char* const depths[] = {ofx::depth::Byte, ofx::depth::Short, ofx::depth::Float};
    props->propSetStringN(set, prop::SupportedPixelDepths, 3, depths);
    props->propSetInt(set, prop::SupportsTiles, 0, 0);
    return OK;
}

OfxPropertySetHandle define(OfxParamSetHandle all, const char* kind, const char* name) {
    OfxPropertySetHandle set = nullptr;
    params->paramDefine(all, kind, name, &set);
    return set;
}

void defineChoice(OfxParamSetHandle all, const char* name, std::initializer_list<const char*> options) {
    OfxPropertySetHandle set = define(all, type::Choice, name);
    int index = 0;
    for (const char* option : options) props->propSetString(set, prop::ParamChoiceOption, index++, option);
    props->propSetInt(set, prop::ParamDefault, 0, 0);
}

OfxStatus describeInContext(OfxImageEffectHandle effect, const char* context) {
    for (const char* name : {ofx::clip::Output, "Plate", "Matte"}) {
        OfxPropertySetHandle set = nullptr;
        effects->clipDefine(effect, name, &set);
        props->propSetString(set, prop::SupportedComponents, 0, ofx::component::RGBA);
        const bool required = is(name, "Plate") && !is(context, ofx::context::Generator);
        if (!is(name, ofx::clip::Output)) props->propSetInt(set, prop::ClipOptional, 0, required ? 0 : 1);
    }
    OfxParamSetHandle all = nullptr;
    effects->getParamSet(effect, &all);
    OfxPropertySetHandle set = define(all, type::Group, "Main");
    props->propSetString(set, prop::Label, 0, "Main group");
    set = define(all, type::Double, "Gain");
    props->propSetString(set, prop::Label, 0, "Light gain");
    props->propSetDouble(set, prop::ParamDefault, 0, 1.0);
    props->propSetDouble(set, prop::ParamMin, 0, 0.0);
    props->propSetDouble(set, prop::ParamMax, 0, 1000.0);
    props->propSetString(set, prop::ParamParent, 0, "Main");
    define(all, type::RGBA, "Tint");
    set = define(all, type::Integer, "FrameOffset");
    props->propSetInt(set, prop::ParamMin, 0, -10);
    props->propSetInt(set, prop::ParamMax, 0, 10);
    defineChoice(all, "Mode", {"Picture", "Report", "Press"});
    defineChoice(all, "Fault", {"None", "WrongType", "Fails", "NoPicture", "Endless"});
    defineChoice(all, "Demos", {"Plain", "Double", "Off, dark"});
    define(all, type::Boolean, "Swap");
    define(all, type::Double2D, "Centre");
    define(all, type::String, "Caption");
    define(all, type::PushButton, "Push");
    define(all, type::Boolean, "Multiplied");  // what the effect says of its alpha
    return OK;
}

OfxParamHandle param(OfxImageEffectHandle effect, const char* name) {
    OfxParamSetHandle all = nullptr;
    OfxParamHandle handle = nullptr;
    effects->getParamSet(effect, &all);
    params->paramGetHandle(all, name, &handle, nullptr);
    return handle;
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

struct HostImage {
    OfxPropertySetHandle handle = nullptr;
    std::byte* data = nullptr;
    int bounds[4] = {}, rowBytes = 0, depth = 32;

    HostImage(OfxImageClipHandle clip, double time) {
        if (!clip || effects->clipGetImage(clip, time, nullptr, &handle) != OK) return;
        void* pointer = nullptr;
        char* text = nullptr;
        props->propGetPointer(handle, prop::ImageData, 0, &pointer);
        props->propGetIntN(handle, prop::ImageBounds, 4, bounds);
        props->propGetInt(handle, prop::ImageRowBytes, 0, &rowBytes);
        props->propGetString(handle, prop::PixelDepth, 0, &text);
        data = static_cast<std::byte*>(pointer);
        depth = is(text, ofx::depth::Byte) ? 8 : is(text, ofx::depth::Short) ? 16 : 32;
    }
    ~HostImage() {
        if (handle) effects->clipReleaseImage(handle);
    }
    HostImage(const HostImage&) = delete;
    HostImage& operator=(const HostImage&) = delete;

    bool holds(int x, int y) const {
        return data && x >= bounds[0] && x < bounds[2] && y >= bounds[1] && y < bounds[3];
    }
    std::byte* sample(int x, int y, int c) const {
        return data + static_cast<std::ptrdiff_t>(y - bounds[1]) * rowBytes + ((x - bounds[0]) * 4 + c) * (depth / 8);
    }
    float get(int x, int y, int c) const {
        if (!holds(x, y)) return 0.0f;
        if (depth == 8) return static_cast<float>(std::to_integer<int>(*sample(x, y, c))) / 255.0f;
        if (depth == 16) {
            std::uint16_t level;
            std::memcpy(&level, sample(x, y, c), sizeof level);
            return static_cast<float>(level) / 65535.0f;
        }
        float value;
        std::memcpy(&value, sample(x, y, c), sizeof value);
        return value;
    }
    void set(int x, int y, int c, float value) const {
        if (depth == 32) {
            std::memcpy(sample(x, y, c), &value, sizeof value);
            return;
        }
        const float white = depth == 8 ? 255.0f : 65535.0f;
        const float limited = std::fmin(std::fmax(value, 0.0f), 1.0f);
        const auto level = static_cast<std::uint16_t>(std::lround(limited * white));
        if (depth == 8)
            *sample(x, y, c) = static_cast<std::byte>(level);
        else
            std::memcpy(sample(x, y, c), &level, sizeof level);
    }
};

// What the effect knows, as a colour: time, the plate's frame range, user edits; or presses and brackets.
void report(OfxImageEffectHandle effect, OfxImageClipHandle plate, double time, float colour[4]) {
    double range[2] = {-1.0, -1.0}, size[2] = {};
    OfxPropertySetHandle set = nullptr;
    effects->clipGetPropertySet(plate, &set);
    props->propGetDoubleN(set, prop::FrameRange, 2, range);
    effects->getPropertySet(effect, &set);
    props->propGetDoubleN(set, prop::ProjectSize, 2, size);
    const double first[4] = {time, range[0], range[1], static_cast<double>(userEdits)};
    const double second[4] = {static_cast<double>(presses), static_cast<double>(changesOutside), size[0], size[1]};
    const bool press = intAt(effect, "Mode", time) == Press;
    for (int c = 0; c < 4; ++c) colour[c] = static_cast<float>(press ? second[c] : first[c]);
}

void fill(OfxImageEffectHandle effect, const HostImage& plate, OfxImageClipHandle plateClip, const HostImage& out,
          double time) {
    double gain = 0.0, tint[4] = {};
    params->paramGetValueAtTime(param(effect, "Gain"), time, &gain);
    params->paramGetValueAtTime(param(effect, "Tint"), time, &tint[0], &tint[1], &tint[2], &tint[3]);
    const bool picture = intAt(effect, "Mode", time) == Picture;
    float colour[4] = {};
    if (!picture) report(effect, plateClip, time, colour);
    for (int y = out.bounds[1]; y < out.bounds[3]; ++y)
        for (int x = out.bounds[0]; x < out.bounds[2]; ++x)
            for (int c = 0; c < 4; ++c)
                out.set(
                    x, y, c,
                    picture ? plate.get(x, y, c) * static_cast<float>(gain) + static_cast<float>(tint[c]) : colour[c]);
}

OfxStatus render(OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    double time = 0.0;
    props->propGetDouble(in, prop::Time, 0, &time);
    OfxImageClipHandle plateClip = nullptr, outputClip = nullptr;
    effects->clipGetHandle(effect, "Plate", &plateClip, nullptr);
    effects->clipGetHandle(effect, ofx::clip::Output, &outputClip, nullptr);
    const HostImage plate(plateClip, time + intAt(effect, "FrameOffset", time));
    const int fault = intAt(effect, "Fault", time);
    if (fault == WrongType) props->propGetDouble(in, prop::FieldToRender, 0, &time);
    if (fault == Fails) return Failed;
    if (fault == NoPicture) return OK;
    for (int i = 0; fault == Endless && i < 2000 && !effects->abort(effect); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const HostImage out(outputClip, time);
    if (!out.data) return Failed;
    fill(effect, plate, plateClip, out, time);
    return OK;
}

OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle in, OfxPropertySetHandle out) {
    const auto effect = static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
    if (is(action, ofx::action::Load) || is(action, ofx::action::Unload)) return OK;
    if (is(action, ofx::action::Describe)) return describe(effect);
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

void setHost(OfxHost* host) { theHost = host; }

OfxPlugin mixer = {ofx::ImageEffectPluginApi, 1, "com.brindlemoor.tests.Q_Mixer", 1, 2, setHost, mainEntry};
OfxPlugin other = {ofx::ImageEffectPluginApi, 1, "com.brindlemoor.tests.Q_Other", 1, 0, setHost, mainEntry};

}  // namespace

extern "C" __attribute__((visibility("default"))) int OfxGetNumberOfPlugins() { return 2; }

extern "C" __attribute__((visibility("default"))) OfxPlugin* OfxGetPlugin(int index) {
    return index == 0 ? &mixer : index == 1 ? &other : nullptr;
}
