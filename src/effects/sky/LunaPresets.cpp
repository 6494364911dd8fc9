// The presets of Q_Luna. What a preset does not list goes to its default; the place, the sky and the date stay.
#include "effects/sky/Luna.h"

// clang-format off
void LunaInfo::declarePresets() {
    presets(Demos,
            {             "Moon", "Warm Crescent", "Dark Full",    "Bright Full", "Large Crescent", "Harvest1",    "Harvest2",     "Full", "Golden",       "Thin Crescent", "Angled Crescent", "Full", "Small Crescent", "Hint of a Moon"},
            {{MRadius,    {   {}, 0.4,             0.4,            0.4,           0.9,              0.7,           0.9,            0.4,    0.5,            0.4,             0.4,               0.25,   0.15,             0.3}},
             {Phase,      {   {}, 15,              50,             50,            12,               48,            50,             50,     46,             5,               14,                50,     12,               6}},
             {PhaseAngle, {   {}, 0,               0,              0,             0,                0,             0,              {},     0,              0,               35,                {},     0,                0}},
             {Dark,       {   {}, 90,              100,            80,            92,               80,            80,             {},     80,             95,              92,                {},     92,               98}},
             {MoonCol,    {   {}, {1, 0.85, 0.6},  {0.7, 0.7, 0.75}, {1, 1, 1},   {},               {1, 0.72, 0.35}, {1, 0.55, 0.2}, {},  {1, 0.82, 0.4}, {},              {},                {},     {},               {}}},
             {Brightness, {   {}, {},              {},             120,           {},               {},            {},             {},     {},             {},              {},                {},     {},               {}}},
             {GlowBright, {   {}, {},              5,              60,            {},               {},            {},             {},     40,             {},              {},                {},     {},               {}}},
             {DoRing,     {   {}, {},              {},             {},            {},               {},            {},             {},     {},             {},              {},                1,      {},               {}}},
             {DaylightMode, { {}, {},              {},             {},            {},               {},            {},             {},     {},             {},              {},                {},     {},                1}},
             {Blend,      {   {}, {},              {},             {},            {},               {},            {},             {},     {},             {},              {},                {},     {},               40}},
             {Centre,     {   {}, {},              {},             {},            {},               {0.5, 0.35},   {0.5, 0.25},    {},     {},             {},              {},                {},     {},               {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
