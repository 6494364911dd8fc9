#include "probe_effect.h"

#include "Library2/InstanceRecord.h"

namespace probe {

namespace {

using Row = PresetRow<PRESET_NUMBERS>;

struct PresetRows {
    std::array<std::string, PRESETS> names;
    Row rows[PRESETS];
    PresetRows() {
        for (std::size_t r = 0; r < PRESETS; ++r) {
            names[r] = "Preset " + std::to_string(r);
            rows[r].name = names[r].c_str();
            for (std::size_t c = 0; c < PRESET_NUMBERS; ++c) rows[r].values[c] = presetNumber(r, c);
        }
    }
};
const PresetRows& presetRows() {
    static const PresetRows rows;
    return rows;
}

constexpr PresetRow<2> CLOCK_PRESETS[] = {{"One", {10.0, 11.0}}, {"Two", {20.0, 22.0}}};

std::string manyName(int i) { return "Many" + std::to_string(i); }

// Texts of parameters have to outlive every record, as literals do.
const char* keptText(std::string text) {
    static std::vector<std::unique_ptr<std::string>> kept;
    kept.push_back(std::make_unique<std::string>(std::move(text)));
    return kept.back()->c_str();
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

// Columns: 0 Amount 1 Radius 2 Turn 3 Count 4 Invert 5 Shape 6, 7 Centre 8 to 10 Tint 11 to 14 Paint 15, 16 Curve
// 17 Seed 18 Fifth 19 StartAt
double presetNumber(std::size_t row, std::size_t column) {
    const auto r = static_cast<double>(row);
    switch (column) {
        case 3:
            return 1.0 + r;
        case 4:
            return static_cast<double>(row % 2);
        case 5:
            return static_cast<double>(row % 3);
        case 17:
            return 100.0 + r;
        default:
            return (r + 1.0) / 64.0;
    }
}

std::vector<std::unique_ptr<FloatControlK7>> ProbeInfo::makeMany(ProbeInfo* owner) {
    std::vector<std::unique_ptr<FloatControlK7>> made;
    for (const char* name : manyNames())
        made.push_back(std::make_unique<FloatControlK7>(owner, NumberParam{name, name, 0.0, -1.0, 1.0}));
    return made;
}

std::vector<const char*> ProbeInfo::demoNames() { return presetNames(presetRows().rows); }

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
    presets(Demos,
            {&Amount, &Radius, &Turn, &Count, &Invert, &Shape, &Centre, &Tint, &Paint, &Curve, &Seed, &Fifth, &StartAt},
            presetRows().rows, PresetScope::ListedOnly);
    presets(DemosA, {&Amount, &Count}, CLOCK_PRESETS, PresetScope::OthersToDefaults);
}

namespace {
void tell(std::string event) { script().events.push_back(std::move(event)); }
}  // namespace

void Probe::ProcessFrame() {
    if (script().process) script().process(*this);
}
void Probe::FramePrepare() {
    if (script().framePrepare) script().framePrepare(*this);
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
