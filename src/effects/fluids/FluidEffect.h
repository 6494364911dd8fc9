// What effects with a fluid share besides its run: the button that begins it anew, and its winds and vortices.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/controls/FluidControls.h"
#include "effects/engines/controls/PressCounter.h"
#include "effects/fluids/FluidRun.h"

inline constexpr float FLUID_FORCE = 0.01F;  // of a control's full strength, in the fluid's units

// Lifts the gas of a flame by its heat as it is. By heat less its mean, all cold air would sink, and as nothing slows
// it down, it would blow the flames flat within fifty frames.
void addHeat(FluidFlow& flow);

int newField(FluidFlow& flow, const char* name);  // its slot

void addWind(FluidFlow& flow, const FluidWindControls& wind);
// `aspect`: what distances along y are multiplied by.
void addVortex(FluidFlow& flow, const VortexControls& vortex, float aspect);

// Info has the counter `RestartASecret` and the button `Restart`.
template <class Info>
class FluidEffect : public Effect<Info> {
  public:
    void MarkRestart() override { m_run.askRestart(); }
    void ButtonPressed(ButtonControlK7& button) override {
        if (&button != &this->Restart) return;
        this->RestartASecret.count();
        MarkRestart();
    }
    FluidRun& run() { return m_run; }

  protected:
    FluidRun m_run;
};
