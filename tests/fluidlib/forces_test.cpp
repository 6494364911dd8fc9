// What pushes the fluid.
#include <set>

#include "flows.h"

namespace {

struct Push {
    float u, v;
};
Push force_at(const FluidFlow& flow, int i, int j) {
    const std::size_t at = flow.force.index(i, j);
    return {flow.force.u[at], flow.force.v[at]};
}

TEST(Forces, WindIsAConeFromItsStart) {
    auto flow = make_flow(100);
    flow->add_wind(0.5F, 0.2F, 0.5F, 0.6F, 0.5F, 2, true);                                      // 40 cells along x
    EXPECT_NEAR(force_at(*flow, 31, 51).u, 0.5F * 0.75F, 1e-6F);                                // 10 cells ahead
    EXPECT_NEAR(force_at(*flow, 31, 61).u, 0.5F * 0.5F * (1 - std::sqrt(200.0F) / 40), 1e-6F);  // 45 degrees off
    EXPECT_EQ(force_at(*flow, 11, 51).u, 0);                                                    // behind
    EXPECT_EQ(force_at(*flow, 21, 51).u, 0);                                                    // at the start
    EXPECT_EQ(force_at(*flow, 71, 51).u, 0);                                                    // beyond the end
    EXPECT_EQ(force_at(*flow, 31, 51).v, 0);
    EXPECT_EQ(force_at(*flow, 100, 51).u, -force_at(*flow, 101, 51).u);
    flow->clear_force();
    flow->add_wind(0.5F, 0.2F, 0.5F, 0.6F, 0.5F, 0, false);
    EXPECT_NEAR(force_at(*flow, 90, 90).u, 0.5F, 1e-6F);
}

TEST(Forces, VortexTurnsCounterclockwise) {
    auto flow = make_flow(100);
    flow->add_vortex(0.5F, 0.5F, 0.5F, 0.2F, 1);
    EXPECT_NEAR(force_at(*flow, 61, 51).v, 0.25F, 1e-6F);  // 10 of 20 cells to the right: upwards
    EXPECT_NEAR(force_at(*flow, 51, 61).u, -0.25F, 1e-6F);
    EXPECT_EQ(force_at(*flow, 51, 51).v, 0);
    EXPECT_EQ(force_at(*flow, 75, 51).v, 0);
    flow->clear_force();
    flow->add_vortex(0.5F, 0.5F, 0.5F, 0.2F, 2);
    EXPECT_EQ(force_at(*flow, 51, 62).u, 0);  // 11 cells count as 22
}

TEST(Forces, BuoyancyLiftsWhatIsWarmAndDropsWhatIsDense) {
    auto flow = make_flow(40, FLUID_BOUNDED, 80, 60);
    EXPECT_FALSE(flow->add_buoyancy());
    const int heat = flow->add_field("temperature"), dense = flow->add_field("density");
    fill(*flow->field(heat), flow->field(heat)->data.get(), [](float x, float) { return x < 0.5F ? 1.0F : 0.0F; });
    fill(*flow->field(dense), flow->field(dense)->data.get(), [](float, float y) { return y < 0.5F ? 1.0F : 0.0F; });
    ASSERT_TRUE(flow->set_temperature_field(heat, 0.25F, 2));
    ASSERT_TRUE(flow->set_density_field(dense, 0.5F));
    ASSERT_TRUE(flow->add_buoyancy());
    EXPECT_NEAR(force_at(*flow, 5, 35).v, 2 * 0.5F + 0.25F * 0.5F, 1e-5F);
    EXPECT_NEAR(force_at(*flow, 35, 5).v, -2 * 0.5F - 0.25F * 0.5F, 1e-5F);
    flow->clear_force();
    ASSERT_TRUE(flow->add_buoyancy(90, false));
    EXPECT_NEAR(force_at(*flow, 5, 35).u, 2 + 0.25F * 0.5F, 1e-5F);
    EXPECT_NEAR(force_at(*flow, 5, 35).v, 0, 1e-6F);

    flow->clear_force();
    ASSERT_TRUE(flow->add_scalar_force(dense, 180, 0.5F));
    EXPECT_NEAR(force_at(*flow, 20, 5).v, -0.5F, 1e-6F);
    EXPECT_EQ(force_at(*flow, 20, 35).v, 0);
    flow->clear_force();
    fill(*flow->field(heat), flow->field(heat)->data.get(), [](float x, float y) { return x + 2 * y; });
    ASSERT_TRUE(flow->add_pressure_force(heat, 10));
    EXPECT_NEAR(force_at(*flow, 20, 20).u, -10.0F / 40, 1e-4F);
    EXPECT_NEAR(force_at(*flow, 20, 20).v, -20.0F / 40, 1e-4F);
    EXPECT_FALSE(flow->set_density_field(5, 0));
    EXPECT_FALSE(flow->add_scalar_force(-1, 0, 1));
}

TEST(Forces, RegionsTakeTheCellsWithin) {
    auto flow = make_flow(20);
    flow->add_force_direction(0.25F, 0.5F, 0.5F, 0.75F, 30, 2);  // cells 6 to 11 and 11 to 16, edges included
    EXPECT_NEAR(force_at(*flow, 6, 11).u, std::sqrt(3.0F), 1e-6F);
    EXPECT_NEAR(force_at(*flow, 11, 16).v, 1, 1e-6F);
    EXPECT_EQ(force_at(*flow, 5, 11).u, 0);
    EXPECT_EQ(force_at(*flow, 12, 16).u, 0);
    EXPECT_EQ(force_at(*flow, 6, 17).u, 0);
    flow->remove_net_force();
    double sum = 0;
    for (int j = 1; j <= 20; ++j)
        for (int i = 1; i <= 20; ++i) sum += force_at(*flow, i, j).u;
    EXPECT_NEAR(sum, 0, 1e-4);
    flow->set_velocity_box(0.25F, 0.5F, 0.5F, 0.75F, 180, 0.5F);
    EXPECT_FLOAT_EQ(flow->velocity.u[flow->velocity.index(8, 12)], -0.5F);
    EXPECT_EQ(flow->velocity.u[flow->velocity.index(5, 12)], 0);
}

TEST(Forces, NoiseIsTheSameAtEachCallAndTurbulenceMoves) {
    auto flow = make_flow(64);
    flow->add_noise_force(0, 0, 1, 1, 0.5F);
    const Push first = force_at(*flow, 17, 40);
    double squares = 0;
    for (int j = 1; j <= 64; ++j)
        for (int i = 1; i <= 64; ++i)
            squares += std::pow(force_at(*flow, i, j).u, 2) + std::pow(force_at(*flow, i, j).v, 2);
    EXPECT_NEAR(std::sqrt(squares / (64 * 64)), 0.5, 0.02);
    flow->add_noise_force(0, 0, 1, 1, 0.5F);
    EXPECT_FLOAT_EQ(force_at(*flow, 17, 40).u, 2 * first.u);

    std::set<float> seen;
    flow->set_noise_k_min(8);
    for (const double time : {0.0, 0.4, 1.2}) {
        flow->clear_force();
        ASSERT_TRUE(flow->add_turbulent_force(0, 0, 0.5F, 1, 1, time));
        EXPECT_EQ(force_at(*flow, 40, 30).u, 0);
        seen.insert(force_at(*flow, 20, 30).u);
    }
    EXPECT_EQ(seen.size(), 3U);
    // The field itself, at the place of the cell among the interior ones.
    KRVFT field;
    ASSERT_EQ(field.init(0, 1234567, 32, 8, 1), 1);
    double u, v, w;
    field.sample(0, 0, 0, 0.4, &u, &v, &w);
    field.sample(19 / 63.0, 29 / 63.0, 0, 1.2, &u, &v, &w);
    EXPECT_FLOAT_EQ(force_at(*flow, 20, 30).u, static_cast<float>(u));
}

}  // namespace
