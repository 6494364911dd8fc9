// Telling hosts apart, and what the framework learns of one.
#include "k7pi_baselib/temporary_home.h"
#include "probe_effect.h"

namespace {

using probe::ProbeTest;
using support::TestEffect;

TEST(IdentifyHost, TellsHostsApartByTheirNames) {
    const struct {
        const char* name;
        HostId id;
        const char* label;
    } cases[] = {
        {"uk.co.thefoundry.nuke", HostId::Nuke, "Nuke"},
        {"uk.co.thefoundry.nukex", HostId::Generic, "OFX"},
        {"Autodesk Toxik", HostId::Toxik, "Toxik"},
        {"film master Toxik edition", HostId::Toxik, "Toxik"},
        {"com.eyeonline.Fusion", HostId::Fusion, "Fusion"},
        {"FILM CUTTER 4.2", HostId::FilmMaster, "Film Master"},
        {"film maste", HostId::Generic, "OFX"},
        {"Baselight", HostId::Baselight, "Baselight"},
        {"Baselight 5", HostId::Generic, "OFX"},
        {"Assimilator", HostId::Scratch, "Scratch"},
        {"ds ofx HOST", HostId::AvidDS, "Avid DS"},
        {"com.sonycreativesoftware.vegas", HostId::Vegas, "Vegas"},
        {"com.chinadigitalvideo.dx", HostId::CdvDx, "CDV DX"},
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

// ---- Hosts of filters -----------------------------------------------------------------------------------------

class FilterHosts : public ProbeTest {
  protected:
    std::string clips(const char* context) {
        std::string names;
        const auto descriptor = host->describe("Q_Probe", context);
        for (const auto& clip : descriptor->clips()) names += clip->name() + " ";
        return names;
    }
};

TEST_F(FilterHosts, HaveOnlyASourceAndOnlyInTheFilterContext) {
    const struct {
        const char* word;
        const char* variable;
        bool source;
    } cases[] = {{"mlt", nullptr, true}, {"generic", nullptr, false}, {"generic", "1", true}, {"nuke", "1", false}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.word);
        const ScopedEnvironment variable("KESTREL_SOURCE_CLIP", test.variable);
        on(test.word);
        EXPECT_EQ(clips(ofx::context::Filter), test.source ? "Output Source " : "Output Input Other Third ");
        EXPECT_EQ(clips(ofx::context::General), "Output Input Other Third ");
        TestEffect& effect = create(ofx::context::General);
        EXPECT_EQ(probeOf(effect).other.handle(), effect.clip("Other").handle());
    }
}

// No size of a project, no frames, and a picture at one clip.
TEST_F(FilterHosts, GetThePictureAtTheSizeOfTheSource) {
    on("mlt");
    TestEffect& effect = create();
    const auto picture = support::noiseImage(support::layoutOf(64, 48), 4);
    effect.connect("Source", picture);
    OfxRectD region{};
    EXPECT_EQ(effect.instance().regionOfDefinition(0.0, {1.0, 1.0}, region), ofx::status::OK);
    EXPECT_EQ(region.x2, 64.0);
    EXPECT_EQ(region.y2, 48.0);
    bool further = false;
    probe::script().process = [&](probe::Probe& object) {
        further = object.other.image && object.third.image && !object.other.handle();
    };
    host->clearRecord();
    EXPECT_EQ(effect.render(), picture->toFloats());
    EXPECT_TRUE(further) << "copies of the primary picture, from no clip";
    EXPECT_EQ(host->count("clipGetImage"), 2) << "the source and the output";
    EXPECT_EQ(host->faults(), "");
}

TEST_F(HostFacts, APictureOverNothingIsSaidToBePremultiplied) {
    const auto preference = [](TestEffect& effect) {
        ofxhost::ClipPreferences preferences;
        EXPECT_EQ(effect.instance().clipPreferences(preferences), ofx::status::OK);
        return preferences.premultiplication;
    };
    on("generic");
    TestEffect& generator = create(ofx::context::Generator);
    EXPECT_EQ(preference(generator), ofx::premultiplication::Premultiplied);
    generator.connect("Input", support::gradientImage(support::layoutOf(64, 48)));
    EXPECT_EQ(preference(generator), ofx::premultiplication::UnPremultiplied);
    EXPECT_EQ(preference(host->effect("Q_Handles")), ofx::premultiplication::UnPremultiplied);
    EXPECT_EQ(host->faults(), "");
}

// The host's own property suite, but for the number of levels that it tells of a default.
struct ColourSuite {
    static inline const OfxHost* real = nullptr;
    static inline const OfxPropertySuiteV1* whole = nullptr;
    static inline OfxPropertySuiteV1 suite{};
    static inline int told = 0, most = 0;

    static const void* fetch(OfxPropertySetHandle host, const char* name, int version) {
        if (std::string_view(name) != ofx::suite::Property) return real->fetchSuite(host, name, version);
        whole = static_cast<const OfxPropertySuiteV1*>(real->fetchSuite(host, name, version));
        suite = *whole;
        suite.propGetDimension = [](OfxPropertySetHandle, const char*, int* count) {
            *count = told;
            return ofx::status::OK;
        };
        suite.propSetDouble = [](OfxPropertySetHandle set, const char* property, int index, double value) {
            most = std::max(most, index);
            return whole->propSetDouble(set, property, index, value);
        };
        return &suite;
    }
};

TEST_F(HostFacts, NoLevelOfAColourIsSetBeyondThoseOfTheHost) {
    on("generic").describe("Q_Probe");
    ColourSuite::real = bundleState().host;
    OfxHost limited{ColourSuite::real->host, &ColourSuite::fetch};
    probe::probePlugin()->setHost(&limited);
    for (const auto& [told, most] : {std::pair{4, 3}, {3, 2}, {0, 3}}) {
        ColourSuite::told = told, ColourSuite::most = 0;
        host->describe("Q_Probe");
        EXPECT_EQ(ColourSuite::most, most) << "counted from 0, of " << told;
    }
    probe::probePlugin()->setHost(const_cast<OfxHost*>(ColourSuite::real));
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
