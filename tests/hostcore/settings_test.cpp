// Who the host says it is, and the units it counts the project in.
#include "fixture.h"

namespace prop = ofx::prop;

namespace {

TEST(HostConfigTest, KnowsHostsByTheirWords) {
    struct Row {
        const char* word;
        const char* name;
        bool pages, square;
    };
    const Row rows[] = {
        {"nuke", "uk.co.thefoundry.nuke", false, true},
        {"toxik", "Autodesk Toxik", true, false},
        {"scratch", "Assimilator", true, true},
        {"fusion", "com.eyeonline.Fusion", false, false},
        {"filmmaster", "Film Master", true, false},
        {"baselight", "Baselight", false, false},
        {"avid", "DS OFX Host", true, false},
        {"mistika", "Mistika", false, false},
        {"vegas", "com.sonycreativesoftware.vegas", false, true},
        {"cdv", "com.chinadigitalvideo.dx", true, false},
        {"com.example.mine", "com.example.mine", false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.word);
        support::RecordingHost host(ofxhost::hostConfig(row.word), {inverter::plugin()});
        host.project.pixelAspect = 1.5;
        auto& effect = host.effect(inverter::name);
        const OfxHost& record = *inverter::host();
        const auto& p = *inverter::suites().property;
        char* text = nullptr;
        int pages = -7, rowsAndColumns[2] = {-7, -7};
        ASSERT_EQ(p.propGetString(record.host, prop::Name, 0, &text), ofx::status::OK);
        EXPECT_STREQ(text, row.name);
        p.propGetInt(record.host, prop::ParamHostMaxPages, 0, &pages);
        p.propGetIntN(record.host, prop::ParamHostPageRowColumnCount, 2, rowsAndColumns);
        EXPECT_EQ(pages != 0, row.pages);
        EXPECT_EQ(rowsAndColumns[0] > 0, row.pages);
        for (const char* size : {prop::ProjectSize, prop::ProjectExtent}) {
            EXPECT_EQ(effect.instance().properties().getDouble(size, 0), row.square ? 96.0 : 64.0);
            EXPECT_EQ(effect.instance().properties().getDouble(size, 1), 48.0);
        }
        EXPECT_EQ(effect.instance().properties().getDouble(prop::ProjectPixelAspectRatio), 1.5);
    }
    EXPECT_EQ(ofxhost::knownHosts().size(), 11u);
    EXPECT_EQ(ofxhost::hostConfig("generic").name, ofxhost::HostConfig().name);
}

TEST(HostConfigTest, TellsThePluginWhatItCanDo) {
    ofxhost::HostConfig config;
    config.overlays = false;
    config.temporalAccess = false;
    config.multipleDepths = true;
    config.background = true;
    support::RecordingHost host(config, {inverter::plugin()});
    auto& set = host.host().properties();
    EXPECT_EQ(set.getInt(prop::SupportsOverlays), 0);
    EXPECT_EQ(set.getInt(prop::TemporalClipAccess), 0);
    EXPECT_EQ(set.getInt(prop::MultipleClipDepths), 1);
    EXPECT_EQ(set.getInt(prop::HostIsBackground), 1);
}

TEST(ProjectTest, ReachesInstanceAndClips) {
    support::RecordingHost host({}, {inverter::plugin()});
    host.project = {
        .width = 100, .height = 50, .pixelAspect = 2.0, .frameRate = 24.0, .firstFrame = 10, .lastFrame = 19};
    auto& effect = host.effect(inverter::name);
    const auto& instance = effect.instance().properties();
    EXPECT_EQ(instance.getDouble(prop::InstanceEffectDuration), 10.0);
    EXPECT_EQ(instance.getDouble(prop::FrameRate), 24.0);
    const auto& clip = effect.clip("Source").properties();
    EXPECT_EQ(clip.getDouble(prop::FrameRange, 0), 10.0);
    EXPECT_EQ(clip.getDouble(prop::FrameRange, 1), 19.0);
    EXPECT_EQ(clip.getInt(prop::ClipConnected), 0);
    EXPECT_EQ(clip.getString(prop::PixelDepth), ofx::depth::None);
    effect.connect("Source", support::gradientImage(support::layoutOf(100, 50, support::Depth::Short)));
    EXPECT_EQ(clip.getInt(prop::ClipConnected), 1);
    EXPECT_EQ(clip.getString(prop::PixelDepth), ofx::depth::Short);
    EXPECT_EQ(clip.getString(prop::Components), ofx::component::RGBA);
}

}  // namespace
