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

TEST(DeclarationsJson, HoldsPagesParametersAndPresetsValueByValue) {
    const json effect = probeJson();
    EXPECT_EQ(effect.at("contexts").size(), 3u);
    EXPECT_EQ(effect.at("pages").size(), 5u);
    EXPECT_EQ(named(effect.at("clips"), "Other").at("temporal"), true);
    const json count = named(effect.at("parameters"), "Count");
    EXPECT_EQ(count.at("kind"), "Integer");
    EXPECT_EQ(count.at("default"), "3");
    EXPECT_EQ(count.at("range"), "1 .. 3000");
    EXPECT_EQ(count.at("page"), "Look");
    EXPECT_EQ(named(effect.at("parameters"), "ResetSecret").at("secret"), true);
    EXPECT_FALSE(named(effect.at("parameters"), "Again").contains("default"));
    const json tables = effect.at("presets");
    ASSERT_EQ(tables.size(), 2u);
    EXPECT_EQ(
        tables[0].at("rows").at(1),
        json({"0.03125", "0.03125", "0.03125", "2", "on", "Square ", "0.03125, 0.03125", "0.03125, 0.03125, 0.03125",
              "0.03125, 0.03125, 0.03125, 0.03125", "0.03125, 0.03125", "101", "0.03125", "0.03125"}));
    EXPECT_EQ(tables[0].at("othersToDefaults"), false);
    EXPECT_EQ(tables[1].at("rows"), json::array({{"10", "11"}, {"20", ""}})) << "empty: not listed";
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

}  // namespace
