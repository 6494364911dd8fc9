// RemGrain in a host: what is greyed when.
#include <gtest/gtest.h>

#include "support/recording_host.h"

namespace {

TEST(RemGrainInHost, ControlsThatAreNotReadAreGreyed) {
    support::RecordingHost host;
    support::TestEffect& effect = host.effect("Q_RemGrain");
    const auto open = [&](const char* name) {
        return effect.param(name).properties().getInt(ofx::prop::ParamEnabled) == 1;
    };
    const char* blurs[] = {"RBlur", "GBlur", "BBlur"};
    const char* sharps[] = {"RSharpStr", "GSharpStr", "BSharpStr"};
    const char* switches[] = {"RonMx", "GonMx", "BonMx"};
    for (const bool seeing : {false, true})
        for (int shown = 0; shown < 8; ++shown)
            for (int colour = 0; colour < 3; ++colour) {
                effect.set("Mode", seeing);
                effect.set("RGBEx", colour);
                for (int c = 0; c < 3; ++c) effect.set(switches[c], (shown >> c & 1) != 0);
                for (int c = 0; c < 3; ++c) {
                    const bool used = seeing ? c == colour : shown >> c & 1;
                    EXPECT_EQ(open(blurs[c]), used) << blurs[c];
                    EXPECT_EQ(open(sharps[c]), used) << sharps[c];
                    EXPECT_EQ(open(switches[c]), !seeing);
                }
                EXPECT_EQ(open("RGBEx"), seeing);
            }
    for (const bool boxed : {true, false}) {
        effect.set("ROI", boxed);
        EXPECT_EQ(open("Point1"), boxed);
        EXPECT_EQ(open("Point2"), boxed);
    }
    EXPECT_EQ(host.faults(), "");
}

}  // namespace
