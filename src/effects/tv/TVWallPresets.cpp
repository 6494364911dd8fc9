// The presets of Q_TVWall. What a preset does not list goes to its default.
#include "effects/tv/TVWall.h"

// clang-format off
void TVWallInfo::declarePresets() {
    presets(Demos,
            {               "User", "Shop Window", "Control Room", "Video Wall", "Old Tubes", "Broken Sets", "Delayed Copies", "Chequerboard"},
            {{Columns,      {   {},             4,              6,            5,           4,             5,                5,              8}},
             {Rows,         {   {},             3,              4,            5,           3,             4,                5,              8}},
             {Layout,       {   {},             2,              0,            1,           0,             0,                0,              0}},
             {Programme,    {   {},             2,              3,            0,           0,             3,                0,              2}},
             {Share,        {   {},            {},             45,           {},          {},            25,               {},             {}}},
             {Shuffle,      {   {},            {},            100,           {},          {},             7,               {},             {}}},
             {Delay,        {   {},            {},             {},           {},          {},            {},                2,              3}},
             {DelayOrder,   {   {},            {},             {},           {},          {},            {},                1,              1}},
             {Gap,          {   {},             3,              1,            0,           5,             2,                1,            0.5}},
             {Bezel,        {   {},             6,              2,          1.2,           9,             7,                3,              2}},
             {BezelColour,  {   {}, {.05,.05,.055}, {.03,.03,.035}, {.015,.015,.015}, {.2,.11,.055}, {.11,.1,.09}, {.04,.04,.045}, {.35,.34,.33}}},
             {Rounding,     {   {},            14,              3,            0,          42,            22,                6,             60}},
             {Curvature,    {   {},            30,              0,            0,          90,            45,                0,             60}},
             {Lines,        {   {},           288,            540,          540,         115,           240,              480,            200}},
             {ScanLines,    {   {},            35,              0,            0,          70,            50,                0,             30}},
             {Brightness,   {   {},           115,            100,          105,         120,           105,              105,            120}},
             {Reflection,   {   {},            14,              3,            2,          12,            10,                4,              6}},
             {Glow,         {   {},            45,             25,           20,          60,            50,               25,             60}},
             {Rack,         {   {},            70,            100,          100,         100,            95,              100,            100}},
             {ColourSpread, {   {},            25,              6,            5,          70,            60,                4,            100}},
             {LightSpread,  {   {},            15,             10,            6,          40,            50,                4,             30}},
             {Off,          {   {},            {},             {},           {},          {},            22,               {},             {}}},
             {Snow,         {   {},            {},             {},           {},          {},            40,               {},             {}}},
             {Rolling,      {   {},            {},             {},           {},          12,            30,               {},             {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
