// Flows whose answer is known.
#include "flows.h"

namespace {

// u = sin(2 pi x) cos(2 pi y), v = -cos(2 pi x) sin(2 pi y) decays by exp(-2 (2 pi)^2 viscosity t) and keeps its shape.
TEST(Flows, TaylorGreenVortexDecaysAtItsRate) {
    auto flow = make_flow(64, FLUID_PERIODIC);
    const auto u = [](float x, float y) { return 0.02F * std::sin(2 * PI * x) * std::cos(2 * PI * y); };
    const auto v = [](float x, float y) { return -0.02F * std::cos(2 * PI * x) * std::sin(2 * PI * y); };
    fill_flow(flow->velocity, u, v);
    flow->set_viscosity(0.001F);
    flow->set_dt(0.5F);
    const int steps = 20;
    for (int n = 0; n < steps; ++n) ASSERT_TRUE(flow->step(false));
    const float left = std::exp(-2 * 4 * PI * PI * 0.001F * 0.5F * steps);
    // What bilinear reading loses as well: below 2 % here.
    const auto wanted_u = [&](float x, float y) { return left * u(x, y); };
    const auto wanted_v = [&](float x, float y) { return left * v(x, y); };
    EXPECT_LT(largest_error(flow->velocity, flow->velocity.u.get(), wanted_u), 0.02F * 0.02F);
    EXPECT_LT(largest_error(flow->velocity, flow->velocity.v.get(), wanted_v), 0.02F * 0.02F);
}

TEST(Flows, ShearLayerFlowsOnAlongItself) {
    auto flow = make_flow(32, FLUID_PERIODIC);
    const auto u = [](float, float y) { return 0.1F * std::sin(2 * PI * y); };
    fill_flow(flow->velocity, u, constant(0));
    for (int n = 0; n < 10; ++n) ASSERT_TRUE(flow->step(false));
    EXPECT_LT(largest_error(flow->velocity, flow->velocity.u.get(), u), 1e-6F);
    EXPECT_LT(largest_error(flow->velocity, flow->velocity.v.get(), constant(0)), 1e-7F);
}

// With the ring of the pressure at 0, a gradient of a potential that is 0 there is divergence only; a curl has none.
TEST(Flows, ProjectionTakesTheGradientAndLeavesTheCurl) {
    for (const bool direct : {true, false}) {
        auto flow = make_flow(96);
        flow->direct_pressure = direct;
        const auto wave = [](float x) { return (x * 96 + 1) / 97 * PI; };  // 0 and pi on the ring
        const auto gradient_u = [&](float x, float y) { return std::cos(wave(x)) * std::sin(2 * wave(y)); };
        const auto gradient_v = [&](float x, float y) { return 2 * std::sin(wave(x)) * std::cos(2 * wave(y)); };
        const auto curl_u = [&](float x, float y) { return std::cos(2 * wave(y)) * std::sin(wave(x)); };
        const auto curl_v = [&](float x, float y) { return -0.5F * std::cos(wave(x)) * std::sin(2 * wave(y)); };
        fill_flow(
            flow->velocity, [&](float x, float y) { return gradient_u(x, y) + curl_u(x, y); },
            [&](float x, float y) { return gradient_v(x, y) + curl_v(x, y); });
        ASSERT_TRUE(flow->project());
        EXPECT_LT(largest_error(flow->velocity, flow->velocity.u.get(), curl_u), 0.004F) << direct;
        EXPECT_LT(largest_error(flow->velocity, flow->velocity.v.get(), curl_v), 0.004F) << direct;
        EXPECT_EQ(flow->half_sweeps > 3, !direct);
        EXPECT_LT(flow->half_sweeps, 10000);
    }
}

TEST(Flows, PressureSolversAgree) {
    for (const int width : {1, 2, 37, 128}) {
        auto direct = create_fluid_flow(width, 20, FLUID_BOUNDED), sweeps = create_fluid_flow(width, 20, FLUID_BOUNDED);
        sweeps->direct_pressure = false;
        for (auto* flow : {direct.get(), sweeps.get()}) flow->add_noise_force(0, 0, 1, 1, 1);
        for (auto* flow : {direct.get(), sweeps.get()}) {
            std::swap(flow->velocity.u, flow->force.u);
            std::swap(flow->velocity.v, flow->force.v);
            ASSERT_TRUE(flow->project());
        }
        const auto& other = sweeps->velocity;
        for (std::size_t n = 0; n < other.size(); ++n) ASSERT_NEAR(direct->velocity.u[n], other.u[n], 2e-3) << width;
    }
    auto still = make_flow(32);
    still->direct_pressure = false;
    ASSERT_TRUE(still->project());
    EXPECT_EQ(still->half_sweeps, 3);
}

// A plume with either solver: what is seen differs by less than rounding to 16 bits.
TEST(Flows, PicturesDoNotTellThePressureSolvers) {
    ImagePtr pictures[2];
    for (const bool direct : {true, false}) {
        auto flow = make_flow(64, FLUID_BOUNDED, 160, 90);
        flow->direct_pressure = direct;
        const int heat = flow->add_field("temperature");
        flow->set_temperature_field(heat, 0, 0.02F);
        flow->set_vorticity_confinement(0.3F);
        const auto blob = [](float x, float y) { return std::hypot(x - 0.5F, y - 0.3F) < 0.1F ? 1.0F : 0.0F; };
        fill(*flow->field(heat), flow->field(heat)->data.get(), blob);
        for (int n = 0; n < 3; ++n) {
            flow->clear_force();
            flow->add_buoyancy();
            ASSERT_TRUE(flow->step(false));
        }
        pictures[direct] = make_image(160, 90, 4, SAMPLE_F32);
        ASSERT_TRUE(flow->read_field(heat, pictures[direct].get()));
    }
    float largest = 0;
    for (int y = 0; y < 90; ++y)
        for (int n = 0; n < 160 * 4; ++n)
            largest = std::max(largest, std::abs(image_row<float>(pictures[0].get(), y)[n] -
                                                 image_row<float>(pictures[1].get(), y)[n]));
    EXPECT_LT(largest, 5e-5F);
    EXPECT_GT(largest, 0);
}

// In a rigid rotation, which bilinear reading gives exactly, paths are circles.
TEST(Flows, PathsFollowARotation) {
    for (const bool cubic : {false, true}) {
        auto flow = make_flow(100, FLUID_BOUNDED);
        const float turn = 0.8F;  // radians a step
        fill_flow(
            flow->velocity, [&](float, float y) { return -turn * (y - 0.5F); },
            [&](float x, float) { return turn * (x - 0.5F); });
        flow->use_cubic = cubic;
        const auto start = flow->trace_path(0.7F, 0.5F, 20);
        EXPECT_NEAR(start.x, 0.5F + 0.2F * std::cos(turn), 3e-6F);
        EXPECT_NEAR(start.y, 0.5F - 0.2F * std::sin(turn), 3e-6F);
        flow->use_rk4 = false;
        const auto rough = flow->trace_path(0.7F, 0.5F, 20);
        EXPECT_NEAR(rough.x, start.x, 2e-4F);
        EXPECT_NE(rough.x, start.x);
    }
    // Along a uniform flow: the end of the path, or the weighted mean of its places (1/4, 2/4, 3/4, 4/4 of the weight).
    auto flow = make_flow(16);
    fill_flow(flow->velocity, constant(0.1F), constant(0));
    ScalarField ramp(FLUID_BOUNDED, 16, 16);
    fill(ramp, ramp.data.get(), [](float x, float) { return x; });
    EXPECT_NEAR(flow->trace_path(0.5F, 0.5F, 4, 1, &ramp).value, 0.4F, 1e-6F);
    EXPECT_NEAR(flow->trace_path(0.5F, 0.5F, 4, 0, &ramp).value, 0.5F - 0.025F * (1 + 4 + 9 + 16) / 10, 1e-6F);
}

TEST(Flows, WallsTurnTheFlowAndOpenOnesLetItThrough) {
    auto flow = make_flow(24);
    flow->wall_right = flow->wall_top = false;
    fill_flow(flow->velocity, constant(0.05F), constant(0.02F));
    ASSERT_TRUE(flow->step(false));
    const VectorField& field = flow->velocity;
    for (int n = 1; n <= 24; ++n) {
        const auto at = [&](const FluidBlock& part, int i, int j) { return part[field.index(i, j)]; };
        EXPECT_EQ(at(field.u, 0, n), -at(field.u, 1, n));
        EXPECT_EQ(at(field.u, 25, n), at(field.u, 24, n));
        EXPECT_EQ(at(field.v, 0, n), at(field.v, 1, n));
        EXPECT_EQ(at(field.v, n, 0), -at(field.v, n, 1));
        EXPECT_EQ(at(field.v, n, 25), at(field.v, n, 24));
    }
    EXPECT_EQ(field.u[0], (field.u[1] + field.u[field.stride()]) / 2);
}

TEST(Flows, ObstaclesStopTheFlow) {
    float along[4] = {};
    for (const int layer : {FLUID_SLIPPERY, FLUID_ROUGH, FLUID_STICKY}) {
        auto flow = make_flow(64, FLUID_BOUNDED, 128, 128);
        const int slot = flow->add_field("barrier");
        ASSERT_TRUE(flow->set_obstacle_field(slot));
        ASSERT_TRUE(flow->set_boundary_layer(layer));
        const auto block = [](float x, float y) { return std::abs(x - 0.5F) < 0.15F && std::abs(y - 0.5F) < 0.15F; };
        fill(*flow->field(slot), flow->field(slot)->data.get(),
             [&](float x, float y) { return block(x, y) ? 1.0F : 0; });
        const FluidBlock before = make_fluid_block(flow->field(slot)->size());
        std::copy_n(flow->field(slot)->data.get(), flow->field(slot)->size(), before.get());
        flow->add_force_direction(0, 0, 1, 1, 90, 0.002F);
        for (int n = 0; n < 20; ++n) ASSERT_TRUE(flow->step(false));

        const VectorField& field = flow->velocity;
        EXPECT_EQ(field.v[field.index(33, 33)], 0);  // inside
        EXPECT_EQ(field.u[field.index(30, 38)], 0);
        EXPECT_LE(field.v[field.index(33, 23)], 0);  // below it
        EXPECT_LE(field.u[field.index(23, 33)], 0);  // at its left side, where the flow passes upwards
        along[layer] = field.v[field.index(23, 33)];
        EXPECT_GT(field.v[field.index(8, 33)], 0.01F);
        EXPECT_TRUE(std::equal(before.get(), before.get() + flow->field(slot)->size(), flow->field(slot)->data.get()));
    }
    EXPECT_GT(along[FLUID_SLIPPERY], 2 * along[FLUID_ROUGH]);
    EXPECT_GT(along[FLUID_ROUGH], 0);
    EXPECT_EQ(along[FLUID_STICKY], 0);
    auto flow = make_flow(8);
    EXPECT_FALSE(flow->set_boundary_layer(0));
    EXPECT_FALSE(flow->set_boundary_layer(4));
}

TEST(Flows, ViscosityBlurs) {
    auto flow = make_flow(32);
    const int slot = flow->add_field("spot");
    ScalarField& spot = *flow->field(slot);
    spot.data[spot.index(10, 20)] = 1;
    ASSERT_TRUE(flow->blur_field(spot, 2));  // half of the cell itself, half of the mean of nine
    EXPECT_FLOAT_EQ(spot.data[spot.index(10, 20)], 0.5F + 0.5F / 9);
    EXPECT_FLOAT_EQ(spot.data[spot.index(11, 19)], 0.5F / 9);
    EXPECT_EQ(spot.data[spot.index(12, 20)], 0);
    fill(spot, spot.data.get(), constant(0.3F));
    ASSERT_TRUE(flow->blur_field(spot, 1000));
    EXPECT_EQ(largest_error(spot, spot.data.get(), constant(0.3F)), 0);

    // A field that steers: thick on the right, where a shear dies away sooner.
    const auto shear = [](float, float y) { return 0.01F * std::sin(8 * PI * y); };
    fill_flow(flow->velocity, shear, constant(0));
    fill(spot, spot.data.get(), [](float x, float) { return x; });
    ASSERT_TRUE(flow->set_variable_viscosity(slot, 5, 0, 1));
    ASSERT_TRUE(flow->velocity_step());
    const auto speed = [&](int i) { return std::abs(flow->velocity.u[flow->velocity.index(i, 19)]); };
    EXPECT_GT(speed(4), 0.008F);
    EXPECT_LT(speed(30), 0.8F * speed(4));
    EXPECT_FALSE(flow->set_variable_viscosity(7, 1, 0, 1));
}

}  // namespace
