// The night looks in a host: presets, what is greyed out, hidden parameters, curve handles, aborts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/core/interact.h"
#include "support/recording_host.h"

namespace {

using support::RecordingHost;
using support::TestEffect;

bool enabled(TestEffect& effect, const char* name) {
    return effect.param(name).properties().getInt("OfxParamPropEnabled") != 0;
}

class NightLooksInAHost : public testing::Test {
  protected:
    TestEffect& connected(const char* name) {
        TestEffect& effect = host.effect(name);
        effect.connect(effect.primaryClip().name(), support::noiseImage(support::layoutOf(64, 48), 5));
        return effect;
    }
    void TearDown() override { EXPECT_EQ(host.faults(), ""); }
    RecordingHost host;
};

TEST_F(NightLooksInAHost, PresetsDiffer) {
    const std::pair<const char*, std::vector<const char*>> looks[] = {
        {"Q_NightVision", {"Type A", "Type B", "Type C", "Type D", "Type E", "Type F", "Type G", "Type H"}},
        {"Q_InfraRed", {"Default", "Landscape1", "Landscape2", "Landscape3", "MoonLight"}},
        {"Q_Thermo", {"Default", "Ripple", "Cold", "Hot"}}};
    for (const auto& [name, presets] : looks) {
        TestEffect& effect = connected(name);
        const std::vector<float> untouched = effect.render(2);
        std::vector<std::vector<float>> pictures;
        for (const char* preset : presets) {
            effect.choose("Demos", preset);
            const std::vector<float> picture = effect.render(2);
            for (const auto& other : pictures) EXPECT_GT(support::largestDifference(picture, other), 0.02) << preset;
            pictures.push_back(picture);
        }
        EXPECT_EQ(pictures.front(), untouched) << name;
        effect.choose("Demos", presets.front());
        EXPECT_EQ(effect.render(2), untouched) << name;
    }
}

TEST_F(NightLooksInAHost, HiddenParametersKeepTheNumberOfThePreset) {
    TestEffect& infraRed = connected("Q_InfraRed");
    for (const char* name : {"DemoCSecret", "DemoESecret", "DemoDSecret", "DemoFSecret", "DemoJSecret", "DemoISecret"})
        EXPECT_EQ(infraRed.param(name).properties().getInt("OfxParamPropSecret"), 1) << name;
    EXPECT_EQ(infraRed.param("DemoJSecret").value(), ofxhost::ParamValue(0.0));
    infraRed.choose("Demos", "MoonLight");
    EXPECT_EQ(infraRed.param("DemoJSecret").value(), ofxhost::ParamValue(4.0));
    infraRed.choose("Demos", "Default");
    EXPECT_EQ(infraRed.param("DemoJSecret").value(), ofxhost::ParamValue(0.0));
}

TEST_F(NightLooksInAHost, PresetsOfCurvesPutAllElseToDefaults) {
    for (const auto& [name, preset] : {std::pair("Q_InfraRed", "Landscape1"), std::pair("Q_Thermo", "Cold")}) {
        TestEffect& effect = connected(name);
        effect.set("Blend", 40.0);
        effect.set("Soften", 0.0);
        effect.choose("Demos", preset);
        EXPECT_EQ(effect.param("Blend").value(), ofxhost::ParamValue(0.0)) << name;
        EXPECT_TRUE(effect.param("Soften").value() == effect.param("Soften").defaultValue()) << name;
    }
}

TEST_F(NightLooksInAHost, GreysOutWhatIsNotRead) {
    TestEffect& effect = connected("Q_NightVision");
    EXPECT_FALSE(enabled(effect, "Defocus"));
    EXPECT_FALSE(enabled(effect, "Grain"));
    EXPECT_FALSE(enabled(effect, "Separation"));
    EXPECT_FALSE(enabled(effect, "RetColour"));
    EXPECT_TRUE(enabled(effect, "HiSoft"));
    effect.choose("BorderType", "Binocular");
    EXPECT_TRUE(enabled(effect, "Separation"));
    effect.set("DoBorder", 0.0);
    EXPECT_FALSE(enabled(effect, "Separation"));
    effect.choose("RetType", "Type 3");
    EXPECT_TRUE(enabled(effect, "UseDef"));
    EXPECT_FALSE(enabled(effect, "RetThick1"));
    effect.set("UseDef", 0.0);
    EXPECT_TRUE(enabled(effect, "RetThick1"));
    EXPECT_FALSE(enabled(effect, "RetThick2"));
    EXPECT_TRUE(enabled(effect, "RetThick3"));
    effect.set("DoGrain", 1.0);
    EXPECT_TRUE(enabled(effect, "Grain"));
    EXPECT_FALSE(enabled(effect, "BlurGrain"));
}

TEST_F(NightLooksInAHost, CurvePointsAreDraggedOverThePictureAndStayInIt) {
    host.project.width = 400;
    host.project.height = 200;
    TestEffect& effect = connected("Q_Thermo");
    ofxhost::ViewState view;
    view.viewport = {400, 200};
    const auto viewer = ofxhost::Interact::create(effect.instance(), view);
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(viewer->penDown({0.66 * 400, 0.66 * 200}), ofx::status::OK);
    viewer->penMotion({200, 50});
    EXPECT_EQ(effect.param("Temperature4").value(), ofxhost::ParamValue(0.5, 0.25));
    viewer->penUp({500, -30});
    EXPECT_EQ(effect.param("Temperature4").value(), ofxhost::ParamValue(1.0, 0.0));
    EXPECT_EQ(effect.param("Temperature3").value(), effect.param("Temperature3").defaultValue());
    EXPECT_EQ(viewer->penDown({0.2 * 400, 0.9 * 200}), ofx::status::OK) << "the other curve";
    viewer->penUp({0.2 * 400, 0.4 * 200});
    EXPECT_NEAR(effect.param("Intensity2").value().numbers[1], 0.4, 1e-6);
    EXPECT_NE(viewer->penDown({0.5 * 400, 0.1 * 200}), ofx::status::OK) << "no handle there";
}

TEST_F(NightLooksInAHost, AnAbortEndsTheRenderCleanly) {
    for (const char* name : {"Q_NightVision", "Q_InfraRed", "Q_Thermo"}) {
        TestEffect& effect = connected(name);
        for (const int poll : {2, 3, 10, 60}) {
            host.abortAt(poll);
            EXPECT_EQ(effect.renderStatus(1), 0) << name;
            EXPECT_TRUE(effect.imagesBalanced());
        }
        host.clearHooks();
    }
}

}  // namespace
