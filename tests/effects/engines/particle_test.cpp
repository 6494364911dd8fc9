// Particles and their sets: what a step does, in which order, and that the fast step is the same to the bit.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "effects/engines/particles/ParticleSet.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

struct Spark : ParticleBase {
    float heat = 0;
    std::int32_t tag = 0;
};

class SparkSet : public ParticleSet<Spark> {
  public:
    using ParticleSet::ParticleSet;
    void render(Spark& spark) {
        rendered.push_back(spark.tag);
        places.push_back(spark.position[0]);
        spark.heat += 1;
    }
    void advance() {
        advance_all([this](Spark& spark) { render(spark); });
    }
    void add(float life, int tag) {
        Spark s;
        s.life = life;
        s.tag = tag;
        s.position[0] = static_cast<float>(tag);
        s.velocity[0] = 0.5f;
        EXPECT_TRUE(add_particle(&s));
    }
    std::vector<int> rendered;
    std::vector<float> places;
};

TEST(ParticleBase, EllipsoidsAndSegmentsAreFilledEvenly) {
    MTRandom random(5);
    Spark p;
    const float centre[3] = {10, 20, 30}, radii[3] = {3, 2, 0};
    double x = 0, xx = 0;
    for (int i = 0; i < 4000; ++i) {
        p.set_position_in_ellipsoid(centre, radii, random);
        const double dx = (p.position[0] - 10) / 3.0, dy = (p.position[1] - 20) / 2.0;
        EXPECT_LE(dx * dx + dy * dy, 1 + 1e-5);
        EXPECT_EQ(p.position[2], 30);
        x += dx, xx += dx * dx;
    }
    EXPECT_NEAR(x / 4000, 0, 0.03);
    EXPECT_NEAR(xx / 4000, 0.25, 0.02);  // of a uniform disc of radius 1
}

// Equal numbers of draws keep later particles where they are.
TEST(ParticleBase, DrawsDoNotDependOnSpreads) {
    const float mean[3] = {0, -4, 0}, zero[3] = {}, wide[3] = {0.5f, 0.4f, 0.3f};
    MTRandom narrow_random(9), wide_random(9), by_hand(9);
    Spark p, q;
    p.set_random_velocity(zero, zero, narrow_random);
    EXPECT_EQ(std::hypot(p.velocity[0], p.velocity[1], p.velocity[2]), 0);
    q.set_random_velocity(mean, wide, wide_random);
    const double length = std::hypot(double(q.velocity[0]), double(q.velocity[1]), double(q.velocity[2]));
    EXPECT_GE(length, 2 - 1e-5);
    EXPECT_LE(length, 6 + 1e-5);
    for (int i = 0; i < 3; ++i) by_hand.next_float();
    const auto next = by_hand.next_uint32();
    EXPECT_EQ(narrow_random.next_uint32(), next);
    EXPECT_EQ(wide_random.next_uint32(), next);

    p.set_random_velocity(mean, zero, narrow_random);
    EXPECT_NEAR(p.velocity[0], 0, 1e-6);
    EXPECT_NEAR(p.velocity[1], -4, 1e-6);
    EXPECT_NEAR(p.velocity[2], 0, 1e-6);
}

TEST(ParticleSet, BirthTellsTheCallersRecordAndGrows) {
    SparkSet set;
    set.initial_capacity = 2;
    for (int i = 0; i < 100; ++i) {
        Spark s;
        s.age = 7;
        s.tag = i;
        ASSERT_TRUE(set.add_particle(&s));
        EXPECT_EQ(s.age, 0);
        EXPECT_EQ(s.id, i);
    }
    EXPECT_EQ(set.live(), 100);
    EXPECT_EQ(set.capacity, 128);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(set[i].tag, i);

    // A mask that is white on its right half.
    const ImagePtr mask = make_image(8, 8, 4, SAMPLE_F32);
    for (int y = 0; y < 8; ++y)
        for (int x = 4; x < 8; ++x) std::fill_n(image_row<float>(mask.get(), y) + 4 * x, 4, 1.0f);
    set.birth_mask = mask.get();
    set.mask_scale[0] = set.mask_scale[1] = 0.01f;
    Spark left, right;
    left.position[0] = 10, right.position[0] = 90;
    left.position[1] = right.position[1] = 50;
    EXPECT_TRUE(set.add_particle(&left));
    EXPECT_EQ(set.live(), 100);
    EXPECT_TRUE(set.add_particle(&right));
    EXPECT_EQ(set.live(), 101);
}

// Drawn where it is, then moved; the velocity whole, drag and then forces with the step's length.
TEST(ParticleSet, StepsInOrder) {
    SparkSet set;
    const float force[3] = {0, -1, 0}, more[3] = {0, -1, 2};
    set.add_force(force), set.add_force(more);
    set.set_drag(0.5f);
    set.add(100, 1);
    MTRandom expected(ParticleSetBase::SEED);
    const float dt = expected.next_float();
    set.advance();
    EXPECT_EQ(set.places, std::vector<float>{1});
    EXPECT_EQ(set[0].position[0], 1.5f);
    EXPECT_EQ(set[0].age, dt);
    EXPECT_EQ(set[0].velocity[0], 0.5f - 0.5f * (0.5f * dt));
    EXPECT_EQ(set[0].velocity[1], -2 * dt);
    EXPECT_EQ(set[0].velocity[2], 2 * dt);
    set.advance();
    EXPECT_EQ(set[0].age, dt + 1);
    EXPECT_EQ(expected.next_uint32(), set.random.next_uint32());
}

TEST(ParticleSet, TheDeadGiveTheirPlaceToTheLast) {
    SparkSet set;
    set.add(0, 1);  // lives for the frame of its birth
    set.add(50, 2);
    set.add(0, 3);
    set.add(50, 4);
    set.add(0, 5);
    set.advance();
    EXPECT_EQ(set.rendered, (std::vector<int>{1, 2, 3, 4, 5}));
    set.rendered.clear();
    set.advance();
    EXPECT_EQ(set.rendered, (std::vector<int>{4, 2}));
    EXPECT_EQ(set.live(), 2);
    set[1].life = 0;  // the last one
    set.rendered.clear();
    set.advance();
    EXPECT_EQ(set.rendered, std::vector<int>{4});
    set[0].life = 0;
    int count = -1;
    set.get_particles(&count, false);
    EXPECT_EQ(count, 1);
    set.get_particles(&count, true);
    EXPECT_EQ(count, 0);
}

TEST(ParticleSet, DepthIsAnOrderOrASort) {
    SparkSet set;
    set.sort_by_depth();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float depths[] = {3, -2, 0, nan, -0.0f, 7, -2, 1e30f};
    const std::vector<std::int32_t> farthest_first = {1, 6, 2, 4, 0, 5, 7, 3};
    for (int i = 0; i < 8; ++i) {
        set.add(10, i);
        set[i].position[2] = depths[i];
    }
    std::vector<std::int32_t> order;
    set.depth_order(order);
    EXPECT_EQ(order, farthest_first);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(set[i].tag, i) << "the state is left alone";
    set.sort_by_depth();
    for (int i = 0; i < 8; ++i) EXPECT_EQ(set[i].tag, farthest_first[std::size_t(i)]);
}

}  // namespace
