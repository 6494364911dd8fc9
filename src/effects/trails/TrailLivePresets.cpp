// The presets of Q_TrailLive. What a preset does not list goes to its default.
#include "effects/trails/TrailLive.h"

// clang-format off
void TrailLiveInfo::declarePresets() {
    presets(Demos,
            {              "User", "Light Painting", "Speed Lines", "Ghost", "Ink Wake", "Comet Hands", "Echo", "Smoke Trail", "Neon Wire"},
            {{Style,       {   {},                0,             1,       0,          0,             0,      2,             0,          1}},
             {Length,      {   {},               30,            20,      14,         24,            18,     16,            26,         24}},
             {Spacing,     {   {},               {},            {},      {},         {},            {},      4,            {},         {}}},
             {Mode,        {   {},                2,             2,       0,          4,             2,      0,             0,          3}},
             {Live,        {   {},                1,             2,       2,          2,             2,      2,             2,          2}},
             {Opacity,     {   {},              100,            90,      75,         90,            95,     75,            95,        100}},
             {Fade,        {   {},               12,            25,      25,         25,            30,     30,            30,         20}},
             {BrightLow,   {   {},               55,            {},      {},         {},            {},     {},            {},         {}}},
             {BrightHigh,  {   {},               85,            {},      {},         {},            {},     {},            {},         {}}},
             {Gain,        {   {},              110,           180,      {},         {},           110,     {},            {},        100}},
             {Saturation,  {   {},              130,            60,      70,         {},            {},    110,            {},         {}}},
             {TintAmount,  {   {},               {},            40,      35,        100,            85,     {},           100,        100}},
             {NewColour,   {   {},               {}, {1, 1, 1}, {.8, .9, 1}, {.1, .12, .3}, {1, .9, .6}, {}, {.75, .78, .85}, {.2, 1, .9}}},
             {OldColour,   {   {},               {}, {.7, .85, 1}, {.5, .65, 1}, {.3, .35, .6}, {1, .25, .05}, {}, {.4, .45, .55}, {1, .1, .8}}},
             {Taper,       {   {},               {},            80,      {},         30,            95,     {},            {},         50}},
             {Spread,      {   {},               {},            {},     0.8,        1.2,           0.3,     {},           2.5,         {}}},
             {Glow,        {   {},               60,             0,       0,          0,            45,      0,             0,         60}},
             {GlowSize,    {   {},              1.2,            {},      {},         {},           2.5,     {},            {},        1.2}},
             {DriftY,      {   {},               {},            {},      {},         {},            {},     {},          0.25,         {}}},
             {Curl,        {   {},               {},            {},      {},        5.0,            {},     {},           6.0,         {}}},
             {CurlSize,    {   {},               {},            {},      {},          9,            {},     {},            12,         {}}},
             {LineSpacing, {   {},               {},           1.0,      {},         {},            {},     {},            {},        1.8}},
             {LineWidth,   {   {},               {},          0.24,      {},         {},            {},     {},            {},       0.25}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
