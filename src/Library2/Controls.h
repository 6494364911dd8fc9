// Controls: an effect's handles on its OFX parameters.
//
// A control is a member of the effect's info record and declares its parameter there: name, label, default, range,
// options, and a sentence that tells an artist what it does, with its unit; the page is the one declared above it:
//     FloatControlK7 CutOff{this, {"CutOff", "Threshold", 80.0, 0.0, 100.0},
//                           "The luminance up to which dark parts grow, in percent of white."};
// Describing, wiring to the host, fetching at render, preset writes and the documentation all walk the declared
// controls. What makes one parameter different from others of its type is an option of its declaration, never its name:
//     IntegerControlK7 Seed{this, {"Seed", "Seed", 831, 1, 9999, {.animates = false}}, "..."};
//     CheckboxControlK7 BlackBG{this, {"BlackBG", "Snow Only", false, {.keptByPresets = true}}, "..."};
//     PresetChoiceK7 Demos{this, {"Demos", "Type"}, "..."};  // its presets: Presets.h
//     FrameRateControlK7 FramesPerSecond{this};
//
// Effect code reads the value fields, which hold what the last fetch found; it never calls the parameter suite.
// Whatever the host gives, numbers are finite (one that is not counts as the declared default) and within 1e12, and
// integers and choices lie within what was declared. Choice values count from 1 in controls and from 0 at the host. A
// control without a parameter at the host (not wired, or the host has none of that name) does nothing and keeps the
// value it was declared with.
#pragma once

#include <atomic>
#include <limits>
#include <mutex>
#include <string>
#include <vector>

#include "Library2/BundleState.h"

class EffectInfo;

// ---- Declarations ---------------------------------------------------------------------------------------------

inline constexpr double NO_LIMIT = std::numeric_limits<double>::infinity();

struct ParamOptions {
    bool secret = false;               // kept from the user; label and script name are the name
    bool animates = true;              // false where a value that moves makes no sense: a seed, a choice of presets
    bool keptByPresets = false;        // presets that put other parameters to their defaults leave it as the user has
                                       // it: how the shot runs, not how it looks
    const char* scriptName = nullptr;  // where the label does not give it
    double increment = 0.0;            // 0: from the range
    double displayMax = NO_LIMIT;      // of sliders, where the range goes on
};

struct NumberParam {
    const char* name;
    const char* label;
    double value;
    double min = -NO_LIMIT;
    double max = NO_LIMIT;
    ParamOptions options{};
};

struct IntegerParam {
    const char* name;
    const char* label;
    int value;
    int min = std::numeric_limits<int>::min();
    int max = std::numeric_limits<int>::max();
    ParamOptions options{};
};

struct CheckboxParam {
    const char* name;
    const char* label;
    bool value = false;
    ParamOptions options{};
};

struct ListParam {
    const char* name;
    const char* label;
    int index;  // of the default, from 0
    std::vector<const char*> choices;
    ParamOptions options{};
};

struct PointParam {
    const char* name;
    const char* label;
    double x;
    double y;
    ParamOptions options{};
};

struct ColourParam {
    const char* name;
    const char* label;
    float red;
    float green;
    float blue;
    float alpha = 1.0f;
    ParamOptions options{};
};

struct TextParam {
    const char* name;
    const char* label;
    const char* text = "";
    const char* mode = ofx::string_mode::SingleLine;
    ParamOptions options{};
};

struct ButtonParam {
    const char* name;
    const char* label;
};

// ---- Base -----------------------------------------------------------------------------------------------------

struct FetchContext {
    double time = 0.0;
    double xFactor = 1.0;  // of horizontal values
};

// Where a parameter stands in the host's dialog: its group's name (null: pages are used instead).
struct DescribeContext {
    OfxParamSetHandle parameters = nullptr;
    const HostQuirks* quirks = nullptr;
    const char* parent = nullptr;
};

class ControlK7 {
  public:
    ControlK7(EffectInfo* owner, const char* name, const char* label, const char* sentence,
              const ParamOptions& options);
    virtual ~ControlK7() = default;
    ControlK7(const ControlK7&) = delete;
    ControlK7& operator=(const ControlK7&) = delete;

    // The declaration
    const char* name() const { return m_name.c_str(); }
    const std::string& label() const { return m_label; }
    const std::string& sentence() const { return m_sentence; }  // what it does, with its unit
    virtual std::string scriptName() const;
    virtual const char* paramType() const = 0;
    virtual bool animates() const;
    virtual bool hasValue() const { return true; }
    bool secret() const { return m_options.secret; }
    virtual bool keptByPresets() const;
    int page() const { return m_page; }
    void define(const DescribeContext& context) const;
    // For the documentation: "80", "0 .. 100", "Circle, Object Image".
    virtual std::string defaultText() const { return {}; }
    virtual std::string rangeText() const { return {}; }
    virtual std::vector<const char*> choices() const { return {}; }

    // Life on an instance
    void wire(OfxParamHandle* slot, const HostSuites* suites);
    bool live() const { return m_slot && *m_slot && m_suites; }
    virtual void fetch(const FetchContext&) {}         // for rendering: the value fields
    virtual void fetchOverlay(const FetchContext&) {}  // for the overlay: the overlay fields, and only those, since
                                                       // a render may be reading the others on another thread
    virtual void writeOverlay() const {}               // the overlay fields to the host
    virtual void SetHidden(bool hidden);
    virtual void SetGhosted(bool ghosted);
    bool hidden() const { return m_hidden; }
    bool ghosted() const { return m_ghosted; }
    virtual void changedAtHost() {}                 // the parameter has a new value
    virtual void endOfChange(const HostQuirks&) {}  // last step of a user's change

    // Presets: how many numbers a preset row holds for this control, and writing them to the host
    virtual int presetComponents() const { return 0; }
    virtual void writePreset(const double*) {}
    virtual void writeDefault() {}

    std::atomic<bool> ignoreNextChange{false};  // one shot: the next change notification is answered with nothing
    bool followedByOverlay = false;             // an overlay widget shows the value

  protected:
    virtual void describeValue(const PropertySet& set, const HostQuirks& quirks) const = 0;
    virtual void describeAfter(const PropertySet&) const {}  // what follows the common properties
    void setEnabled(bool enabled);

    template <class... Values>
    bool readAt(double time, Values*... values) const {
        return live() && callSuite(m_suites->parameter, &OfxParameterSuiteV1::paramGetValueAtTime, *m_slot, time,
                                   values...) == ofx::status::OK;
    }
    template <class... Values>
    bool read(Values*... values) const {
        return live() && callSuite(m_suites->parameter, &OfxParameterSuiteV1::paramGetValue, *m_slot, values...) ==
                             ofx::status::OK;
    }
    template <class... Values>
    bool write(Values... values) const {
        return live() && callSuite(m_suites->parameter, &OfxParameterSuiteV1::paramSetValue, *m_slot, values...) ==
                             ofx::status::OK;
    }

    bool m_hidden = false;
    bool m_ghosted = false;

  private:
    std::string m_name;
    std::string m_label;
    std::string m_sentence;
    ParamOptions m_options;
    int m_page;
    OfxParamHandle* m_slot = nullptr;  // inside the InstanceRecord
    const HostSuites* m_suites = nullptr;

  protected:
    const ParamOptions& options() const { return m_options; }
};

// ---- Numbers --------------------------------------------------------------------------------------------------

class FloatControlK7 : public ControlK7 {
  public:
    FloatControlK7(EffectInfo* owner, const NumberParam& param, const char* sentence = "");

    double value;
    double overlayValue;

    bool GetValue(double time, double* out) const;
    void SetValue(double v) const { write(v); }

    const char* paramType() const override { return ofx::param_type::Double; }
    void fetch(const FetchContext& context) override { GetValue(context.time, &value); }
    void fetchOverlay(const FetchContext& context) override { GetValue(context.time, &overlayValue); }
    void writeOverlay() const override { SetValue(overlayValue); }
    int presetComponents() const override { return 1; }
    void writePreset(const double* values) override { SetValue(values[0]); }
    void writeDefault() override { SetValue(m_param.value); }
    std::string defaultText() const override;
    std::string rangeText() const override;
    double min() const { return m_param.min; }
    double max() const { return m_param.max; }
    // The value within the range that was declared, which not every host keeps to.
    double limited() const { return value < m_param.min ? m_param.min : (value > m_param.max ? m_param.max : value); }
    float percent() const {
        return static_cast<float>(limited() / 100.0);
    }  // of a value that counts percent: its share

  protected:
    virtual const char* doubleType() const { return ofx::double_type::Plain; }
    void describeValue(const PropertySet& set, const HostQuirks& quirks) const override;
    NumberParam m_param;
};

// A length as a fraction of the picture's width; as a radius it counts in half widths.
class SizeControlK7 : public FloatControlK7 {
  public:
    using FloatControlK7::FloatControlK7;
    void fetch(const FetchContext& context) override;
    void fetchOverlay(const FetchContext& context) override;

  protected:
    const char* doubleType() const override { return ofx::double_type::Scale; }
};

class AngleControlK7 : public FloatControlK7 {  // degrees
  public:
    using FloatControlK7::FloatControlK7;
    bool GetValue(double time, double* out) const;  // rounded through single precision
};

// The rate that turns times into frames where a host counts in milliseconds. Only RenderFlow reads it.
class FrameRateControlK7 : public FloatControlK7 {
  public:
    explicit FrameRateControlK7(EffectInfo* owner);
};

class IntegerControlK7 : public ControlK7 {
  public:
    IntegerControlK7(EffectInfo* owner, const IntegerParam& param, const char* sentence = "");

    int value;

    bool GetValue(double time, int* out) const { return readAt(time, out); }
    void SetValue(int v) const { write(v); }

    const char* paramType() const override { return ofx::param_type::Integer; }
    void fetch(const FetchContext& context) override;
    int presetComponents() const override { return 1; }
    void writePreset(const double* values) override { SetValue(static_cast<int>(values[0])); }
    void writeDefault() override { SetValue(m_param.value); }
    std::string defaultText() const override { return std::to_string(m_param.value); }
    std::string rangeText() const override;
    int min() const { return m_param.min; }
    int max() const { return m_param.max; }

  protected:
    void describeValue(const PropertySet& set, const HostQuirks& quirks) const override;
    IntegerParam m_param;
};

// ---- Switches and choices -------------------------------------------------------------------------------------

class CheckboxControlK7 : public ControlK7 {
  public:
    CheckboxControlK7(EffectInfo* owner, const CheckboxParam& param, const char* sentence = "");

    bool value;

    bool GetValue(double time, int* out) const { return readAt(time, out); }
    void SetValue(int v) const { write(v); }

    std::string scriptName() const override;
    const char* paramType() const override { return ofx::param_type::Boolean; }
    void fetch(const FetchContext& context) override;
    int presetComponents() const override { return 1; }
    void writePreset(const double* values) override { SetValue(values[0] != 0.0); }
    void writeDefault() override { SetValue(m_default); }
    std::string defaultText() const override { return m_default ? "on" : "off"; }

  protected:
    void describeValue(const PropertySet& set, const HostQuirks& quirks) const override;
    bool m_default;
};

class ListControlK7 : public ControlK7 {
  public:
    ListControlK7(EffectInfo* owner, const ListParam& param, const char* sentence = "");

    int value;  // from 1
    int overlayValue;

    bool GetValue(double time, int* out) const;              // from 1
    bool currentIndex(int* out) const { return read(out); }  // the host's value now, from 0
    void SetValue(int v) const { write(v - 1); }             // from 1

    const char* paramType() const override { return ofx::param_type::Choice; }
    void fetch(const FetchContext& context) override { fetchInto(context, value); }
    void fetchOverlay(const FetchContext& context) override { fetchInto(context, overlayValue); }
    int presetComponents() const override { return 1; }
    void writePreset(const double* values) override { write(static_cast<int>(values[0])); }  // from 0, as at the host
    void writeDefault() override { write(m_param.index); }
    std::string defaultText() const override;
    std::vector<const char*> choices() const override { return m_param.choices; }

  protected:
    void describeValue(const PropertySet&, const HostQuirks&) const override {}
    void describeAfter(const PropertySet& set) const override;
    void fetchInto(const FetchContext& context, int& target) const;
    ListParam m_param;
};

// A choice of presets (Presets.h), whose names become its options; the first one is the default.
class PresetChoiceK7 : public ListControlK7 {
  public:
    struct Param {
        const char* name;
        const char* label;
    };
    PresetChoiceK7(EffectInfo* owner, const Param& param, const char* sentence = "");
    void setNames(std::vector<const char*> names) { m_param.choices = std::move(names); }
};

// ---- Points and colours ---------------------------------------------------------------------------------------

// A place in the picture, 0 to 1 from the lower left corner to the upper right one.
class PositionControlK7 : public ControlK7 {
  public:
    PositionControlK7(EffectInfo* owner, const PointParam& param, const char* sentence = "");

    double x, y;
    double overlayX, overlayY;

    bool GetValue(double time, double* outX, double* outY) const;
    void SetValue(double newX, double newY) const { write(newX, newY); }

    const char* paramType() const override { return ofx::param_type::Double2D; }
    bool keptByPresets() const override { return true; }
    void fetch(const FetchContext& context) override;
    void fetchOverlay(const FetchContext& context) override;
    void writeOverlay() const override { SetValue(overlayX, overlayY); }
    void SetHidden(bool hidden) override { setEnabled(!hidden); }
    int presetComponents() const override { return 2; }
    void writePreset(const double* values) override { SetValue(values[0], values[1]); }
    void writeDefault() override { SetValue(m_param.x, m_param.y); }
    std::string defaultText() const override;

  protected:
    void describeValue(const PropertySet& set, const HostQuirks& quirks) const override;
    PointParam m_param;
};

// A point of a curve: both axes 0 to 1, no place in the picture and never scaled by its aspect.
class CurvePointControlK7 : public PositionControlK7 {
  public:
    using PositionControlK7::PositionControlK7;
    bool keptByPresets() const override { return ControlK7::keptByPresets(); }
    void fetch(const FetchContext& context) override { GetValue(context.time, &x, &y); }
    void fetchOverlay(const FetchContext& context) override { GetValue(context.time, &overlayX, &overlayY); }
    std::string rangeText() const override { return "0 .. 1"; }

  protected:
    void describeValue(const PropertySet& set, const HostQuirks& quirks) const override;
};

class ColourControlK7 : public ControlK7 {
  public:
    enum class Components { RGB, RGBA };
    ColourControlK7(EffectInfo* owner, const ColourParam& param, const char* sentence = "",
                    Components components = Components::RGB);

    float red, green, blue, alpha;  // alpha stays 1 with three components

    bool GetValue(double time, float* r, float* g, float* b, float* a) const;
    void SetValue(float r, float g, float b, float a) const;
    void SetValue16(int r, int g, int b, int a) const;  // full scale is 32767

    const char* paramType() const override;
    void fetch(const FetchContext& context) override { GetValue(context.time, &red, &green, &blue, &alpha); }
    void SetHidden(bool hidden) override { setEnabled(!hidden); }
    int presetComponents() const override { return m_components == Components::RGBA ? 4 : 3; }
    void writePreset(const double* values) override;
    void writeDefault() override { SetValue(m_param.red, m_param.green, m_param.blue, m_param.alpha); }
    std::string defaultText() const override;

  protected:
    void describeValue(const PropertySet& set, const HostQuirks& quirks) const override;
    ColourParam m_param;
    Components m_components;
};

// ---- Texts and buttons ----------------------------------------------------------------------------------------

class TextControlK7 : public ControlK7 {
  public:
    TextControlK7(EffectInfo* owner, const TextParam& param, const char* sentence = "");

    std::string text;

    // From any thread. The text reaches the host at the end of the user's change, and `text` at the next fetch; not
    // when the parameter is changed before.
    void SetText(double time, const char* newText);
    void SetTextNow(double time, const char* newText);  // and the host at once

    const char* paramType() const override { return ofx::param_type::String; }
    bool animates() const override { return false; }
    void fetch(const FetchContext& context) override;
    void changedAtHost() override;
    void endOfChange(const HostQuirks& quirks) override;
    void writeDefault() override { write(m_param.text); }
    std::string defaultText() const override { return m_param.text; }

  protected:
    void describeValue(const PropertySet& set, const HostQuirks& quirks) const override;
    TextParam m_param;

  private:
    std::mutex m_lock;  // of the two below
    std::string m_written;
    bool m_dirty = false;  // m_written is on its way to the host
};

class FileControlK7 : public TextControlK7 {
  public:
    FileControlK7(EffectInfo* owner, const TextParam& param, const char* sentence = "");
};

class ButtonControlK7 : public ControlK7 {
  public:
    ButtonControlK7(EffectInfo* owner, const ButtonParam& param, const char* sentence = "")
        : ControlK7(owner, param.name, param.label, sentence, {}) {}
    std::string scriptName() const override { return name(); }
    const char* paramType() const override { return ofx::param_type::PushButton; }
    bool animates() const override { return false; }
    bool hasValue() const override { return false; }

  protected:
    void describeValue(const PropertySet&, const HostQuirks&) const override {}
};
