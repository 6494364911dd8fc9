// The presets of Q_Puddle3D. What a preset does not list goes to its default.
#include "effects/water/Puddle3D.h"

// clang-format off
void Puddle3DInfo::declarePresets() {
    presets(Demos,
            {               "Default", "Pit-A-Pat", "Brollies Up", "Plip-Plop", "Flood Alert"},
            {{RainFreq,     {       5,          80,            20,        0.01,            20}},
             {RainImpact,   {       1,        2.75,             1,           1,             2}},
             {RainRadius,   {      10,         2.5,            10,          20,            10}},
             {RainEndure,   {       1,        0.57,           0.8,           2,           0.8}},
             {RainWave,     {      10,           2,             5,           2,            10}},
             {RefractIndex, {    1.05,        1.05,           1.2,         1.2,           1.4}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
