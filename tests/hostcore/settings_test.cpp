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

}  // namespace
