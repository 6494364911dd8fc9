// The base of particle effects, by one whose particles burst, flock and lie at depths: what is born while a step runs,
// who sees whom, and that the picture is the same in every order of frames and on any number of threads.
#include "effects/engines/particles/ParticleEffect.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/images.h"
#include "support/row_threads.h"

namespace {

struct SwarmInfo : EffectInfo {
    static constexpr EffectTraits traits{.name = "Swarm", .menu = "Tests"};
    ClipRecord input{this, {.name = "Input", .label = "Input", .required = true}};
    Page page{this, "Swarm"};
    FloatControlK7 Reach{this, {"Reach", "Reach", 9.0, 0.0, 100.0}, "How far members see, in pixels."};
};

struct SwarmMotion {
    float reach;
};
struct SwarmLook {};

struct Member : FadingParticle {
    std::int32_t generation = 0;
    std::int32_t seen = 0;  // neighbours, oneself included
};

constexpr int BIRTHS = 100;  // so that there are several blocks of particles

class Swarm : public particles::ParticleEffect<SwarmInfo, Member, SwarmMotion, SwarmLook> {
  public:
    std::vector<Member> shown;  // in the order of drawing
    bool byDepth = false;
    SimulationTiming when;

  protected:
    SimulationTiming timing() const override { return when; }
    void readBlocks(SwarmMotion& motion, SwarmLook&) override { motion.reach = particles::value(Reach); }
    void births() override {
        shown.clear();
        emit(BIRTHS);
    }
    bool fillNewborn(Member& p) override {
        p.life = 3 + 4 * random().next_float();
        for (int i = 0; i < 2; ++i) p.position[i] = 100 * random().next_float();
        p.position[2] = std::floor(8 * random().next_float());
        p.velocity[0] = random().next_float() - 0.5f;
        std::copy_n(p.position, 3, p.previous_position);
        return true;
    }
    // Shells burst into sparks, sparks into nothing.
    void died(const Member& shell) override {
        if (shell.generation > 0) return;
        for (int i = 0; i < 6; ++i) {
            Member spark = shell;
            spark.generation = 1, spark.life = 2;
            spark.velocity[1] = random().next_float();
            spawn(spark);
        }
    }
    void applyForces(Member*, int) const override {}
    float neighbourReach() const override { return motion().reach; }
    // Towards the middle of the neighbours; who has many moves first if neighbours are not as they were.
    void lookAround(Member* members, int first, int count, const Neighbours& around) const override {
        for (int i = 0; i < count; ++i) {
            float sum[2] = {};
            int seen = 0;
            around.grid.around(around.particles[first + i].position, [&](std::int32_t other) {
                for (int axis = 0; axis < 2; ++axis) sum[axis] += around.particles[other].position[axis];
                return ++seen < 50;
            });
            members[i].seen = seen;
            for (int axis = 0; axis < 2 && seen > 0; ++axis)
                members[i].position[axis] += 0.1f * (sum[axis] / static_cast<float>(seen) - members[i].position[axis]);
        }
    }
    bool showsByDepth() const override { return byDepth; }
    void show(Member& p) override {
        shown.push_back(p);
        splats().point(p.color, p.position[0], p.position[1], 1);
    }
};

ImagePtr render(Swarm& swarm, double frame) {
    swarm.output.image = make_image(100, 100, 4, SAMPLE_F32);
    swarm.currentFrame = frame;
    swarm.ProcessFrame();
    return std::move(swarm.output.image);
}

TEST(ParticleEffect, FramesAreTheSameInEveryOrderAndOnAnyNumberOfThreads) {
    const auto expected = [](int frame) {
        const RowThreads rows(1);
        Swarm alone;
        return render(alone, frame);
    };
    for (const int threads : {1, 3}) {
        const RowThreads rows(threads);
        Swarm swarm;
        for (const int frame : {0, 1, 2, 3, 20, 21, 12, 13, 40, 38, 39})
            ASSERT_TRUE(same_pixels(render(swarm, frame).get(), expected(frame).get())) << frame << ' ' << threads;
    }
}

TEST(ParticleEffect, ChildrenOfTheDeadAreSeenAtOnce) {
    Swarm swarm;
    int bursts = 0;
    for (int frame = 0; frame < 40; ++frame) {
        render(swarm, frame);
        int shells = 0, sparks = 0;
        for (const Member& p : swarm.shown) (p.generation == 0 ? shells : sparks) += p.age == 0;
        EXPECT_EQ(shells, BIRTHS) << frame;
        EXPECT_EQ(sparks % 6, 0) << frame;
        bursts += sparks / 6;
        for (std::size_t i = 1; i < swarm.shown.size(); ++i)
            if (swarm.shown[i].age == 0 && swarm.shown[i].generation == 1) {
                EXPECT_EQ(swarm.shown[i].id, static_cast<int>(i)) << "they join at the end";
            }
    }
    EXPECT_GT(bursts, 20 * BIRTHS);
}

TEST(ParticleEffect, MembersSeeAllWithinReachAndNobodyElse) {
    Swarm swarm;
    for (const double reach : {0.0, 0.5, 9.0, 40.0, 500.0}) {
        swarm.Reach.value = reach;
        render(swarm, 12);
        std::vector<Member> members(swarm.shown);
        for (const Member& p : members) EXPECT_EQ(p.seen > 0, reach > 0);
        if (reach == 0) continue;
        NeighbourGrid grid;
        K7Image like{};
        like.width = like.height = 100;
        members[0].position[0] = std::nanf("");
        members[1].position[0] = 1e30f, members[2].position[1] = -300;
        const int count = static_cast<int>(members.size());
        grid.build(members.data(), count, static_cast<float>(reach), FrameShape(like));
        for (const Member& p : members) {
            std::vector<int> seen, within;
            grid.around(p.position, [&](int index) { return seen.push_back(index), true; });
            for (int i = 0; i < count; ++i) {
                const float dx = members[std::size_t(i)].position[0] - p.position[0];
                const float dy = members[std::size_t(i)].position[1] - p.position[1];
                if (dx * dx + dy * dy <= float(reach) * float(reach)) within.push_back(i);
            }
            std::sort(seen.begin(), seen.end());
            EXPECT_EQ(seen, within) << reach;
        }
    }
}

TEST(ParticleEffect, DepthOrdersTheDrawingAndNothingElse) {
    Swarm plain, deep;
    deep.byDepth = true;
    for (int frame = 0; frame < 20; ++frame) render(plain, frame), render(deep, frame);
    for (std::size_t i = 1; i < deep.shown.size(); ++i)
        EXPECT_LE(deep.shown[i - 1].position[2], deep.shown[i].position[2]);
    deep.byDepth = false;
    render(deep, 20), render(plain, 20);
    ASSERT_EQ(plain.shown.size(), deep.shown.size());
    for (std::size_t i = 0; i < plain.shown.size(); ++i) EXPECT_EQ(deep.shown[i].id, plain.shown[i].id);
}

}  // namespace
