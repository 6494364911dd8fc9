// The clock against a simulation whose state is the list of everything that ever happened to it.
#include <gtest/gtest.h>

#include <algorithm>
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
    void restart() override {
        m_state = 17, ++restarts;
        m_grid.clear();
    }
    bool readInputs(int frame, std::uint64_t* sum) override {
        if (refusedAt == frame) return false;
        m_picture = film(frame);
        ++fetches;
        *sum = fingerprint(&m_picture, sizeof m_picture);
        return true;
    }
    bool step(int frame, bool silent) override {
        if (failAt == frame) return false;
        if (atStep) atStep(frame);
        const int entry[3] = {frame, m_parameter, m_picture};
        m_state = fingerprint(entry, sizeof entry,
                              fingerprint(m_grid.data(), std::min<std::size_t>(m_grid.size(), 50), m_state));
        m_grid.assign(bytes - 2 * sizeof m_state - static_cast<std::size_t>(frame % 3), static_cast<char>(m_state));
        if (!silent) shown = m_state;
        ++(silent ? silentSteps : drawnSteps);
        return true;
    }
    void walkState(StateWalk& walk) override {
        walk.value(m_state);
        walk.array(m_grid);
    }
    bool wantsAbort() const override { return abortAfter >= 0 && silentSteps >= abortAfter; }

    std::function<int(int frame)> film = [](int f) { return f; };  // the pictures of a clip that steers
    std::function<void(int frame)> atStep;
    std::uint64_t shown = 0;
    int fetches = 0;
    int refusedAt = -1;
    int restarts = 0, silentSteps = 0, drawnSteps = 0;
    int abortAfter = -1;
    int failAt = -1;
    std::size_t bytes = 100;  // of a state

  private:
    std::uint64_t m_state = 0;
    std::vector<char> m_grid;  // of another length in each frame
    int m_parameter = 0, m_picture = 0;
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
    // Without replayed animation a moving parameter steers the frames it is rendered at, in order; any other access
    // replays with the parameter of the frame that is wanted.
    Diary diary;
    FrameClock clock;
    diary.curve = [](int f) { return f; };
    for (int i = 0; i < 30; ++i) {
        ASSERT_TRUE(clock.run(diary, frame(i)));
        EXPECT_EQ(clock.steps_taken(), 1);
    }
    EXPECT_EQ(diary.shown, alone(diary, frame(29, true)));
    ASSERT_TRUE(clock.run(diary, frame(12)));
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

// As when the user presses a button or chooses a preset while a frame is rendered: that frame is not disturbed, and the
// next one does what was asked for.
TEST(FrameClock, RequestsDuringARunAreTakenByTheNext) {
    Diary diary;
    FrameClock clock;
    diary.atStep = [&](int f) {
        if (f == 20) clock.mark_restart();
    };
    ASSERT_TRUE(clock.run(diary, frame(30)));
    EXPECT_EQ(clock.steps_taken(), 31);
    diary.atStep = nullptr;
    EXPECT_EQ(diary.shown, alone(diary, frame(30)));
    ASSERT_TRUE(clock.run(diary, frame(31)));
    EXPECT_EQ(clock.steps_taken(), 32);
    ASSERT_TRUE(clock.run(diary, frame(32)));
    EXPECT_EQ(clock.steps_taken(), 1);
    // The same of a check, asked for in the drawn step
    diary.curve = [](int f) { return f / 4; };
    diary.atStep = [&](int f) {
        if (f == 40) clock.recheck(), diary.curve = [](int g) { return g == 33 ? 100 : g / 4; };
    };
    for (int i = 0; i <= 40; ++i) ASSERT_TRUE(clock.run(diary, frame(i, true)));
    diary.atStep = nullptr;
    ASSERT_TRUE(clock.run(diary, frame(41, true)));
    EXPECT_EQ(diary.shown, alone(diary, frame(41, true)));
}

// Only the frame that the host shows tells a jump from the next frame: a pre-roll moves.
TEST(FrameClock, AnotherFrameShownGoesBack) {
    Diary diary;
    FrameClock clock;
    ASSERT_TRUE(clock.run(diary, frame(30)));
    FrameClock::Request jump = frame(31);
    jump.shown = 35;
    ASSERT_TRUE(clock.run(diary, jump));
    EXPECT_EQ(diary.shown, alone(diary, jump));
    jump.animated = true;
    diary.curve = [](int f) { return f < 10 ? f : 10; };
    for (jump.target = 3; jump.target < 30; ++jump.target) {
        jump.shown = jump.target - 3;
        ASSERT_TRUE(clock.run(diary, jump));
    }
    EXPECT_EQ(clock.steps_taken(), 1);
    jump.shown += 3;
    diary.curve = [](int f) { return f < 12 ? f + 2 : 10; };  // as frame numbers have moved against the curve
    ASSERT_TRUE(clock.run(diary, jump));
    EXPECT_EQ(diary.shown, alone(diary, jump));
}

FrameClock::Request film(int target, bool animated = false) {
    FrameClock::Request request = frame(target, animated);
    request.moving_inputs = true;
    return request;
}

TEST(FrameClock, MovingPicturesAreReadForEachStep) {
    for (const bool animated : {false, true}) {
        Diary diary;
        FrameClock clock;
        if (animated) diary.curve = [](int f) { return f / 3; };
        diary.film = [](int f) { return 7 * f; };
        for (int i = 0; i < 60; ++i) {
            ASSERT_TRUE(clock.run(diary, film(i, animated)));
            ASSERT_EQ(diary.shown, alone(diary, film(i, animated))) << i;
        }
        EXPECT_EQ(diary.fetches, 60) << "one a frame";
        for (const int target : {40, 57, 12, 13, 90}) {
            ASSERT_TRUE(clock.run(diary, film(target, animated)));
            ASSERT_EQ(diary.shown, alone(diary, film(target, animated))) << target;
            EXPECT_LE(clock.steps_taken(), target == 90 ? 78 : 20) << "kept states are of use";
        }
        // The clip is another one from some frame on: seen at the first frame that shows it
        diary.film = [](int f) { return f < 80 ? 7 * f : 1; };
        ASSERT_TRUE(clock.run(diary, film(90, animated)));
        EXPECT_EQ(diary.shown, alone(diary, film(90, animated)));
        // or when the host tells of it.
        diary.film = [](int f) { return f == 5 ? 1 : 7 * f; };
        clock.refetch_inputs();
        ASSERT_TRUE(clock.run(diary, film(10, animated)));
        EXPECT_EQ(diary.shown, alone(diary, film(10, animated)));
    }
}

TEST(FrameClock, ARefusedPictureEndsTheRun) {
    Diary diary;
    FrameClock clock;
    diary.refusedAt = 25;
    EXPECT_FALSE(clock.run(diary, film(40)));
    EXPECT_EQ(diary.drawnSteps, 0);
    diary.refusedAt = -1;
    ASSERT_TRUE(clock.run(diary, film(40)));
    EXPECT_EQ(clock.steps_taken(), 16) << "from where it had to end";
    EXPECT_EQ(diary.shown, alone(diary, film(40)));
    diary.refusedAt = 41;
    EXPECT_FALSE(clock.run(diary, film(41)));
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

}  // namespace
