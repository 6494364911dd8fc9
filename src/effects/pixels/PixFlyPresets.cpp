// The presets of Q_PixFly. What a preset does not list goes to its default.
#include "effects/pixels/PixFly.h"

// clang-format off
void PixFlyInfo::declarePresets() {
    presets(Demos,
            {                            "User",     "Sand Storm",            "Snap",      "Rising Ash", "Implode",        "Teleport", "Rain of Pixels", "Whirlwind", "Out of Dust",          "Embers"},
            {{PixelSize,                {    {},                1,                 1,                 2,         2,                 3,                8,           2,             2,                 3}},
             {Vary,                     {    {},               30,                40,                50,        40,                60,               50,          60,            60,                60}},
             {EndSize,                  {    {},              110,                60,                80,        40,                15,              100,          60,            60,                35}},
             {FadeOut,                  {    {},               60,                60,                60,        30,                70,               10,          60,            40,                70}},
             {TintColour,               {    {}, {0.78, 0.6, 0.4}, {0.3, 0.22, 0.17}, {0.09, 0.09, 0.1},        {}, {0.55, 0.85, 1.0},               {},          {},            {}, {1.0, 0.32, 0.06}}},
             {Tint,                     {    {},               70,                60,                92,         0,                65,                0,           0,             0,                85}},
             {TintTime,                 {    {},               30,                30,                12,        {},                30,               {},          {},            {},                25}},
             {Glow,                     {    {},                0,                 0,               -20,         0,                90,                0,           0,             0,               160}},
             {timing.Mode,              {    {},                0,                 0,                 0,         0,                 0,                0,           0,             1,                 0}},
             {timing.Duration,          {    {},               70,                60,                80,        50,                50,               50,          70,            50,                80}},
             {timing.FlightTime,        {    {},               60,                45,                90,        60,                45,               50,          80,            45,                50}},
             {timing.Order,             {    {},                0,                 0,                 0,         3,                 0,                0,           0,             0,                 0}},
             {timing.WipeAngle,         {    {},              180,               200,               270,        {},                90,               90,         270,             0,                90}},
             {timing.Ragged,            {    {},               35,                50,                60,        25,                20,               45,          35,            35,                60}},
             {Spread,                   {    {},                1,               0.6,               0.4,       0.4,               0.6,              0.2,         0.5,             2,               0.5}},
             {forces.gravity,           {    {},             0.04,                 0,              0.03,         0,               0.2,              0.7,        0.04,          0.02,              0.04}},
             {forces.gravityAngle,      {    {},              270,                {},                90,        {},                90,              270,          90,           270,                90}},
             {forces.grip,              {    {},               10,                 8,                 7,         4,                 3,                0,           6,             6,                 6}},
             {forces.wind,              {    {},               17,                 5,                 4,         0,                 0,                0,           0,            10,                 2}},
             {forces.windAngle,         {    {},                5,                20,                40,        {},                {},               {},          {},           185,                60}},
             {forces.gusts,             {    {},               30,                 0,                20,         0,                 0,                0,           0,             0,                 0}},
             {forces.swirl,             {    {},                8,                 4,                 5,         1,               0.5,                0,           3,             6,                 3}},
             {forces.swirlSize,         {    {},                9,                 6,                 7,         8,                 4,               {},           8,            10,                 6}},
             {vortex.vortexOn,          {    {},                0,                 0,                 0,         1,                 0,                0,           1,             0,                 0}},
             {vortex.vortexRadius,      {    {},               {},                {},                {},       0.3,                {},               {},         0.5,            {},                {}}},
             {vortex.vortexSpeed,       {    {},               {},                {},                {},        16,                {},               {},          40,            {},                {}}},
             {vortex.attractorOn,       {    {},                0,                 0,                 0,         1,                 0,                0,           0,             0,                 0}},
             {vortex.attractorRadius,   {    {},               {},                {},                {},       1.2,                {},               {},          {},            {},                {}}},
             {vortex.attractorStrength, {    {},               {},                {},                {},       0.9,                {},               {},          {},            {},                {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
