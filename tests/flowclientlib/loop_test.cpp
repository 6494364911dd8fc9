// The loop over output frames, as an effect derives from it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "flowclientlib/flowdirectlib.h"
#include "flowfinderlib/moving_pairs.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "support/images.h"

namespace {

constexpr int WIDTH = 96, HEIGHT = 72;
constexpr double SPEED = 3;  // pixels a frame

ImagePtr plate(double time) {
    ImagePtr image = make_image(WIDTH, HEIGHT, 1, SAMPLE_F32);
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x)
            image_row<float>(image.get(), y)[x] = float(moving::texture({x - SPEED * time, double(y)}, 1));
    return image;
}

class Loop : public FlowDirectLoop {
  public:
    Loop() {
        set_image_params(WIDTH, HEIGHT, 1, SAMPLE_F32);
        set_input_frames(0, 2);
    }
    std::vector<ImagePtr> frames;
    int reads = 0, analysed = 0, reused = 0;
    FlowFields kept[3];
    bool fail_frame = false, abort = false;

  protected:
    bool get_input_frame(int frame, K7Image* picture) override {
        ++reads;
        return !fail_frame && image_copy(plate(frame).get(), picture);
    }
    bool put_output_frame(int, const K7Image* picture) override {
        frames.emplace_back(image_duplicate(picture));
        return true;
    }
    bool abort_requested() override { return abort; }
};

class KeepingLoop : public Loop {
  protected:
    bool put_output_flowfield(int frame, const FlowFields* fields) override {
        ++analysed;
        kept[frame].forward.reset(image_duplicate(fields->forward.get()));
        kept[frame].backward.reset(image_duplicate(fields->backward.get()));
        return true;
    }
    bool get_input_flowfield(int frame, FlowFields* fields) override {
        if (!kept[frame].forward) return false;
        ++reused;
        fields->forward.reset(image_duplicate(kept[frame].forward.get()));
        fields->backward.reset(image_duplicate(kept[frame].backward.get()));
        return true;
    }
};

class LoopTest : public testing::Test {
  protected:
    void SetUp() override { SetTraceLevel(TRACE_OFF); }
    void TearDown() override { SetTraceLevel(TRACE_INFO); }
};

double difference(const K7Image& a, const K7Image& b) {
    double sum = 0;
    for (int n = 0; n < WIDTH * HEIGHT; ++n) sum += std::fabs(image_row<float>(&a, 0)[n] - image_row<float>(&b, 0)[n]);
    return sum / (WIDTH * HEIGHT);
}

TEST_F(LoopTest, FollowsTheSpeedMap) {
    Loop loop;
    const double map[] = {0, 0.5, 1, 1.75, 2, 9, NAN};
    loop.set_vsmap(map, 7);
    ASSERT_EQ(loop.run(), 0);
    ASSERT_EQ(loop.frames.size(), 7U);
    EXPECT_EQ(loop.reads, 3 + 2);  // forward each once; back to the first pair for the last frame
    for (const int n : {0, 2, 4, 5, 6}) {
        const int frame = n == 6 ? 0 : std::min(int(map[n]), 2);
        EXPECT_TRUE(same_pixels(loop.frames[std::size_t(n)].get(), plate(frame).get())) << n;
    }
    EXPECT_LT(difference(*loop.frames[1], *plate(0.5)), 0.006);
    EXPECT_LT(difference(*loop.frames[3], *plate(1.75)), 0.006);
    EXPECT_GT(difference(*plate(0), *plate(0.5)), 0.02);
}

TEST_F(LoopTest, OpensItsShutter) {
    Loop loop;
    const double map[] = {0.5};
    loop.set_vsmap(map, 1);
    loop.set_shutter(1, 4);  // over the end of the first pair
    ASSERT_EQ(loop.run(), 0);
    ImageAccumulator sum(plate(0).get());
    for (const double time : {0.5, 0.75, 1.0, 1.25}) sum.add(plate(time).get());
    const ImagePtr mean(image_clone_layout(plate(0).get()));
    ASSERT_TRUE(sum.mean(mean.get()));
    EXPECT_LT(difference(*loop.frames[0], *mean), 0.004);
}

TEST_F(LoopTest, SavesAndReusesFlow) {
    KeepingLoop loop;
    const double map[] = {0.5, 1.5};
    loop.set_vsmap(map, 2);
    loop.set_mode(FlowMode::FlowReuse);
    EXPECT_EQ(loop.run(), 26);
    loop.set_mode(FlowMode::FlowSave);
    ASSERT_EQ(loop.run(), 0);
    EXPECT_EQ(loop.analysed, 2);
    loop.kept[1] = {};
    loop.set_mode(FlowMode::Fjm);
    ASSERT_EQ(loop.run(), 0);
    EXPECT_EQ(loop.analysed, 3);
    EXPECT_EQ(loop.reused, 1);
    for (const std::size_t n : {0U, 1U}) EXPECT_TRUE(same_pixels(loop.frames[n].get(), loop.frames[n + 2].get()));
    loop.kept[0].forward = make_image(5, 5, 2, SAMPLE_F32);
    loop.set_mode(FlowMode::FlowReuse);
    EXPECT_EQ(loop.run(), 17);
}

TEST_F(LoopTest, TellsWhatWentWrong) {
    struct Bare : FlowDirectLoop {
    } bare;
    EXPECT_EQ(bare.run(), 1);
    bare.set_image_params(WIDTH, HEIGHT, 1, SAMPLE_F32);
    EXPECT_EQ(bare.run(), 2);
    bare.set_input_frames(0, 1);
    EXPECT_EQ(bare.run(), 9);
    Loop loop;
    loop.set_mode(FlowMode::FlowSave);
    EXPECT_EQ(loop.run(), 24);
    loop.set_mode(FlowMode::FlowReuse);
    EXPECT_EQ(loop.run(), 25);
    loop.set_mode(FlowMode::Direct);
    loop.set_between_frames(true);
    EXPECT_EQ(loop.run(), 711);
    loop.set_between_frames(false);
    loop.fail_frame = true;
    EXPECT_EQ(loop.run(), 10);
    loop.fail_frame = false;
    loop.abort = true;
    EXPECT_EQ(loop.run(), 99);
    EXPECT_STREQ(FlowDirectLoop::error_text(24),
                 "No put_output_flowfield() override supplied & in FLOW_SAVE or FJM mode.");
    EXPECT_STREQ(FlowDirectLoop::error_text(18), FlowDirectLoop::error_text(13));
    EXPECT_STREQ(FlowDirectLoop::error_text(500), "Unknown error code.");
}

}  // namespace
