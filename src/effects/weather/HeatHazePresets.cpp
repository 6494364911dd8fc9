// The presets of Q_HeatHaze. What a preset does not list goes to its default.
#include "effects/weather/HeatHaze.h"

// clang-format off
void HeatHazeInfo::declarePresets() {
    presets(Demos,
            {              "Default", "Warm", "Getting Warmer", "Hot", "Hotter", "Very Hot", "Extremely Hot"},
            {{Temperature, {       {},     20,               40,    {},      110,        150,             200}},
             {AtmY,        {       {},      6,                8,    {},       12,         16,              20}},
             {AtmZ,        {       {},     12,               18,    {},       30,         36,              45}},
             {Detail,      {       {},      3,                4,    {},       {},          6,               7}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
