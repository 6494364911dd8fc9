// The clock against a simulation whose state is the list of everything that ever happened to it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "effects/engines/replay/FrameClock.h"

namespace {

class Diary : public ClockedSimulation {
  public:
    // The curve of the one parameter.
    std::function<int(int frame)> curve = [](int) { return 1; };

    std::uint64_t readParameters(int frame) override {
        m_parameter = curve(frame);
        return fingerprint(&m_parameter, sizeof m_parameter);
    }
    void restart() override { m_state = 17, ++restarts; }
    bool step(int frame, bool silent) override {
        if (failAt == frame) return false;
        const int entry[2] = {frame, m_parameter};
        m_state = fingerprint(entry, sizeof entry, m_state);
        if (!silent) shown = m_state;
        ++(silent ? silentSteps : drawnSteps);
        return true;
    }
    void walkState(StateWalk& walk) override {
        walk.value(m_state);
        ballast.resize(bytes - 2 * sizeof m_state);
        walk.array(ballast);
    }
    bool wantsAbort() const override { return abortAfter >= 0 && silentSteps >= abortAfter; }

    std::uint64_t shown = 0;
    int restarts = 0, silentSteps = 0, drawnSteps = 0;
    int abortAfter = -1;
    int failAt = -1;
    std::size_t bytes = 100;  // of a state
    std::vector<char> ballast;

  private:
    std::uint64_t m_state = 0;
    int m_parameter = 0;
};

FrameClock::Request frame(int target, bool animated = false, int start = 0) {
    FrameClock::Request request;
    request.start = start;
    request.target = request.shown = target;
    request.animated = animated;
    return request;
}

// A frame by a clock that never saw another.
std::uint64_t alone(Diary like, const FrameClock::Request& request) {
    FrameClock clock;
    EXPECT_TRUE(clock.run(like, request));
    return like.shown;
}

TEST(FrameClock, EveryOrderOfFramesShowsTheSame) {
    for (const bool animated : {false, true}) {
        Diary diary;
        if (animated) diary.curve = [](int f) { return f / 3; };
        FrameClock clock;
        unsigned random = 1;
        for (int i = 0; i < 300; ++i) {
            random = random * 1664525u + 1013904223u;
            const int target = i < 60 ? i + 3 : 3 + int(random >> 8) % 200;
            ASSERT_TRUE(clock.run(diary, frame(target, animated, 3)));
            ASSERT_EQ(diary.shown, alone(diary, frame(target, animated, 3))) << i << ": " << target;
        }
    }
}

TEST(FrameClock, GoingOnAndBackAFewFramesIsCheap) {
    Diary diary;
    FrameClock clock;
    for (int i = 0; i <= 1000; ++i) {
        ASSERT_TRUE(clock.run(diary, frame(i)));
        ASSERT_EQ(clock.steps_taken(), 1);
    }
    for (const int back : {1000, 990, 991, 990, 989, 950}) {
        ASSERT_TRUE(clock.run(diary, frame(back)));
        EXPECT_LE(clock.steps_taken(), back == 950 ? 16 : 4) << back;
    }
    ASSERT_TRUE(clock.run(diary, frame(500)));
    EXPECT_LE(clock.steps_taken(), 251);
    EXPECT_EQ(diary.shown, alone(diary, frame(500)));

    // The same after one jump.
    FrameClock jumped;
    ASSERT_TRUE(jumped.run(diary, frame(1000)));
    EXPECT_EQ(jumped.steps_taken(), 1001);
    ASSERT_TRUE(jumped.run(diary, frame(990)));
    EXPECT_LE(jumped.steps_taken(), 8);
    ASSERT_TRUE(jumped.run(diary, frame(1010)));
    EXPECT_LE(jumped.steps_taken(), 20);
}

TEST(FrameClock, KeepsWithinItsBudget) {
    Diary diary;
    diary.bytes = 1000;
    FrameClock clock;
    clock.set_budget(4500);
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(clock.run(diary, frame(i)));
        ASSERT_LE(clock.kept_bytes(), 4500u);
    }
    EXPECT_EQ(clock.kept_states(), 4);
    diary.bytes = 5000;  // one that never fits
    ASSERT_TRUE(clock.run(diary, frame(200)));
    ASSERT_TRUE(clock.run(diary, frame(200)));
    EXPECT_EQ(diary.shown, alone(diary, frame(200)));

    FrameClock forgetful;
    forgetful.set_budget(0);
    for (const int target : {50, 51, 20}) {
        ASSERT_TRUE(forgetful.run(diary, frame(target)));
        EXPECT_EQ(diary.shown, alone(diary, frame(target)));
        EXPECT_EQ(forgetful.steps_taken(), target == 51 ? 1 : target + 1);
    }
}

TEST(FrameClock, AChangedParameterBeginsAnew) {
    for (const bool animated : {false, true}) {
        Diary diary;
        FrameClock clock;
        for (int i = 0; i < 40; ++i) ASSERT_TRUE(clock.run(diary, frame(i, animated)));
        diary.curve = [](int) { return 2; };
        ASSERT_TRUE(clock.run(diary, frame(40, animated)));
        EXPECT_EQ(clock.steps_taken(), 41);
        EXPECT_EQ(diary.shown, alone(diary, frame(40, animated)));
        diary.curve = [](int f) { return f < 20 ? 3 : 2; };  // a change in the past only
        ASSERT_TRUE(clock.run(diary, frame(35, animated)));
        EXPECT_EQ(diary.shown, alone(diary, frame(35, animated)));
    }
}

// Without replayed animation a moving parameter steers the frames it is rendered at, in order; any other access
// replays with the parameter of the frame that is wanted.
TEST(FrameClock, AMovingParameterGoesOnInOrder) {
    Diary diary;
    diary.curve = [](int f) { return f; };
    FrameClock clock;
    for (int i = 0; i < 30; ++i) {
        ASSERT_TRUE(clock.run(diary, frame(i)));
        EXPECT_EQ(clock.steps_taken(), 1);
    }
    Diary inOrder = diary;
    EXPECT_EQ(diary.shown, alone(inOrder, frame(29, true)));
    ASSERT_TRUE(clock.run(diary, frame(12)));
    EXPECT_EQ(clock.steps_taken(), 13);
    EXPECT_EQ(diary.shown, alone(diary, frame(12)));
}

TEST(FrameClock, SizeStartModeInputsAndMarksBeginAnew) {
    Diary diary;
    FrameClock clock;
    ASSERT_TRUE(clock.run(diary, frame(20)));
    const auto restartsWith = [&](const FrameClock::Request& request) {
        const int before = diary.restarts;
        EXPECT_TRUE(clock.run(diary, request));
        return diary.restarts > before;
    };
    EXPECT_FALSE(restartsWith(frame(21)));
    EXPECT_TRUE(restartsWith(frame(22, false, 1)));
    EXPECT_TRUE(restartsWith(frame(23, true, 1)));
    FrameClock::Request larger = frame(24, true, 1);
    larger.shape = 5;
    EXPECT_TRUE(restartsWith(larger));
    clock.mark_restart();
    larger.target = larger.shown = 25;
    EXPECT_TRUE(restartsWith(larger));
    // Other pictures: in order they are steered by as they come; back there is nothing made with them.
    FrameClock::Request matte = larger;
    matte.target = matte.shown = 26, matte.inputs = 77;
    EXPECT_FALSE(restartsWith(matte));
    matte.target = matte.shown = 25;
    EXPECT_TRUE(restartsWith(matte));
}

// A key in the past that moved shows nowhere near the present; who was told of it asks for a check.
TEST(FrameClock, ARecheckFindsAChangedPast) {
    Diary diary;
    diary.curve = [](int f) { return f / 4; };
    FrameClock clock;
    for (int i = 0; i < 40; ++i) ASSERT_TRUE(clock.run(diary, frame(i, true)));
    clock.recheck();  // nothing changed after all
    ASSERT_TRUE(clock.run(diary, frame(40, true)));
    EXPECT_EQ(clock.steps_taken(), 1);
    diary.curve = [](int f) { return f == 30 ? 100 : f / 4; };
    clock.recheck();
    ASSERT_TRUE(clock.run(diary, frame(41, true)));
    EXPECT_GT(clock.steps_taken(), 10);
    EXPECT_LE(clock.steps_taken(), 16);
    EXPECT_EQ(diary.shown, alone(diary, frame(41, true)));
}

TEST(FrameClock, AnEndedRenderGoesOnLater) {
    Diary diary;
    FrameClock clock;
    diary.abortAfter = 30;
    EXPECT_FALSE(clock.run(diary, frame(100)));
    EXPECT_EQ(diary.silentSteps, 30);
    EXPECT_EQ(diary.drawnSteps, 0);
    diary.abortAfter = -1;
    ASSERT_TRUE(clock.run(diary, frame(100)));
    EXPECT_EQ(diary.restarts, 1);
    EXPECT_EQ(diary.silentSteps, 100);
    EXPECT_EQ(diary.shown, alone(diary, frame(100)));

    // Ended in the middle of a step: that state is no frame's.
    diary.failAt = 101;
    EXPECT_FALSE(clock.run(diary, frame(101)));
    diary.failAt = -1;
    ASSERT_TRUE(clock.run(diary, frame(102)));
    EXPECT_EQ(diary.shown, alone(diary, frame(102)));
}

TEST(FrameClock, FingerprintsTellBytesApart) {
    const char text[] = "snow, rain and smoke";
    EXPECT_EQ(fingerprint(text, 20), fingerprint(text, 20));
    EXPECT_NE(fingerprint(text, 20), fingerprint(text, 19));
    EXPECT_NE(fingerprint(text, 20), fingerprint(text, 20, 1));
    EXPECT_NE(fingerprint("\0", 1), fingerprint("\0\0", 2));
}

}  // namespace
