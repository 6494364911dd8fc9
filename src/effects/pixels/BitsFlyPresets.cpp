// The presets of Q_BitsFly. What a preset does not list goes to its default.
#include "effects/pixels/BitsFly.h"

// clang-format off
void BitsFlyInfo::declarePresets() {
    presets(Demos,
            {                    "User", "Blown Away", "Shatter", "Domino", "Tornado", "Assemble", "Falling Bricks", "Ash", "Hexagons Rising", "Whirlpool"},
            {{Shape,             {   {},            4,         5,        0,         2,          4,                1,     2,                 3,           0}},
             {TileSize,          {   {},          1.1,         4,        4,       1.6,          4,                7,   0.7,                 3,         1.5}},
             {Aspect,            {   {},            1,        {},      1.5,         1,          1,              2.4,     1,                 1,           1}},
             {Thickness,         {   {},            0,        25,        8,         0,         20,               45,     0,                15,           0}},
             {Back,              {   {},            0,         0,        1,         0,          0,                0,     0,                 0,           0}},
             {BackColour,        {   {},           {},        {}, {0.75, 0.72, 0.66}, {},       {},               {},    {},                {},          {}}},
             {timing.Mode,       {   {},            0,         0,        0,         0,          1,                0,     0,                 0,           0}},
             {timing.Duration,   {   {},           80,         6,       60,        60,         50,               60,    80,                60,          60}},
             {timing.FlightTime, {   {},           60,        80,       50,        80,         45,               50,    60,                60,          60}},
             {timing.Order,      {   {},            0,         2,        0,         0,          1,                0,     0,                 2,           2}},
             {timing.WipeAngle,  {   {},          180,        {},        0,       270,         {},              270,   270,                {},          {}}},
             {timing.Ragged,     {   {},           45,        20,        3,        40,         30,               15,    70,                10,          20}},
             {timing.Centre,     {   {}, {0.5, 0.5}, {0.5, 0.5}, {0.5, 0.5}, {0.5, 0.1}, {0.5, 0.5}, {0.5, 0.5}, {0.5, 0.5}, {0.5, 0.5}, {0.5, 0.5}}},
             {Gravity,           {   {},          0.5,         3,        8,         0,          0,                9,     0,                 0,           0}},
             {Burst,             {   {},            0,        11,        0,         0,          0,                0,     0,                 0,           0}},
             {Push,              {   {},            2,         5,        3,         0,         10,                4,     1,                 5,           2}},
             {Spread,            {   {},            2,         3,        1,         2,         12,                1,     1,                 1,           1}},
             {Lift,              {   {},            0,         0,        0,         9,          0,                0,     6,                 7,           0}},
             {Wind,              {   {},           22,         0,        0,         0,          0,                0,     6,                 0,           0}},
             {WindAngle,         {   {},            8,        {},       {},        {},         {},               {},    20,                {},          {}}},
             {Drag,              {   {},            8,         3,        1,         4,          2,                0,     6,                 3,           3}},
             {Gusts,             {   {},           12,         0,        0,         5,         10,                0,    14,                 3,           3}},
             {GustSize,          {   {},           18,        {},       {},        20,         20,               {},    12,                20,          20}},
             {Swirl,             {   {},            0,         0,        0,        36,          0,                0,     0,                 0,          32}},
             {SwirlAxis,         {   {},           {},        {},       {},         0,         {},               {},    {},                {},           1}},
             {Release,           {   {},            0,         0,        1,         0,          0,                0,     0,                 0,           0}},
             {Twirl,             {   {},          220,       150,      120,       300,        200,               60,   200,               100,         200}},
             {FadeOut,           {   {},           60,        20,        0,        40,         50,                0,    80,                60,          50}},
             {Shrink,            {   {},           40,         0,        0,        20,          0,                0,    70,                20,          80}},
             {Shine,             {   {},           10,        60,       15,        10,         30,                0,     0,                30,          10}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
