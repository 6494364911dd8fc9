// What happens to the coordinate maps besides being carried along: they spread, settle, well up and drain.
#pragma once

#include "fluidlib/fluidlib.h"

// Blurs the displacements over `amount` hundredths of the grid's width, a quarter of which is the box's half width.
bool diffuse_maps(FluidFlow& flow, float amount);
// Leaves so much of the displacements.
void settle_maps(FluidFlow& flow, float factor);
// Takes displacements back where the field is bright: by field * amount, within 0 to 1.
void well_up(FluidFlow& flow, const ScalarField& sources, float amount);
// Draws the picture in where the field is bright: along its gradient (half the difference of neighbouring cells),
// `amount` widths and heights a unit.
bool drain(FluidFlow& flow, const ScalarField& sinks, float amount);
