#include "effects/fluids/FluidEffect.h"

void addHeat(FluidFlow& flow) {
    constexpr float UP = 0.0F;
    flow.add_buoyancy(UP, false);
}

int newField(FluidFlow& flow, const char* name) {
    const int slot = flow.add_field(name);
    made(slot >= 0);
    return slot;
}

void addWind(FluidFlow& flow, const FluidWindControls& wind) {
    const float strength = wind.on.value ? static_cast<float>(wind.strength.value) * FLUID_FORCE : 0.0F;
    flow.add_wind(strength, static_cast<float>(wind.start.x), static_cast<float>(wind.start.y),
                  static_cast<float>(wind.end.x), static_cast<float>(wind.end.y),
                  static_cast<float>(wind.tightness.value), wind.diesAway());
}

void addVortex(FluidFlow& flow, const VortexControls& vortex, float aspect) {
    const float strength = vortex.on.value ? static_cast<float>(vortex.strength.value) * FLUID_FORCE : 0.0F;
    flow.add_vortex(strength, static_cast<float>(vortex.centre.x), static_cast<float>(vortex.centre.y),
                    static_cast<float>(vortex.radius.value), aspect);
}
