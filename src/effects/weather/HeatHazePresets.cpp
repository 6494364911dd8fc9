// The presets of Q_HeatHaze. What a preset does not list goes to its default.
#include "effects/weather/HeatHaze.h"

// clang-format off
void HeatHazeInfo::declarePresets() {
    presets(Demos,
            {              "Default", "Warm", "Getting Warmer", "Hot", "Hotter", "Very Hot", "Extremely Hot"},
            {{Temperature, {       {},     38,               56,    80,      105,        135,             170}},
             {AtmDetX,     {       {},     22,               18,    14,       12,         11,               9}},
             {AtmDetY,     {       {},     60,               50,    40,       34,         28,              21}},
             {AtmY,        {       {},     40,               50,    60,       70,         80,             100}},
             {AtmZ,        {       {},      8,               10,    12,       14,         16,              18}},
             {FlutterX,    {       {},     10,               12,    15,       20,         25,              30}},
             {FlutterY,    {       {},      5,                7,    10,       13,         16,              20}},
             {Detail,      {       {},    2.3,              2.3,   2.3,      2.3,          1,               1}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
