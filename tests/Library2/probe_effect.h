// An effect made of everything that an effect can declare, with hooks where a real one has its picture. It runs in the
// test program itself, so that a test sees both sides of the host's interface.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Library2/Actions.h"
#include "ofx/ofx_names.h"
#include "support/recording_host.h"

namespace probe {

inline constexpr std::size_t PRESETS = 45;
inline constexpr int MANY = 100;

// What a preset writes: 1 + preset, preset % 2, preset % 3 and 100 + preset to Count, Invert, Shape and Seed, and this
// to every component of the others.
constexpr double presetNumber(std::size_t preset) { return static_cast<double>(preset + 1) / 64.0; }

struct ProbeInfo : EffectInfo {
    static constexpr EffectTraits traits{.name = "Probe",
                                         .menu = "Test Bench",
                                         .generator = true,
                                         .overlay = true,
                                         .otherFrames = true,
                                         .skipsSmallPreview = true,
                                         .description = "for tests"};
    ClipRecord input{this, {.name = "Input", .label = "Main Picture", .shortLabel = "Main", .required = true}};
    ClipRecord other{this, {.name = "Other", .label = "Other Picture", .temporal = true}};
    ClipRecord third{this, {.name = "Third", .label = "Third Picture", .shortLabel = "3rd"}};

    Page look{this, "Look"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}};
    FloatControlK7 Amount{this, {"Amount", "Amount (of it), please!", 80.0, 0.0, 100.0}};
    SizeControlK7 Radius{this, {"Radius", "Clear Radius", 0.2, 0.0, 2.0}};
    AngleControlK7 Turn{this, {"Turn", "Turn", 0.0, -360.0, 360.0}};
    IntegerControlK7 Count{this, {"Count", "Count", 3, 1, 3000}};
    CheckboxControlK7 Invert{this, {"Invert", "Invert Image", true}};
    ListControlK7 Shape{this, {"Shape", " Shape ", 1, {" Circle", "Square ", "Star", "Star"}}};
    PositionControlK7 Centre{this, {"Centre", "Centre", 0.25, 0.75}};
    ColourControlK7 Tint{this, {"Tint", "Tint", 1.0f, 0.5f, 0.25f}};
    ColourControlK7 Paint{this, {"Paint", "Paint", 0.5f, 0.25f, 1.0f, 0.75f}, "", ColourControlK7::Components::RGBA};
    CurvePointControlK7 Curve{this, {"Curve", "Curve", 0.25, 0.75}};

    Page clock{this, "Clock"};
    PresetChoiceK7 DemosA{this, {"DemosA", "Clock Preset"}};
    FrameRateControlK7 FramesPerSecond{this};
    FloatControlK7 StartAt{this, {.name = "StartAt", .label = "Start At", .value = 0.0, .options = KEPT}};
    IntegerControlK7 Seed{this, {"Seed", "Seed", 7, 0, 100000, {.animates = false}}};
    CheckboxControlK7 WithAnimation{this, {"WithAnimation", "Animate", false, KEPT}};
    TextControlK7 Note{this, {"Note", "Note", "hello"}};
    FileControlK7 File{this, {"File", "File", "/dev/null"}};
    ButtonControlK7 Again{this, {"Again", "Once More"}};
    IntegerControlK7 ResetSecret{this, {"ResetSecret", "", 0, 0, 9, {.secret = true}}};

    Page manyPage{this, "Many"};
    std::vector<std::unique_ptr<FloatControlK7>> many = makeMany(this);
    Page four{this, "Four"};
    CheckboxControlK7 Fourth{this, {"Fourth", "Fourth", false, {.animates = false, .scriptName = "Odd"}}};
    Page five{this, "Five"};
    FloatControlK7 Fifth{this, {"Fifth", "Fifth", 1.0, 0.0, 1.0, {.increment = 0.125}}};

    static constexpr ParamOptions KEPT{.keptByPresets = true};
    ProbeInfo();
    static std::vector<std::unique_ptr<FloatControlK7>> makeMany(ProbeInfo* owner);
};

class Probe final : public Effect<ProbeInfo> {
  public:
    void ProcessFrame() override;
    void FramePrepare(ProbeInfo& plan, const FrameSpan& frames) const override;
    void ClipChanged() override;
    void ButtonPressed(ButtonControlK7& button) override;
    void ControlChanged(ControlK7& control) override;
    void MarkRestart() override;
};

// What the probe does, and what happened to it. Cleared by the fixture.
struct Script {
    std::function<void(Probe&)> process;
    std::function<void(ProbeInfo&, const FrameSpan&)> framePrepare;
    std::function<void()> rule;
    std::vector<std::string> events;  // "clip changed", "button Again", "control Note", "restart", "rule"
};
Script& script();

// One widget at a time of each kind, on a picture of its own controls.
struct HandlesInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Handles", .menu = "Test Bench", .overlay = true, .description = "for tests"};
    ClipRecord input{this, {.name = "Input", .label = "Input", .required = true}};
    Page page{this, "Handles"};
    PositionControlK7 From{this, {"From", "From", 0.5, 0.5}};
    PositionControlK7 To{this, {"To", "To", 0.75, 0.25}};
    FloatControlK7 Angle{this, {"Angle", "Angle", 0.0, 0.0, 360.0}};
    SizeControlK7 Wide{this, {"Wide", "Wide", 0.5, 0.0, 4.0}};
    SizeControlK7 High{this, {"High", "High", 0.25, 0.0, 4.0}};
    SizeControlK7 Delta{this, {"Delta", "Delta", 0.25, 0.0, 4.0}};

    CrosshairOverlayK7 crosshair{this, From};
    LineOverlayK7 line{this, From, To};
    AngleOverlayK7 angle{this, From, Angle, 0.5f};
    CircleOverlayK7 round{this, From, Wide};
    CircleOverlayK7 ellipse{this, From, Wide, High};
    DeltaCircleOverlayK7 ring{this, From, Wide, Delta};
    RectangleOverlayK7 rectangle{this, From, Wide, High};

    HandlesInfo() { line.colour = OVERLAY_YELLOW; }
};

class Handles final : public Effect<HandlesInfo> {
  protected:
    void PrepareOverlay() override;
};
// The widget's kind that shows: "crosshair", "line", ...; "round" and "ellipse" for the two circles.
std::string& shownWidget();

OfxPlugin* probePlugin();
OfxPlugin* handlesPlugin();

// The probe in a host, the framework as fresh as at the start of a process.
class ProbeTest : public testing::Test {
  protected:
    ProbeTest() {
        bundleState() = {};
        script() = {};
    }
    // The host before goes with the framework that it knows; the new one finds a fresh one.
    support::RecordingHost& on(const ofxhost::HostConfig& config) {
        host.reset();
        bundleState() = {};
        host = std::make_unique<support::RecordingHost>(config, std::vector{probePlugin(), handlesPlugin()});
        return *host;
    }
    support::RecordingHost& on(std::string_view word, unsigned threads = 2) {
        ofxhost::HostConfig config = ofxhost::hostConfig(word);
        config.threads = threads;
        config.checkSources = true;
        return on(config);
    }
    support::TestEffect& create(const char* context = ofx::context::Filter) { return host->effect("Q_Probe", context); }
    static Probe& probeOf(support::TestEffect& effect);  // the object behind an instance

    std::unique_ptr<support::RecordingHost> host;
};

}  // namespace probe
