// Pictures looked up through coordinate maps.
#include <gtest/gtest.h>

#include <cmath>

#include "fluidlib/fluidlib.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr int CELLS = 16;

std::unique_ptr<FluidFlow> still_fluid() {
    auto fluid = create_fluid_flow(CELLS, CELLS, FLUID_BOUNDED);
    fluid->set_executor(
        nullptr, [](void*, RowWorker worker, int rows, void* job) { image_dispatch_rows_float(worker, rows, job); });
    fluid->create_coordinate_maps();
    return fluid;
}

// Every cell of the map along x, which runs from 0 to 1.
void change_columns(FluidFlow& fluid, const std::function<float(float)>& change) {
    ScalarField& map = *fluid.coordinate_x;
    for (std::size_t n = 0; n < map.size(); ++n) map.data[n] = change(map.data[n]);
}

ImagePtr flowed(FluidFlow& fluid, const K7Image& source, bool pinned = false, const FlowLook& look = {}) {
    ImagePtr target = make_image(source.width, source.height, 4, SAMPLE_F32);
    EXPECT_TRUE(fluid.flow_image(&source, target.get(), pinned, look));
    return target;
}

TEST(FlowImage, RestsMovesAndHoldsItsEdges) {
    constexpr int WIDTH = 61, HEIGHT = 37;
    const auto fluid = still_fluid();
    const ImagePtr plate = picture(WIDTH, HEIGHT, [](int x, int y, int c) {
        return float(c == 0 ? x : c == 1 ? y : 7);
    });
    EXPECT_LT(difference(*flowed(*fluid, *plate), *plate), 0.15);  // the middle of the samples
    EXPECT_LT(difference(*flowed(*fluid, *plate, false, {0, 0}), *plate), 1e-4);

    constexpr float SHIFT = 9.5F;
    change_columns(*fluid, [](float place) { return place + SHIFT / (WIDTH - 1); });
    const auto expect_column = [&](const K7Image& result, int x, float expected) {
        EXPECT_NEAR(at(result, x, 20, 0), expected, 0.1F) << x;
        EXPECT_NEAR(at(result, x, 20, 1), 20, 0.1F) << x;
    };
    ImagePtr moved = flowed(*fluid, *plate);
    expect_column(*moved, 10, 10 + SHIFT);
    expect_column(*moved, 58, WIDTH - 1);  // the edge goes on
    expect_column(*flowed(*fluid, *plate, false, {0.5F, 1}), 10, 10 + SHIFT / 2);
    fluid->wrap_x = true;
    expect_column(*flowed(*fluid, *plate), 58, 58 + SHIFT - WIDTH);
    fluid->wrap_x = false;
    moved = flowed(*fluid, *plate, true);
    EXPECT_NEAR(at(*moved, 0, 20), 0, 0.5F);
    EXPECT_NEAR(at(*moved, WIDTH - 1, 20), WIDTH - 1, 0.5F);
    expect_column(*moved, 30, 30 + SHIFT);
}

// Lines of one pixel that are squeezed together show nearly their mean. One sample a pixel would be 0 or 1.
TEST(FlowImage, SqueezedLinesBecomeAnEvenGrey) {
    const auto fluid = still_fluid();
    change_columns(*fluid, [](float place) { return 0.1F + (place - 0.5F) * 5.3F; });
    const ImagePtr lines = picture(200, 30, [](int x, int, int) { return float(x % 2); });
    const ImagePtr grey = flowed(*fluid, *lines);
    for (int x = 100; x < 110; ++x) EXPECT_NEAR(at(*grey, x, 15), 0.5F, 0.2F) << x;
}

TEST(FlowImage, SameBitsAtAllWidths) {
    for (const int width : {1, 2, 5, 16, 17, 83}) {
        const ImagePtr plate = noise(width, 40, 3);
        same_bits_everywhere([&] {
            const auto fluid = still_fluid();
            fluid->set_velocity_box(0.2F, 0.2F, 0.8F, 0.6F, 30, 0.2F);
            for (int n = 0; n < 6; ++n) fluid->step(false);
            fluid->wrap_y = width == 17;
            return flowed(*fluid, *plate);
        });
    }
}

TEST(FlowImage, Refusals) {
    const ImagePtr plate = flat(8, 6, 0.5F), other = flat(8, 5, 0.5F), bytes = make_image(8, 6, 4, SAMPLE_U8);
    const auto fluid = still_fluid();
    const ImagePtr target = flat(8, 6, 0);
    EXPECT_FALSE(fluid->flow_image(plate.get(), plate.get(), true));
    EXPECT_FALSE(fluid->flow_image(other.get(), target.get(), true));
    EXPECT_FALSE(fluid->flow_image(bytes.get(), target.get(), true));
    EXPECT_FALSE(fluid->flow_image(nullptr, target.get(), true));
    EXPECT_FALSE(create_fluid_flow(8, 8, FLUID_BOUNDED)->flow_image(plate.get(), target.get(), true)) << "no maps";
    for (std::size_t n = 0; n < fluid->coordinate_x->size(); ++n) fluid->coordinate_x->data[n] = n % 2 ? NAN : 1e30F;
    EXPECT_LT(difference(*flowed(*fluid, *plate), *plate), 1e-5);
}

}  // namespace
