// The presets of Q_NightSky. What a preset does not list goes to its default.
#include "effects/sky/NightSky.h"

// clang-format off
void NightSkyInfo::declarePresets() {
    presets(Demos,
            {             "Night", "Plough Bold", "Plough Subtle", "Pole Bold", "Pole Subtle", "Max Angle", "Wide Angle", "North Pole", "South Pole", "Gentle Twinkle", "Bolder Twinkle", "Bright Twinkle", "Wild Twinkle"},
            {{LatitudeD,  {    {},     {},            {},              {},          {},            {},          {},           90,           -90,          {},               {},               {},               {}}},
             {LatitudeM,  {    {},     {},            {},              {},          {},            {},          {},           0,            0,            {},               {},               {},               {}}},
             {Altitude,   {    {},     18,            18,              52,          52,            {},          45,           60,           60,           {},               {},               {},               {}}},
             {Azimuth,    {    {},     356,           356,             0,           0,             {},          {},           {},           {},           {},               {},               {},               {}}},
             {Month,      {    {},     11,            11,              {},          {},            {},          {},           {},           {},           {},               {},               {},               {}}},
             {VField,     {    {},     50,            50,              40,          40,            150,         90,           90,           90,           {},               {},               {},               {}}},
             {MagScale,   {    {},     20,            30,              20,          28,            {},          {},           {},           {},           {},               {},               {},               {}}},
             {BlobScale,  {    {},     16,            12,               {},          12,            {},          {},           {},           {},           {},               {},               {},               {}}},
             {DoStreaks,  {    {},     {},            {},              {},          {},            {},          {},           {},           {},           1,                1,                1,                1}},
             {Streaks,    {    {},     {},            {},              {},          {},            {},          {},           {},           {},           4,                4,                8,                8}},
             {StreakLen,  {    {},     {},            {},              {},          {},            {},          {},           {},           {},           24,                34,               40,               60}},
             {StreakStrn, {    {},     {},            {},              {},          {},            {},          {},           {},           {},           60,               70,               80,               95}},
             {FRange,     {    {},     {},            {},              {},          {},            {},          {},           {},           {},           3,                4,                4,                5}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
