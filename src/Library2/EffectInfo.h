// What an effect declares: its traits, clips, pages, controls, enable rules, presets and overlay widgets.
//
//     struct GlowInfo : EffectInfo {
//         static constexpr EffectTraits traits{.name = "Glow", .menu = "Adjust", .description = "..."};
//         ClipRecord input{this, {.name = "Input", .label = "Clip to Glow", .required = true}};
//         Page page{this, "Glow"};
//         FloatControlK7 Gain{this, {"Gain", "Gain", 1.0, 0.0, 10.0}};
//         CheckboxControlK7 Split{this, {"Split", "Split RGB"}};
//         GlowInfo() { ghost({&Gain}, Split, isOn); }
//     };
//
// Members register themselves in the order of declaration; that order is the order of clips and parameters at the
// host. One info record describes the effect to a host, another lives in every instance.
//
// Controls that several effects share are a group: a plain struct whose controls register themselves with the effect's
// record, in the place where the group stands among its members and on the page above it. A group may bring its enable
// rules, and takes what differs between effects (a default, a label, a suffix of the names) as arguments; texts are
// copied, so that they may be put together on the spot:
//
//     struct GravityControls {
//         struct Defaults { double gravity = 1.0; };
//         explicit GravityControls(EffectInfo* owner, const Defaults& given = {})
//             : DoGravity(owner, {"DoGravity", "Use Gravity", true}, "..."),
//               Gravity(owner, {"Gravity", "Gravity", given.gravity, 0.0, 10.0}, "...") {
//             owner->ghost({&Gravity}, DoGravity, isOff);
//         }
//         CheckboxControlK7 DoGravity;  // members are made in the order in which they stand here
//         FloatControlK7 Gravity;
//     };
//     struct RainInfo : EffectInfo { ... GravityControls gravity{this, {.gravity = 0.2}}; ... };
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "Library2/BundleState.h"
#include "Library2/Controls.h"
#include "Library2/Presets.h"
#include "imagelib/imagelib.h"

class OverlayControlK7;
class PluginK7;

// What a frame can depend on besides its parameters and the clips at its time:
enum class FrameHistory {
    None,
    Curves,  // on the frames rendered before it, where parameters move and are not read at each replayed frame
    Inputs,  // so, and on what clips that steer it showed at those frames, where they move
    Frames,  // on the frames rendered before it
};

struct EffectTraits {
    const char* name;          // without the prefix: "CrashZoom"
    const char* menu;          // the word of the menu grouping; with underscores it is part of the identifier
    bool generator = false;    // works without an input
    bool overlay = false;      // draws handles in the host's viewer
    bool otherFrames = false;  // needs frames other than the current one
    FrameHistory history = FrameHistory::None;
    bool onDevice = false;  // makes its whole picture on a CUDA device, for some values of its controls at least
    bool skipsSmallPreview = false;  // shows its input in the thumbnail of hosts that ask for one
    const char* description = "";
    const char* purpose = "";  // for the manual: what the effect is for, in a few sentences
    const char* usage = "";    // for the manual: how to use it, one thing a line
};

// ---- Clips ----------------------------------------------------------------------------------------------------

struct ClipParam {
    const char* name;
    const char* label;
    const char* shortLabel = nullptr;  // for hosts with little room
    bool required = false;
    bool temporal = false;      // other frames of it may be fetched
    bool mayStayEmpty = false;  // required, and yet the effect renders without it: any picture will do
};

// The frames of a clip as an effect numbers them: relative to the first one.
struct FrameSpan {
    double first, last, current;
};

class ClipRecord {
  public:
    ClipRecord(EffectInfo* owner, const ClipParam& param);
    ClipRecord(const ClipRecord&) = delete;
    ClipRecord& operator=(const ClipRecord&) = delete;

    const ClipParam& param() const { return m_param; }

    ImagePtr image;  // this render's picture, null between renders
    static constexpr int MAX_FRAMES = 999;
    std::array<int, MAX_FRAMES + 1> frames{};  // neighbouring frames wanted, from index 1; relative to the first frame
    int frameCount = 0;
    void addFrame(int frame);  // ignored when the list is full

    // Fetches another frame of this clip into `image` (its size decides). False when there is none.
    bool GetFrame(double time, K7Image* image);

    // The slot is the instance's, and changes when the user connects another clip, also while a render runs.
    void wire(const std::atomic<OfxImageClipHandle>* slot, PluginK7* effect);
    OfxImageClipHandle handle() const { return m_slot ? m_slot->load() : nullptr; }
    // Whether the host has a picture for it. False: `image` is a copy of the primary clip, or was put there by hand.
    bool isConnected() const;
    double firstFrame() const;  // what a frame number is offset by to get the host's time

  private:
    ClipParam m_param;
    const std::atomic<OfxImageClipHandle>* m_slot = nullptr;  // inside the InstanceRecord
    PluginK7* m_effect = nullptr;
};

// ---- Enable rules ---------------------------------------------------------------------------------------------

// A condition on a steering control: a choice counts from 1, a switch is 0 or 1, a whole number is itself.
struct SteeringCondition {
    enum Test { Is, IsNot, Below, Above } test;
    int value;
    bool holds(int steering) const;
};
inline constexpr SteeringCondition isOn{SteeringCondition::IsNot, 0};
inline constexpr SteeringCondition isOff{SteeringCondition::Is, 0};
constexpr SteeringCondition is(int value) { return {SteeringCondition::Is, value}; }
constexpr SteeringCondition isNot(int value) { return {SteeringCondition::IsNot, value}; }
constexpr SteeringCondition below(int value) { return {SteeringCondition::Below, value}; }
constexpr SteeringCondition above(int value) { return {SteeringCondition::Above, value}; }

struct EnableRule {
    ControlK7* steering;
    std::vector<ControlK7*> dependents;
    SteeringCondition ghostedWhen;
    std::function<void()> custom;  // instead of the three above, where a rule looks at more than one control
    std::string customText;        // what it does, for the documentation
};

// ---- Scenes ---------------------------------------------------------------------------------------------------

// One picture that shows what the effect does: its regression test, its place in the gallery and its page of the
// reference. Inputs are pictures of examples/ or generated ones, in the order of the effect's clips; parameters are
// written as on the command line.
struct Scene {
    struct Setting {
        const char* parameter;
        const char* value;
    };
    std::vector<const char*>
        inputs;  // "seeding-small.png", "@chart", "@ramp", "@noise", "@dots", "@flight"; none: a generator
    std::vector<Setting> settings;
    int lead = 0;  // frames rendered before it, for effects that go on from their last frame
    int frame = 0;
    int width = 480;  // pictures are scaled to this size
    int height = 270;
    // Shown at 1920x1080 instead of inputs and settings, where not empty: sizes in pixels differ. NAME-small.png becomes
    // NAME.jpg. A plate beyond the clips is a matte: where it is white the first plate stays in front of the effect.
    std::vector<const char*> plates = {};
    std::vector<Setting> look = {};
};

// ---- The record -----------------------------------------------------------------------------------------------

class EffectInfo {
  public:
    EffectInfo();
    virtual ~EffectInfo();
    EffectInfo(const EffectInfo&) = delete;
    EffectInfo& operator=(const EffectInfo&) = delete;

    ClipRecord output;
    Scene scene;

    const std::vector<ClipRecord*>& inputs() const { return m_inputs; }
    const std::vector<const char*>& pages() const { return m_pages; }
    const std::vector<ControlK7*>& controls() const { return m_controls; }
    const std::vector<EnableRule>& rules() const { return m_rules; }
    const std::vector<PresetTable>& presetTables() const { return m_presets; }
    const std::vector<OverlayControlK7*>& widgets() const { return m_widgets; }
    const FrameRateControlK7* frameRate() const { return m_frameRate; }  // null: the effect has none
    ClipRecord* primary() { return m_inputs.empty() ? nullptr : m_inputs.front(); }

    // Fetches every parameter at the time into its control.
    void fetchAll(const FetchContext& context);
    // Fetches those that overlay widgets follow.
    void fetchFollowed(const FetchContext& context);

    bool steers(const ControlK7* control) const;
    void runRules(const ControlK7* steering);  // those of one steering control; null: all of them
    void applyPreset(const PresetTable& table, int index);

    // Registration, called by the members' constructors
    int addControl(ControlK7* control);  // answers the page it is on
    void addInput(ClipRecord* clip) { m_inputs.push_back(clip); }
    void addPage(const char* title) {
        m_pages.push_back(title);
        m_page = static_cast<int>(m_pages.size()) - 1;
    }
    void backToFirstPage() { m_page = 0; }
    void addWidget(OverlayControlK7* widget) { m_widgets.push_back(widget); }
    void setFrameRate(const FrameRateControlK7* control) { m_frameRate = control; }

    // Greys the dependents while the condition holds for the steering control.
    void ghost(std::initializer_list<ControlK7*> dependents, ControlK7& steering, SteeringCondition when);
    void rule(ControlK7& steering, std::function<void()> custom, const char* text);

    // A choice whose options are presets: see Presets.h.
    void presets(PresetChoiceK7& choice, std::vector<const char*> names, std::vector<PresetLine> lines,
                 PresetScope scope);

  private:
    std::vector<ClipRecord*> m_inputs;
    std::vector<const char*> m_pages;
    int m_page = -1;  // that controls declared now are on
    std::vector<ControlK7*> m_controls;
    std::vector<EnableRule> m_rules;
    std::vector<PresetTable> m_presets;
    std::vector<OverlayControlK7*> m_widgets;
    const FrameRateControlK7* m_frameRate = nullptr;
};

// A page of the effect's dialog: the controls declared after it are on it.
struct Page {
    Page(EffectInfo* owner, const char* title) { owner->addPage(title); }
};
// The controls declared after it are on the first page again: buttons that stand last for the sake of the parameters'
// order, but that nobody shall have to look for.
struct FirstPageAgain {
    explicit FirstPageAgain(EffectInfo* owner) { owner->backToFirstPage(); }
};
