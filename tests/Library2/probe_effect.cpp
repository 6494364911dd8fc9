#include "probe_effect.h"

#include "Library2/InstanceRecord.h"

namespace probe {

namespace {

std::string manyName(int i) { return "Many" + std::to_string(i); }

// Texts of parameters have to outlive every record, as literals do.
const char* keptText(std::string text) {
    static std::vector<std::unique_ptr<std::string>> kept;
    kept.push_back(std::make_unique<std::string>(std::move(text)));
    return kept.back()->c_str();
}
const std::vector<const char*>& presetNames() {
    static const std::vector<const char*> names = [] {
        std::vector<const char*> made;
        for (std::size_t r = 0; r < PRESETS; ++r) made.push_back(keptText("Preset " + std::to_string(r)));
        return made;
    }();
    return names;
}
const std::vector<const char*>& manyNames() {
    static const std::vector<const char*> names = [] {
        std::vector<const char*> made;
        for (int i = 0; i < MANY; ++i) made.push_back(keptText(manyName(i)));
        return made;
    }();
    return names;
}

}  // namespace

std::vector<std::unique_ptr<FloatControlK7>> ProbeInfo::makeMany(ProbeInfo* owner) {
    std::vector<std::unique_ptr<FloatControlK7>> made;
    for (const char* name : manyNames())
        made.push_back(std::make_unique<FloatControlK7>(owner, NumberParam{name, name, 0.0, -1.0, 1.0}));
    return made;
}

ProbeInfo::ProbeInfo() {
    ghost({&Radius}, Shape, is(2));
    ghost({&Turn, &Count}, Shape, below(3));
    ghost({&Seed}, WithAnimation, isOff);
    rule(
        Shape,
        [] {
            script().events.emplace_back("rule");
            if (script().rule) script().rule();
        },
        "tells the test");
    const auto each = [](auto value) {
        std::vector<PresetCell> cells;
        for (std::size_t preset = 0; preset < PRESETS; ++preset) cells.push_back(value(preset));
        return cells;
    };
    const auto one = each([](std::size_t p) { return presetNumber(p); });
    const auto two = each([](std::size_t p) { return PresetCell(presetNumber(p), presetNumber(p)); });
    presets(Demos, presetNames(),
            {{Amount, one},
             {Radius, one},
             {Turn, one},
             {Count, each([](std::size_t p) { return 1.0 + static_cast<double>(p); })},
             {Invert, each([](std::size_t p) { return static_cast<double>(p % 2); })},
             {Shape, each([](std::size_t p) { return static_cast<double>(p % 3); })},
             {Centre, two},
             {Tint, each([](std::size_t p) { return PresetCell(presetNumber(p), presetNumber(p), presetNumber(p)); })},
             {Paint, each([](std::size_t p) {
                  const double v = presetNumber(p);
                  return PresetCell(v, v, v, v);
              })},
             {Curve, two},
             {Seed, each([](std::size_t p) { return 100.0 + static_cast<double>(p); })},
             {Fifth, one},
             {StartAt, one}},
            PresetScope::ListedOnly);
    presets(DemosA, {"One", "Two"}, {{Amount, {10, 20}}, {Count, {11, {}}}}, PresetScope::OthersToDefaults);
}

namespace {
void tell(std::string event) { script().events.push_back(std::move(event)); }
}  // namespace

void Probe::ProcessFrame() {
    if (script().process) script().process(*this);
}
void Probe::FramePrepare(ProbeInfo& plan, const FrameSpan& frames) const {
    if (script().framePrepare) script().framePrepare(plan, frames);
}
void Probe::ClipChanged() { tell("clip changed"); }
void Probe::ButtonPressed(ButtonControlK7& button) { tell(std::string("button ") + button.name()); }
void Probe::ControlChanged(ControlK7& control) { tell(std::string("control ") + control.name()); }
void Probe::MarkRestart() { tell("restart"); }

Script& script() {
    static Script current;
    return current;
}

std::string& shownWidget() {
    static std::string name;
    return name;
}

void Handles::PrepareOverlay() {
    const std::pair<OverlayControlK7*, const char*> all[] = {
        {&crosshair, "crosshair"}, {&line, "line"}, {&angle, "angle"},        {&round, "round"},
        {&ellipse, "ellipse"},     {&ring, "ring"}, {&rectangle, "rectangle"}};
    for (const auto& [widget, name] : all) widget->visible = shownWidget() == name;
}

// ---- Plug-ins -------------------------------------------------------------------------------------------------

namespace {

void setHost(OfxHost* host) { bundleState().host = host; }

template <class EffectClass>
struct PlugIn {
    static OfxStatus overlayEntry(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                                  OfxPropertySetHandle) {
        return overlayMain(action, handle, inArgs);
    }
    static OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                               OfxPropertySetHandle outArgs) {
        static constexpr EffectDefinition definition = defineEffect<EffectClass>();
        return effectMain({&definition, &overlayEntry}, action, handle, inArgs, outArgs);
    }
    static OfxPlugin* record() {
        static const std::string identifier = effectIdentifier(EffectClass::traits);
        static OfxPlugin plugin{ofx::ImageEffectPluginApi,
                                ofx::ImageEffectPluginApiVersion,
                                identifier.c_str(),
                                1,
                                0,
                                &setHost,
                                &mainEntry};
        return &plugin;
    }
};

}  // namespace

OfxPlugin* probePlugin() { return PlugIn<Probe>::record(); }
OfxPlugin* handlesPlugin() { return PlugIn<Handles>::record(); }

Probe& ProbeTest::probeOf(support::TestEffect& effect) {
    return dynamic_cast<Probe&>(*instanceRecord(effect.instance().handle())->effect);
}

}  // namespace probe
