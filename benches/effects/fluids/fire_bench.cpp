// Fire and Candle at their defaults, frame after frame, and the picture of a burning fluid alone.
#include "benches/support/bench.h"
#include "effects/fluids/Candle.h"
#include "effects/fluids/Fire.h"

namespace {

template <class EffectClass>
Bench::Work frames_of(const std::shared_ptr<EffectClass>& effect) {
    effect->background.image.reset(image_duplicate(test_frame().get()));
    effect->output.image.reset(image_duplicate(test_frame().get()));
    effect->ProcessFrame();
    return [=] {
        effect->currentFrame += 1;
        effect->ProcessFrame();
    };
}

// The fuel of the shared frame, which burns in patches all over the picture.
Bench::Work fire(int) {
    auto effect = std::make_shared<Fire>();
    effect->fuel.image.reset(image_duplicate(test_frame().get()));
    return frames_of(effect);
}
Bench::Work candle(int) { return frames_of(std::make_shared<Candle>()); }

// Two fields to colours and opacity.
Bench::Work colours(int) {
    auto field = std::make_shared<ScalarField>(FLUID_BOUNDED, FRAME_WIDTH, FRAME_HEIGHT);
    FuelThreshold(0.0).burn(*test_frame(), 1.0F, *field, *field);
    FluidRamp ramp;
    for (int k = 0; k < FluidRamp::MOST; ++k)
        ramp.knots[ramp.count++] = {0.2F * float(k), {float(k), 1.0F, 0.5F, 1.0F}};
    auto image = blank_frame();
    return [=] { render_fields(*field, *field, *image, 0.0F, 1.0F, ramp, 0.0F, 1.0F); };
}

// A picture into both fields.
Bench::Work fuel(int) {
    auto heat = std::make_shared<ScalarField>(FLUID_BOUNDED, FRAME_WIDTH, FRAME_HEIGHT);
    auto density = std::make_shared<ScalarField>(FLUID_BOUNDED, FRAME_WIDTH, FRAME_HEIGHT);
    auto frame = test_frame();
    return [=] { FuelThreshold(0.5).burn(*frame, 1.0F, *heat, *density); };
}

const Bench whole_fire("fire, default", QUILLON, 3, fire);
const Bench whole_candle("candle, default", QUILLON, 3, candle);
const Bench fire_colours("fire, colours", QUILLON, 1.25, colours);
const Bench fire_fuel("fire, fuel into two fields", QUILLON, 2, fuel);

}  // namespace
