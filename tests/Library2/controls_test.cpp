// Controls: what a fetch puts into their fields and what they write to the host.
#include "Library2/InstanceRecord.h"
#include "probe_effect.h"

namespace {

using support::TestEffect;
using testing::ElementsAre;
using testing::HasSubstr;

class Controls : public probe::ProbeTest {
  protected:
    TestEffect& effectOn(std::string_view word, double aspect = 1.0) {
        on(word).project.pixelAspect = aspect;
        TestEffect& effect = create();
        effect.connect(effect.primaryClip().name(), support::gradientImage(support::layoutOf(64, 48)));
        return effect;
    }
};

TEST_F(Controls, AFetchBringsTheValuesOfTheFrame) {
    TestEffect& effect = effectOn("generic", 2.0);
    effect.setKeys("Amount", {{0.0, 0.0}, {10.0, 50.0}});
    effect.setSilently("Radius", 0.5);
    effect.setSilently("Turn", 0.1);
    effect.setSilently("Count", 12.0);
    effect.setSilently("Invert", 0.0);
    effect.setSilently("Shape", 2.0);
    effect.setSilently("Centre", {0.1, 0.9});
    effect.setSilently("Tint", {0.125, 0.25, 0.375});
    effect.setSilently("Paint", {0.125, 0.25, 0.375, 0.5});
    effect.setSilently("Curve", {0.3, 0.6});
    effect.setSilently("Note", "text of the user");
    probe::Probe& object = probeOf(effect);
    object.Tint.alpha = 1.0f;
    effect.render(4.0);
    EXPECT_EQ(object.Amount.value, 20.0);
    EXPECT_EQ(object.Radius.value, 0.5);
    EXPECT_EQ(object.Turn.value, 0.1) << "unrounded at a fetch";
    EXPECT_EQ(object.Count.value, 12);
    EXPECT_FALSE(object.Invert.value);
    EXPECT_EQ(object.Shape.value, 3) << "from 1";
    EXPECT_EQ(object.Centre.x, 0.1);
    EXPECT_EQ(object.Centre.y, 0.9);
    EXPECT_EQ(object.Tint.green, 0.25f);
    EXPECT_EQ(object.Tint.alpha, 1.0f);
    EXPECT_EQ(object.Paint.alpha, 0.5f);
    EXPECT_EQ(object.Curve.x, 0.3);
    EXPECT_EQ(object.Note.text, "text of the user");
    double turn = 0.0;
    EXPECT_TRUE(object.Turn.GetValue(4.0, &turn));
    EXPECT_EQ(turn, double(0.1f)) << "rounded through single precision when asked for";
}

TEST_F(Controls, PositionsAreCountedInTheHostsPixels) {
    const struct {
        const char* word;
        double x;
    } cases[] = {{"generic", 0.5}, {"nuke", 0.5},         {"vegas", 0.5},
                 {"toxik", 0.5},   {"fusion", 0.5 / 2.0}, {"cdv", 0.5 / 2.0}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.word);
        TestEffect& effect = effectOn(test.word, 2.0);
        effect.setSilently("Centre", {0.5, 0.5});
        effect.setSilently("Curve", {0.5, 0.5});
        effect.render();
        probe::Probe& object = probeOf(effect);
        EXPECT_EQ(object.Centre.x, test.x) << "Fusion's aspect is the reciprocal before it multiplies";
        EXPECT_EQ(object.Centre.y, 0.5);
        EXPECT_EQ(object.Curve.x, 0.5) << "no place in the picture";
    }
}

TEST_F(Controls, WritesReachTheHostInItsTerms) {
    TestEffect& effect = effectOn("generic");
    probe::Probe& object = probeOf(effect);
    const auto value = [&](const char* name, std::size_t i = 0) { return effect.param(name).value().numbers[i]; };
    object.Amount.SetValue(12.5);
    object.Count.SetValue(9);
    object.Invert.SetValue(0);
    object.Shape.SetValue(1);
    object.Centre.SetValue(0.25, 0.5);
    object.Paint.SetValue(0.25f, 0.5f, 0.75f, 1.0f);
    object.Tint.SetValue16(32767, 0, 65534, 32767);
    EXPECT_EQ(value("Amount"), 12.5);
    EXPECT_EQ(value("Count"), 9.0);
    EXPECT_EQ(value("Invert"), 0.0);
    EXPECT_EQ(value("Shape"), 0.0) << "1 is the first choice";
    EXPECT_EQ(value("Centre", 1), 0.5);
    EXPECT_EQ(value("Paint", 2), 0.75);
    EXPECT_EQ(value("Tint", 0), 1.0) << "full scale is 32767";
    int shape = 0;
    EXPECT_TRUE(object.Shape.GetValue(0.0, &shape));
    EXPECT_EQ(shape, 1);
    float r = 0, g = 0, b = 0, a = 0;
    EXPECT_TRUE(object.Tint.GetValue(0.0, &r, &g, &b, &a));
    EXPECT_EQ(a, 1.0f) << "three components have an alpha of exactly 1";
    EXPECT_EQ(host->faults(support::Severity::Error), "");
}

// A slip in a table of hundreds of numbers is told when the record is made, in every build.
TEST(PresetTables, AreCheckedWhenTheRecordIsMade) {
    struct Info : EffectInfo {
        PresetChoiceK7 choice{this, {"Demos", "Type"}};
        FloatControlK7 gain{this, {"Gain", "Gain", 1.0}};
        PositionControlK7 centre{this, {"Centre", "Centre", 0.5, 0.5}};
    };
    const auto refused = [](auto... lines) {
        Info info;
        try {
            info.presets(info.choice, {"One", "Two"}, {lines(info)...}, PresetScope::ListedOnly);
        } catch (const std::logic_error& error) {
            return std::string(error.what());
        }
        EXPECT_THAT(info.choice.choices(), ElementsAre(testing::StrEq("One"), testing::StrEq("Two")));
        return std::string();
    };
    const auto gain = [](std::vector<PresetCell> cells) { return [=](Info& i) { return PresetLine(i.gain, cells); }; };
    const auto centre = [](std::vector<PresetCell> cells) {
        return [=](Info& i) { return PresetLine(i.centre, cells); };
    };
    EXPECT_EQ(refused(gain({1, 2}), centre({{0.1, 0.2}, {}})), "");
    EXPECT_THAT(refused(gain({1})), HasSubstr("Gain"));
    EXPECT_THAT(refused(gain({1, 2, 3})), HasSubstr("Gain"));
    EXPECT_THAT(refused(gain({1, 2}), centre({{0.1, 0.2}, 0.5})), HasSubstr("Centre"));
    EXPECT_THAT(refused(gain({1, 2}), gain({1, 2})), HasSubstr("Gain"));
}

}  // namespace
