// Who the host says it is, and the units it counts the project in.
#include "fixture.h"

namespace prop = ofx::prop;

namespace {

TEST(HostConfigTest, KnowsHostsByTheirWords) {
    constexpr struct {
        const char *word, *name;
        bool pages;
        double width;  // of the project, 64 pixels that are half as wide again
    } rows[] = {{"nuke", "uk.co.thefoundry.nuke", false, 96.0},
                {"toxik", "Autodesk Toxik", true, 64.0},
                {"mlt", "MLT", false, 0.0},
                {"com.example.mine", "com.example.mine", false, 64.0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.word);
        support::RecordingHost host(ofxhost::hostConfig(row.word), {inverter::plugin()});
        host.project.pixelAspect = 1.5;
        const auto& told = host.effect(inverter::name).instance().properties();
        const auto& own = host.host().properties();
        EXPECT_EQ(own.getString(prop::Name), row.name);
        EXPECT_EQ(own.getInt(prop::ParamHostMaxPages) != 0, row.pages);
        EXPECT_EQ(own.getInt(prop::ParamHostPageRowColumnCount, 0) > 0, row.pages);
        for (const char* size : {prop::ProjectSize, prop::ProjectExtent}) {
            EXPECT_EQ(told.getDouble(size, 0), row.width);
            EXPECT_EQ(told.getDouble(size, 1), row.width > 0.0 ? 48.0 : 0.0);
        }
        EXPECT_EQ(told.getDouble(prop::ProjectPixelAspectRatio), 1.5);
    }
    EXPECT_EQ(ofxhost::hostConfig("generic").name, ofxhost::HostConfig().name);
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
