// Telling hosts apart, and what the framework learns of one.
#include "probe_effect.h"

namespace {

using probe::ProbeTest;

TEST(IdentifyHost, TellsHostsApartByTheirNames) {
    const struct {
        const char* name;
        HostId id;
        const char* label;
    } cases[] = {
        {"uk.co.thefoundry.nuke", HostId::Nuke, "Nuke"},
        {"uk.co.thefoundry.nukex", HostId::Generic, "OFX"},
        {"Autodesk Toxik", HostId::Toxik, "Toxik"},
        {"my Toxik 2012", HostId::Toxik, "Toxik"},
        {"film master Toxik edition", HostId::Toxik, "Toxik"},
        {"com.eyeonline.Fusion", HostId::Fusion, "Fusion"},
        {"FILM CUTTER 4.2", HostId::FilmMaster, "Film Master"},
        {"PHOENIX", HostId::FilmMaster, "Film Master"},
        {"film maste", HostId::Generic, "OFX"},
        {"Baselight", HostId::Baselight, "Baselight"},
        {"Baselight 5", HostId::Generic, "OFX"},
        {"Assimilator", HostId::Scratch, "Scratch"},
        {"ds ofx HOST", HostId::AvidDS, "Avid DS"},
        {"Mistika", HostId::Mistika, "Mistika"},
        {"com.sonycreativesoftware.vegas", HostId::Vegas, "Vegas"},
        {"com.chinadigitalvideo.dx", HostId::CdvDx, "CDV DX"},
        {"", HostId::Generic, "OFX"},
        {" uk.co.thefoundry.nuke", HostId::Generic, "OFX"},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(IdentifyHost(test.name).id, test.id) << test.name;
        EXPECT_STREQ(IdentifyHost(test.name).label, test.label) << test.name;
    }
}

using HostFacts = ProbeTest;

TEST_F(HostFacts, AreReadAtTheFirstDescribe) {
    ofxhost::HostConfig config = ofxhost::hostConfig("toxik");
    config.pageRows = 6, config.pageColumns = 3;
    config.multipleDepths = true, config.temporalAccess = false;
    on(config);
    EXPECT_EQ(bundleState().hostId, HostId::Unknown);
    host->describe("Q_Probe");
    const BundleState& state = bundleState();
    EXPECT_EQ(state.hostId, HostId::Toxik);
    EXPECT_STREQ(state.hostLabel, "Toxik");
    EXPECT_EQ(state.maxPages, 10);
    EXPECT_EQ(state.pageRows, 6);
    EXPECT_EQ(state.pageColumns, 3);
    EXPECT_EQ(state.hostMultipleClipDepths, 1);
    EXPECT_EQ(state.hostTemporalClipAccess, 0);
    EXPECT_EQ(state.hostSupportsOverlays, 1);
    const HostSuites& suites = state.suites;
    EXPECT_TRUE(suites.effect && suites.property && suites.parameter && suites.memory && suites.multiThread &&
                suites.message && suites.interact);
}

// A host may lack any property and any suite; whatever can still be said is said.
TEST_F(HostFacts, MissingOnesCountAsAbsentFeatures) {
    on("scratch");
    ofxhost::HostHooks hooks;
    hooks.withheldHostProperties = {ofx::prop::ParamHostMaxPages, ofx::prop::SupportsOverlays, ofx::prop::Name};
    host->setHooks(hooks);
    const auto descriptor = host->describe("Q_Probe");
    ASSERT_NE(descriptor, nullptr);
    EXPECT_EQ(bundleState().hostId, HostId::Generic);
    EXPECT_FALSE(descriptor->hasOverlay());
    EXPECT_NE(descriptor->findParam("PageOneGroup"), nullptr) << "groups where there are no pages";
}

TEST(WithoutAHost, DescribeAnswersMissingFeature) {
    bundleState() = {};
    OfxPlugin* plugin = probe::probePlugin();
    plugin->setHost(nullptr);
    EXPECT_EQ(plugin->mainEntry(ofx::action::Describe, nullptr, nullptr, nullptr), 4);
    OfxHost empty{};
    plugin->setHost(&empty);
    EXPECT_EQ(plugin->mainEntry(ofx::action::Describe, nullptr, nullptr, nullptr), 4);
    EXPECT_TRUE(bundleState().firstDescribe);
    plugin->setHost(nullptr);
}

}  // namespace
