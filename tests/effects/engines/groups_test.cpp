// Groups of controls: they register in place, with their letter, and bring their enable rules.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "effects/engines/controls/FluidControls.h"
#include "effects/engines/controls/ParticleControls.h"

namespace {

struct WindyInfo : EffectInfo {
    FloatControlK7 before{this, {"Before", "Before", 0.0}};
    FluidWindControls windA{this, {.letter = "A"}};
    FluidWindControls gust{this, {.letter = "B", .canDieAway = false}};
    VortexControls vortexC{this, {.letter = "C"}};
    WindControls breeze{this, {.spread = 10.0, .speed = 5.0}};
    FloatControlK7 after{this, {"After", "After", 0.0}};
};

TEST(Groups, RegisterTheirControlsWhereTheyStand) {
    const WindyInfo info;
    std::vector<std::string> names;
    for (const ControlK7* control : info.controls()) names.emplace_back(control->name());
    EXPECT_THAT(names,
                testing::ElementsAre("Before", "WindOnA", "WindStartA", "WindEndA", "WindStrengthA", "WindTightA",
                                     "WindLocalA", "WindOnB", "WindStartB", "WindEndB", "WindStrengthB", "WindTightB",
                                     "VortexOnC", "VortexStrengthC", "VortexCenterC", "VortexRadiusC", "DoWind",
                                     "WindSource", "WindTarget", "WindSpread", "WindSpeed", "After"));
    EXPECT_TRUE(info.gust.diesAway());
    EXPECT_FALSE(info.breeze.toAllSides());
    for (const ControlK7* steering : {&info.windA.on, &info.gust.on, &info.vortexC.on, &info.breeze.on})
        EXPECT_TRUE(info.steers(steering)) << steering->name();
}

}  // namespace
