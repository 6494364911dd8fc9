// The presets of Q_RomanTile. What a preset does not list goes to its default.
#include "effects/abstract/RomanTile.h"

// clang-format off
void RomanTileInfo::declarePresets() {
    presets(Demos,
            {               "User", "Pompeii", "Byzantine Gold", "Bathroom", "Trencadis", "Hexagon Floor", "Rough Stone", "Fish Scales", "Fine Portrait"},
            {{Layout,       {   {},         0,                0,          2,           1,               4,             1,             5,               0}},
             {TileSize,     {   {},    0.0095,           0.0075,       0.04,       0.026,           0.016,         0.015,         0.021,          0.0055}},
             {FollowEdges,  {   {},       100,              100,         {},          60,              {},            60,            {},             100}},
             {EdgeReach,    {   {},        {},               {},         {},          {},              {},            {},            {},               1}},
             {Disorder,     {   {},        45,               30,          0,         100,               3,            75,             0,              15}},
             {GroutWidth,   {   {},        14,               10,          7,          13,              11,            13,             8,               7}},
             {GroutColour,  {   {}, {.55,.49,.40}, {.20,.15,.10}, {.90,.91,.90}, {.88,.86,.80}, {.16,.16,.17}, {.36,.33,.29}, {.83,.86,.85}, {.16,.15,.14}}},
             {GroutDepth,   {   {},        60,               50,         30,          40,              35,            60,            40,              30}},
             {Corners,      {   {},        20,               12,         14,           8,               6,            50,            10,              15}},
             {Bevel,        {   {},        35,               25,         14,          18,              12,            60,            35,              20}},
             {Relief,       {   {},        40,               40,         50,          45,              50,            80,            60,              20}},
             {Tilt,         {   {},        22,               60,          5,          35,              12,            35,            14,              10}},
             {Roughness,    {   {},        22,                8,          0,           0,               3,            60,             0,               4}},
             {Glaze,        {   {},         3,               30,         55,          60,              14,             0,            65,               8}},
             {Gloss,        {   {},        30,               35,         75,          60,              35,            20,            55,              40}},
             {StoneColours, {   {},         2,                3,          0,           5,               7,             6,             0,               0}},
             {Match,        {   {},        80,               75,         {},          85,             100,            70,            {},              {}}},
             {ColourJitter, {   {},        32,               30,          4,          35,              10,            45,            30,              12}},
             {Contrast,     {   {},       110,              120,        100,         120,             125,           110,           110,             105}},
             {Saturation,   {   {},        95,              130,         95,         150,             100,            75,           125,             105}},
             {Gold,         {   {},        {},               55,         {},          {},              {},            {},            {},              {}}},
             {Print,        {   {},        {},               {},        100,          {},              {},            {},            {},              {}}},
             {LightZ,       {   {},       0.6,              0.5,        0.6,         0.6,             0.7,           0.5,           0.6,             0.8}},
             {Damage,       {   {},        22,               {},         {},          {},              {},            {},            {},              {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
