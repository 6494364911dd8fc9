// The presets of Q_PixFlow. What a preset does not list goes to its default.
#include "effects/pixels/PixFlow.h"

// clang-format off
void PixFlowInfo::declarePresets() {
    presets(Demos,
            {                "User", "Oil", "Melt", "Marble", "Fur", "Smoke Out", "Whirlpools", "Combed", "Silk",  "Rippled Glass"},
            {{Amount,      {    {},   1.8,     11,       22,     0,          14,           40,       12,      1,              1.6}},
             {Speed,       {    {},  0.02,   0.15,      0.1,     0,        0.25,          0.4,      0.1,   0.02,             0.05}},
             {Smear,       {    {},     2,      2,        0,   1.6,         1.5,            0,        1,    2.5,                0}},
             {Strands,     {    {},    35,     {},       {},    60,          {},           {},       35,     {},               {}}},
             {StrandWidth, {    {},  0.35,     {},       {},  0.16,          {},           {},      0.3,     {},               {}}},
             {Diffusion,   {    {},    {},     {},       {},    {},           8,           {},       {},     {},               {}}},
             {FadeOut,     {    {},    {},     {},       {},    {},          50,           {},       {},     {},               {}}},
             {Edges,       {    {},     0,      1,        0,     0,           3,            0,        0,      0,                0}},
             {Pattern,     {    {},     0,      0,        0,     0,           0,            1,        2,      0,                2}},
             {Strength,    {    {},    35,     50,      100,    60,         100,          100,      100,     15,               60}},
             {Size,        {    {},    14,      8,       14,     9,          11,           22,        6,     15,                2}},
             {Detail,      {    {},    20,     15,       40,     0,          60,            0,       35,      0,               25}},
             {Stretch,     {    {},     1,     20,        1,     1,           1,            1,        1,      1,                1}},
             {Evolve,      {    {},    10,      0,       25,     0,          60,            0,        5,      0,                0}},
             {Drift,       {    {},     0,    100,        0,   100,          80,            0,        0,      0,                0}},
             {DriftAngle,  {    {},    {},    270,       {},   255,          80,           {},       90,     {},              100}},
             {Luma,        {    {},   150,      0,       30,    40,          40,            0,        0,    200,                0}},
             {LumaAngle,   {    {},    90,     {},       90,    90,          90,           {},       {},     90,               {}}},
             {LumaBlur,    {    {},   0.8,     {},        3,     1,           2,           {},       {},    0.7,               {}}},
             {SlowDark,    {    {},     0,     30,        0,     0,           0,            0,        0,      0,                0}},
             {Select,      {    {},     0,      0,        0,     0,           1,            0,        0,      0,                0}},
             {Threshold,   {    {},    {},     {},       {},    {},          40,           {},       {},     {},               {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
