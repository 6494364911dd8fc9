// Effects in a host, as their users meet them: what is greyed when, what handles write, what presets leave alone.
#include <gtest/gtest.h>

#include <sstream>

#include "host/core/interact.h"
#include "support/recording_host.h"

namespace {

using support::RecordingHost;
using support::TestEffect;

std::vector<std::string> words(const char* text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

// Rules that are more than one control greyed by one option, which the reference pages list.
TEST(Greying, FollowsTheControlsThatSteer) {
    const struct {
        const char* effect;
        std::vector<std::pair<const char*, double>> settings;
        const char *open, *greyed;
    } cases[] = {
        {"Q_Clean", {{"DoSync", 1}}, "XRad", "YRad XRadR YRadR XRadA YRadA"},
        {"Q_Clean", {{"DoSync", 0}}, "XRad YRad", "XRadR YRadR XRadA YRadA"},
        {"Q_Clean", {{"DoRGB", 1}, {"DoSync", 0}}, "XRadR YRadR XRadA YRadA", "XRad YRad"},
        {"Q_Clean", {{"DoRGB", 1}, {"DoSync", 1}}, "XRadR XRadA", "XRad YRad YRadR YRadA"},
        {"Q_RemGrain", {{"GonMx", 0}}, "RBlur RSharpStr BBlur GonMx", "GBlur GSharpStr RGBEx"},
        {"Q_RemGrain", {{"Mode", 1}, {"RGBEx", 2}}, "BBlur BSharpStr RGBEx", "RBlur GBlur GSharpStr RonMx BonMx"},
        {"Q_RemGrain", {{"RGBEx", 2}, {"Mode", 1}, {"Mode", 0}}, "RBlur GBlur BBlur RonMx", "RGBEx"},
        {"Q_Dots", {{"Colouring", 2}, {"Paper", 1}}, "CyanInk BlackAngle", "InkColour PaperColour Wave"},
        {"Q_Typo", {}, "Lightest Detail Ink Fade FixedPitch", "Stagger Smallest InkGain"},
        {"Q_Typo", {{"Tone", 1}, {"InkFrom", 1}, {"Font", 7}}, "Smallest InkGain", "Lightest Ink Fade FixedPitch"},
        {"Q_NightVision", {}, "HiSoft", "Defocus Grain Separation RetColour"},
        {"Q_NightVision", {{"BorderType", 1}}, "Separation", ""},
        {"Q_NightVision", {{"BorderType", 1}, {"DoBorder", 0}}, "", "Separation"},
        {"Q_NightVision", {{"RetType", 3}}, "UseDef", "RetThick1 RetThick2 RetThick3"},
        {"Q_NightVision", {{"RetType", 3}, {"UseDef", 0}}, "RetThick1 RetThick3", "RetThick2"},
        {"Q_Fire", {}, "TStep", "BoundaryLayer WindStartA WindLocalC VortexRadiusB"},
        {"Q_Fire", {{"UseBarriers", 1}, {"WindOnC", 1}}, "BoundaryLayer WindLocalC", "WindStartB"},
        {"Q_Candle", {}, "CRadiusY CandleDensity", "BGambient BGMod BGBoost GutterStrength"},
        {"Q_Candle", {{"OverBlack", 2}, {"MatchRadius", 1}, {"SeeWhat", 0}}, "BGMod", "CRadiusY CandleDensity"},
        {"Q_ClipFlow", {}, "RiseFall KInertial", "PressureForce BoundaryLayer GravAngle CenterB PreMultiplyForeground"},
        {"Q_ClipFlow",
         {{"BuoyMode", 3}, {"RandomMode", 0}, {"UseVelocityB", 1}},
         "PressureForce CenterB",
         "RiseFall KInertial"},
        {"Q_TransFlow",
         {{"BuoyMode", 2}, {"UseSlip", 1}, {"UseDiss", 0}},
         "PressureForce SlipEnd",
         "RiseFall FadeLength"},
        {"Q_FireBall", {}, "Start Finish Duration", "Centre"},
        {"Q_FireBall", {{"Motion", 1}}, "Centre", "Start ArcHeight StartAt"},
        {"Q_Jaws", {}, "PathToFile Oversampling", "InOut Center MatchZooms ZoomWidth ZoomHeight Spin"},
        {"Q_Jaws", {{"ShowOriginal", 1}}, "InOut Center MatchZooms ZoomWidth Spin", "ZoomHeight"},
        {"Q_Jaws", {{"MatchZooms", 0}, {"ShowOriginal", 1}}, "ZoomHeight", ""},
        {"Q_StarField", {}, "Background BoxSize", "ClusterSize SpikeLength"},
        {"Q_StarField", {{"Spikes", 2}, {"Stars", 0}}, "SpikeLength", "BoxSize Clumping ClusterSize"},
        {"Q_TrailAverage", {}, "Endurance", "EnduranceR EnduranceG EnduranceB LumBoost Blur PreMultiply"},
        {"Q_TrailAverage", {{"DoStyle", 1}}, "EnduranceR EnduranceG EnduranceB", "Endurance LumBoost"},
        {"Q_TrailAverage", {{"DoStyle", 2}, {"DoBlur", 1}}, "Endurance LumBoost Blur", "EnduranceR"},
        {"Q_TrailLive", {}, "Curl", "Spacing LineWidth"},
        {"Q_TrailLive", {{"Style", 1}}, "LineWidth LineSpacing", "Spacing Curl CurlSize"},
        {"Q_TrailParticle", {}, "Softness Rate", "StreakLength VortexRadius"},
        {"Q_TrailPath", {{"Handles", 10}}, "P1 P10 Progress", "P11 P16 StartAt NibAngle ClipTurns"},
    };
    for (const auto& test : cases) {
        RecordingHost host;
        TestEffect& effect = host.effect(test.effect);
        testing::Message trace;
        trace << test.effect;
        for (const auto& [name, value] : test.settings) {
            effect.set(name, value);
            trace << " " << name << " " << value;
        }
        SCOPED_TRACE(trace);
        const auto open = [&](const std::string& name) {
            return effect.param(name).properties().getInt(ofx::prop::ParamEnabled) == 1;
        };
        for (const std::string& name : words(test.open)) EXPECT_TRUE(open(name)) << name;
        for (const std::string& name : words(test.greyed)) EXPECT_FALSE(open(name)) << name;
        EXPECT_EQ(host.faults(), "");
    }
}

// The full moon of 9 January 2012 was at 7:30 universal time.
TEST(Dates, SetThePhaseOfTheMoon) {
    RecordingHost host;
    TestEffect& effect = host.effect("Q_Luna");
    effect.set("DateDay", 9.0);
    EXPECT_NEAR(effect.param("Phase").value().numbers[0], 50.0, 1.5);
    effect.set("DateHour", 7.0);
    effect.set("DateMinute", 30.0);
    const ofxhost::ParamValue phase = effect.param("Phase").value();
    EXPECT_NEAR(phase.numbers[0], 50.0, 0.3);
    EXPECT_EQ(effect.param("DateQDS").value().text, "9/1/2012/7/30");
    effect.set("Phase", 3.0);
    effect.press("Date");
    EXPECT_EQ(effect.param("Phase").value(), phase);
    effect.set("Demos", 4.0);  // presets leave the date alone
    EXPECT_EQ(effect.param("DateDay").value().numbers[0], 9.0);
    EXPECT_EQ(host.faults(), "");
}

TEST(Places, SetTheSiteOfTheNightSky) {
    RecordingHost host;
    TestEffect& effect = host.effect("Q_NightSky");
    const auto site = [&] {
        std::vector<double> values;
        for (const char* name : {"LatitudeD", "LatitudeM", "LongitudeD", "LongitudeM", "UTOffset"})
            values.push_back(effect.param(name).value().numbers[0]);
        return values;
    };
    effect.choose("Location", "Sydney");
    EXPECT_EQ(site(), (std::vector<double>{-33, -32.4, -151, -10.2, -10}));
    effect.choose("Location", "Tehran");
    EXPECT_EQ(site(), (std::vector<double>{35, 39.6, -51, -25.8, -3.5}));
    EXPECT_EQ(host.faults(), "");
}

// On a picture of 200 by 100.
TEST(Handles, AreDraggedOverThePicture) {
    const struct {
        const char* effect;
        OfxPointD from, to;
        const char* parameter;
        std::vector<double> expected;    // empty: nothing is held there
        const char* switched = nullptr;  // turned on before
    } cases[] = {
        {"Q_CrashZoom", {102, 47}, {150, 90}, "Centre", {0.75, 0.9}},
        {"Q_CrashZoom", {88, 66}, {100, 95}, "Radius", {0.45}},  // by any place on its circle of 20 pixels
        {"Q_Cumulo", {60, 80}, {100, 50}, "Birth", {0.5, 0.5}},
        {"Q_Cumulo", {90, 80}, {80, 80}, "BirthRadius", {0.2}},
        {"Q_Cumulo", {120, 30}, {20, 10}, "LightTarget", {0.1, 0.1}},
        {"Q_Cumulo", {100, 30}, {150, 90}, "VanishP", {}},  // without perspective it is not shown
        {"Q_EdgeLeak", {100, 25}, {150, 90}, "RedXE", {0.75}},
        {"Q_EdgeLeak", {80, 50}, {-20, 50}, "YellowXE", {-0.1}},
        {"Q_EdgeLeak", {60, 75}, {20, 75}, "WhiteXE", {0.1}},
        {"Q_LightLeak", {80, 40}, {20, 90}, "CorePosB", {0.1, 0.9}},
        {"Q_Pool3D", {40, 50}, {-30, 80}, "TL", {-0.15, 0.8}},
        {"Q_Pool3D", {100, 31.25}, {100, 50}, "Center", {0.5, 1.0}},  // the middle of the plane, to its far edge
        {"Q_Puddle3D", {200, 0}, {250, 10}, "BR", {1.25, 0.1}},
        {"Q_Luna", {100, 50}, {20, 90}, "Centre", {0.1, 0.9}},
        {"Q_Aurora", {100, 36}, {150, 60}, "Point3", {0.75, 0.6}},
        {"Q_Aurora", {170, 50}, {160, 50}, "Radius2", {0.2}},
        {"Q_RomanTile", {40, 95}, {150, 20}, "Light", {0.75, 0.2}},
        {"Q_PatchTex", {100, 50}, {40, 80}, "Centre", {0.2, 0.8}},
        {"Q_PatchTex", {140, 50}, {130, 50}, "Width", {0.3}},
        {"Q_PatchTex", {100, 70}, {100, 80}, "Height", {0.6}},
        {"Q_PatchTex", {140, 50}, {130, 50}, "Width", {}, "Source"},  // patches of the surroundings
        {"Q_PatchTex", {122, 50}, {130, 50}, "RadiusX", {0.3}, "Area"},
        {"Q_PatchTex", {122, 50}, {130, 50}, "RadiusX", {}},  // a mask says where
        {"Q_TVWall", {0, 100}, {40, 90}, "TL", {0.2, 0.9}},
        {"Q_CCTV", {10, 93}, {40, 20}, "CaptionPos", {0.2, 0.2}},
        {"Q_CCTV", {160, 50}, {150, 50}, "LampRadius", {0.5}, "Infrared"},
        {"Q_CCTV", {160, 50}, {150, 50}, "LampRadius", {}},
        {"Q_Flare", {97, 50}, {150, 90}, "Center", {0.75, 0.9}},
        {"Q_FlareSpot", {180, 90}, {100, 20}, "Source", {0.5, 0.2}},
        {"Q_Particles", {100, 35}, {40, 80}, "EmitStart", {0.2, 0.8}},
        {"Q_Particles", {125, 50}, {150, 50}, "VortexRadius", {0.5}, "VortexOn"},
        {"Q_Flock", {24, 20}, {50, 80}, "FlightPoint", {0.25, 0.8}},
        {"Q_Flock", {100, 60}, {-20, 90}, "Goal", {-0.1, 0.9}},
        {"Q_Flock", {165, 60}, {130, 60}, "GoalRadius", {0.3}},
        {"Q_Flock", {97, 45}, {40, 20}, "Predator", {0.2, 0.2}, "DoPredator"},
        {"Q_Flock", {100, 20}, {100, 10}, "PredatorReach", {0.4}, "DoPredator"},
        {"Q_Flock", {100, 20}, {100, 10}, "PredatorReach", {}},  // nobody is afraid of it
        {"Q_Rainbow", {70, 50}, {50, 50}, "Radius", {0.5}},
        {"Q_TrailParticle", {100, 50}, {40, 80}, "AttractorCentre", {0.2, 0.8}, "AttractorOn"},
        {"Q_Thermo", {132, 66}, {100, 25}, "Temperature4", {0.5, 0.25}},
        {"Q_Thermo", {132, 66}, {250, -15}, "Temperature4", {1.0, 0.0}},  // points of a curve stay in the picture
        {"Q_Thermo", {40, 90}, {40, 40}, "Intensity2", {0.2, 0.4}},
        {"Q_Thermo", {100, 10}, {40, 40}, "Intensity2", {}},
        {"Q_Fire", {100, 50}, {50, 80}, "WindEndA", {0.25, 0.8}, "WindOnA"},
        {"Q_Fire", {100, 50}, {50, 80}, "WindEndA", {}},  // what is off has no handles
        {"Q_Fire", {86.6, 33.3}, {106.6, 33.3}, "VortexRadiusA", {0.2}, "VortexOnA"},
        {"Q_FireBall", {64, 70}, {40, 60}, "Start", {0.2, 0.6}},
        {"Q_FireBall", {100, 50}, {40, 60}, "Centre", {}},  // the ball flies along its arc
        {"Q_Candle", {100, 20}, {40, 60}, "Centre", {0.2, 0.6}},
        {"Q_Candle", {110, 20}, {120, 20}, "CRadiusX", {0.2}},
        {"Q_ClipFlow", {40, 50}, {100, 25}, "CenterA", {0.5, 0.25}, "UseVelocityA"},
        {"Q_ImageFlow", {48, 54}, {60, 75}, "XScaleA", {0.2}, "UseVelocityA"},
        {"Q_ImageFlow", {48, 54}, {60, 75}, "YScaleA", {0.5}, "UseVelocityA"},
        {"Q_TrailPath", {20, 34}, {60, 50}, "P1", {0.3, 0.5}},
        {"Q_TransFlow", {100, 66.6}, {20, 90}, "VortexCenterB", {0.1, 0.9}, "VortexOnB"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.effect << " " << test.parameter);
        RecordingHost host;
        host.project.width = 200, host.project.height = 100;
        TestEffect& effect = host.effect(test.effect);
        if (test.switched) effect.set(test.switched, 1.0);
        const ofxhost::ParamValue before = effect.param(test.parameter).value();
        const auto viewer = ofxhost::Interact::create(effect.instance(), {.viewport = {200, 100}});
        ASSERT_NE(viewer, nullptr);
        EXPECT_EQ(viewer->penDown(test.from) == ofx::status::OK, !test.expected.empty());
        viewer->penMotion({100, 50});
        viewer->penUp(test.to);
        for (std::size_t i = 0; i < test.expected.size(); ++i)
            EXPECT_NEAR(effect.param(test.parameter).value().numbers[i], test.expected[i], 1e-6);
        if (test.expected.empty()) {
            EXPECT_EQ(effect.param(test.parameter).value(), before);
        }
        EXPECT_EQ(host.faults(), "");
    }
}

TEST(Presets, OfLooksDifferAndComeBack) {
    for (const char* name : {"Q_HeatHaze", "Q_NightVision", "Q_InfraRed", "Q_Thermo"}) {
        RecordingHost host;
        TestEffect& effect = host.effect(name);
        effect.connect(effect.primaryClip().name(), support::noiseImage(support::layoutOf(64, 48), 5));
        std::vector<std::vector<float>> pictures{effect.render(2)};
        const auto presets = effect.param("Demos").choiceOptions().size();
        for (std::size_t preset = 1; preset < presets; ++preset) {
            effect.set("Demos", static_cast<double>(preset));
            const std::vector<float> picture = effect.render(2);
            for (const auto& other : pictures)
                EXPECT_GT(support::largestDifference(picture, other), 0.02) << name << preset;
            pictures.push_back(picture);
        }
        effect.set("Demos", 0.0);
        EXPECT_EQ(effect.render(2), pictures.front()) << name;
        EXPECT_EQ(host.faults(), "");
    }
}

// Those of curves put all else to its default; a hidden parameter keeps the number of the preset.
TEST(Presets, OfCurvesPutAllElseToDefaults) {
    for (const char* name : {"Q_InfraRed", "Q_Thermo"}) {
        RecordingHost host;
        TestEffect& effect = host.effect(name);
        effect.set("Blend", 40.0);
        effect.set("Soften", 0.0);
        effect.set("Demos", 1.0);
        for (const char* other : {"Blend", "Soften"})
            EXPECT_EQ(effect.param(other).value(), effect.param(other).defaultValue()) << name << other;
    }
    RecordingHost host;
    TestEffect& effect = host.effect("Q_InfraRed");
    effect.choose("Demos", "MoonLight");
    EXPECT_EQ(effect.param("DemoJSecret").value(), ofxhost::ParamValue(4.0));
    effect.choose("Demos", "Default");
    EXPECT_EQ(effect.param("DemoJSecret").value(), ofxhost::ParamValue(0.0));
}

// A control that says how much of an effect there is leaves nothing of it at the end of its range.
TEST(NoStrength, LeavesThePictureToTheBit) {
    const struct {
        const char* effect;
        std::vector<std::pair<const char*, double>> settings, strengthened;
    } cases[] = {
        {"Q_Aurora", {{"Brightness", 0}}, {{"Brightness", 100}}},
        {"Q_Bubbles", {{"Opacity", 0}}, {{"Opacity", 100}}},
        {"Q_Burn", {{"Burn", 0}}, {{"Brightness", 150}}},
        {"Q_CrashZoom", {{"Speed", 0}}, {{"Speed", 50}}},
        {"Q_CrashZoom", {{"Radius", 3}}, {{"Radius", 0}, {"Speed", 90}}},
        {"Q_Cumulo", {{"Density", 0}}, {{"Density", 60}}},
        {"Q_Darken", {{"CutOff", 0}}, {{"CutOff", 80}}},
        {"Q_Darken", {{"Rad", 1}}, {{"Rad", 2}}},
        {"Q_EdgeLeak", {{"FogE", 0}, {"ThickE", 0}}, {{"FogE", 10}}},
        {"Q_Fireworks", {{"Brightness", 0}}, {{"Brightness", 100}}},
        {"Q_Flare", {{"Brightness", 0}, {"XScale", 2}, {"LoLight", 0.5}}, {{"Brightness", 100}}},
        {"Q_HeatHaze", {{"Temperature", 0}}, {{"Temperature", 10}}},
        {"Q_InfraRed", {{"Blend", 100}}, {{"Blend", 90}}},
        {"Q_Pool3D", {{"Blend", 100}}, {{"Blend", 90}}},
        {"Q_Lighten", {{"CutOff", 100}}, {{"CutOff", 20}}},
        {"Q_Lighten", {{"Rad", 1}}, {{"Rad", 2}, {"CutOff", 0}}},
        {"Q_LightLeak", {{"FogB", 0}, {"ThickB", 0}}, {{"FogB", 10}}},
        {"Q_LightLeak", {{"PattSizeB", 0}}, {{"PattSizeB", 90}}},
        {"Q_Puddle3D", {{"Blend", 100}}, {{"Blend", 90}}},
        {"Q_Luna", {{"Blend", 100}}, {{"Blend", 90}}},
        {"Q_Rain", {{"Opacity", 0}}, {{"Opacity", 100}}},
        {"Q_Rainbow", {{"Opacity", 0}}, {{"Opacity", 20}}},
        {"Q_RainDrops", {{"Distortion", 1}}, {{"Distortion", 1.3}}},
        {"Q_RemGrain", {{"RBlur", 0}, {"GBlur", 0}, {"BBlur", 0}}, {{"GBlur", 50}}},
        {"Q_Smoke", {{"Opacity", 0}}, {{"Opacity", 100}}},
        {"Q_Particles", {{"Opacity", 0}}, {{"Opacity", 100}}},
        {"Q_Snow", {{"Opacity", 0}}, {{"Opacity", 100}}},
        {"Q_RomanTile", {{"Mix", 0}}, {{"Mix", 10}}},
        {"Q_SpinBlur", {{"Blend", 100}}, {{"Blend", 90}}},
        {"Q_SpinBlur", {{"Speed", 0}}, {{"Speed", 10}}},
        {"Q_Thermo", {{"Blend", 100}}, {{"Blend", 90}}},
        {"Q_TrailPath", {{"Progress", 0}}, {{"Progress", 40}}},
        {"Q_Water", {{"RefractiveIndex", 1}}, {{"RefractiveIndex", 1.4}}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.effect << " " << test.settings.front().first);
        RecordingHost host;
        TestEffect& effect = host.effect(test.effect);
        const auto picture = support::noiseImage(support::layoutOf(64, 48), 5);
        for (const ofxhost::Clip* clip : effect.instance().inputs()) effect.connect(clip->name(), picture);
        for (const auto& [name, value] : test.settings) effect.set(name, value);
        EXPECT_EQ(effect.render(20), picture->toFloats());
        for (const auto& [name, value] : test.strengthened) effect.set(name, value);
        EXPECT_NE(effect.render(20), picture->toFloats());
        EXPECT_EQ(host.faults(), "");
    }
}

}  // namespace
