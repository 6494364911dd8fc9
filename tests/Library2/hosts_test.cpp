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
        {"UK.CO.THEFOUNDRY.NUKE", HostId::Generic, "OFX"},
        {"Autodesk Toxik", HostId::Toxik, "Toxik"},
        {"Autodesk Toxik Render Utility", HostId::Toxik, "Toxik"},
        {"Autodesk Toxik Python Bindings", HostId::Toxik, "Toxik"},
        {"my Toxik 2012", HostId::Toxik, "Toxik"},
        {"film master Toxik edition", HostId::Toxik, "Toxik"},
        {"my toxik 2012", HostId::Generic, "OFX"},
        {"com.eyeonline.Fusion", HostId::Fusion, "Fusion"},
        {"com.eyeonline.fusion", HostId::Generic, "OFX"},
        {"Film Master", HostId::FilmMaster, "Film Master"},
        {"FILM CUTTER 4.2", HostId::FilmMaster, "Film Master"},
        {"Data Conform", HostId::FilmMaster, "Film Master"},
        {"NuCoda Fuse", HostId::FilmMaster, "Film Master"},
        {"PHOENIX", HostId::FilmMaster, "Film Master"},
        {"the phoenix", HostId::Generic, "OFX"},
        {"film maste", HostId::Generic, "OFX"},
        {"Baselight", HostId::Baselight, "Baselight"},
        {"Baselight 5", HostId::Generic, "OFX"},
        {"Assimilator", HostId::Scratch, "Scratch"},
        {"Scratch", HostId::Generic, "OFX"},
        {"ds ofx HOST", HostId::AvidDS, "Avid DS"},
        {"DS OFX Host 2", HostId::Generic, "OFX"},
        {"Mistika", HostId::Mistika, "Mistika"},
        {"mistika", HostId::Generic, "OFX"},
        {"com.sonycreativesoftware.vegas", HostId::Vegas, "Vegas"},
        {"com.chinadigitalvideo.dx", HostId::CdvDx, "CDV DX"},
        {"", HostId::Generic, "OFX"},
        {" uk.co.thefoundry.nuke", HostId::Generic, "OFX"},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(IdentifyHost(test.name).id, test.id) << test.name;
        EXPECT_STREQ(IdentifyHost(test.name).label, test.label) << test.name;
    }
    const int numbers[] = {int(HostId::Generic), int(HostId::Nuke),       int(HostId::Toxik),     int(HostId::Scratch),
                           int(HostId::Fusion),  int(HostId::FilmMaster), int(HostId::Baselight), int(HostId::AvidDS),
                           int(HostId::Mistika), int(HostId::Vegas),      int(HostId::CdvDx)};
    EXPECT_THAT(numbers, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 11, 12, 13, 14));
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

TEST_F(HostFacts, FusionHasNoPagesAndIsNotEvenAsked) {
    ofxhost::HostConfig config = ofxhost::hostConfig("fusion");
    config.maxPages = 5;
    on(config).describe("Q_Probe");
    EXPECT_EQ(bundleState().maxPages, 0);
    for (const auto& text : host->callTexts("propGetInt")) EXPECT_EQ(text.find("MaxPages"), std::string::npos) << text;
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

TEST_F(HostFacts, NoSuiteIsTakenForGranted) {
    const char* suites[] = {ofx::suite::ImageEffect, ofx::suite::Property, ofx::suite::Parameter, ofx::suite::Memory,
                            ofx::suite::MultiThread, ofx::suite::Message,  ofx::suite::Interact};
    for (const char* withheld : suites) {
        SCOPED_TRACE(withheld);
        on("generic");
        ofxhost::HostHooks hooks;
        hooks.withheldSuites = {withheld};
        host->setHooks(hooks);
        const auto descriptor = host->describe("Q_Probe", ofx::context::General);
        if (!descriptor) continue;
        ofxhost::EffectInstance instance(*descriptor, host->project);
        if (instance.create() != ofx::status::OK) continue;
        ofxhost::RenderRequest request;
        const auto picture = support::constantImage(support::layoutOf(64, 48), 0.5f, 0.5f, 0.5f);
        for (auto* clip : instance.inputs()) clip->connect(picture, 0, 99);
        const auto output = support::constantImage(support::layoutOf(64, 48), 0.0f, 0.0f, 0.0f);
        EXPECT_EQ(instance.render(request, output), ofx::status::OK);
        EXPECT_EQ(output->sample(10, 10, 0), 0.5f) << "only the essential suites are needed for a picture";
        EXPECT_EQ(instance.heldImages(), 0);
    }
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
