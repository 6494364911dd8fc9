#include "Library2/Controls.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "Library2/EffectInfo.h"

namespace {

std::string trimmed(const char* text) {
    std::string result = text;
    result.erase(0, result.find_first_not_of(' '));
    result.erase(result.find_last_not_of(' ') + 1);
    return result;
}

// The label with underscores for blanks and without punctuation.
std::string scriptNameOf(const std::string& label) {
    std::string result;
    for (const char c : label) {
        if (c == ' ')
            result += '_';
        else if (!std::ispunct(static_cast<unsigned char>(c)) || c == '_')
            result += c;
    }
    return result;
}

std::string numberText(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g", value);
    return text.data();
}

std::string rangeOf(double min, double max) {
    if (std::isinf(min) && std::isinf(max)) return {};
    return numberText(min) + " .. " + numberText(max);
}

// A step of the host's slider that suits the range.
double incrementOf(double range) {
    if (range <= 2.0) return 0.001;
    if (range <= 100.0) return 0.05;
    if (range <= 1000.0) return 0.5;
    return 1.0;
}

// What effects may count on: a finite number, small enough that lengths made of it, in pixels, can be squared in single
// precision and scaled random numbers drawn from them.
double soundOr(double value, double fallback) {
    constexpr double LARGEST = 1e12;
    return std::isfinite(value) ? std::clamp(value, -LARGEST, LARGEST) : fallback;
}

void setBothAxes(const PropertySet& set, const char* property, double value) {
    set.setDouble(property, value, 0);
    set.setDouble(property, value, 1);
}

}  // namespace

// ---- Base -----------------------------------------------------------------------------------------------------

ControlK7::ControlK7(EffectInfo* owner, const char* name, const char* label, const char* sentence,
                     const ParamOptions& options)
    : m_name(name), m_label(trimmed(label)), m_sentence(sentence), m_options(options), m_page(-1) {
    if (m_label.empty()) m_label = m_name;
    if (owner) m_page = owner->addControl(this);
}

std::string ControlK7::scriptName() const {
    if (m_options.scriptName) return m_options.scriptName;
    if (m_options.secret) return m_name;
    return scriptNameOf(m_label);
}

bool ControlK7::animates() const { return m_options.animates && !m_options.secret; }

bool ControlK7::keptByPresets() const { return m_options.keptByPresets || m_options.secret; }

void ControlK7::define(const DescribeContext& context) const {
    OfxPropertySetHandle handle = nullptr;
    callSuite(bundleState().suites.parameter, &OfxParameterSuiteV1::paramDefine, context.parameters, paramType(),
              m_name.c_str(), &handle);
    const PropertySet set(handle);
    if (!set) return;
    describeValue(set, *context.quirks);
    set.setString(ofx::prop::ParamHint, m_label.c_str());
    set.setString(ofx::prop::ParamScriptName, scriptName().c_str());
    set.setString(ofx::prop::Label, m_label.c_str());
    if (m_options.secret) set.setInt(ofx::prop::ParamSecret, 1);
    if (context.parent) set.setString(ofx::prop::ParamParent, context.parent);
    if (hasValue()) set.setInt(ofx::prop::ParamAnimates, animates() ? 1 : 0);
    describeAfter(set);
}

void ControlK7::wire(OfxParamHandle* slot, const HostSuites* suites) {
    m_slot = slot;
    m_suites = suites;
}

void ControlK7::setEnabled(bool enabled) {
    if (!live()) return;
    OfxPropertySetHandle handle = nullptr;
    if (callSuite(m_suites->parameter, &OfxParameterSuiteV1::paramGetPropertySet, *m_slot, &handle) != ofx::status::OK)
        return;
    PropertySet(handle).setInt(ofx::prop::ParamEnabled, enabled ? 1 : 0);
}

void ControlK7::SetHidden(bool hidden) {
    m_hidden = hidden;
    setEnabled(!hidden);
}

void ControlK7::SetGhosted(bool ghosted) {
    m_ghosted = ghosted;
    setEnabled(!ghosted);
}

// ---- Numbers --------------------------------------------------------------------------------------------------

FloatControlK7::FloatControlK7(EffectInfo* owner, const NumberParam& param, const char* sentence)
    : ControlK7(owner, param.name, param.label, sentence, param.options),
      value(param.value),
      overlayValue(param.value),
      m_param(param) {}

void FloatControlK7::describeValue(const PropertySet& set, const HostQuirks&) const {
    set.setString(ofx::prop::ParamDoubleType, doubleType());
    set.setDouble(ofx::prop::ParamDefault, m_param.value);
    if (std::isfinite(m_param.min)) set.setDouble(ofx::prop::ParamMin, m_param.min);
    if (std::isfinite(m_param.max)) set.setDouble(ofx::prop::ParamMax, m_param.max);
    if (std::isfinite(m_param.min)) set.setDouble(ofx::prop::ParamDisplayMin, m_param.min);
    const double displayMax = std::min(m_param.max, options().displayMax);
    if (std::isfinite(displayMax)) set.setDouble(ofx::prop::ParamDisplayMax, displayMax);
    set.setDouble(ofx::prop::ParamIncrement,
                  options().increment > 0.0 ? options().increment : incrementOf(m_param.max - m_param.min));
}

std::string FloatControlK7::defaultText() const { return numberText(m_param.value); }
std::string FloatControlK7::rangeText() const { return rangeOf(m_param.min, m_param.max); }

bool FloatControlK7::GetValue(double time, double* out) const {
    double found = 0.0;
    if (!readAt(time, &found)) return false;
    *out = soundOr(found, m_param.value);
    return true;
}

void SizeControlK7::fetch(const FetchContext& context) {
    if (GetValue(context.time, &value) && followedByOverlay) value *= context.xFactor;
}

void SizeControlK7::fetchOverlay(const FetchContext& context) {
    if (GetValue(context.time, &overlayValue)) overlayValue *= context.xFactor;
}

bool AngleControlK7::GetValue(double time, double* out) const {
    double angle = 0.0;
    if (!FloatControlK7::GetValue(time, &angle)) return false;
    *out = static_cast<double>(static_cast<float>(angle));
    return true;
}

FrameRateControlK7::FrameRateControlK7(EffectInfo* owner)
    : FloatControlK7(owner,
                     {"FramesPerSecond",
                      "Frames Per Second",
                      25.0,
                      0.1,
                      1000.0,
                      {.keptByPresets = true, .scriptName = "GeneratorFPS"}},
                     "Frames of the shot a second, for hosts that count time in milliseconds; others do not need it.") {
    if (owner) owner->setFrameRate(this);
}

IntegerControlK7::IntegerControlK7(EffectInfo* owner, const IntegerParam& param, const char* sentence)
    : ControlK7(owner, param.name, param.label, sentence, param.options), value(param.value), m_param(param) {}

void IntegerControlK7::describeValue(const PropertySet& set, const HostQuirks&) const {
    set.setInt(ofx::prop::ParamDefault, m_param.value);
    set.setInt(ofx::prop::ParamMin, m_param.min);
    set.setInt(ofx::prop::ParamMax, m_param.max);
    set.setInt(ofx::prop::ParamDisplayMin, m_param.min);
    set.setInt(ofx::prop::ParamDisplayMax, m_param.max);
}

std::string IntegerControlK7::rangeText() const { return rangeOf(m_param.min, m_param.max); }

// ---- Switches and choices -------------------------------------------------------------------------------------

CheckboxControlK7::CheckboxControlK7(EffectInfo* owner, const CheckboxParam& param, const char* sentence)
    : ControlK7(owner, param.name, param.label, sentence, param.options), value(param.value), m_default(param.value) {}

std::string CheckboxControlK7::scriptName() const {
    return secret() || options().scriptName ? ControlK7::scriptName() : ControlK7::scriptName() + "_CheckBox";
}

void CheckboxControlK7::fetch(const FetchContext& context) {
    int state = 0;
    if (readAt(context.time, &state)) value = state != 0;
}

void CheckboxControlK7::describeValue(const PropertySet& set, const HostQuirks&) const {
    set.setInt(ofx::prop::ParamDefault, m_default ? 1 : 0);
}

ListControlK7::ListControlK7(EffectInfo* owner, const ListParam& param, const char* sentence)
    : ControlK7(owner, param.name, param.label, sentence, param.options),
      value(param.index + 1),
      overlayValue(param.index + 1),
      m_param(param) {}

void IntegerControlK7::fetch(const FetchContext& context) {
    if (readAt(context.time, &value)) value = std::clamp(value, m_param.min, m_param.max);
}

bool ListControlK7::GetValue(double time, int* out) const {
    int index = 0;
    if (!readAt(time, &index)) return false;
    *out = index + 1;
    return true;
}

// Without a choice of that number the nearest one counts.
void ListControlK7::fetchInto(const FetchContext& context, int& target) const {
    const int last = std::max(static_cast<int>(m_param.choices.size()), 1);
    int index = 0;
    if (readAt(context.time, &index)) target = std::clamp(index, 0, last - 1) + 1;
}

void ListControlK7::describeAfter(const PropertySet& set) const {
    for (std::size_t i = 0; i < m_param.choices.size(); ++i)
        set.setString(ofx::prop::ParamChoiceOption, trimmed(m_param.choices[i]).c_str(), static_cast<int>(i));
    set.setInt(ofx::prop::ParamDefault, m_param.index);
}

std::string ListControlK7::defaultText() const {
    const auto index = static_cast<std::size_t>(m_param.index);
    return index < m_param.choices.size() ? trimmed(m_param.choices[index]) : std::string();
}

PresetChoiceK7::PresetChoiceK7(EffectInfo* owner, const Param& param, const char* sentence)
    : ListControlK7(owner, {param.name, param.label, 0, {}, {.animates = false, .keptByPresets = true}}, sentence) {}

// ---- Points and colours ---------------------------------------------------------------------------------------

PositionControlK7::PositionControlK7(EffectInfo* owner, const PointParam& param, const char* sentence)
    : ControlK7(owner, param.name, param.label, sentence, param.options),
      x(param.x),
      y(param.y),
      overlayX(param.x),
      overlayY(param.y),
      m_param(param) {}

bool PositionControlK7::GetValue(double time, double* outX, double* outY) const {
    double foundX = 0.0, foundY = 0.0;
    if (!readAt(time, &foundX, &foundY)) return false;
    *outX = soundOr(foundX, m_param.x);
    *outY = soundOr(foundY, m_param.y);
    return true;
}

void PositionControlK7::fetch(const FetchContext& context) {
    if (GetValue(context.time, &x, &y)) x *= context.xFactor;
}

void PositionControlK7::fetchOverlay(const FetchContext& context) {
    if (GetValue(context.time, &overlayX, &overlayY)) overlayX *= context.xFactor;
}

void PositionControlK7::describeValue(const PropertySet& set, const HostQuirks& quirks) const {
    set.setString(ofx::prop::ParamDoubleType, ofx::double_type::NormalisedXYAbsolute);
    set.setDouble(ofx::prop::ParamDefault, m_param.x, 0);
    set.setDouble(ofx::prop::ParamDefault, m_param.y, 1);
    if (quirks.positionRanges) {
        setBothAxes(set, ofx::prop::ParamMin, -2.5);
        setBothAxes(set, ofx::prop::ParamMax, 3.5);
        setBothAxes(set, ofx::prop::ParamDisplayMin, 0.0);
        setBothAxes(set, ofx::prop::ParamDisplayMax, 1.0);
    }
    set.setDouble(ofx::prop::ParamIncrement, incrementOf(1.0));
}

std::string PositionControlK7::defaultText() const { return numberText(m_param.x) + ", " + numberText(m_param.y); }

void CurvePointControlK7::describeValue(const PropertySet& set, const HostQuirks&) const {
    set.setString(ofx::prop::ParamDoubleType, ofx::double_type::Plain);
    set.setDouble(ofx::prop::ParamDefault, m_param.x, 0);
    set.setDouble(ofx::prop::ParamDefault, m_param.y, 1);
    setBothAxes(set, ofx::prop::ParamMin, 0.0);
    setBothAxes(set, ofx::prop::ParamMax, 1.0);
    setBothAxes(set, ofx::prop::ParamDisplayMin, 0.0);
    setBothAxes(set, ofx::prop::ParamDisplayMax, 1.0);
    set.setDouble(ofx::prop::ParamIncrement, incrementOf(1.0));
}

ColourControlK7::ColourControlK7(EffectInfo* owner, const ColourParam& param, const char* sentence,
                                 Components components)
    : ControlK7(owner, param.name, param.label, sentence, param.options),
      red(param.red),
      green(param.green),
      blue(param.blue),
      alpha(param.alpha),
      m_param(param),
      m_components(components) {}

const char* ColourControlK7::paramType() const {
    return m_components == Components::RGBA ? ofx::param_type::RGBA : ofx::param_type::RGB;
}

// A level within what pixels can hold, so that arithmetic with colours stays finite whatever a host sets.
static float colourLevel(double value, float fallback) {
    constexpr double LARGEST = 65504.0;  // of half floats
    return static_cast<float>(std::clamp(soundOr(value, fallback), -LARGEST, LARGEST));
}

bool ColourControlK7::GetValue(double time, float* r, float* g, float* b, float* a) const {
    double values[4] = {0.0, 0.0, 0.0, double{m_param.alpha}};
    const bool found = m_components == Components::RGBA ? readAt(time, &values[0], &values[1], &values[2], &values[3])
                                                        : readAt(time, &values[0], &values[1], &values[2]);
    if (!found) return false;
    *r = colourLevel(values[0], m_param.red);
    *g = colourLevel(values[1], m_param.green);
    *b = colourLevel(values[2], m_param.blue);
    *a = colourLevel(values[3], m_param.alpha);
    return true;
}

void ColourControlK7::SetValue(float r, float g, float b, float a) const {
    const auto wide = [](float v) { return static_cast<double>(v); };
    if (m_components == Components::RGBA)
        write(wide(r), wide(g), wide(b), wide(a));
    else
        write(wide(r), wide(g), wide(b));
}

void ColourControlK7::SetValue16(int r, int g, int b, int a) const {
    const auto level = [](int v) { return static_cast<float>(v / 32767.0); };
    SetValue(level(r), level(g), level(b), level(a));
}

void ColourControlK7::writePreset(const double* values) {
    SetValue(static_cast<float>(values[0]), static_cast<float>(values[1]), static_cast<float>(values[2]),
             m_components == Components::RGBA ? static_cast<float>(values[3]) : 1.0f);
}

void ColourControlK7::describeValue(const PropertySet& set, const HostQuirks&) const {
    const double values[4] = {double(m_param.red), double(m_param.green), double(m_param.blue), double(m_param.alpha)};
    // A host may keep three levels of any colour. One that counts what has been set so far tells fewer.
    const int kept = set.dimension(ofx::prop::ParamDefault) == 3 ? 3 : presetComponents();
    for (int i = 0; i < kept; ++i) set.setDouble(ofx::prop::ParamDefault, values[i], i);
}

std::string ColourControlK7::defaultText() const {
    return numberText(m_param.red) + ", " + numberText(m_param.green) + ", " + numberText(m_param.blue) +
           (m_components == Components::RGBA ? ", " + numberText(m_param.alpha) : "");
}

// ---- Texts ----------------------------------------------------------------------------------------------------

TextControlK7::TextControlK7(EffectInfo* owner, const TextParam& param, const char* sentence)
    : ControlK7(owner, param.name, param.label, sentence, param.options), text(param.text), m_param(param) {}

void TextControlK7::describeValue(const PropertySet& set, const HostQuirks&) const {
    if (std::strcmp(m_param.mode, ofx::string_mode::SingleLine) != 0)
        set.setString(ofx::prop::ParamStringMode, m_param.mode);
    set.setString(ofx::prop::ParamDefault, m_param.text);
}

// A text that has not reached the host yet is newer than the host's.
void TextControlK7::fetch(const FetchContext& context) {
    {
        const std::lock_guard lock(m_lock);
        if (m_dirty && bundleState().quirks->writesTextBack) {
            text = m_written;
            return;
        }
    }
    char* hostText = nullptr;
    if (readAt(context.time, &hostText) && hostText) text = hostText;
}

void TextControlK7::SetText(double, const char* newText) {
    if (!live()) return;
    const std::lock_guard lock(m_lock);
    m_written = newText;
    m_dirty = true;
}

void TextControlK7::SetTextNow(double time, const char* newText) {
    SetText(time, newText);
    write(newText);
}

// What a render has left here is older than what the user has typed.
void TextControlK7::changedAtHost() {
    const std::lock_guard lock(m_lock);
    m_dirty = false;
}

// The host is called without the lock: it may come back with a notification.
void TextControlK7::endOfChange(const HostQuirks& quirks) {
    if (!quirks.writesTextBack) return;
    std::string written;
    {
        const std::lock_guard lock(m_lock);
        if (!std::exchange(m_dirty, false)) return;
        written = m_written;
    }
    write(written.c_str());
}

FileControlK7::FileControlK7(EffectInfo* owner, const TextParam& param, const char* sentence)
    : TextControlK7(owner, {param.name, param.label, param.text, ofx::string_mode::FilePath, param.options}, sentence) {
}
