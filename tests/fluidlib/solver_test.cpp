// Fields, maps, pictures, copies, and what holds for all of it: finite numbers, the same bits.
#include <limits>

#include "flows.h"
#include "support/same_bits.h"

namespace {

// A busy little fluid: two fields on a grid of their own, forces, confinement, obstacles.
std::unique_ptr<FluidFlow> busy_flow(int kind) {
    const bool bounded = kind == FLUID_BOUNDED;
    auto flow = make_flow(32, kind, bounded ? 201 : 64, bounded ? 77 : 64);
    const int heat = flow->add_field("temperature"), dye = flow->add_field("dye");
    fill(*flow->field(heat), flow->field(heat)->data.get(), [](float x, float y) { return std::sin(9 * x + 4 * y); });
    fill(*flow->field(dye), flow->field(dye)->data.get(), [](float x, float y) { return std::cos(30 * x * y); });
    flow->set_temperature_field(heat, 0, 0.02F);
    flow->set_dissipation(heat, 0.1F);
    flow->set_diffusion(dye, 0.001F);
    flow->set_viscosity(bounded ? 0.05F : 1e-4F);
    flow->set_vorticity_confinement(0.5F);
    flow->trace_steps = 7;
    if (bounded) {
        const int barrier = flow->add_field("barrier");
        fill(*flow->field(barrier), flow->field(barrier)->data.get(),
             [](float x, float y) { return std::hypot(x - 0.6F, y - 0.7F) < 0.1F ? 1.0F : 0.0F; });
        flow->set_obstacle_field(barrier);
    }
    return flow;
}

bool step_busily(FluidFlow& flow, int frame) {
    flow.clear_force();
    flow.add_buoyancy();
    flow.add_wind(0.01F, 0.1F, 0.2F, 0.6F, 0.5F, 3, true);
    flow.add_noise_force(0, 0, 1, 1, 0.002F * float(frame));
    return flow.step(false);
}

TEST(Solver, SameBitsEverywhere) {
    for (const int kind : {FLUID_BOUNDED, FLUID_PERIODIC})
        for (const bool cubic : {false, true})
            same_bits_everywhere([&] {
                auto flow = busy_flow(kind);
                flow->use_cubic = cubic;
                flow->trace_bias = cubic ? 0.5F : 1.0F;
                flow->parallel_threshold = 8;
                flow->direct_pressure = !cubic;
                for (int frame = 0; frame < 4; ++frame) EXPECT_TRUE(step_busily(*flow, frame));
                ImagePtr image = make_image(flow->density_width, flow->density_height, 4, SAMPLE_F32);
                EXPECT_TRUE(flow->read_field(1, image.get()));
                EXPECT_TRUE(all_finite(flow->velocity, flow->velocity.u.get()));
                return image;
            });
}

TEST(Solver, ACopyGoesOnLikeItsOriginal) {
    auto flow = busy_flow(FLUID_BOUNDED), copy = busy_flow(FLUID_BOUNDED);
    flow->set_field_source(1)->data[5000] = 1;
    for (int frame = 0; frame < 3; ++frame) ASSERT_TRUE(step_busily(*flow, frame));
    ASSERT_TRUE(flow->add_turbulent_force(0, 0, 1, 1, 0.01F, 0.5));
    ASSERT_TRUE(copy->copy_state(*flow));
    const auto same = [&] {
        const auto& a = *flow->field(1);
        return std::equal(a.data.get(), a.data.get() + a.size(), copy->field(1)->data.get());
    };
    EXPECT_TRUE(same());
    const auto go_on = [](FluidFlow& one) {
        for (const double time : {1.5, 2.5})
            ASSERT_TRUE(one.add_turbulent_force(0, 0, 1, 1, 0.01F, time) && one.step(false));
    };
    go_on(*flow);
    EXPECT_FALSE(same());
    go_on(*copy);
    EXPECT_TRUE(same());
    EXPECT_FALSE(copy->copy_state(*make_flow(16)));
}

TEST(Solver, SixteenFieldsAreCarriedAlike) {
    auto flow = make_flow(32, FLUID_BOUNDED, 320, 160);
    for (int n = 0; n < FLUID_MAX_FIELDS; ++n) EXPECT_EQ(flow->add_field(std::string(200, 'x').c_str()), n);
    EXPECT_EQ(flow->add_field("one too many"), -1);
    EXPECT_EQ(std::string(flow->field(3)->name).size(), 127U);
    const auto dye = [](float x, float y) { return std::sin(20 * x) * std::cos(15 * y) + 2; };
    for (int n = 0; n < FLUID_MAX_FIELDS; ++n) fill(*flow->field(n), flow->field(n)->data.get(), dye);
    flow->field(4)->no_advect = true;
    flow->set_dissipation(5, 0.25F);
    ASSERT_NE(flow->set_field_source(6), nullptr);
    fill(*flow->sources[6], flow->sources[6]->data.get(), constant(0.5F));
    flow->set_obstacle_field(7);
    flow->set_obstacle_field(-1);  // an obstacle no more
    flow->trace_steps = 20;
    // A flow along closed lines, so that the projection leaves it.
    fill_flow(
        flow->velocity, [](float x, float y) { return 0.05F * std::sin(PI * x) * std::cos(PI * y); },
        [](float x, float y) { return -0.05F * std::cos(PI * x) * std::sin(PI * y); });
    ASSERT_TRUE(flow->step(false));
    EXPECT_EQ(flow->density_count, 15);

    const auto place = flow->trace_path(0.4F, 0.55F, 20);
    const auto value = [&](int slot) { return flow->field(slot)->data[flow->field(slot)->index(129, 89)]; };
    EXPECT_NEAR(value(0), dye(place.x, place.y), 2e-3F);
    EXPECT_GT(std::abs(value(0) - dye(0.4F, 0.55F)), 0.05F);
    for (const int slot : {1, 7, 15}) EXPECT_EQ(value(slot), value(0));
    EXPECT_EQ(value(4), dye(0.4F, 0.55F));
    EXPECT_FLOAT_EQ(value(5), value(0) / 1.25F);
    EXPECT_NEAR(value(6), value(0) + 0.5F, 1e-5F);
    EXPECT_TRUE(flow->add_field_scaled(0, 6, -1));
    EXPECT_NEAR(value(6), 0.5F, 1e-5F);
    EXPECT_TRUE(flow->copy_field(0, 4));
    EXPECT_EQ(value(4), value(0));
    EXPECT_FALSE(flow->copy_field(0, 16));
    EXPECT_FALSE(flow->set_dissipation(-1, 1));
}

TEST(Solver, CoordinateMapsTellWhereTheFluidCameFrom) {
    EXPECT_FALSE(make_flow(32, FLUID_BOUNDED, 64, 32)->create_coordinate_maps());
    auto flow = make_flow(32);
    ASSERT_TRUE(flow->create_coordinate_maps());
    const auto identity = [](float x, float) { return x * 32 / 31; };
    EXPECT_LT(largest_error(*flow->coordinate_x, flow->coordinate_x->data.get(), identity), 1e-7F);
    const FluidBlock before = make_fluid_block(flow->coordinate_x->size());
    std::copy_n(flow->coordinate_x->data.get(), flow->coordinate_x->size(), before.get());
    for (int n = 0; n < 5; ++n) ASSERT_TRUE(flow->step(false));  // at rest nothing moves, to the bit
    EXPECT_TRUE(std::equal(before.get(), before.get() + flow->coordinate_x->size(), flow->coordinate_x->data.get()));

    const auto turn = [](float x, float y) { return 0.1F * std::sin(PI * x) * std::sin(PI * y); };
    fill_flow(
        flow->velocity, [&](float x, float y) { return turn(x, y) * (y - 0.5F); },
        [&](float x, float y) { return -turn(x, y) * (x - 0.5F); });
    for (int n = 0; n < 3; ++n) ASSERT_TRUE(flow->step(false));
    EXPECT_GT(largest_error(*flow->coordinate_x, flow->coordinate_x->data.get(), identity), 0.005F);
    flow->pin_coordinate_maps();
    for (int j = 1; j <= 32; ++j) {
        EXPECT_EQ(flow->coordinate_x->data[flow->coordinate_x->index(1, j)], 0);
        EXPECT_EQ(flow->coordinate_x->data[flow->coordinate_x->index(33, j)], 1);  // the ring copies the pins
    }
    flow->velocity.clear();
    ASSERT_TRUE(flow->step(true));
    EXPECT_LT(largest_error(*flow->coordinate_x, flow->coordinate_x->data.get(), identity), 1e-7F);
}

TEST(Solver, PlacesBeyondTheEdgeWrap) {
    auto flow = make_flow(32);
    flow->wrap_x = true;
    flow->set_walls_open(true);
    // A jet along y at the right edge, carried to the right by 5 cells: it comes in on the left.
    fill_flow(flow->velocity, constant(5.0F / 32), [](float x, float) { return x > 0.9F && x < 1 ? 0.1F : 0.0F; });
    ASSERT_TRUE(flow->velocity_step());
    EXPECT_GT(flow->velocity.v[flow->velocity.index(3, 16)], 0.01F);
}

TEST(Solver, PicturesLoadAndRead) {
    auto flow = make_flow(16, FLUID_BOUNDED, 40, 30);
    const int slot = flow->add_field("density");
    ImagePtr bytes = make_image(40, 30, 4, SAMPLE_U8), small = make_image(20, 15, 4, SAMPLE_F32);
    const float colour[4] = {51, 102, 255, 255};
    image_fill_channels(bytes.get(), colour, 4);
    ASSERT_TRUE(flow->load_field(bytes.get(), slot, 2, false));
    EXPECT_NEAR(flow->field(slot)->data[flow->field(slot)->index(7, 9)], 2 * 1.6F / 3, 1e-6F);
    EXPECT_EQ(flow->field(slot)->data[0], flow->field(slot)->data[45]);  // the ring too
    image_fill(small.get(), 0.25F);
    ASSERT_TRUE(flow->load_field(small.get(), slot, 1, true));  // adds 0.25 less the middle of the range
    EXPECT_NEAR(flow->field(slot)->data[flow->field(slot)->index(7, 9)], 2 * 1.6F / 3 - 0.25F, 2e-3F);
    ASSERT_TRUE(flow->read_field(slot, bytes.get(), 2));
    EXPECT_EQ(image_get_sample(bytes.get(), 11, 12, 1), std::floor((1.6F / 3 - 0.125F) * 255));
    EXPECT_EQ(image_get_sample(bytes.get(), 11, 12, 3), 255);

    const ImagePtr matte = make_image(40, 30, 1, SAMPLE_F32);
    EXPECT_FALSE(flow->load_field(matte.get(), slot, 1, false));
    EXPECT_FALSE(flow->load_field(nullptr, slot, 1, false));
    EXPECT_FALSE(flow->load_field(small.get(), slot + 1, 1, false));
    EXPECT_FALSE(flow->read_field(slot, small.get(), 0));
}

TEST(Solver, AnythingEndsFinite) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::nanf("");
    for (const int kind : {FLUID_BOUNDED, FLUID_PERIODIC})
        for (const float odd : {inf, -inf, nan, 3e38F, 1e9F}) {
            auto flow = busy_flow(kind);
            flow->create_coordinate_maps();
            flow->add_wind(odd, 0, 0, 1, odd, odd, true);
            flow->add_vortex(1, 0.5F, odd, odd, odd);
            flow->add_force_direction(0, 0, 1, 1, odd, odd);
            flow->add_noise_force(0, 0, 1, 1, odd);
            flow->set_temperature_field(0, odd, odd);
            flow->add_buoyancy(odd);
            flow->set_velocity_box(0, 0, odd, 0.5F, 0, odd);
            flow->force.u[100] = flow->velocity.v[200] = flow->field(0)->data[300] = odd;
            flow->dt = flow->vorticity_confinement = flow->trace_bias = odd;
            flow->set_dissipation(0, odd);
            flow->add_field_scaled(0, 1, odd);
            ImagePtr image = make_image(8, 8, 4, SAMPLE_F32);
            image_fill(image.get(), odd);
            flow->load_field(image.get(), 1, odd, true);
            for (int n = 0; n < 3; ++n) ASSERT_TRUE(flow->step(n == 1));
            EXPECT_TRUE(all_finite(flow->velocity, flow->velocity.u.get())) << kind << ' ' << odd;
            EXPECT_TRUE(all_finite(flow->velocity, flow->velocity.v.get())) << kind << ' ' << odd;
            for (int slot = 0; slot < 2; ++slot)
                EXPECT_TRUE(all_finite(*flow->field(slot), flow->field(slot)->data.get())) << kind << ' ' << odd;
        }
}

TEST(Solver, RefusesWhatItCannotDo) {
    for (const int size : {24, 1})
        EXPECT_FALSE(make_flow(size, FLUID_PERIODIC)->step(false));  // no power of two, or nothing to transform
    EXPECT_FALSE(create_fluid_flow(64, 32, FLUID_PERIODIC)->step(false));
    EXPECT_FALSE(create_fluid_flow(64, 64, FLUID_PERIODIC)->project());
    EXPECT_EQ(create_fluid_flow(30000, 30000, FLUID_BOUNDED), nullptr);
    auto flow = create_fluid_flow(0, -5, FLUID_BOUNDED, 40000, 40000);
    EXPECT_EQ(flow->velocity.width * flow->velocity.height, 1);
    EXPECT_EQ(flow->add_field("larger than memory"), -1);
    EXPECT_TRUE(flow->step(true));
    flow->set_dt(0);
    EXPECT_EQ(flow->dt, 1e-6F);

    flow = busy_flow(FLUID_BOUNDED);
    std::atomic<int> asked = 0;
    flow->set_abort_callback([&] { return ++asked > 5; });
    EXPECT_FALSE(flow->step(false));
    flow->set_abort_callback({});
    EXPECT_TRUE(flow->step(false));
}

}  // namespace
