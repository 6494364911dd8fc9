// The declarations as data: everything that an effect can declare, read back.

#include "Library2/Declarations.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Library2/HostDeviations.h"
#include "probe_effect.h"

namespace {

using nlohmann::json;
using probe::ProbeInfo;

json probeJson() {
    static const EffectDefinition effects[] = {defineEffect<probe::Probe>()};
    return json::parse(declarationsAsJson(effects)).at("effects").at(0);
}

json named(const json& list, const char* name) {
    const auto found =
        std::find_if(list.begin(), list.end(), [=](const json& entry) { return entry.at("name") == name; });
    return found == list.end() ? json() : *found;
}

TEST(DeclarationsJson, HoldsClipsPagesAndEveryKindOfParameter) {
    const json effect = probeJson();
    EXPECT_EQ(effect.at("name"), "Q_Probe");
    EXPECT_EQ(effect.at("contexts").size(), 3u);
    EXPECT_EQ(effect.at("pages").size(), 5u);
    EXPECT_EQ(named(effect.at("clips"), "Third").at("shortLabel"), "3rd");
    EXPECT_EQ(named(effect.at("clips"), "Other").at("temporal"), true);
    const std::pair<const char*, const char*> kinds[] = {
        {"Amount", "Number"}, {"Radius", "Size"},       {"Turn", "Angle"},      {"Count", "Integer"},
        {"Invert", "Switch"}, {"Shape", "Choice"},      {"Centre", "Position"}, {"Tint", "Colour"},
        {"Paint", "Colour"},  {"Curve", "Curve point"}, {"Note", "Text"},       {"File", "File"},
        {"Again", "Button"}};
    for (const auto& [name, kind] : kinds) EXPECT_EQ(named(effect.at("parameters"), name).at("kind"), kind) << name;
    const json count = named(effect.at("parameters"), "Count");
    EXPECT_EQ(count.at("default"), "3");
    EXPECT_EQ(count.at("range"), "1 .. 3000");
    EXPECT_EQ(count.at("page"), "Look");
    EXPECT_EQ(named(effect.at("parameters"), "ResetSecret").at("secret"), true);
    EXPECT_FALSE(named(effect.at("parameters"), "Again").contains("default"));
    EXPECT_EQ(named(effect.at("parameters"), "Shape").at("choices").size(), 4u);
}

// Each column takes as many of a row's numbers as it has components, so a slip would shift all that follow.
TEST(DeclarationsJson, HoldsThePresetsValueByValue) {
    const json tables = probeJson().at("presets");
    const ProbeInfo info;
    ASSERT_EQ(tables.size(), info.presetTables().size());
    for (std::size_t t = 0; t < tables.size(); ++t) {
        const PresetTable& table = info.presetTables()[t];
        ASSERT_EQ(tables[t].at("rows").size(), table.rows.size());
        EXPECT_EQ(tables[t].at("othersToDefaults"), table.scope == PresetScope::OthersToDefaults);
        for (std::size_t r = 0; r < table.rows.size(); ++r) {
            const double* value = table.rows[r];
            for (std::size_t c = 0; c < table.columns.size(); ++c) {
                const std::string text = tables[t].at("rows").at(r).at(c);
                const ControlK7* column = table.columns[c];
                if (dynamic_cast<const CheckboxControlK7*>(column)) {
                    EXPECT_EQ(text, *value != 0.0 ? "on" : "off");
                } else if (!column->choices().empty()) {
                    EXPECT_EQ(text, column->choices().at(static_cast<std::size_t>(*value)));
                } else {
                    std::size_t start = 0;
                    for (int i = 0; i < column->presetComponents(); ++i, start = text.find(", ", start) + 2)
                        EXPECT_EQ(std::stod(text.substr(start)), value[i]) << column->name() << " " << text;
                }
                value += column->presetComponents();
            }
        }
    }
}

std::string deviationsOf(HostId id, const EffectTraits& traits, const EffectInfo& info) {
    std::string all;
    for (const HostQuirks* host : deviatingHosts())
        if (host->id == id)
            for (const std::string& text : hostDeviations(*host, traits, info)) all += text + "\n";
    return all;
}

TEST(HostDeviations, TellWhatConcernsTheEffect) {
    using testing::HasSubstr;
    using testing::Not;
    const ProbeInfo info;
    const std::string vegas = deviationsOf(HostId::Vegas, ProbeInfo::traits, info);
    for (const char* text : {"The clip Input is called Source. There are no further clips.", "Positions have a range.",
                             "milliseconds", "thumbnail", "size of its input"})
        EXPECT_THAT(vegas, HasSubstr(text));
    const std::string nuke = deviationsOf(HostId::Nuke, ProbeInfo::traits, info);
    EXPECT_THAT(nuke, HasSubstr("\"Quillon/Quillon Test Bench\""));
    EXPECT_THAT(nuke, HasSubstr("Main (Input), 3rd (Third)"));
    EXPECT_THAT(deviationsOf(HostId::Toxik, ProbeInfo::traits, info), HasSubstr("not written back"));
    EXPECT_THAT(deviationsOf(HostId::Fusion, ProbeInfo::traits, info), HasSubstr("page Look stand at the top"));
    EXPECT_EQ(deviationsOf(HostId::Baselight, ProbeInfo::traits, info), "");

    // An effect with one clip and nothing else.
    struct PlainInfo : EffectInfo {
        ClipRecord input{this, {.name = "Input", .label = "Input"}};
    };
    const PlainInfo plain;
    const EffectTraits traits{.name = "Plain", .menu = "Test"};
    const std::string plainVegas = deviationsOf(HostId::Vegas, traits, plain);
    EXPECT_THAT(plainVegas, HasSubstr("is called Source."));
    for (const char* text : {"further", "Positions", "milliseconds", "thumbnail", "choice"})
        EXPECT_THAT(plainVegas, Not(HasSubstr(text)));
    EXPECT_THAT(deviationsOf(HostId::Nuke, traits, plain), Not(HasSubstr("short labels")));
}

TEST(HostDeviations, LeaveOutTheGenericHost) {
    for (const HostQuirks* host : deviatingHosts()) {
        EXPECT_NE(host->id, HostId::Generic);
        EXPECT_NE(host->id, HostId::Unknown);
    }
    EXPECT_GE(deviatingHosts().size(), 9u);
}

}  // namespace
